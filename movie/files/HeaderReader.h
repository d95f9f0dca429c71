#pragma once

#include "movie/atoms/Atom.h"

#include <vector>

namespace reelwright {

/// The movie header that these bytes of a file (one whole `moov` atom, at `offset`) hold; one that is
/// compressed is unpacked, and what stood beside its compressed part comes behind.
/// Errors: Corrupt, Truncated; Unsupported for a list of other movies and for unknown compression.
Result<Atom> parseMovieHeader(const Bytes& bytes, std::uint64_t offset, std::vector<MovieWarning>& warnings);

} // namespace reelwright

#pragma once

#include "movie/files/MovieFile.h"

#include <optional>
#include <string>

namespace reelwright {

/// Does the file hold movie fragments (`moof`)? That the header announces them (`mvex`) is not enough:
/// cameras that record in fragments leave the announcement in their finished files.
bool isFragmented(const FileLayout& layout);

/// Gathers the samples of all movie fragments (`moof`, ISO/IEC 14496-12 8.8) into the ordinary sample tables
/// of `moov`, sets the durations that the fragments give, and removes `mvex`. Samples that the header's own
/// tables hold come first. A header without fragments is left as it is.
///
/// Decode times that a fragment states (`tfdt`) hold: the sample before a gap becomes longer. A movie whose
/// fragments all start late begins where the first of them does; tracks that start later get an empty edit.
///
///     fragments   |     | A | B |   | C |       tables   | A | B     | C |
///
/// Memory: proportional to the file's fragments; to the file, when they describe many samples at once.
/// Errors: Io; Corrupt when the samples claimed are more than the file can hold. A damaged fragment and
/// samples that lie outside the file are left out with a warning.
Result<void> gatherFragments(Atom& moov, const MovieFile& file, std::vector<MovieWarning>& warnings);

/// Why a copy of this movie with ordinary sample tables would not be the whole movie: a sentence that names
/// the atom (per-sample encryption data, sample groups of fragments) and where it lies. Nothing when it would
/// be. Reads the fragments.
std::optional<std::string> hindranceToFlattening(const Atom& moov, const MovieFile& file);

} // namespace reelwright

#pragma once

#include "movie/MovieFile.h"

#include <optional>
#include <string>

namespace reelwright {

/// Does the file hold movie fragments (`moof`), or announce them (`mvex`)?
bool isFragmented(const Atom& moov, const FileLayout& layout);

/// Gathers the samples of all movie fragments (`moof`, ISO/IEC 14496-12 8.8) into the ordinary sample tables
/// of `moov`, sets the durations that the fragments give, and removes `mvex`. Samples that the header's own
/// tables hold come first. Memory: proportional to the fragments' sizes. Errors: Corrupt, Truncated with the
/// place in the file; Unsupported for a fragment that carries what ordinary tables as built here cannot
/// (encryption data), naming it. Damage past which earlier fragments are whole is a warning.
Result<void> gatherFragments(Atom& moov, const MovieFile& file, std::vector<MovieWarning>& warnings);

/// Why a movie whose samples were gathered from this file cannot be written with ordinary tables without a
/// loss; nothing when it can.
std::optional<std::string> hindranceToFlattening(const Atom& moov, const MovieFile& file);

} // namespace reelwright

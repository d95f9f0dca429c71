#pragma once

#include "movie/atoms/Atom.h"
#include "movie/files/Storage.h"

#include <optional>

namespace reelwright {

/// Makes a movie header (`moov`) for a file that is no movie file but holds media: WAV (also RF64 and
/// Broadcast Wave), AIFF, AIFF-C and raw DV. The header's one or two tracks refer to the media where they
/// lie, through a data reference to the file itself. Nothing when the file is of none of these kinds. Errors:
/// Io; Corrupt, Truncated, Unsupported with the place in the file.
Result<std::optional<Atom>> importMediaFile(StorageFile& file, const std::string& path);

} // namespace reelwright

#pragma once

#include "movie/files/ImportedSound.h"
#include "movie/files/Storage.h"

namespace reelwright {

/// Reads the chunks of an AIFF or AIFF-C file. Nothing when the file is none. Sound that is shorter than the
/// file says counts as far as it is there. Errors: Io; Corrupt when a chunk is missing or contradicts itself;
/// Unsupported for other codecs.
Result<std::optional<ImportedSound>> readAiffFile(StorageFile& file, const std::string& path);

} // namespace reelwright

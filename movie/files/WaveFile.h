#pragma once

#include "movie/files/ImportedSound.h"
#include "movie/files/Storage.h"

namespace reelwright {

/// Reads the chunks of a WAV file (RIFF, or RF64 and BW64 with 64-bit sizes) up to its sound. Nothing when
/// the file is none. A data chunk whose size was never filled in, or is too large, reaches to the end of the
/// file. Errors: Io; Corrupt when a chunk is missing or contradicts itself; Unsupported for other codecs.
Result<std::optional<ImportedSound>> readWaveFile(StorageFile& file, const std::string& path);

} // namespace reelwright

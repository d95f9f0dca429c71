#pragma once

#include <string>

namespace reelwright {

/// Where a batch's results go.
enum class BatchMode {
    InPlace = 0, ///< into the files themselves
    AppendText = 1, ///< beside them, with a text behind their names
    OutputFolder = 2, ///< into a folder, under their names
};

/// How a run treats its files.
struct BatchSettings
{
    BatchMode mode = BatchMode::InPlace;
    std::string extension = "-processed"; ///< "batchExtension"
    std::string directory; ///< "batchDirectory"
    bool needsFlattening = false; ///< "batchForceResave": the whole file is written anew, in place only
    bool resaveOnOtherVolumes = true; ///< "nonHFSResave"
    bool stripEditLists = false; ///< "conformStripEDTS"
    unsigned jobs = 1; ///< files at a time
    bool verify = false; ///< compare checksums of the media before and after
    bool keepDates = false; ///< give the result the file's dates
    bool sync = true; ///< flush to the medium
};

} // namespace reelwright

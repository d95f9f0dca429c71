#pragma once

#include "edits/EditSteps.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright::cli {

/// What an edit does to each file and where the result goes.
struct EditOptions
{
    EditPlan plan;
    std::optional<std::string> suffix; ///< a copy beside the file, with this behind its name
    std::optional<std::string> outputFolder; ///< a copy of the same name in this folder
    std::optional<std::string> outputFile; ///< a copy of the only file
    bool overwrite = false; ///< may a copy replace a file?
    bool forceResave = false; ///< write the whole file anew even where its header could be updated
    bool dryRun = false; ///< report, write nothing
    bool verify = false; ///< compare checksums of the media before and after
    bool preserveTimes = false; ///< give the result the access and modification times of the file
    bool sync = true; ///< flush to the medium
    unsigned jobs = 1; ///< files at a time

    [[nodiscard]] bool isInPlace() const { return !suffix && !outputFolder && !outputFile; }
};

} // namespace reelwright::cli

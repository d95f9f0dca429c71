#pragma once

#include "movie/files/Storage.h"

#include <optional>
#include <string>

namespace reelwright {

/// A file whatever name leads to it. Made where waiting for the disk keeps nobody.
struct DocumentFile
{
    std::string path; ///< without links; empty where there is no file
    std::optional<FileState> state; ///< as it was opened or last written

    [[nodiscard]] bool isSameFile(const DocumentFile& other) const
    {
        return (!path.empty() && path == other.path)
            || (state && other.state && state->isSameFile(*other.state));
    }
};

} // namespace reelwright

#pragma once

#include <chrono>
#include <string>
#include <system_error>

namespace reelwright {

/// The desktop's trash can, as the freedesktop.org rules for it have it: the user's own for files on the
/// volume of the user's data, else the one at the top of the file's volume.
class Trash
{
public:
    /// What lies in the trash can.
    struct Item
    {
        std::string file; ///< where the file is now
        std::string info; ///< the note that says where it came from
    };

    /// Moves a file there, with a note that it was `original`. Waits at most `timeout` for a busy volume. The
    /// error is false when all went well; the file then has no other name any more.
    [[nodiscard]] static std::error_code put(const std::string& path, const std::string& original,
        std::chrono::milliseconds timeout, Item* item = nullptr);
    [[nodiscard]] static std::error_code put(const std::string& path, std::chrono::milliseconds timeout)
    {
        return put(path, path, timeout);
    }
};

} // namespace reelwright

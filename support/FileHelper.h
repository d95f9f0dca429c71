#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>

namespace reelwright {

/// Small file operations. An error code is false when all went well.
class FileHelper
{
public:
    /// Does a file of that name hold a movie, by its extension (mov, qt, mp4, m4v, in any case)?
    static bool isMovieName(const std::string& path);
    /// A path in the same folder that does not exist yet: `path` itself, else with "-1", "-2", … before the
    /// extension. A name that is too long for a file system is shortened.
    static std::string uniqueFilename(const std::string& path);
    /// False for a symbolic link that leads nowhere.
    static bool fileExistsAtPath(const std::string& path);

    /// Renames within one file system; what stands at `to` is never replaced (file_exists). Waits at most
    /// `timeout` for a busy or unresponsive volume (timed_out; a rename that is already with the system may
    /// then still happen).
    [[nodiscard]] static std::error_code moveFile(
        const std::string& from, const std::string& to, std::chrono::milliseconds timeout);
    [[nodiscard]] static std::error_code moveFile(const std::string& from, const std::string& to);
    /// Removes a file, never a folder. `timeout` as for moveFile.
    [[nodiscard]] static std::error_code removeFile(
        const std::string& path, std::chrono::milliseconds timeout);

    /// Replaces the contents of `path` so that it holds at every instant the old bytes or the new ones,
    /// whole. A symbolic link is followed; the permissions of an existing file are kept.
    [[nodiscard]] static std::error_code writeAtomically(
        const std::string& path, const std::string& contents);

    /// "512 bytes", "1.5 KB", "23.4 MB": powers of 1000, one decimal.
    static std::string formatFileSize(std::uint64_t bytes);
};

} // namespace reelwright

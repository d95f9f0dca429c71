#include "support/FileDates.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace reelwright {

std::optional<std::chrono::sys_seconds> fileCreationTime(const std::string& path)
{
    struct statx info = {};
    if (path.empty() || ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0)
        return std::nullopt;
    const auto& time = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime : info.stx_mtime;
    return std::chrono::sys_seconds {std::chrono::seconds {time.tv_sec}};
}

} // namespace reelwright

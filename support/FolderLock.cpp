#include "support/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace reelwright {

FolderLock::FolderLock(const std::string& folder)
    : m_folder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    constexpr auto kPause = std::chrono::milliseconds(10);
    constexpr int kAttempts = 100;
    for (int i = 0; m_folder && i < kAttempts; ++i) {
        if (flock(m_folder.get(), LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR))
            return;
        std::this_thread::sleep_for(kPause);
    }
}

} // namespace reelwright

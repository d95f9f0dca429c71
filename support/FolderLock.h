#pragma once

#include "support/FileDescriptor.h"

#include <string>

namespace reelwright {

/// Keeps other processes of ours from changing a folder's files at the same time. Advisory, and given up
/// after a second: a stopped process must not stop the others, and some network volumes know no such locks.
class FolderLock
{
public:
    explicit FolderLock(const std::string& folder);

private:
    FileDescriptor m_folder;
};

} // namespace reelwright

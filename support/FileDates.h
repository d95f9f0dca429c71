#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace reelwright {

/// When a file came to be: where the file system does not keep that, when it was last written. Nothing for a
/// file that cannot be looked at.
std::optional<std::chrono::sys_seconds> fileCreationTime(const std::string& path);

} // namespace reelwright

#pragma once

#include "movie/Result.h"

#include <functional>

namespace reelwright::cli {

/// Does the work on one file so that its failing in a way that nobody foresaw (no memory for what a file
/// asks) ends neither the process nor the work on the other files.
Result<void> guarded(const std::function<Result<void>()>& work);

} // namespace reelwright::cli

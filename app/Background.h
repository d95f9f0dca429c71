#pragma once

#include <functional>

class QThreadPool;

namespace reelwright {

/// Threads for work that may wait for a slow or hanging volume, so that the interface never does. Ends with
/// the application, which waits for what is under way.
QThreadPool* backgroundThreads();

/// Runs `work` on one of them, or at once where there is no application any more.
void runInBackground(std::function<void()> work);

} // namespace reelwright

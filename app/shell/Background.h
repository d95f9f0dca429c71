#pragma once

#include <QFutureWatcher>
#include <QtConcurrent>

#include <functional>

class QThreadPool;

namespace reelwright {

/// Threads for work that may wait for a slow or hanging volume, so that the interface never does. Ends with
/// the application, which waits for what is under way.
QThreadPool* backgroundThreads();

/// Runs `work` on one of them, or at once where there is no application any more.
void runInBackground(std::function<void()> work);

/// Runs `work` on one of them, then `done` with its result in the receiver's thread; not at all when the
/// receiver is gone by then.
template <class Work, class Done> void runInBackground(QObject* receiver, Work work, Done done)
{
    using Value = std::invoke_result_t<Work>;
    auto* watcher = new QFutureWatcher<Value>(receiver);
    QObject::connect(
        watcher, &QFutureWatcher<Value>::finished, receiver, [watcher, done = std::move(done)]() mutable {
            watcher->deleteLater();
            auto value = watcher->future().takeResult();
            std::invoke(std::move(done), std::move(value));
        });
    watcher->setFuture(QtConcurrent::run(backgroundThreads(), std::move(work)));
}

} // namespace reelwright

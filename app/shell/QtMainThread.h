#pragma once

#include "support/MainThread.h"

#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace reelwright {

/// The hand-off on Qt's event loop, also while the main thread is in a nested loop (a question, a menu).
/// Belongs to the thread that makes it.
class QtMainThread final : public QObject, public MainThread
{
    Q_OBJECT

public:
    QtMainThread() = default;
    /// Does what is still being waited for. No thread may hand anything over afterwards.
    ~QtMainThread() override;

    void run(const std::function<void()>& work) override;
    [[nodiscard]] bool isCurrent() const override;

    /// Does what is handed over until `isReached`, without an event loop: for the time after the last loop
    /// has ended. `isReached` is asked again after each piece of work and after `wake`.
    void serveUntil(const std::function<bool()>& isReached);
    /// From any thread: what serveUntil waits for may have come.
    void wake();
    /// How many threads wait for their work at this moment.
    [[nodiscard]] int waitingThreads();

private:
    struct Item
    {
        const std::function<void()>& work;
        bool isDone = false;
    };

    /// Does the first item, if there is one. `lock` is released meanwhile.
    bool serveOne(std::unique_lock<std::mutex>& lock);
    void serveWaiting();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Item*> m_items; ///< they stand on the stacks of the threads that wait
    int m_waiting = 0; ///< threads inside `run`
    bool m_isWoken = false;
};

} // namespace reelwright

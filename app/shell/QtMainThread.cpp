#include "app/shell/QtMainThread.h"

#include <QThread>

namespace reelwright {

QtMainThread::~QtMainThread()
{
    std::unique_lock lock {m_mutex};
    while (m_waiting > 0)
        if (!serveOne(lock))
            m_changed.wait(lock);
}

bool QtMainThread::isCurrent() const
{
    return QThread::currentThread() == thread();
}

void QtMainThread::run(const std::function<void()>& work)
{
    if (isCurrent()) {
        work();
        return;
    }
    std::unique_lock lock {m_mutex};
    Item item {work};
    ++m_waiting;
    m_items.push_back(&item);
    m_changed.notify_all();
    QMetaObject::invokeMethod(this, &QtMainThread::serveWaiting, Qt::QueuedConnection);
    m_changed.wait(lock, [&] { return item.isDone; });
    --m_waiting;
    m_changed.notify_all();
}

bool QtMainThread::serveOne(std::unique_lock<std::mutex>& lock)
{
    if (m_items.empty())
        return false;
    // Taken off first: the work may start a nested loop, which serves the others meanwhile.
    auto* item = m_items.front();
    m_items.pop_front();
    lock.unlock();
    item->work();
    lock.lock();
    item->isDone = true;
    m_changed.notify_all();
    return true;
}

void QtMainThread::serveWaiting()
{
    std::unique_lock lock {m_mutex};
    serveOne(lock); // an event an item
}

void QtMainThread::serveUntil(const std::function<bool()>& isReached)
{
    while (!isReached()) {
        std::unique_lock lock {m_mutex};
        if (!serveOne(lock))
            m_changed.wait(lock, [this] { return !m_items.empty() || m_isWoken; });
        m_isWoken = false;
    }
}

void QtMainThread::wake()
{
    const std::lock_guard lock {m_mutex};
    m_isWoken = true;
    m_changed.notify_all();
}

int QtMainThread::waitingThreads()
{
    const std::lock_guard lock {m_mutex};
    return m_waiting;
}

} // namespace reelwright

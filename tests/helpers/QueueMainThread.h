#pragma once

#include "support/MainThread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace reelwright::test {

/// A main thread without an event loop: the test's own, which does what was handed over while it waits.
class QueueMainThread final : public MainThread
{
public:
    void run(const std::function<void()>& work) override
    {
        if (isCurrent()) {
            work();
            return;
        }
        std::unique_lock lock {m_mutex};
        Item item {&work};
        m_items.push_back(&item);
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return item.isDone; });
    }
    [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == m_owner; }

    /// Does the handed-over work until `isReached`; a test failure when that takes too long.
    void runUntil(const std::function<bool()>& isReached)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::unique_lock lock {m_mutex};
        while (!isReached()) {
            if (!m_changed.wait_until(lock, deadline, [&] { return !m_items.empty(); })) {
                ADD_FAILURE() << "the main thread waited in vain";
                return;
            }
            auto* item = m_items.front();
            m_items.pop_front();
            lock.unlock();
            (*item->work)();
            lock.lock();
            item->isDone = true;
            m_changed.notify_all();
        }
    }

private:
    struct Item
    {
        const std::function<void()>* work;
        bool isDone = false;
    };

    const std::thread::id m_owner = std::this_thread::get_id();
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Item*> m_items;
};

} // namespace reelwright::test

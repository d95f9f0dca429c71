#pragma once

#include <functional>
#include <mutex>
#include <thread>

namespace reelwright {

/// Hand-off to the thread that owns the interface. Programs with an event loop implement it on that loop.
class MainThread
{
public:
    MainThread() = default;
    MainThread(const MainThread&) = delete;
    MainThread& operator=(const MainThread&) = delete;
    virtual ~MainThread() = default;

    /// Runs `work` on the main thread and returns when it is done; at once when called there.
    virtual void run(const std::function<void()>& work) = 0;
    [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// For programs without an event loop: the work runs on the calling thread, but never on two threads at a
/// time, which is what such work may count on. Work may hand off further work.
class InlineMainThread final : public MainThread
{
public:
    void run(const std::function<void()>& work) override
    {
        const std::lock_guard lock(m_mutex);
        work();
    }
    /// The main thread is the one that made this object.
    [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == m_maker; }

private:
    std::recursive_mutex m_mutex;
    const std::thread::id m_maker = std::this_thread::get_id();
};

} // namespace reelwright

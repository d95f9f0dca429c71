#pragma once

#include "batch/BatchFile.h"
#include "support/MainThread.h"

#include <atomic>
#include <functional>
#include <thread>

namespace reelwright {

/// One run of a queue over files, on a thread of its own, or on several. What it tells it hands to the main
/// thread, and waits.
class BatchRun
{
public:
    struct Job
    {
        std::vector<std::string> files;
        BatchQueue queue;
        BatchSettings settings;
        std::shared_ptr<Storage> storage;
        BatchFiles fileMoves;
    };
    /// All on the main thread. Files are named by their place in the job.
    struct Events
    {
        std::function<void(std::size_t index)> began;
        std::function<void(std::size_t index, BatchResult result)> ended;
        /// `refusal` says why the run could not begin; empty when it did.
        std::function<void(const std::string& refusal)> finished;
    };

    BatchRun(Job job, Events events, MainThread& mainThread);
    BatchRun(const BatchRun&) = delete;
    BatchRun& operator=(const BatchRun&) = delete;
    /// Waits. Not to be called on the main thread while it runs.
    ~BatchRun() = default;

    [[nodiscard]] const Job& job() const { return m_job; }
    /// Heard between files, never in the middle of one.
    void cancel() { m_isCancelled = true; }
    [[nodiscard]] bool isCancelled() const { return m_isCancelled; }

private:
    void run();
    [[nodiscard]] std::string prepare() const;
    void work();

    const Job m_job;
    const Events m_events;
    MainThread& m_mainThread;
    const BatchFile m_file;
    std::atomic<bool> m_isCancelled = false;
    std::atomic<std::size_t> m_next = 0;
    std::jthread m_thread; ///< last: it uses all the others
};

} // namespace reelwright

#include "batch/BatchRun.h"

#include "batch/BatchOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace reelwright {

BatchRun::BatchRun(Job job, Events events, MainThread& mainThread)
    : m_job(std::move(job))
    , m_events(std::move(events))
    , m_mainThread(mainThread)
    , m_file(m_job.queue, m_job.settings, m_job.storage, m_job.fileMoves)
    , m_thread([this] { run(); })
{
}

void BatchRun::run()
{
    const auto refusal = prepare();
    if (refusal.empty()) {
        std::vector<std::jthread> others;
        const auto jobs = std::min<std::size_t>(m_job.settings.jobs, m_job.files.size());
        for (std::size_t i = 1; i < jobs; ++i)
            others.emplace_back([this] { work(); });
        work();
    }
    m_mainThread.run([&] { m_events.finished(refusal); });
}

/// Why the run cannot begin; empty when it can.
std::string BatchRun::prepare() const
{
    const auto& settings = m_job.settings;
    if (settings.mode == BatchMode::OutputFolder) {
        std::error_code error;
        std::filesystem::create_directories(settings.directory, error);
        if (!std::filesystem::is_directory(settings.directory, error))
            return fmt::format("Directory {} does not exist.", settings.directory);
    }
    const auto possible = checkBatchOutputs(m_job.files, settings);
    return possible ? std::string {} : possible.error().detail;
}

void BatchRun::work()
{
    for (auto index = m_next++; index < m_job.files.size() && !m_isCancelled; index = m_next++) {
        m_mainThread.run([&] { m_events.began(index); });
        auto result = m_file.process(m_job.files[index], {});
        m_mainThread.run([&] { m_events.ended(index, std::move(result)); });
    }
}

} // namespace reelwright

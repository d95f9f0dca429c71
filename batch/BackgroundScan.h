#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace reelwright {

/// Finds out something about each file of a list on a thread of its own, and keeps it until it is collected.
/// Waits for nobody, so that it can be ended at any time.
template <class Answer> class BackgroundScan
{
public:
    /// A file by its place in somebody's list.
    struct File
    {
        std::size_t index = 0;
        std::string path;
    };
    using Ask = std::function<Answer(const std::string& path)>;

    BackgroundScan(std::vector<File> files, Ask ask)
        : m_files(std::move(files))
        , m_ask(std::move(ask))
        , m_thread([this](const std::stop_token& stop) { run(stop); })
    {
    }

    /// What was found since the last call.
    std::vector<std::pair<std::size_t, Answer>> collect()
    {
        const std::lock_guard lock {m_mutex};
        return std::exchange(m_answers, {});
    }
    [[nodiscard]] bool isRunning() const { return m_isRunning; }

private:
    void run(const std::stop_token& stop)
    {
        for (const auto& file : m_files) {
            if (stop.stop_requested())
                break;
            auto answer = m_ask(file.path);
            const std::lock_guard lock {m_mutex};
            m_answers.emplace_back(file.index, std::move(answer));
        }
        m_isRunning = false;
    }

    const std::vector<File> m_files;
    const Ask m_ask;
    std::mutex m_mutex;
    std::vector<std::pair<std::size_t, Answer>> m_answers;
    std::atomic<bool> m_isRunning = true;
    std::jthread m_thread; ///< last: it uses all the others
};

} // namespace reelwright

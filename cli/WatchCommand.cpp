#include "cli/WatchCommand.h"

#include "cli/EditCommand.h"
#include "cli/Interrupt.h"
#include "saving/MediaChecksum.h"
#include "support/FileHelper.h"
#include "support/KWLocalPaths.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

namespace reelwright::cli {
namespace {

    namespace fs = std::filesystem;
    using Clock = std::chrono::steady_clock;

    constexpr auto kPause = std::chrono::milliseconds(100); ///< how soon a signal is heard
    constexpr auto kRound = std::chrono::milliseconds(1000); ///< how often the folder is looked through

    /// What tells whether anybody wrote to a file.
    struct Look
    {
        std::uint64_t inode = 0;
        std::uint64_t size = 0;
        std::int64_t modified = 0; ///< nanoseconds
        bool operator==(const Look&) const = default;

        static std::optional<Look> at(const std::string& path)
        {
            struct stat info = {};
            if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
                return std::nullopt;
            return Look {static_cast<std::uint64_t>(info.st_ino), static_cast<std::uint64_t>(info.st_size),
                static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
        }
    };

    /// The movies of a folder, and which of them nobody has written to for a while.
    class WatchedFolder
    {
    public:
        WatchedFolder(std::string path, const std::optional<std::string>& suffix, Clock::duration settle)
            : m_path(std::move(path))
            , m_suffix(suffix.value_or(""))
            , m_settle(settle)
        {
        }

        /// Those that can be edited now, sorted. False in `isComplete`: others are still growing.
        std::vector<std::string> ready(bool& isComplete)
        {
            std::vector<std::string> paths;
            std::map<std::string, Seen> present;
            isComplete = true;
            std::error_code error;
            for (const auto& entry : fs::directory_iterator(m_path, error)) {
                const auto path = entry.path().string();
                const auto look = isWanted(entry.path()) ? Look::at(path) : std::nullopt;
                if (!look)
                    continue;
                auto known = m_seen.find(path);
                auto seen = known == m_seen.end() ? Seen {*look, Clock::now(), false} : known->second;
                if (seen.look != *look)
                    seen = {*look, Clock::now(), false};
                if (!seen.isDone && Clock::now() - seen.since >= m_settle)
                    paths.push_back(path);
                else
                    isComplete = isComplete && seen.isDone;
                present.emplace(path, seen);
            }
            m_seen = std::move(present);
            std::ranges::sort(paths);
            return paths;
        }

        void noteDone(const std::vector<std::string>& paths)
        {
            for (const auto& path : paths)
                if (const auto look = Look::at(path))
                    m_seen[path] = {*look, Clock::now(), true};
        }

    private:
        struct Seen
        {
            Look look;
            Clock::time_point since; ///< when it was first seen so
            bool isDone = false; ///< edited, or failed, as it is now
        };

        /// What this very run makes must not come in again.
        [[nodiscard]] bool isWanted(const fs::path& path) const
        {
            const auto name = path.filename().string();
            return !name.starts_with('.') && FileHelper::isMovieName(name)
                && (m_suffix.empty() || !path.stem().string().ends_with(m_suffix));
        }

        const std::string m_path;
        const std::string m_suffix;
        const Clock::duration m_settle;
        std::map<std::string, Seen> m_seen;
    };

    /// The journal of a folder, where none is named.
    Result<std::string> ownJournal(const std::string& folder)
    {
        StreamHash hash;
        hash.update(std::as_bytes(std::span {folder}));
        const auto place = KWLocalPaths::libraryDirectory(true) + "/watch";
        std::error_code error;
        fs::create_directories(place, error);
        if (error)
            return systemFailure(error.value(), place, "the folder of the journals cannot be made");
        return fmt::format("{}/{:016x}.journal", place, hash.value());
    }

    void pauseUntil(Clock::time_point end)
    {
        while (interrupt::received() == 0 && Clock::now() < end)
            std::this_thread::sleep_for(std::min<Clock::duration>(kPause, end - Clock::now()));
    }

} // namespace

void WatchCommand::addOptions(CLI::App& app)
{
    m_arguments.addTo(app);
    constexpr auto kWhen = "When";
    app.add_flag("--once", m_isOnce, "Edit what is there now, but for files that are still growing, and end")
        ->group(kWhen);
    app.add_option(
           "--settle", m_settle, "A file is done growing when nobody wrote to it for\nSECONDS (default 3)")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.0, 86400.0))
        ->group(kWhen);
}

void WatchCommand::check()
{
    m_options = m_arguments.finish();
    if (m_options.outputFile)
        throwUsageError("-o names one file; watch writes with --output-dir, --suffix, or in place");
    if (m_options.plan.isEmpty() && m_options.isInPlace() && !m_options.forceResave)
        throwUsageError("no edit is given, so there is nothing to do");
    if (m_options.dryRun && !m_isOnce)
        throwUsageError("--dry-run goes with --once");
}

int WatchCommand::run(const Invocation& invocation)
{
    auto& console = invocation.console;
    std::error_code error;
    if (invocation.files.size() != 1 || !fs::is_directory(invocation.files.front(), error)) {
        console.message({},
            invocation.files.size() == 1 ? invocation.files.front() + " is no folder"
                                         : std::string("give exactly one folder to watch"));
        return exitStatus::kWrongUsage;
    }
    const auto folder = fs::canonical(invocation.files.front(), error).string();
    if (m_options.outputFolder
        && fs::weakly_canonical(fs::absolute(*m_options.outputFolder), error) == folder) {
        console.message({}, "--output-dir is the folder that is watched; name another one");
        return exitStatus::kWrongUsage;
    }
    if (m_options.journal.empty()) {
        auto own = ownJournal(folder);
        if (!own) {
            console.message({}, own.error().message());
            return exitStatus::kFailed;
        }
        m_options.journal = std::move(*own);
    }
    interrupt::listen();
    auto journal = openJournal(m_options);
    if (!journal) {
        console.message({}, journal.error().message());
        return exitStatus::kFailed;
    }
    Invocation round {{}, invocation.format, console};
    if (!m_isOnce && round.format == OutputFormat::JsonDocument)
        round.format = OutputFormat::JsonLines; // a document would never end
    WatchedFolder watched {folder, m_options.suffix,
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_settle))};
    bool hasFailures = false;
    const auto edit = [&](const std::vector<std::string>& files) {
        round.files = files;
        hasFailures = editFiles(m_options, round, journal->get(), Mention::WhatIsDone) != 0 || hasFailures;
        watched.noteDone(files);
    };
    bool isComplete = false;
    const auto first = watched.ready(isComplete);
    if (m_isOnce) {
        // One more look says which files are growing.
        if (!isComplete)
            pauseUntil(Clock::now()
                + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_settle)));
        const auto files = isComplete ? first : watched.ready(isComplete);
        if (interrupt::received() == 0)
            edit(files);
        if (!isComplete)
            console.message(folder, "some files are still growing, and were left alone");
        return hasFailures ? exitStatus::kFailed : exitStatus::kDone;
    }
    while (interrupt::received() == 0) {
        const auto begin = Clock::now();
        if (!fs::is_directory(folder, error)) {
            console.message(folder, "the folder is gone");
            return exitStatus::kFailed;
        }
        if (const auto files = watched.ready(isComplete); !files.empty())
            edit(files);
        pauseUntil(begin + kRound);
    }
    return exitStatus::kDone;
}

} // namespace reelwright::cli

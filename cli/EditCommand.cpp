#include "cli/EditCommand.h"

#include "cli/Interrupt.h"
#include "cli/PerFile.h"
#include "report/Printable.h"
#include "saving/OutputPlan.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

namespace reelwright::cli {
namespace {

    constexpr auto kNotBegun = "cancelled before it was begun";

    const char* statusName(EditStatus status)
    {
        switch (status) {
        case EditStatus::Updated:
            return "updated";
        case EditStatus::Unchanged:
            return "unchanged";
        case EditStatus::Failed:
            break;
        }
        return "failed";
    }

    const char* modeName(SaveMode mode)
    {
        switch (mode) {
        case SaveMode::InPlace:
            return "in-place";
        case SaveMode::Flattened:
            return "flattened";
        case SaveMode::None:
            break;
        }
        return "none";
    }

    Json textOrNull(const std::optional<std::string>& text)
    {
        return text ? Json(*text) : Json {};
    }

    /// "clip.mov: updated in place, 1.2 KB written"
    std::string headline(const EditResult& result)
    {
        auto text = printable(result.file) + ": ";
        if (result.status == EditStatus::Unchanged)
            return text + (result.wasDoneBefore ? "done before, as the journal says" : "unchanged");
        const char* would = result.dryRun ? "would be " : "";
        if (result.output != result.file)
            text += fmt::format("{}written to {}", would, printable(result.output));
        else if (result.mode == SaveMode::InPlace)
            text += fmt::format("{}updated in place", would);
        else
            text += fmt::format("{}written anew as a whole", would);
        if (!result.dryRun)
            text += fmt::format(", {} written", FileHelper::formatFileSize(result.bytesWritten));
        return text;
    }

} // namespace

Json editJson(const EditResult& result)
{
    auto changes = Json::array();
    for (const auto& change : result.changes)
        changes.push_back({{"path", change.path}, {"before", change.before}, {"after", change.after}});
    Json json {
        {"file", result.file},
        {"status", statusName(result.status)},
        {"mode", modeName(result.mode)},
        {"output", result.output.empty() ? Json {} : Json(result.output)},
        {"bytesWritten", result.bytesWritten},
        {"changes", std::move(changes)},
        {"warnings", result.warnings},
        {"error", result.error.empty() ? Json {} : Json(result.error)},
    };
    if (!result.extracted.empty()) {
        auto files = Json::array();
        for (const auto& [output, bytesWritten] : result.extracted)
            files.push_back({{"output", output}, {"bytesWritten", bytesWritten}});
        json["extracted"] = std::move(files);
    }
    if (result.dryRun)
        json["dryRun"] = true;
    if (result.wasDoneBefore)
        json["doneBefore"] = true;
    if (result.media) {
        auto media = Json::array();
        for (const auto& track : *result.media)
            media.push_back({{"track", track.trackID}, {"before", textOrNull(track.before)},
                {"after", textOrNull(track.after)}});
        json["media"] = std::move(media);
    }
    return json;
}

std::string editText(const EditResult& result)
{
    if (result.status == EditStatus::Failed)
        return {}; // standard error has the message
    auto text = headline(result) + '\n';
    for (const auto& change : result.changes)
        text += fmt::format(
            "  {}: {} -> {}\n", change.path, valueText(change.before), valueText(change.after));
    for (const auto& [output, bytesWritten] : result.extracted)
        text += result.dryRun ? fmt::format("  a track would be extracted to {}\n", printable(output))
                              : fmt::format("  a track was extracted to {}, {} written\n", printable(output),
                                  FileHelper::formatFileSize(bytesWritten));
    if (result.media)
        text += fmt::format("  media verified: {} track{} alike before and after\n", result.media->size(),
            result.media->size() == 1 ? "" : "s");
    return text;
}

namespace {

    /// One run over all files, on several threads.
    class EditRun
    {
    public:
        EditRun(const EditOptions& options, Console& console, OutputFormat format,
            std::vector<PlannedOutput> plan, SaveJournal* journal, Mention mention)
            : m_options(options)
            , m_journal(journal)
            , m_mention(mention)
            , m_console(console)
            , m_plan(std::move(plan))
            , m_writer(console, format, m_plan.size())
            , m_storage(Storage::posix(options.sync ? Storage::Sync::On : Storage::Sync::Off))
            , m_fractions(m_plan.size())
        {
        }

        void all()
        {
            const auto count = std::min<std::size_t>(m_options.jobs, m_plan.size());
            {
                std::vector<std::jthread> workers;
                for (std::size_t i = 1; i < count; ++i)
                    workers.emplace_back([this] { work(); });
                work();
            }
            m_console.endProgress();
            m_writer.finish();
        }

        [[nodiscard]] bool hasFailures() const { return m_hasFailures; }
        [[nodiscard]] bool wasCancelled() const { return m_wasCancelled; }

    private:
        void work()
        {
            for (auto index = m_next++; index < m_plan.size(); index = m_next++)
                report(index, editOne(index));
        }

        EditResult editOne(std::size_t index)
        {
            const auto& planned = m_plan[index];
            if (interrupt::received() != 0) {
                auto result = EditResult::failed(planned.file, kNotBegun);
                result.cancelled = true;
                return result;
            }
            const auto progress = [this, index](double fraction) {
                m_fractions[index] = fraction;
                showProgress(m_plan[index].file);
                return interrupt::received() == 0;
            };
            progress(0);
            EditResult result;
            const auto done = guarded([&]() -> Result<void> {
                FileEdit edit {m_options, m_storage, progress, m_journal};
                if (edit.hasWritten(planned.output)) {
                    result.file = planned.file;
                    result.status = EditStatus::Unchanged;
                    result.wasDoneBefore = true;
                } else if (!planned.refusal.empty())
                    result = EditResult::failed(planned.file, planned.refusal);
                else
                    result = edit.run(planned.file, planned.output);
                return {};
            });
            m_fractions[index] = 1;
            return done ? result : EditResult::failed(planned.file, done.error().message());
        }

        void report(std::size_t index, const EditResult& result)
        {
            if (result.status == EditStatus::Failed) {
                m_hasFailures = true;
                if (result.cancelled)
                    m_wasCancelled = true;
                if (!result.cancelled)
                    KWLog::appendLog("Error editing {}: {}", result.file, result.error);
                if (result.error != kNotBegun)
                    m_console.message(result.file, result.error);
            }
            if (result.isIncomplete)
                m_hasFailures = true;
            if (result.wasDoneBefore && m_mention == Mention::WhatIsDone) {
                m_writer.skip(index);
                return;
            }
            for (const auto& warning : result.warnings)
                m_console.message(result.file, "warning: " + warning);
            if (m_writer.wantsText())
                m_writer.addText(index, editText(result));
            else
                m_writer.addJson(index, editJson(result));
        }

        void showProgress(const std::string& file)
        {
            double done = 0;
            for (const auto& fraction : m_fractions)
                done += fraction;
            m_console.progress(file, done / static_cast<double>(m_plan.size()));
        }

        const EditOptions& m_options;
        SaveJournal* m_journal;
        const Mention m_mention;
        Console& m_console;
        const std::vector<PlannedOutput> m_plan;
        ResultWriter m_writer;
        const std::shared_ptr<Storage> m_storage;
        std::vector<std::atomic<double>> m_fractions; ///< done of each file
        std::atomic<std::size_t> m_next = 0;
        std::atomic<bool> m_wasCancelled = false;
        std::atomic<bool> m_hasFailures = false;
    };

} // namespace

void EditCommand::addOptions(CLI::App& app)
{
    m_arguments.addTo(app);
}

void EditCommand::check()
{
    m_options = m_arguments.finish();
    if (m_options.plan.isEmpty() && m_options.isInPlace() && !m_options.forceResave)
        throwUsageError("no edit is given, so there is nothing to do");
}

int EditCommand::run(const Invocation& invocation)
{
    if (m_options.outputFile && invocation.files.size() != 1) {
        invocation.console.message(
            {}, "-o names the output of one file; give exactly one, or use --output-dir or --suffix");
        return exitStatus::kWrongUsage;
    }
    const auto journal = openJournal(m_options);
    if (!journal) {
        invocation.console.message({}, journal.error().message());
        return exitStatus::kFailed;
    }
    return editFiles(m_options, invocation, journal->get());
}

Result<std::unique_ptr<SaveJournal>> openJournal(const EditOptions& options)
{
    const bool isThere = ::access(options.journal.c_str(), F_OK) == 0;
    if (options.journal.empty() || (options.dryRun && !isThere))
        return nullptr;
    return SaveJournal::open(
        options.journal, options.planText, options.sync ? Storage::Sync::On : Storage::Sync::Off);
}

int editFiles(const EditOptions& options, const Invocation& invocation, SaveJournal* journal, Mention mention)
{
    auto& console = invocation.console;
    interrupt::listen();
    // A reader of the results that goes away must not end a save; it is reported as a failed write.
    ::signal(SIGPIPE, SIG_IGN); // NOLINT: ignoring needs no handler
    EditRun work {options, console, invocation.format,
        planOutputs(invocation.files, options,
            [&](const std::string& alias, const std::string& kept) {
                console.message(alias, "warning: is the same file as " + kept + ", which is edited once");
            }),
        journal, mention};
    work.all();
    // A signal that came when the last file was done has stopped nothing.
    if (const int signal = interrupt::received(); signal != 0 && work.wasCancelled()) {
        console.message(
            {}, fmt::format("stopped by signal {}; the files that were not done are as they were", signal));
        return 128 + signal;
    }
    return work.hasFailures() ? 1 : 0;
}

} // namespace reelwright::cli

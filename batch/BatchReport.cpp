#include "batch/BatchReport.h"

#include "report/Printable.h"
#include "report/TextTable.h"
#include "support/FileHelper.h"
#include "support/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace reelwright {
namespace {

    using Status = BatchResult::Status;

    const char* modeName(BatchResult::Road road)
    {
        switch (road) {
        case BatchResult::Road::InPlace:
            return "in-place";
        case BatchResult::Road::WholeFile:
            return "flattened";
        case BatchResult::Road::Nothing:
            break;
        }
        return "none";
    }

    const char* verifiedText(const BatchResult& result)
    {
        if (!result.verified)
            return "";
        return *result.verified ? "same media" : "media differ";
    }

    const char* outcomeName(StepOutcome outcome)
    {
        switch (outcome) {
        case StepOutcome::Changed:
            return "changed";
        case StepOutcome::Nothing:
            return "nothing to do";
        case StepOutcome::Failed:
            return "failed";
        case StepOutcome::NotReached:
            break;
        }
        return "not reached";
    }

    std::string csvField(const std::string& text)
    {
        if (text.find_first_of(",\"\r\n") == std::string::npos)
            return text;
        std::string quoted = "\"";
        for (const char character : text)
            quoted += character == '"' ? std::string("\"\"") : std::string(1, character);
        return quoted + '"';
    }

} // namespace

BatchTotals BatchTotals::of(std::span<const BatchResult> results)
{
    BatchTotals totals;
    totals.files = results.size();
    for (const auto& result : results) {
        totals.done += result.status == Status::Done ? 1U : 0U;
        totals.unchanged += result.status == Status::Unchanged ? 1U : 0U;
        totals.failed += result.status == Status::Failed ? 1U : 0U;
        totals.warnings += result.warnings.size();
        totals.verified += result.verified.value_or(false) ? 1U : 0U;
        totals.bytesWritten += result.bytesWritten;
        totals.seconds += result.seconds;
    }
    return totals;
}

std::string batchReportCsv(std::span<const BatchResult> results)
{
    std::string text = "File,Status,Result,Output,Mode,Bytes written,Verified,Warnings\r\n";
    for (const auto& result : results)
        text += fmt::format("{},{},{},{},{},{},{},{}\r\n", csvField(result.file),
            BatchResult::statusName(result.status), csvField(result.text()), csvField(result.output),
            modeName(result.road), result.bytesWritten, verifiedText(result),
            csvField(fmt::format("{}", fmt::join(result.warnings, "\n"))));
    return text;
}

Json batchReportJson(const BatchQueue& queue, std::span<const BatchResult> results)
{
    auto changes = Json::array();
    for (const auto& entry : queue)
        changes.push_back({{"label", entry.desc}, {"arguments", entry.arguments}});
    auto files = Json::array();
    for (const auto& result : results) {
        auto steps = Json::array();
        for (const auto step : result.steps)
            steps.push_back(outcomeName(step));
        files.push_back({{"file", result.file}, {"status", BatchResult::statusName(result.status)},
            {"mode", modeName(result.road)},
            {"output", result.output.empty() ? Json {} : Json(result.output)},
            {"bytesWritten", result.bytesWritten}, {"steps", std::move(steps)}, {"warnings", result.warnings},
            {"error", result.error.empty() ? Json {} : Json(result.error)},
            {"verified", result.verified ? Json(*result.verified) : Json {}}, {"seconds", result.seconds}});
    }
    const auto totals = BatchTotals::of(results);
    return {{"queue", std::move(changes)},
        {"totals",
            {{"files", totals.files}, {"done", totals.done}, {"unchanged", totals.unchanged},
                {"failed", totals.failed}, {"warnings", totals.warnings},
                {"bytesWritten", totals.bytesWritten}}},
        {"files", std::move(files)}};
}

std::string batchReportText(const BatchQueue& queue, std::span<const BatchResult> results)
{
    const auto totals = BatchTotals::of(results);
    std::string text
        = fmt::format("{} files: {} done, {} unchanged, {} failed; {} written\n\nChanges:\n", totals.files,
            totals.done, totals.unchanged, totals.failed, FileHelper::formatFileSize(totals.bytesWritten));
    for (const auto& entry : queue)
        text += fmt::format("  {}\n", printable(entry.desc));
    text += "\nFiles:\n";
    TextTable table {{TextTable::Align::Left, TextTable::Align::Left, TextTable::Align::Right}};
    for (const auto status : {Status::Failed, Status::Waiting, Status::Unchanged, Status::Done})
        for (const auto& result : results)
            if (result.status == status) {
                table.addRow({BatchResult::statusName(status), printable(result.file),
                    FileHelper::formatFileSize(result.bytesWritten), printable(result.text()),
                    verifiedText(result)});
                for (const auto& warning : result.warnings)
                    table.addRow({"", "  " + printable(warning)});
            }
    return text + table.text(2);
}

std::string batchCommandLine(
    const BatchQueue& queue, const BatchSettings& settings, std::span<const std::string> files)
{
    std::string line = "reelwright-cli edit";
    const auto add = [&](const std::string& word) { line += ' ' + shellWord(word); };
    for (const auto& entry : queue)
        for (const auto& argument : entry.arguments)
            add(argument);
    if (settings.stripEditLists && conformFPS(queue) != 0)
        add("--strip-edit-lists");
    if (settings.mode == BatchMode::AppendText) {
        add("--suffix");
        add(settings.extension);
    } else if (settings.mode == BatchMode::OutputFolder) {
        add("--output-dir");
        add(settings.directory);
    }
    if (settings.mode != BatchMode::InPlace)
        add("--overwrite");
    if (settings.needsFlattening)
        add("--force-resave");
    if (settings.verify)
        add("--verify");
    if (settings.keepDates)
        add("--preserve-times");
    if (settings.jobs > 1)
        line += fmt::format(" --jobs {}", settings.jobs);
    if (files.empty())
        return line + " FILE...";
    for (const auto& file : files)
        add(file.starts_with('-') ? "./" + file : file);
    return line;
}

} // namespace reelwright

#include "cli/CheckCommand.h"

#include "checks/RuleSet.h"
#include "cli/FileReports.h"
#include "report/FactsJson.h"
#include "report/Printable.h"
#include "support/Text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace reelwright::cli {
namespace {

    /// The command that mends what was found.
    std::string mendingCommand(const CheckResult& result, const std::string& file)
    {
        std::string command = "reelwright-cli edit";
        for (const auto& edit : result.edits()) {
            const auto space = edit.find(' ');
            command += ' ' + edit.substr(0, space);
            if (space != std::string::npos)
                command += ' ' + shellWord(edit.substr(space + 1));
        }
        return command + ' ' + shellWord(file.starts_with('-') ? "./" + file : file);
    }

    std::string checkText(const CheckResult& result, const std::string& file)
    {
        auto text = fmt::format("{}: {}\n", printable(file), result.summary());
        for (const auto& finding : result.findings)
            text += fmt::format("  {}: {}\n", severityName(finding.severity), printable(finding.text));
        if (!result.edits().empty())
            text += fmt::format("  to mend it: {}\n", printable(mendingCommand(result, file)));
        return text;
    }

    int listRules(const Invocation& invocation)
    {
        int status = exitStatus::kDone;
        auto all = Json::array();
        std::string text;
        for (const auto& name : RuleSet::installed()) {
            const auto rules = RuleSet::find(name);
            if (!rules) {
                invocation.console.message({}, rules.error().message());
                status = exitStatus::kFailed;
                continue;
            }
            all.push_back({{"name", name}, {"title", rules->name}, {"description", rules->description},
                {"rules", rules->rules.size()}});
            text += fmt::format(
                "{}: {}, {} rules\n  {}\n", name, rules->name, rules->rules.size(), rules->description);
        }
        if (invocation.format == OutputFormat::Text)
            invocation.console.write(text);
        else if (invocation.format == OutputFormat::JsonDocument)
            invocation.console.write(toText(all, JsonStyle::Indented) + '\n');
        else
            for (const auto& each : all)
                invocation.console.write(toText(each, JsonStyle::OneLine) + '\n');
        return status;
    }

} // namespace

void CheckCommand::addOptions(CLI::App& app)
{
    app.add_option("--rules", m_rules, "The rules: a file, or the name of a set that --list names")
        ->option_text("FILE");
    app.add_flag("--list", m_isList, "List the sets of rules that come with the program");
}

void CheckCommand::check()
{
    m_rules = asTyped(m_rules);
    if (m_rules.empty() && !m_isList)
        throwUsageError("no rules are given; name them with --rules, --list lists those that are there");
}

int CheckCommand::run(const Invocation& invocation)
{
    if (m_isList)
        return listRules(invocation);
    if (invocation.files.empty()) {
        invocation.console.message({}, "no file is named");
        return exitStatus::kWrongUsage;
    }
    const auto rules = RuleSet::find(m_rules);
    if (!rules) {
        invocation.console.message({}, rules.error().message());
        return exitStatus::kWrongUsage;
    }
    bool haveAllPassed = true;
    const int status = reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        const auto result = reelwright::check(factsJson(MovieFacts::of(movie)), *rules);
        haveAllPassed = haveAllPassed && result.hasPassed();
        FileReport report;
        report.text = checkText(result, file);
        report.json = {{"file", file}};
        report.json.update(checkJson(result, *rules));
        report.json["error"] = nullptr;
        return report;
    });
    return status != exitStatus::kDone || haveAllPassed ? status : exitStatus::kFailed;
}

} // namespace reelwright::cli

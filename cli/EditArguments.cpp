#include "cli/EditArguments.h"

#include "cli/Command.h"
#include "edits/TrackEdits.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    constexpr int kMaxJobs = 64;
    constexpr auto kWhere = "Where the result goes";
    constexpr auto kHow = "How it is saved";

    /// The fields of --track, as the help lists them.
    std::string trackFieldHelp()
    {
        std::string text = "\nFields of --track SELECTOR:FIELD=VALUE:\n";
        for (const auto& field : edits::trackFields())
            text += fmt::format("  {:<28}  {}\n", fmt::format("{}={}", field.name, field.value), field.help);
        return text;
    }

} // namespace

void EditArguments::addTo(CLI::App& app)
{
    m_app = &app;
    app.footer(trackFieldHelp() + app.get_footer());
    for (const auto& group : editGroups())
        for (const auto& kind : group.kinds) {
            auto* added = *kind.value == '\0' ? app.add_flag(kind.option, kind.help)->disable_flag_override()
                                              : app.add_option(kind.option, CLI::callback_t {}, kind.help)
                                                    ->option_text(kind.value)
                                                    ->take_all();
            added->group(fmt::format("Edits, applied in the order given: {}", group.title));
            m_kinds[added] = &kind;
        }
    app.add_option("--options-from", CLI::callback_t {},
           "Read options from FILE, one or more a line, as if\nthey stood here: a repair with a name")
        ->option_text("FILE")
        ->group("Options from a file");
    addOutputs(app);
    const auto flag = [&](const char* name, bool& value, const char* text, const char* group) {
        app.add_flag(name, value, text)->group(group);
    };
    flag("--overwrite", m_options.overwrite, "A copy may replace a file that exists", kWhere);
    flag("-n,--dry-run", m_options.dryRun, "Print what would change; write nothing", kHow);
    flag("--force-resave", m_options.forceResave,
        "Write the whole movie anew, header first, even where\nits header could be updated in place", kHow);
    flag("--verify", m_options.verify,
        "Compare checksums of every track's media before and\nafter the save (reads all media twice)", kHow);
    flag("--preserve-times", m_options.preserveTimes, "Keep the file's access and modification times", kHow);
    app.add_flag_callback(
           "--no-sync", [this] { m_options.sync = false; },
           "Do not wait for the disk; for scratch work: a crash\nmay lose the file")
        ->group(kHow);
    app.add_option("--journal", m_options.journal,
           "Note in FILE what is saved, so that the same command\nstarted again, after a crash too, does no "
           "file twice")
        ->option_text("FILE")
        ->group(kHow);
    app.add_option("--jobs", m_options.jobs, fmt::format("Work on N files at a time (1 to {})", kMaxJobs))
        ->option_text("N")
        ->check(CLI::Range(1, kMaxJobs))
        ->group(kHow);
}

void EditArguments::addOutputs(CLI::App& app)
{
    app.add_option("--suffix", m_options.suffix,
           "Write a copy beside each file, with TEXT behind its\nname: clipTEXT.mov")
        ->option_text("TEXT")
        ->group(kWhere);
    app.add_option("--output-dir", m_options.outputFolder,
           "Write a copy of the same name into DIR, which is made\nwhen it is missing")
        ->option_text("DIR")
        ->group(kWhere);
    app.add_option("-o,--output", m_options.outputFile, "Write a copy of the only file to OUT")
        ->option_text("OUT")
        ->group(kWhere);
}

void EditArguments::checkOutputs()
{
    int outputs = 0;
    for (auto* output : {&m_options.suffix, &m_options.outputFolder, &m_options.outputFile})
        if (*output) {
            ++outputs;
            **output = asTyped(**output);
        }
    if (outputs > 1)
        throwUsageError("only one of --suffix, --output-dir and -o can be given");
    if (m_options.suffix && (m_options.suffix->empty() || m_options.suffix->find('/') != std::string::npos))
        throwUsageError("--suffix takes a text that is not empty and has no \"/\"");
    for (const auto& path : {m_options.outputFolder, m_options.outputFile})
        if (path && path->empty())
            throwUsageError("an output path is empty");
}

EditOptions EditArguments::finish()
{
    checkOutputs();
    EditSteps steps;
    std::map<const CLI::Option*, std::size_t> used;
    for (const auto* option : m_app->parse_order()) {
        const auto known = m_kinds.find(option);
        if (known == m_kinds.end())
            continue;
        const auto value = asTyped(option->results().at(used[option]++));
        if (const auto parsed = known->second->parse(value, steps); !parsed)
            throwUsageError(parsed.error().detail);
        m_options.planText += fmt::format("{} {}\n", known->second->option, value);
    }
    m_options.journal = asTyped(m_options.journal);
    auto plan = steps.finish();
    if (!plan)
        throwUsageError(plan.error().detail);
    m_options.plan = std::move(*plan);
    return m_options;
}

} // namespace reelwright::cli

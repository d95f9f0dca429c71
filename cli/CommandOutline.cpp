#include "cli/CommandOutline.h"

#include "cli/Command.h"
#include "edits/QuickTasks.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace reelwright::cli {
namespace {

    bool isWord(std::string_view text)
    {
        return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
        });
    }

    /// "ntsc|pal|hd|P-T-M" offers three words; capitals stand for what the user makes up.
    std::vector<std::string> wordsIn(std::string_view value)
    {
        std::vector<std::string> words;
        if (value.find('|') == std::string_view::npos)
            return words;
        while (!value.empty()) {
            const auto word = value.substr(0, value.find('|'));
            value.remove_prefix(std::min(value.size(), word.size() + 1));
            if (isWord(word))
                words.emplace_back(word);
        }
        return words;
    }

    std::vector<std::string> choicesOf(const OptionOutline& option)
    {
        if (option.names.back() != "--task")
            return wordsIn(option.value);
        std::vector<std::string> names;
        for (const auto& task : quickTasks())
            names.push_back(task.optionName());
        return names;
    }

    /// "N" of "N:INT in [0 - 99]".
    std::string typeOf(const CLI::Option& option)
    {
        const auto type = option.get_type_name();
        return type.substr(0, type.find(':'));
    }

    OptionOutline outlineOf(const CLI::Option& option)
    {
        OptionOutline outline;
        for (const auto& name : option.get_snames())
            outline.names.push_back('-' + name);
        for (const auto& name : option.get_lnames())
            outline.names.push_back("--" + name);
        if (option.get_items_expected_max() != 0)
            outline.value = option.get_option_text().empty() ? typeOf(option) : option.get_option_text();
        outline.help = option.get_description();
        outline.group = option.get_group();
        outline.choices = choicesOf(outline);
        outline.isFolder = outline.value == "DIR" || outline.value == "FOLDER";
        return outline;
    }

} // namespace

std::string usageOf(const CLI::App& command)
{
    std::string usage = command.get_subcommands({}).empty() ? "[OPTION...]" : "COMMAND [OPTION...] FILE...";
    for (const auto* argument : command.get_options([](const CLI::Option* o) { return o->get_positional(); }))
        usage += ' ' + argument->get_name(true) + (argument->get_option_text() == "..." ? "..." : "");
    return usage;
}

std::vector<CommandOutline> outlineOf(const CLI::App& program)
{
    std::vector<CommandOutline> commands;
    for (const auto* app : program.get_subcommands({})) {
        CommandOutline command {
            app->get_name(), app->get_description(), usageOf(*app), app->get_footer(), {}, false};
        for (const auto& kind : commandKinds())
            if (kind.name == command.name)
                command.takesFiles = kind.files != FilesUse::None;
        for (const auto* option : app->get_options([](const CLI::Option* o) { return o->nonpositional(); }))
            command.options.push_back(outlineOf(*option));
        commands.push_back(std::move(command));
    }
    return commands;
}

} // namespace reelwright::cli

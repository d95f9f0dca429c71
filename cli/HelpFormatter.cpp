#include "cli/HelpFormatter.h"

#include "cli/CommandOutline.h"

#include <fmt/format.h>

#include <string_view>

namespace reelwright::cli {
namespace {

    constexpr std::size_t kOptionColumn = 34;

    bool hasCommands(const CLI::App& app)
    {
        return !app.get_subcommands({}).empty();
    }

} // namespace

HelpFormatter::HelpFormatter()
{
    column_width(kOptionColumn);
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const
{
    const auto help = CLI::Formatter::make_help(app, std::move(name), mode);
    std::string result;
    for (std::size_t i = 0; i < help.size(); ++i)
        if (!std::string_view(help).substr(i).starts_with("\n\n\n"))
            result += help[i];
    return result;
}

std::string HelpFormatter::make_description(const CLI::App* app) const
{
    return app->get_description() + "\n\n";
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const
{
    return fmt::format("Usage: {} {}\n", name, usageOf(*app));
}

std::string HelpFormatter::make_subcommands(const CLI::App* app, CLI::AppFormatMode) const
{
    if (!hasCommands(*app))
        return {};
    std::string text = "\nCommands:\n";
    for (const auto* command : app->get_subcommands({})) {
        const auto description = command->get_description();
        text
            += fmt::format("  {:10}{}\n", command->get_name(), description.substr(0, description.find('\n')));
    }
    return text;
}

} // namespace reelwright::cli

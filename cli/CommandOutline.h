#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace reelwright::cli {

/// An option as a shell or a page of the manual knows it.
struct OptionOutline
{
    std::vector<std::string> names; ///< "-n", "--dry-run"
    std::string value; ///< what follows it: "left|right", "DIR", "" for nothing
    std::string help;
    std::string group;
    std::vector<std::string> choices; ///< the fixed words among its values
    bool isFolder = false; ///< its value is a folder
};

struct CommandOutline
{
    std::string name;
    std::string description;
    std::string usage; ///< "[OPTION...] FILE..."
    std::string footer;
    std::vector<OptionOutline> options;
    bool takesFiles = false;
};

/// What follows the name of a command: "[OPTION...] FILE...".
std::string usageOf(const CLI::App& command);

/// All commands of the program as the parser knows them.
std::vector<CommandOutline> outlineOf(const CLI::App& program);

/// Completion for a shell, to be sourced or put where it looks: "bash", "zsh" or "fish".
std::string bashCompletion(const std::vector<CommandOutline>& commands);
std::string zshCompletion(const std::vector<CommandOutline>& commands);
std::string fishCompletion(const std::vector<CommandOutline>& commands);

/// The manual page, in the roff language with the macros of man(7).
std::string manualPage(const CLI::App& program, const std::vector<CommandOutline>& commands);

} // namespace reelwright::cli

#pragma once

#include "cli/Console.h"
#include "cli/ResultWriter.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace reelwright::cli {

namespace exitStatus {
    constexpr int kDone = 0;
    constexpr int kFailed = 1;
    constexpr int kWrongUsage = 2;
} // namespace exitStatus

/// What a command is started with, beside its own options.
struct Invocation
{
    std::vector<std::string> files; ///< named on the command line and in the list of files
    OutputFormat format = OutputFormat::Text;
    Console& console;
};

/// One command of the tool: the options that only it has, and what it does. One is made for each start.
class Command
{
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    virtual void addOptions(CLI::App&) { }
    /// All options are read. Throws `usageError` where they do not go together.
    virtual void check() { }
    /// Answers the exit status.
    virtual int run(const Invocation& invocation) = 0;
};

/// Which files a command is given.
enum class FilesUse {
    Needed, ///< at least one, or a list of them
    Optional,
    None, ///< it knows no files
};

/// A command as the program and its help know it.
struct CommandKind
{
    const char* name;
    const char* description;
    const char* footer;
    FilesUse files;
    std::unique_ptr<Command> (*make)();
};

/// All of them, in the order of the help.
std::span<const CommandKind> commandKinds();

/// Throws wrong usage that the parser itself cannot see, as a sentence.
[[noreturn]] void throwUsageError(const std::string& message);

/// The value of an option as it was typed. The parser takes arguments in brackets for lists of its own and
/// would split them; file names may look so, and pass through it in disguise.
std::string asTyped(const std::string& value);

} // namespace reelwright::cli

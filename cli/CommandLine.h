#pragma once

#include "cli/Command.h"
#include "cli/FileList.h"

#include <optional>
#include <variant>

namespace reelwright::cli {

/// What the command line asks for.
struct Request
{
    std::unique_ptr<Command> command; ///< with its options
    OutputFormat format = OutputFormat::Text;
    std::vector<std::string> files; ///< named on the command line
    std::optional<std::string> fileList; ///< a file of more names, "-" for standard input
    NameSeparator separator = NameSeparator::LineEnd;
};

/// Nothing is to be done: the help or the version was printed, or the usage was wrong (and said to be on
/// standard error).
struct Answered
{
    int exitStatus = 0;
};

/// Reads the command line.
std::variant<Request, Answered> parseCommandLine(int argc, const char* const* argv);

} // namespace reelwright::cli

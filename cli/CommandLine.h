#pragma once

#include "cli/AtomTree.h"
#include "cli/EditOptions.h"
#include "cli/FileList.h"
#include "cli/ResultWriter.h"
#include "cli/TimecodeCommand.h"

#include <variant>

namespace reelwright::cli {

enum class Command { Info, Tracks, Timecode, Atoms, Edit };

/// What the command line asks for.
struct Request
{
    Command command = Command::Info;
    OutputFormat format = OutputFormat::Text;
    std::vector<std::string> files; ///< named on the command line
    std::optional<std::string> fileList; ///< a file of more names, "-" for standard input
    NameSeparator separator = NameSeparator::LineEnd;
    AtomTree::Limits atomLimits;
    TimecodeQuery timecode;
    EditOptions edit;
};

/// Nothing is to be done: the help or the version was printed, or the usage was wrong (and said to be on
/// standard error).
struct Answered
{
    int exitStatus = 0;
};

namespace exitStatus {
    constexpr int kDone = 0;
    constexpr int kFailed = 1;
    constexpr int kWrongUsage = 2;
} // namespace exitStatus

/// Reads the command line.
std::variant<Request, Answered> parseCommandLine(int argc, const char* const* argv);

} // namespace reelwright::cli

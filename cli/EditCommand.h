#pragma once

#include "cli/EditOptions.h"
#include "cli/FileEdit.h"
#include "cli/ResultWriter.h"

namespace reelwright::cli {

/// `reelwright-cli edit`: edits many files, some at a time, and reports each.
class EditCommand
{
public:
    EditCommand(const EditOptions& options, Console& console, OutputFormat format);

    /// The exit status: 0, 1 when a file failed, 128 and the signal's number when a signal ended the run.
    int run(const std::vector<std::string>& files);

private:
    class Run;

    const EditOptions& m_options;
    Console& m_console;
    OutputFormat m_format;
};

/// A result as an object and as text for people.
Json editJson(const EditResult& result);
std::string editText(const EditResult& result);

} // namespace reelwright::cli

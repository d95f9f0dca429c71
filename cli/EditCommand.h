#pragma once

#include "cli/Command.h"
#include "cli/EditArguments.h"
#include "cli/FileEdit.h"

namespace reelwright::cli {

/// `reelwright-cli edit`: edits many files, some at a time, and reports each.
class EditCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    /// The exit status: 0, 1 when a file failed, 128 and the signal's number when a signal ended the run.
    int run(const Invocation& invocation) override;

private:
    EditArguments m_arguments;
    EditOptions m_options;
};

/// Which results are told.
enum class Mention { Everything, WhatIsDone };

/// Edits the files as the options say, some at a time, and reports each. The exit status as above. `journal`
/// may be null.
int editFiles(const EditOptions& options, const Invocation& invocation, SaveJournal* journal,
    Mention mention = Mention::Everything);

/// The journal that the options name; null where they name none, or in a dry run one that is not there.
Result<std::unique_ptr<SaveJournal>> openJournal(const EditOptions& options);

/// A result as an object and as text for people.
Json editJson(const EditResult& result);
std::string editText(const EditResult& result);

} // namespace reelwright::cli

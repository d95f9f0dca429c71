#pragma once

#include "cli/Command.h"
#include "cli/EditArguments.h"

namespace reelwright::cli {

/// `reelwright-cli watch`: edits each movie that comes into a folder, once, when nobody writes to it any
/// more.
class WatchCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    /// The exit status: 0 also when a signal ended it; 1 when a file failed.
    int run(const Invocation& invocation) override;

private:
    EditArguments m_arguments;
    EditOptions m_options;
    bool m_isOnce = false;
    double m_settle = 3; ///< seconds
};

} // namespace reelwright::cli

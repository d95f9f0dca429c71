#pragma once

#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli info`: the report on each movie. The exit status: 1 when a file could not be opened, else
/// 0.
class InfoCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    int run(const Invocation& invocation) override;

private:
    bool m_withPicture = false; ///< warn of what the pictures themselves contradict
    bool m_isReport = false; ///< the information report of the desktop program
};

/// `reelwright-cli tracks`: the track table of each movie. The exit status as of `info`.
class TracksCommand final : public Command
{
public:
    int run(const Invocation& invocation) override;
};

} // namespace reelwright::cli

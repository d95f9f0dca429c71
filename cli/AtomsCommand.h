#pragma once

#include "cli/AtomTree.h"
#include "cli/Command.h"

namespace reelwright::cli {

/// `reelwright-cli atoms`: the atoms of each file. The exit status: 1 when a file could not be read or is
/// damaged (what is there of it is shown all the same), else 0.
class AtomsCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    int run(const Invocation& invocation) override;

private:
    AtomTree::Limits m_limits;
};

std::string atomsText(const std::string& file, const AtomTree& tree);
Json atomsJson(const std::string& file, const AtomTree& tree);

} // namespace reelwright::cli

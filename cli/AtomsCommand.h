#pragma once

#include "cli/Command.h"
#include "report/AtomTree.h"

namespace reelwright::cli {

/// What is told of the atoms beside their places.
struct AtomsView
{
    bool fields = false; ///< the fields of each, by name
    bool hex = false; ///< the bytes of each that holds no atoms
    std::string find; ///< only atoms whose path ends so: "tkhd", "trak/tkhd"; empty for all
};

/// `reelwright-cli atoms`: the atoms of each file. The exit status: 1 when a file could not be read or is
/// damaged (what is there of it is shown all the same), else 0.
class AtomsCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    int run(const Invocation& invocation) override;

private:
    AtomTree::Limits m_limits;
    AtomsView m_view;
};

std::string atomsText(const std::string& file, const AtomTree& tree, const AtomsView& view);
Json atomsJson(const std::string& file, const AtomTree& tree, const AtomsView& view);

} // namespace reelwright::cli

#pragma once

#include "cli/AtomTree.h"
#include "cli/ResultWriter.h"

namespace reelwright::cli {

/// `reelwright-cli atoms`: the atoms of each file. The exit status: 1 when a file could not be read or is
/// damaged (what is there of it is shown all the same), else 0.
int runAtoms(const std::vector<std::string>& files, const AtomTree::Limits& limits, Console& console,
    OutputFormat format);

std::string atomsText(const std::string& file, const AtomTree& tree);
Json atomsJson(const std::string& file, const AtomTree& tree);

} // namespace reelwright::cli

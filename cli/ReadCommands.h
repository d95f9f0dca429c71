#pragma once

#include "cli/ResultWriter.h"

#include <string>
#include <vector>

namespace reelwright::cli {

/// `reelwright-cli info`: the report on each movie. The exit status: 1 when a file could not be opened, else
/// 0.
int runInfo(const std::vector<std::string>& files, Console& console, OutputFormat format);

/// `reelwright-cli tracks`: the track table of each movie. The exit status as of runInfo.
int runTracks(const std::vector<std::string>& files, Console& console, OutputFormat format);

} // namespace reelwright::cli

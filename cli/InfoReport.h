#pragma once

#include "cli/MovieFacts.h"

namespace reelwright::cli {

/// The report on a movie as text.
std::string infoReport(const MovieFacts& facts);
/// The table of its tracks, each line indented by `indent` spaces. The kind column names each track as a
/// selector does.
std::string trackTable(const MovieFacts& facts, std::size_t indent = 0);

} // namespace reelwright::cli

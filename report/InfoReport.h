#pragma once

#include "report/MovieFacts.h"

namespace reelwright {

/// One line of a report: what it is about, and what there is to say.
struct ReportRow
{
    std::string name; ///< "Frame rate"
    std::string value; ///< printable
};

/// What there is to say of the movie as a whole.
std::vector<ReportRow> movieRows(const MovieFacts& facts);
/// What there is to say of one of its tracks.
std::vector<ReportRow> trackRows(const TrackFacts& track);

/// The report on a movie as text.
std::string infoReport(const MovieFacts& facts);
/// The table of its tracks, each line indented by `indent` spaces. The kind column names each track as a
/// selector does.
std::string trackTable(const MovieFacts& facts, std::size_t indent = 0);

} // namespace reelwright

#pragma once

#include "report/Json.h"
#include "timecode/TimecodeSurvey.h"

#include <string>

namespace reelwright {

/// The places of a movie's timecodes as a table, one a row; a place that contradicts the one in use has "!"
/// before its difference.
std::string timecodeTable(const TimecodeSurvey& survey, std::size_t indent);
/// The same as an array of {source, kind, track, start, reel, inUse, difference, unit, disagrees, breaks,
/// remarks}.
Json timecodesJson(const TimecodeSurvey& survey);

} // namespace reelwright

#pragma once

#include "report/Json.h"
#include "report/MovieFacts.h"

#include <vector>

namespace reelwright {

/// One difference between two states of a movie.
struct Change
{
    std::string path; ///< "settings/autoPlay", "tracks/2/enabled" (by track ID), "tracks/1/matrix"
    Json before; ///< null where there was nothing
    Json after; ///< null where there is nothing any more
};

/// What differs, in the order of the facts. Times and matrices are compared whole.
std::vector<Change> changesBetween(const MovieFacts& before, const MovieFacts& after);

/// A value of a change on one line, printable: "on", "00:00:01:00 (25/25)", "[1 0 0 0 1 0 0 0 1]", "none",
/// "Text track tx1, text, 00:00:03:00", "width 720, height 576".
std::string valueText(const Json& value);

} // namespace reelwright

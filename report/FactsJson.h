#pragma once

#include "report/Json.h"
#include "report/MovieFacts.h"

namespace reelwright {

/// All facts. Absent values are null.
Json factsJson(const MovieFacts& facts);
/// Without its metadata, which can be large.
Json trackJson(const TrackFacts& facts);
/// What is told of the movie itself, without its tracks and chapters.
Json ownJson(const MovieFacts& facts);
/// Only what an edit may change: nothing about the file and its state on disk. Without metadata.
Json movieJson(const MovieFacts& facts);

} // namespace reelwright

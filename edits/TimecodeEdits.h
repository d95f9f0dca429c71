#pragma once

#include "edits/EditCatalogue.h"
#include "timecode/TimecodeChange.h"
#include "tracks/TrackSelector.h"

namespace reelwright::edits {

/// The change of those timecode tracks.
Edit changeTimecode(const TrackSelector& track, const TimecodeChange& change);

/// The options that describe the timecode track.
std::span<const EditKind> timecodeKinds();

} // namespace reelwright::edits

#pragma once

#include "movie/QTTrack.h"

#include <string>
#include <vector>

namespace reelwright {

/// What there is to tell of a track's media beyond TrackFacts: a panel's tables and figures.
struct MediaFacts
{
    /// A segment of the edit list.
    struct Segment
    {
        QTTime start; ///< in the movie
        QTTime duration; ///< in the movie
        std::optional<QTTime> mediaTime; ///< nothing for a gap
        double rate = 1;
    };
    std::string description; ///< "Apple ProRes 422 (apcn), 1920 x 1080"
    std::vector<std::string> channels; ///< of sound: what each is for, "Left"
    std::vector<Segment> segments; ///< empty for a track without an edit list
    std::string problem; ///< why the edit list cannot be read
    std::uint32_t samples = 0;
    std::uint32_t chunks = 0;
    std::uint64_t bytes = 0;
    std::uint32_t smallestSample = 0; ///< bytes
    std::uint32_t largestSample = 0; ///< bytes
    QTTime duration; ///< of the media, in its own time scale
    std::size_t descriptions = 0;
    std::vector<std::string> files; ///< other files that hold media of the track, by name

    /// Costs what the track's tables cost.
    static MediaFacts of(const QTTrack& track);
};

} // namespace reelwright

#pragma once

#include "movie/QTTrack.h"

#include <string>
#include <vector>

namespace reelwright {

/// Samples one after the other that cannot be read for one reason.
struct UnreadableSamples
{
    std::uint32_t first = 0; ///< from 1
    std::uint32_t count = 0;
    std::string source; ///< the file that should hold them; empty where that is not known
    std::uint64_t offset = 0; ///< bytes; of the first of them
    std::string reason; ///< a sentence without its full stop

    [[nodiscard]] std::uint32_t last() const { return first + (count - 1); }
};

/// What can be read of one track's media.
struct TrackCheck
{
    std::uint32_t trackID = 0;
    std::uint32_t samples = 0;
    std::uint64_t bytes = 0; ///< that were read
    std::uint32_t unreadableCount = 0; ///< samples
    std::vector<UnreadableSamples> unreadable; ///< the first kMostStretches stretches

    static constexpr std::size_t kMostStretches = 1000;
};

/// Reads every sample of every track, in the order of the header; a megabyte at a time. `goOn` is asked
/// before each read; the error (Cancelled) says that it answered false. What cannot be read is no error.
Result<std::vector<TrackCheck>> checkMedia(const QTMovie& movie, const std::function<bool()>& goOn);

} // namespace reelwright

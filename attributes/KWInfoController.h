#pragma once

#include "movie/QTTrack.h"

#include <span>
#include <string>

namespace reelwright {

/// The information report: plain text, line by line. Class operations; keeps no state.
class KWInfoController
{
public:
    /// The movie's lines, then each track's in the movie's order. Asks the disk for the file's times.
    static std::string infoForMovie(const QTMovie& movie);
    static std::string infoForTrack(const QTTrack& track);
    /// Each movie's report under the name of its file.
    static std::string infoForMovies(std::span<const QTMovie> movies);

    /// QTMovieDataSizeAttribute: bytes of the samples of all tracks. Not known of a movie of which only the
    /// outline was read.
    static std::uint64_t dataSize(const QTMovie& movie);
    /// QTTrackDisplayNameAttribute: the track's own name, else what it is: "Video Track".
    static std::string displayName(const QTTrack& track);
    /// QTTrackFormatSummaryAttribute: format, size or channels and rate.
    static std::string formatSummary(const QTTrack& track);
};

} // namespace reelwright

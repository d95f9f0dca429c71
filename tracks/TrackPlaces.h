#pragma once

#include "tracks/KWMovTrack.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// A kind of track as the program's lists know it.
struct TrackKind
{
    int typeCode;
    const char* letters; ///< "v": with a place it names a track, as in v1
};

/// The kind of a type code, or null for a track of no known kind.
const TrackKind* kindOf(std::optional<int> typeCode);
/// The kind with these letters, or null.
const TrackKind* kindWithLetters(std::string_view letters);

/// A track and its place among those of its kind.
struct PlacedTrack
{
    QTTrack track;
    KWMovTrack record;
    const TrackKind* kind = nullptr;
    std::size_t place = 0; ///< from 1; 0 for a track of no known kind

    /// "v1", or "" for a track of no known kind.
    [[nodiscard]] std::string placeName() const;
};

/// All tracks in ascending order of their IDs. They borrow the movie.
std::vector<PlacedTrack> placedTracks(const QTMovie& movie);

} // namespace reelwright

#pragma once

#include "tracks/KWMovTrack.h"

#include <string>

namespace reelwright {

/// Adds tracks, fills them with the media of other movies, and empties them. Nothing is encoded: samples,
/// descriptions, edit lists and the media's own time scale come along, and the media are referred to where
/// they lie until a save flattens the movie. What fails is logged with the error's status and answered; the
/// movie is made editable for the time of a change only.
class TrackInsertion
{
public:
    /// An empty track of that type (`KWMovTrack::kVideo`, `kText`, `kSprite`), one unit of the movie's time
    /// long. Without a size it has the movie's natural size.
    static Result<KWMovTrack> insertEmptyTrack(int type, std::optional<QTSize> size, QTMovie& movie);

    /// A new track that plays what `track` of another movie plays, at the start of the movie: its media, edit
    /// list, descriptions, volume, balance, matrix, size, name and language. Errors: Refused for a track
    /// without media, or whose media are missing.
    static Result<KWMovTrack> insertTrack(const QTTrack& track, QTMovie& movie);
    /// The same for the first track of that type (kVideo, kAudio) of a movie file, or for the one that
    /// `sourcePlace` names (from 1).
    static Result<KWMovTrack> insertTrackFromFile(
        int type, const std::string& path, std::size_t sourcePlace, QTMovie& movie);

    /// Puts the media that `source` plays behind what the track plays. Sound of another rate, and times that
    /// no common time scale can count, are refused.
    static Result<void> addMedia(const QTTrack& source, const QTTrack& track, QTMovie& movie);
    /// The same from the first track (or that of that place) of the track's type in a movie file. The texts
    /// of the refusals stand in a window's alert.
    static Result<void> addMediaFromFile(
        const std::string& path, std::size_t sourcePlace, const QTTrack& track, QTMovie& movie);

    /// Takes all media from a track, which keeps its ID, its place and the movie's length as one empty edit.
    /// Of a sound track an empty sound media is left, of every other one an empty video media.
    static Result<void> removeAllMedia(const QTTrack& track, QTMovie& movie);
};

} // namespace reelwright

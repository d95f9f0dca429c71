#pragma once

#include "tracks/KWMovTrack.h"

#include <string>

namespace reelwright {

/// A track of a movie file that media may be taken from.
struct SourceTrack
{
    std::uint32_t trackID = 0;
    std::string name;
    FourCC format; ///< of the first sample description
    std::uint16_t language = 0; ///< as MediaHeader has it
    QTTime duration; ///< of the media
    std::uint32_t channels = 0; ///< of sound
    QTSize size; ///< of video, pixels
};

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

    /// A new track that plays what `track` of another movie plays, from `start` of the movie on: its media,
    /// edit list, descriptions, volume, balance, matrix, size, name and language. Errors: Refused for a track
    /// without media, or whose media are missing.
    static Result<KWMovTrack> insertTrack(const QTTrack& track, QTMovie& movie, const QTTime& start = {});
    /// The same for the first track of that type (kVideo, kAudio) of a movie file, or for the one that
    /// `sourcePlace` names (from 1).
    static Result<KWMovTrack> insertTrackFromFile(
        int type, const std::string& path, std::size_t sourcePlace, const QTTime& start, QTMovie& movie);
    /// The tracks of that type of a movie file, in the order in which places count them. Errors as those of
    /// an insertion: what an alert about them is called stands in the error's `where`.
    static Result<std::vector<SourceTrack>> sourceTracks(int type, const std::string& path);

    /// The movie of that track alone, enabled, to be written as a file of its own. Errors: Refused for a
    /// track without media.
    static Result<QTMovie> extracted(const QTTrack& track);

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

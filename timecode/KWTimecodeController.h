#pragma once

#include "movie/TimecodeTrack.h"
#include "timecode/TimecodeChange.h"
#include "tracks/KWMovTrack.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// Makes, changes and reads timecode tracks. Keeps no state. What fails is logged with the engine's status
/// and answered with a sentence; the movie is made editable for the time of a change only.
///
/// Drop frame exists at 29.97, 59.94 and 119.88 frames a second only: wherever the flag would be written at
/// another rate it is left out, and the log says so. A change that asks for it there is refused.
class KWTimecodeController
{
public:
    using Byte = std::uint8_t;
    using Reel = std::optional<std::string>;

    /// Adds a timecode track that starts with that timecode and lasts for the movie, referred to by the first
    /// video track (or the first track of any kind). `flags` as in TimecodeDefinition; a counter's start is
    /// `frames`. The movie's time scale is raised first where a frame has no whole length in it; where it
    /// cannot be, the definition counts in the picture's. Refused for files whose format has no timecode
    /// (mp4, m4v, dv).
    static Result<KWMovTrack> insertTimecodeTrack(
        Byte hours, Byte mins, Byte secs, Byte frames, std::uint32_t flags, const Reel& reel, QTMovie& movie);
    static Result<KWMovTrack> insertTimecodeTrack(
        Byte hours, Byte mins, Byte secs, Byte frames, QTMovie& movie);
    /// From 01:00:00:00.
    static Result<KWMovTrack> insertBlankTimecodeTrack(QTMovie& movie);

    /// Rewrites a timecode track with another start, reel and flags; its time scale, frame duration and
    /// number of frames stay. No reel is stored as an empty text. A counter drops all other flags and starts
    /// at `frames`.
    static Result<void> modifyTimecode(Byte hours, Byte mins, Byte secs, Byte frames, const Reel& reel,
        const QTTrack& track, QTMovie& movie, bool dropFrame, bool negativeTC, bool limit24Hrs, bool counter);
    static Result<void> modifyTimecode(
        Byte hours, Byte mins, Byte secs, Byte frames, const QTTrack& track, QTMovie& movie);
    /// Changes what the change says and nothing else. Answers what the user should know about it (a start
    /// that has no label of its own, one before midnight), or the empty text.
    static Result<std::string> changeTimecode(
        const TimecodeChange& change, const QTTrack& track, QTMovie& movie);
    /// A new track in place of this one with the same start, flags and reel, at the movie's present rate.
    static Result<void> replaceTimecodeTrack(const QTTrack& track, QTMovie& movie);
    /// Lets other programs find the track: adds the reference of the first video track (or the first of any
    /// kind) and the media's timecode information where they are missing.
    static Result<void> relinkTimecode(const QTTrack& track, QTMovie& movie);

    /// Sets the first timecode track, which is made when there is none, to a timecode of four fields.
    static Result<void> updateTimecode(const std::string& timecode, const Reel& reel, QTMovie& movie,
        bool dropFrame, bool negativeTC, bool limit24Hrs);
    static Result<void> updateCounter(Byte counter, const Reel& reel, QTMovie& movie);

    /// The start timecode of a track as text, or a counter's number; empty when it cannot be read.
    static std::string timecodeForTrack(
        const QTTrack& track, TimecodeDefinition* timecodeDef = nullptr, std::string* reelName = nullptr);

    // Sources: each adds a timecode track that starts where something else says.

    /// From the hour, minute and second of a date in the user's time zone, and frame 0.
    static Result<KWMovTrack> addTimecodeTrackWithDate(std::chrono::sys_seconds date, QTMovie& movie);
    /// From the time of recording (EXIF DateTimeOriginal) of a still image, as its camera's clock had it.
    static Result<KWMovTrack> addTimecodeFromTHMFile(const std::string& path, QTMovie& movie);
    /// From the still in that folder that has the movie's name and the extension THM. As on the volumes that
    /// such files come from, upper and lower case are alike in names.
    static Result<KWMovTrack> addTimecodeFromTHMFolder(const std::string& folder, QTMovie& movie);
    /// From the timecode track of the movie of the same name in that folder, with its flags and reel. Where
    /// there is none of the same extension, mov and then mp4 are tried. The label is taken, also from another
    /// rate; refused where this movie's rate has no such label.
    static Result<KWMovTrack> addTimecodeFromMovieInFolder(const std::string& folder, QTMovie& destMovie);
    /// From a text such as metadata hold, four numbers with ":" or ";" between them, without flags. Refused,
    /// with the name of the place, for one that is no timecode or that the movie's rate has no label for.
    static Result<KWMovTrack> addTimecodeFromText(
        std::string_view text, std::string_view place, QTMovie& movie);

    static float frameRateForMedia(const QTMedia& media);

    /// Hours, minutes, seconds and frames, each cut to a byte.
    using Fields = std::array<Byte, 4>;
    /// Those of a timecode text; nothing when ":" and ";" do not part it into exactly four. What is no number
    /// counts as 0.
    static std::optional<Fields> fourFields(std::string_view timecode);

    /// Does the format that this file name tells know no timecode tracks?
    static bool isTypeWithoutTimecode(const std::string& fileName);
    /// Why a movie that has no timecode track cannot get one, with what to do about it.
    static Result<void> canHaveTimecode(const QTMovie& movie);
    /// "29.97 frames a second in drop frame"
    static std::string rateText(const TimecodeDefinition& definition);
};

} // namespace reelwright

#pragma once

#include "movie/TimecodeTrack.h"
#include "tracks/KWMovTrack.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// Makes, changes and reads timecode tracks. Keeps no state. What fails is logged with the engine's status
/// and answered with nothing or false; the movie is made editable for the time of a change only.
class KWTimecodeController
{
public:
    using Byte = std::uint8_t;
    using Reel = std::optional<std::string>;

    /// Adds a timecode track that starts with that timecode and lasts for the movie, referred to by the first
    /// video track (or the first track of any kind). `flags` as in TimecodeDefinition; a counter's start is
    /// `frames`. The movie's time scale is raised first where a frame has no whole length in it. Nothing for
    /// files whose format has no timecode (mp4, m4v, dv).
    static std::optional<KWMovTrack> insertTimecodeTrack(
        Byte hours, Byte mins, Byte secs, Byte frames, std::uint32_t flags, const Reel& reel, QTMovie& movie);
    static std::optional<KWMovTrack> insertTimecodeTrack(
        Byte hours, Byte mins, Byte secs, Byte frames, QTMovie& movie);
    /// From 01:00:00:00.
    static std::optional<KWMovTrack> insertBlankTimecodeTrack(QTMovie& movie);

    /// Rewrites a timecode track with another start, reel and flags; its time scale, frame duration and
    /// number of frames stay. No reel is stored as an empty text. A counter drops all other flags and starts
    /// at `frames`.
    static bool modifyTimecode(Byte hours, Byte mins, Byte secs, Byte frames, const Reel& reel,
        const QTTrack& track, QTMovie& movie, bool dropFrame, bool negativeTC, bool limit24Hrs, bool counter);
    static bool modifyTimecode(
        Byte hours, Byte mins, Byte secs, Byte frames, const QTTrack& track, QTMovie& movie);
    /// A new track in place of this one with the same start, flags and reel, at the movie's present rate.
    static bool replaceTimecodeTrack(const QTTrack& track, QTMovie& movie);

    /// Sets the first timecode track, which is made when there is none, to a timecode of four fields.
    static void updateTimecode(const std::string& timecode, const Reel& reel, QTMovie& movie, bool dropFrame,
        bool negativeTC, bool limit24Hrs);
    static void updateCounter(Byte counter, const Reel& reel, QTMovie& movie);

    /// The start timecode of a track as text, or a counter's number; empty when it cannot be read.
    static std::string timecodeForTrack(
        const QTTrack& track, TimecodeDefinition* timecodeDef = nullptr, std::string* reelName = nullptr);

    // Sources: each adds a timecode track that starts where something else says, or answers nothing.

    /// From the hour, minute and second of a date in the user's time zone, and frame 0.
    static std::optional<KWMovTrack> addTimecodeTrackWithDate(std::chrono::sys_seconds date, QTMovie& movie);
    /// From the time of recording (EXIF DateTimeOriginal) of a still image, as its camera's clock had it.
    static std::optional<KWMovTrack> addTimecodeFromTHMFile(const std::string& path, QTMovie& movie);
    /// From the still in that folder that has the movie's name and the extension THM. As on the volumes that
    /// such files come from, upper and lower case are alike in names.
    static std::optional<KWMovTrack> addTimecodeFromTHMFolder(const std::string& folder, QTMovie& movie);
    /// From the timecode track of the movie of the same name in that folder, with its flags and reel. Where
    /// there is none of the same extension, mov and then mp4 are tried.
    static std::optional<KWMovTrack> addTimecodeFromMovieInFolder(
        const std::string& folder, QTMovie& destMovie);

    static float frameRateForMedia(const QTMedia& media);

    /// Hours, minutes, seconds and frames, each cut to a byte.
    using Fields = std::array<Byte, 4>;
    /// Those of a timecode text; nothing when ":" and ";" do not part it into exactly four. What is no number
    /// counts as 0.
    static std::optional<Fields> fourFields(std::string_view timecode);

    /// Does the format that this file name tells know no timecode tracks?
    static bool isTypeWithoutTimecode(const std::string& fileName);
};

} // namespace reelwright

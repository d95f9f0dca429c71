#pragma once

#include "movie/QTMovie.h"
#include "movie/QTTrack.h"
#include "timecode/KWTimecodeController.h"

#include <optional>
#include <string>

namespace reelwright {

/// What the controls of the timecode panel hold.
struct TimecodeSettings
{
    bool isCounter = false; ///< the first row of the format; else a timecode
    bool dropFrame = false;
    bool negativeTimes = false;
    bool limit24Hours = false;
    std::string start; ///< a counter's number or a timecode, also as a user types one
    std::string reel; ///< as it is stored
    bool operator==(const TimecodeSettings&) const = default;

    /// Those of a timecode track. A track that cannot be read gives empty texts.
    static TimecodeSettings ofTrack(const QTTrack& track);

    /// What has to change for a track that shows `before` to show these. With `position`, a time of the
    /// movie, the start is what it has to be for the typed one to fall on the frame shown then; a counter
    /// stops at 0, a timecode goes below midnight to the end of the day before. The error is a sentence about
    /// a start that is no timecode or no number.
    [[nodiscard]] Result<TimecodeChange> changeFrom(
        const TimecodeSettings& before, const QTTrack& track, const std::optional<QTTime>& position) const;
};

} // namespace reelwright

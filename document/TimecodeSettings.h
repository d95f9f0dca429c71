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
    std::string reel;
    bool operator==(const TimecodeSettings&) const = default;

    /// Those of a timecode track. A track that cannot be read gives empty texts.
    static TimecodeSettings ofTrack(const QTTrack& track);

    /// Hours, minutes, seconds and frames, a byte each; a counter's number stands in the frames. With
    /// `position`, a time of the movie, the start is what it has to be for the typed one to fall on the frame
    /// shown then; a counter stops at 0, a timecode goes below midnight to the end of the day before. Nothing
    /// for a text that is no timecode.
    [[nodiscard]] std::optional<KWTimecodeController::Fields> startFields(
        const QTMovie& movie, const std::optional<QTTime>& position) const;
};

} // namespace reelwright

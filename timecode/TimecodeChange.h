#pragma once

#include "movie/samples/TimecodeMedia.h"

#include <cstdint>
#include <optional>
#include <string>

namespace reelwright {

/// What is to become of a timecode track: the one shape of such a change from pane and command line to the
/// bytes. What is not said stays as it is, byte for byte.
struct TimecodeChange
{
    /// The first label, or a counter's first number in `frames`. The track then shows it from the start of
    /// the movie, from one sample.
    std::optional<TimecodeRecord> start;
    /// Moves every label by as much as this one is from zero, and keeps samples and edit list. Behind
    /// midnight and before it labels go on with the next day.
    std::optional<TimecodeRecord> offset;
    std::optional<std::string> reel;
    std::optional<bool> dropFrame;
    std::optional<bool> negativeTimes;
    std::optional<bool> limit24Hours;
    /// Counter or timecode? The frame number stays when only this changes: 01:00:00:00 at 30 is 108000.
    /// A counter has no other flags.
    std::optional<bool> counter;

    /// A start that the rate has no label for.
    enum class Missing {
        Refuse,
        Nearest, ///< the next one there is
    };
    Missing missing = Missing::Refuse;

    [[nodiscard]] bool isEmpty() const
    {
        return !start && !offset && !reel && !dropFrame && !negativeTimes && !limit24Hours && !counter;
    }
};

} // namespace reelwright

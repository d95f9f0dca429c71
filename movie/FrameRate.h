#pragma once

#include "movie/QTTrack.h"

#include <cstdint>
#include <optional>

namespace reelwright {

/// Frames a second as an exact fraction: the one place that knows which rate a number stands for.
struct FrameRate
{
    std::int64_t num = 0;
    std::int64_t den = 1;

    /// The rate that a fraction is meant to be. Many writers round the NTSC rates (2997/100, 23976/1000); one
    /// within 5 millionths of N × 1000/1001 is that rate. 0 for a fraction of no sense.
    static FrameRate meant(std::int64_t num, std::int64_t den);
    /// Of a timecode definition, as it is meant.
    static FrameRate of(const TimecodeDefinition& definition)
    {
        return meant(definition.timeScale, definition.frameDuration);
    }
    /// Samples × media time scale ÷ media duration; nothing where there are none.
    static std::optional<FrameRate> average(const QTMedia& media);
    /// That of the first video track; nothing in a movie without a picture.
    static std::optional<FrameRate> averageOfPicture(const QTMovie& movie);
    /// The rate that a timecode of the movie counts at: that of the picture, 30 without one. A last frame of
    /// another length does not count, or 25 frames a second became 26. Where the lengths vary, so that the
    /// cut-off length of an average frame would drift off the picture, it is the rate that they only round
    /// (29.97 in 600ths), or else the whole number of frames; and a whole number too where readers would
    /// round it down.
    static FrameRate forTimecode(const QTMovie& movie);

    [[nodiscard]] double perSecond() const
    {
        return den == 0 ? 0 : static_cast<double>(num) / static_cast<double>(den);
    }
    /// Labels a second: the rate rounded up.
    [[nodiscard]] std::int64_t labels() const { return den == 0 ? 0 : num / den + (num % den != 0 ? 1 : 0); }
    /// Does drop frame exist at this rate? It does at 29.97, 59.94 and 119.88 only, where labels would fall
    /// behind the clock.
    [[nodiscard]] bool hasDropFrame() const;
    /// Has a frame a whole length at that time scale?
    [[nodiscard]] bool isWholeAt(std::int64_t timeScale) const;
    /// That length, cut off.
    [[nodiscard]] std::uint32_t frameLengthAt(std::int64_t timeScale) const;

    bool operator==(const FrameRate& other) const;
};

} // namespace reelwright

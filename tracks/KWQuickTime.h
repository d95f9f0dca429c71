#pragma once

#include "movie/QTTrack.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace reelwright {

/// Times, frames and the texts of both, for a movie and its tracks. Keeps no state and changes nothing.
///
/// Frame numbers and time values are 32 bits wide where an operation says so: a longer time value is cut to
/// its low 32 bits, a result that does not fit is the nearest limit, and one that cannot be computed (a rate
/// or a time scale of 0) is 0.
class KWQuickTime
{
public:
    /// Frames a second: the average over the whole media; 0.0 when it is not known.
    static double fpsFromQTTrack(const QTTrack& track);
    /// That of the first video track; 0.0 when the movie has none.
    static double fpsForMovie(const QTMovie& movie);
    /// The same average in single precision; 30.0 when it is not known.
    static float frameRateForMedia(const QTMedia& media);
    /// Duration of the media's first sample in the media's time scale; 0 when there is none.
    static std::int32_t trackFrameDuration(const QTTrack& track);

    /// Value ÷ scale × rate to the nearest number, halves away from zero.
    static std::int32_t frameCountForTimeValue(
        std::int32_t timeValue, std::int32_t timeScale, double frameRate);
    /// At the track's rate, rounded to single precision first.
    static std::int32_t frameCountForQTTime(const QTTime& time, const QTTrack& qtTrack);
    /// At the rate of the first video track; 0 when the movie has none.
    static std::int32_t frameCountForQTTime(const QTTime& time, const QTMovie& qtMovie);
    /// Frame ÷ rate × scale, rounded down, in that scale.
    static QTTime qtTimeFromFrame(std::int32_t frame, std::int32_t timeScale, double frameRate);
    /// At the movie's rate and time scale.
    static QTTime qtTimeFromFrame(std::int32_t frame, const QTMovie& movie);
    /// When the last frame begins; the movie's duration when it has no frames.
    static QTTime lastFrameTimeForMovie(const QTMovie& movie);
    /// Length of a frame in the movie's time scale, rounded toward zero; 0 when the rate is not known.
    static std::int64_t frameLengthForMovie(const QTMovie& movie);

    /// Hours:minutes:seconds:frames. A negative time loses its sign, days become hours, and frames are not
    /// carried into seconds.
    static std::string formattedQTTime(const QTTime& time, double fps);
    static std::string formattedQTTime(const QTTime& time, const QTTrack& track);
    static std::string formattedQTTime(const QTTime& time, const QTMovie& movie);
    /// The text that QTTimeFromString reads, from hours:minutes:seconds:frames as a user types them; missing
    /// fields count as 0. A `oneFrameLength` of 0 makes a frame 100 units long.
    static std::string qtTimeStringFromFormatString(
        std::string_view formatString, std::int32_t timescale, std::int64_t oneFrameLength);

    /// The name of a channel of a sound track.
    static std::string friendlyAudioChannelLabel(std::uint32_t label);

    /// How a movie's frames are counted.
    struct TimingInfo
    {
        int timebase = 0; ///< whole frames a second
        bool ntsc = false; ///< the rate is timebase × 1000/1001
        bool dropFrame = false; ///< the first timecode track says so
    };
    static TimingInfo getTimingInfoForMovie(const QTMovie& movie);
    /// The same through those pointers that are not null.
    static void getTimingInfoForMovie(const QTMovie& movie, int* timebase, bool* ntsc, bool* dropFrame);
    /// What the first timecode track says at a time whose value counts in its media; the frame's number as
    /// timecode when there is none that can be read.
    static std::string timecodeAtTime(const QTTime& time, const QTMovie& movie);
    /// When the frame of that timecode is shown; the movie's first frame has the timecode of time 0.
    static QTTime qtTimeFromTimecode(std::string_view timecode, const QTMovie& movie);
};

} // namespace reelwright

#include "tracks/KWQuickTime.h"

#include "movie/samples/TimecodeMedia.h"
#include "support/Text.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <span>

namespace reelwright {
namespace {

    /// The nearest number of that type to a whole number; 0 for what is no number.
    template <class Number> Number saturated(double number)
    {
        using Limits = std::numeric_limits<Number>;
        if (std::isnan(number))
            return 0;
        // As doubles the limits are exact, or the upper one is the first number that does not fit.
        if (number >= static_cast<double>(Limits::max()))
            return Limits::max();
        if (number <= static_cast<double>(Limits::min()))
            return Limits::min();
        return static_cast<Number>(number);
    }

    /// The low 32 bits.
    std::int32_t narrowed(std::int64_t number)
    {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
    }

    /// Rounded down, where a number that only the rounding of doubles keeps below a whole one counts as that:
    /// at 24000/1001 every third frame would begin a unit too early, with the picture before it.
    double roundedDown(double number)
    {
        constexpr double kNoise = 4 * std::numeric_limits<double>::epsilon();
        const double nearest = std::round(number);
        return std::abs(number - nearest) <= std::abs(nearest) * kNoise ? nearest : std::floor(number);
    }

    bool isRate(double rate)
    {
        return std::isfinite(rate) && rate != 0;
    }

    std::optional<QTTrack> firstVideoTrack(const QTMovie& movie)
    {
        return movie.firstTrackOfMediaType(QTMediaTypeVideo);
    }

    std::optional<QTTrack> firstTimecodeTrack(const QTMovie& movie)
    {
        return movie.firstTrackOfMediaType(QTMediaTypeTimeCode);
    }

    std::string twoDigits(std::int64_t number)
    {
        return fmt::format("{}{}", number < 10 ? "0" : "", number);
    }

    constexpr std::string_view kChannelNames[] = {"Left", "Right", "Center", "LFE", "Left Surround",
        "Right Surround", "Left Center", "Right Center", "Center Surround", "Left Surround Direct",
        "Right Surround Direct", "Top Center Surround", "Vertical Height Left", "Vertical Height Center",
        "Vertical Height Right", "Top Back Left", "Top Back Center", "Top Back Right"};
    constexpr std::string_view kFurtherChannelNames[] = {"Rear Surround Left", "Rear Surround Right",
        "Left Wide", "Right Wide", "LFE2", "Left Total", "Right Total", "Hearing Impaired", "Narration",
        "Mono", "Dialogue Centric Mix", "Center Surround Direct", "Haptic"};

    struct ChannelRange
    {
        std::uint32_t firstLabel;
        std::span<const std::string_view> names;
    };

    constexpr std::string_view kHeadphoneNames[] = {"Headphones Left", "Headphones Right"};
    constexpr std::string_view kCueNames[] = {"Click Track", "Foreign Language"};
    constexpr std::string_view kDiscreteName[] = {"Discrete"};

    constexpr ChannelRange kChannels[] = {
        {1, kChannelNames},
        {33, kFurtherChannelNames},
        {301, kHeadphoneNames},
        {304, kCueNames},
        {400, kDiscreteName},
    };

} // namespace

double KWQuickTime::fpsFromQTTrack(const QTTrack& track)
{
    const auto media = track.media();
    const auto count = media.sampleCount();
    const auto duration = media.duration();
    if (count < 1 || duration.value == 0)
        return 0.0;
    return static_cast<double>(duration.scale) * count / static_cast<double>(duration.value);
}

double KWQuickTime::fpsForMovie(const QTMovie& movie)
{
    const auto track = firstVideoTrack(movie);
    return track ? fpsFromQTTrack(*track) : 0.0;
}

float KWQuickTime::frameRateForMedia(const QTMedia& media)
{
    constexpr float kDefault = 30.0F;
    const auto count = media.sampleCount();
    const auto duration = media.duration();
    if (count == 0 || duration.value == 0)
        return kDefault;
    const auto rate = static_cast<float>(
        static_cast<double>(count) * duration.scale / static_cast<double>(duration.value));
    return rate > 0 ? rate : kDefault;
}

std::int32_t KWQuickTime::trackFrameDuration(const QTTrack& track)
{
    const auto duration = track.media().sampleTable().firstDuration();
    return duration > INT32_MAX ? 0 : static_cast<std::int32_t>(duration);
}

std::int32_t KWQuickTime::frameCountForTimeValue(
    std::int32_t timeValue, std::int32_t timeScale, double frameRate)
{
    if (timeScale == 0)
        return 0;
    return saturated<std::int32_t>(std::round(static_cast<double>(timeValue) / timeScale * frameRate));
}

std::int32_t KWQuickTime::frameCountForQTTime(const QTTime& time, const QTTrack& qtTrack)
{
    // The way through single precision changes the last digits of rates such as 29.97; whoever counts frames
    // of a track goes it, so that all come to the same number.
    const double rate = static_cast<float>(fpsFromQTTrack(qtTrack));
    return frameCountForTimeValue(narrowed(time.value), time.scale, rate);
}

std::int32_t KWQuickTime::frameCountForQTTime(const QTTime& time, const QTMovie& qtMovie)
{
    const auto track = firstVideoTrack(qtMovie);
    return track ? frameCountForQTTime(time, *track) : 0;
}

QTTime KWQuickTime::qtTimeFromFrame(std::int32_t frame, std::int32_t timeScale, double frameRate)
{
    if (!isRate(frameRate))
        return {0, timeScale};
    return {saturated<std::int64_t>(roundedDown(frame / frameRate * timeScale)), timeScale};
}

QTTime KWQuickTime::qtTimeFromFrame(std::int32_t frame, const QTMovie& movie)
{
    return qtTimeFromFrame(frame, movie.timeScale(), fpsForMovie(movie));
}

QTTime KWQuickTime::lastFrameTimeForMovie(const QTMovie& movie)
{
    const auto duration = movie.duration();
    const auto frames = frameCountForQTTime(duration, movie);
    return frames > 0 ? qtTimeFromFrame(frames - 1, movie) : duration;
}

std::int64_t KWQuickTime::frameLengthForMovie(const QTMovie& movie)
{
    const auto rate = fpsForMovie(movie);
    return isRate(rate) ? saturated<std::int64_t>(roundedDown(movie.duration().scale / rate)) : 0;
}

std::string KWQuickTime::formattedQTTime(const QTTime& time, double fps)
{
    const auto text = QTStringFromTime(time);
    const auto pieces = split(text, ":;./"); // days, hours, minutes, seconds, value, scale
    const auto days = std::abs(std::int64_t {integerValue(pieces[0])});
    const auto hours = integerValue(pieces[1]) + days * 24;
    const auto frames = frameCountForTimeValue(
        integerValue(pieces[pieces.size() - 2]), integerValue(pieces[pieces.size() - 1]), fps);
    return fmt::format("{}:{}:{}:{}", twoDigits(hours), pieces[2], pieces[3], twoDigits(frames));
}

std::string KWQuickTime::formattedQTTime(const QTTime& time, const QTTrack& track)
{
    return formattedQTTime(time, fpsFromQTTrack(track));
}

std::string KWQuickTime::formattedQTTime(const QTTime& time, const QTMovie& movie)
{
    return formattedQTTime(time, fpsForMovie(movie));
}

std::string KWQuickTime::qtTimeStringFromFormatString(
    std::string_view formatString, std::int32_t timescale, std::int64_t oneFrameLength)
{
    const auto pieces = split(formatString, ":;");
    bool negative = pieces.front().starts_with('-');
    std::array<std::int64_t, 4> fields {}; // hours, minutes, seconds, frames
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::int64_t number = integerValue(pieces[i]);
        negative = negative || number < 0;
        if (i < fields.size())
            fields[i] = std::abs(number);
    }
    const auto& [hours, minutes, seconds, frames] = fields;
    constexpr std::int64_t kUnknownFrameLength = 100;
    // 2^31 frames of less than 2^31 units: the product fits before it is cut.
    const auto value
        = narrowed(frames * (oneFrameLength == 0 ? kUnknownFrameLength : narrowed(oneFrameLength)));
    return fmt::format("{}{}:{}:{}:{}.{}/{}", negative ? "-" : "", twoDigits(hours / 24),
        twoDigits(hours % 24), twoDigits(minutes), twoDigits(seconds), value, timescale);
}

std::string KWQuickTime::friendlyAudioChannelLabel(std::uint32_t label)
{
    constexpr std::uint32_t kFirstDiscrete = 1U << 16U;
    constexpr std::uint32_t kDiscreteCount = 16;
    if (label >= kFirstDiscrete && label - kFirstDiscrete < kDiscreteCount)
        return fmt::format("Discrete {}", label - kFirstDiscrete);
    for (const auto& range : kChannels)
        if (label >= range.firstLabel && label - range.firstLabel < range.names.size())
            return std::string(range.names[label - range.firstLabel]);
    return "Unknown";
}

KWQuickTime::TimingInfo KWQuickTime::getTimingInfoForMovie(const QTMovie& movie)
{
    TimingInfo timing;
    const auto fps = fpsForMovie(movie);
    for (const int timebase : {30, 24, 60})
        if (timebase - 1.0 < fps && fps < timebase) {
            timing.timebase = timebase;
            timing.ntsc = true;
        }
    if (!timing.ntsc)
        timing.timebase = saturated<int>(std::ceil(fps));
    if (const auto track = firstTimecodeTrack(movie))
        if (const auto description = track->media().sampleDescription(1))
            if (const auto timecode = description->timecode())
                timing.dropFrame = (timecode->definition.flags & TimecodeDefinition::kDropFrame) != 0;
    return timing;
}

void KWQuickTime::getTimingInfoForMovie(const QTMovie& movie, int* timebase, bool* ntsc, bool* dropFrame)
{
    const auto timing = getTimingInfoForMovie(movie);
    if (timebase)
        *timebase = timing.timebase;
    if (ntsc)
        *ntsc = timing.ntsc;
    if (dropFrame)
        *dropFrame = timing.dropFrame;
}

std::string KWQuickTime::timecodeAtTime(const QTTime& time, const QTMovie& movie)
{
    if (const auto track = firstTimecodeTrack(movie))
        if (const auto reading = timecodeMedia::atMediaTime(*track, time.value))
            return std::string(trimmed(reading->text));
    const auto timing = getTimingInfoForMovie(movie);
    return KWTimecode::timecodeFromFrameCount(
        frameCountForQTTime(time, movie), timing.timebase, timing.ntsc, timing.dropFrame, 0);
}

QTTime KWQuickTime::qtTimeFromTimecode(std::string_view timecode, const QTMovie& movie)
{
    const auto [timebase, ntsc, dropFrame] = getTimingInfoForMovie(movie);
    const auto start = timecodeAtTime({0, movie.timeScale()}, movie);
    const auto startFrame = KWTimecode::frameCountFromTimecode(start, timebase, ntsc, dropFrame, 0);
    return qtTimeFromFrame(
        KWTimecode::frameCountFromTimecode(timecode, timebase, ntsc, dropFrame, startFrame), movie);
}

} // namespace reelwright

#include "document/TimecodeSettings.h"

#include "support/Text.h"
#include "times/KWTimecode.h"
#include "tracks/KWQuickTime.h"

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    /// The timecode of the first frame, when this one falls on the frame at `position`.
    std::string startFor(
        const std::string& timecode, bool dropFrame, const QTMovie& movie, const QTTime& position)
    {
        const auto rate = KWQuickTime::fpsForMovie(movie);
        const auto timebase = static_cast<int>(std::ceil(rate));
        const bool ntsc = rate != std::floor(rate);
        const auto count = [&](const std::string& text) {
            return KWTimecode::frameCountFromTimecode(text, timebase, ntsc, dropFrame, 0);
        };
        auto frame = std::int64_t {count(timecode)} - KWQuickTime::frameCountForQTTime(position, movie);
        if (const std::int64_t day = count("24:00:00:00"); frame < 0 && day > 0)
            frame = (frame % day + day) % day;
        const auto first = std::clamp<std::int64_t>(frame, 0, INT32_MAX);
        return KWTimecode::timecodeFromFrameCount(static_cast<int>(first), timebase, ntsc, dropFrame, 0);
    }

} // namespace

TimecodeSettings TimecodeSettings::ofTrack(const QTTrack& track)
{
    TimecodeSettings settings;
    TimecodeDefinition definition;
    settings.start = KWTimecodeController::timecodeForTrack(track, &definition, &settings.reel);
    const auto has = [&](std::uint32_t flag) { return (definition.flags & flag) != 0; };
    settings.isCounter = has(TimecodeDefinition::kCounter);
    settings.dropFrame = has(TimecodeDefinition::kDropFrame);
    settings.negativeTimes = has(TimecodeDefinition::kNegativeTimesOK);
    settings.limit24Hours = has(TimecodeDefinition::k24HourMax);
    return settings;
}

std::optional<KWTimecodeController::Fields> TimecodeSettings::startFields(
    const QTMovie& movie, const std::optional<QTTime>& position) const
{
    if (isCounter) {
        std::int64_t number = integerValue(start);
        if (position)
            number = std::max<std::int64_t>(number - KWQuickTime::frameCountForQTTime(*position, movie), 0);
        return KWTimecodeController::Fields {0, 0, 0, static_cast<std::uint8_t>(number)};
    }
    auto timecode = KWTimecode::timecodeFromUserString(start, dropFrame, "00:00:00:00");
    if (position && KWTimecodeController::fourFields(timecode))
        timecode = startFor(timecode, dropFrame, movie, *position);
    return KWTimecodeController::fourFields(timecode);
}

} // namespace reelwright

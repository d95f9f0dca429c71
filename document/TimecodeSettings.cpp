#include "document/TimecodeSettings.h"

#include "movie/FrameRate.h"
#include "movie/samples/FrameTimes.h"
#include "support/Text.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    /// Frames of that rate from the start of the movie to the picture on show.
    std::int64_t framesUntil(const QTTime& position, const FrameRate& rate, const QTMovie& movie)
    {
        auto begin = position;
        if (const auto video = movie.tracksOfMediaType(QTMediaTypeVideo); !video.empty())
            if (const auto frame = FrameTimes {video.front()}.at(position))
                begin = frame->start;
        const auto unit = Wide {begin.scale} * rate.den;
        return unit <= 0 ? 0 : static_cast<std::int64_t>(Wide {begin.value} * rate.num / unit);
    }

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

} // namespace

TimecodeSettings TimecodeSettings::ofTrack(const QTTrack& track)
{
    TimecodeSettings settings;
    const auto reading = timecodeMedia::atMediaTime(track, 0);
    TimecodeDefinition definition;
    if (reading) {
        settings.start = reading->text;
        settings.reel = reading->description.reel;
        definition = reading->description.definition;
    } else if (const auto description = track.media().sampleDescription(1)) {
        // A sample that cannot be read says nothing of reel and flags, which stand elsewhere.
        if (const auto timecode = description->timecode()) {
            settings.reel = timecode->reel;
            definition = timecode->definition;
        }
    }
    const auto has = [&](std::uint32_t flag) { return (definition.flags & flag) != 0; };
    settings.isCounter = has(TimecodeDefinition::kCounter);
    settings.dropFrame = has(TimecodeDefinition::kDropFrame);
    settings.negativeTimes = has(TimecodeDefinition::kNegativeTimesOK);
    settings.limit24Hours = has(TimecodeDefinition::k24HourMax);
    return settings;
}

Result<TimecodeChange> TimecodeSettings::changeFrom(
    const TimecodeSettings& before, const QTTrack& track, const std::optional<QTTime>& position) const
{
    TimecodeChange change;
    change.missing = TimecodeChange::Missing::Nearest;
    if (isCounter != before.isCounter)
        change.counter = isCounter;
    const auto flag
        = [&](bool now, bool then) { return !isCounter && now != then ? std::optional(now) : std::nullopt; };
    change.dropFrame = flag(dropFrame, before.dropFrame);
    change.negativeTimes = flag(negativeTimes, before.negativeTimes);
    change.limit24Hours = flag(limit24Hours, before.limit24Hours);
    if (reel != before.reel)
        change.reel = reel;
    if (start == before.start)
        return change;

    const auto description = track.media().sampleDescription(1);
    const auto timecode = description
        ? description->timecode()
        : failure(MovieError::Code::Corrupt, {}, "the track has no description");
    if (!timecode)
        return tl::unexpected<MovieError>(timecode.error());
    auto definition = timecode->definition;
    const auto elapsed
        = position ? framesUntil(*position, FrameRate::of(definition), track.movie()) : std::int64_t {0};
    const auto typed = trimmed(start);
    if (isCounter) {
        std::int32_t number = 0;
        const auto* end = typed.data() + typed.size();
        const auto [stop, error] = std::from_chars(typed.data(), end, number);
        if (error != std::errc {} || stop != end || number < 0)
            return refusal(fmt::format("A counter starts with a number from 0 to {}.", INT32_MAX));
        change.start.emplace().frames = std::max<std::int64_t>(number - elapsed, 0);
        return change;
    }
    const bool isNegative = typed.starts_with('-');
    auto record = timecodeMedia::recordOf(
        KWTimecode::timecodeFromUserString(isNegative ? typed.substr(1) : typed, dropFrame, "00:00:00:00"));
    if (!record || record->negative)
        return refusal("Timecode must take the format 00:00:00:00.");
    record->negative = isNegative;
    definition.flags
        = (dropFrame && FrameRate::of(definition).hasDropFrame() ? TimecodeDefinition::kDropFrame : 0U)
        | (negativeTimes ? TimecodeDefinition::kNegativeTimesOK : 0U)
        | (limit24Hours ? TimecodeDefinition::k24HourMax : 0U);
    if (position) {
        const auto frame = timecodeMedia::frameNumber(*record, definition) - elapsed;
        record = timecodeMedia::record(frame < 0 ? -frame : frame, definition);
        record->negative = frame < 0;
    }
    change.start = record;
    return change;
}

} // namespace reelwright

#include "movie/TimecodeMedia.h"

#include "movie/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace reelwright::timecodeMedia {
namespace {

    __extension__ using Wide = __int128;

    constexpr std::int64_t kMinutesPerDay = 24 * 60;

    /// Frame labels a second. Some cameras write the number of frames of an NTSC rate rounded down (29 for
    /// 30000/1001) and count as if it were right.
    std::int64_t labelsPerSecond(const TimecodeDefinition& definition)
    {
        const std::int64_t nominal = definition.numberOfFrames + 1;
        const bool roundedDown = definition.frameDuration != 0
            && std::int64_t {definition.timeScale} * 1001 == nominal * 1000 * definition.frameDuration;
        return roundedDown ? nominal : definition.numberOfFrames;
    }

    /// Frame labels that drop frame leaves out each minute but each tenth; 0 for definitions that leave out
    /// none.
    std::int64_t droppedPerMinute(const TimecodeDefinition& definition)
    {
        const auto rate = labelsPerSecond(definition);
        const bool drops
            = (definition.flags & TimecodeDefinition::kDropFrame) != 0 && rate != 0 && rate % 30 == 0;
        return drops ? rate / 15 : 0;
    }

    std::int64_t framesPerDay(const TimecodeDefinition& definition)
    {
        const std::int64_t dropped = droppedPerMinute(definition) * (kMinutesPerDay - kMinutesPerDay / 10);
        return labelsPerSecond(definition) * 60 * kMinutesPerDay - dropped;
    }

    /// Without its sign, and not so large that counting the left-out labels back in could overflow.
    std::int64_t magnitude(std::int64_t number)
    {
        constexpr std::int64_t kMost = INT64_MAX / 2;
        return std::abs(std::clamp(number, -kMost, kMost));
    }

    std::int64_t saturated(Wide number)
    {
        return static_cast<std::int64_t>(std::clamp<Wide>(number, INT64_MIN, INT64_MAX));
    }

} // namespace

TimecodeRecord record(std::int64_t frame, const TimecodeDefinition& definition)
{
    if ((definition.flags & TimecodeDefinition::kCounter) != 0 || definition.numberOfFrames == 0)
        return {frame < 0, 0, 0, 0, magnitude(frame)};
    const bool mayBeNegative = (definition.flags & TimecodeDefinition::kNegativeTimesOK) != 0;
    const auto day = framesPerDay(definition);
    if ((definition.flags & TimecodeDefinition::k24HourMax) != 0)
        frame %= day;
    if (frame < 0 && !mayBeNegative)
        frame = (frame % day + day) % day; // before midnight
    const bool negative = frame < 0;
    auto number = magnitude(frame);
    const auto rate = labelsPerSecond(definition);
    if (const auto dropped = droppedPerMinute(definition); dropped != 0) {
        // Count the left-out labels back in: nine times `dropped` in each ten minutes, then once for each
        // further minute that has begun, of which the first loses none.
        const std::int64_t tenMinutes = rate * 600 - 9 * dropped;
        const std::int64_t minute = rate * 60 - dropped;
        const auto inTen = number % tenMinutes;
        number += number / tenMinutes * 9 * dropped;
        if (inTen >= minute + dropped)
            number += (inTen - dropped) / minute * dropped;
    }
    return {negative, number / rate / 3600, number / rate / 60 % 60, number / rate % 60, number % rate};
}

std::int64_t frameNumber(const TimecodeRecord& record, const TimecodeDefinition& definition)
{
    if ((definition.flags & TimecodeDefinition::kCounter) != 0 || definition.numberOfFrames == 0)
        return record.negative ? -record.frames : record.frames;
    const auto minutes = record.hours * 60 + record.minutes;
    const auto dropped = droppedPerMinute(definition);
    auto frames = record.frames;
    if (dropped != 0 && record.seconds == 0 && frames < dropped && record.minutes % 10 != 0)
        frames = dropped;
    const auto number = (minutes * 60 + record.seconds) * labelsPerSecond(definition) + frames
        - dropped * (minutes - minutes / 10);
    return record.negative ? -number : number;
}

std::string text(const TimecodeRecord& record, const TimecodeDefinition& definition)
{
    const char* sign = record.negative ? "-" : "";
    if ((definition.flags & TimecodeDefinition::kCounter) != 0 || definition.numberOfFrames == 0)
        return fmt::format("{}{}", sign, record.frames);
    const char separator = (definition.flags & TimecodeDefinition::kDropFrame) != 0 ? ';' : ':';
    return fmt::format("{}{:02}:{:02}:{:02}{}{:02}", sign, record.hours, record.minutes, record.seconds,
        separator, record.frames);
}

std::string label(std::int64_t frame, const TimecodeDefinition& definition)
{
    return text(record(frame, definition), definition);
}

Result<Reading> atMediaTime(const QTTrack& track, std::int64_t mediaTime)
{
    const auto media = track.media();
    if (track.mediaType() != QTMediaTypeTimeCode)
        return failure(
            MovieError::Code::Refused, fmt::format("track {}", track.trackID()), "this is no timecode track");
    const auto description = media.sampleDescription(1);
    if (!description)
        return failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
            "the timecode track has no description");
    Reading reading;
    RW_TRY(reading.description, description->timecode());
    const auto& definition = reading.description.definition;
    const auto table = media.sampleTable();
    const auto sample = table.sampleAt(static_cast<std::uint64_t>(std::max<std::int64_t>(mediaTime, 0)));
    if (!sample)
        return failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
            "the timecode track has no sample");
    RW_TRY(const auto bytes, media.sampleData(sample->sample));
    ByteReader in {bytes.span(), "timecode sample"};
    const auto stored = in.u32();
    RW_CHECK(in.finish(true));
    // The sign bit is a sign only where negative times are allowed; else counts above 2^31 are what they say.
    const bool isSigned = (definition.flags & TimecodeDefinition::kNegativeTimesOK) != 0;
    const std::int64_t first
        = isSigned ? static_cast<std::int32_t>(stored) : static_cast<std::int64_t>(stored);
    const auto elapsed = static_cast<Wide>(mediaTime) - sample->start;
    // Media units to units of the definition, then to whole frames.
    const Wide divisor = static_cast<Wide>(media.timeScale()) * definition.frameDuration;
    Wide frames = divisor == 0 ? 0 : elapsed * definition.timeScale / divisor;
    if (frames * divisor > elapsed * definition.timeScale)
        --frames; // before the first sample: the frame that has begun
    reading.frame = saturated(first + frames);
    reading.text = label(reading.frame, definition);
    return reading;
}

} // namespace reelwright::timecodeMedia

#include "movie/samples/TimecodeMedia.h"

#include "movie/atoms/ByteReader.h"

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

    /// A time of a media between two of its units: num ÷ den.
    struct MediaTime
    {
        Wide num = 0;
        Wide den = 1;
    };

    std::string placeOf(const QTTrack& track)
    {
        return fmt::format("track {}", track.trackID());
    }

    /// The product, or an error: only damaged files have times that leave no room for it.
    Result<Wide> product(const QTTrack& track, std::initializer_list<Wide> factors)
    {
        Wide result = 1;
        for (const auto factor : factors)
            if (__builtin_mul_overflow(result, factor, &result))
                return failure(MovieError::Code::Corrupt, placeOf(track), "the times are beyond all measure");
        return result;
    }

    Wide roundedDown(Wide num, Wide den)
    {
        return num / den - (num % den < 0 ? 1 : 0);
    }

    constexpr std::uint64_t kSampleSize = 4;

    std::optional<SampleTable::TimedSample> sampleHolding(const QTMedia& media, std::int64_t mediaTime)
    {
        return media.sampleTable().sampleAt(static_cast<std::uint64_t>(std::max<std::int64_t>(mediaTime, 0)));
    }

    std::int64_t wholeUnits(const MediaTime& time)
    {
        return saturated(roundedDown(time.num, time.den));
    }

    /// The time of the media that the track shows at a time of the movie; nothing where it shows none.
    Result<std::optional<MediaTime>> mediaTimeAt(const QTTrack& track, const QTTime& time)
    {
        if (track.mediaType() != QTMediaTypeTimeCode)
            return failure(MovieError::Code::Refused, placeOf(track), "this is no timecode track");
        RW_TRY(const auto list, track.editList());
        const Wide movieScale = track.timeScale();
        if (movieScale <= 0 || time.scale <= 0 || time.value < 0)
            return std::nullopt;
        // All in units of 1 ÷ (movie scale × scale of the time): no rounding.
        const Wide asked = time.value * movieScale;
        Wide begin = 0;
        for (const auto& edit : list.edits) {
            RW_TRY(const Wide duration, product(track, {edit.duration, time.scale}));
            if (asked - begin >= duration) {
                begin += duration; // at most 2^95 an edit, 2^28 edits in the largest header
                continue;
            }
            if (edit.isEmpty())
                return std::nullopt;
            constexpr Wide kOne = 1 << 16;
            const Wide rate = edit.rate == kOne ? 1 : edit.rate;
            MediaTime mediaTime;
            RW_TRY(mediaTime.den, product(track, {time.scale, movieScale, edit.rate == kOne ? 1 : kOne}));
            RW_TRY(const auto offset, product(track, {edit.mediaTime, mediaTime.den}));
            RW_TRY(const auto shown, product(track, {asked - begin, track.media().timeScale(), rate}));
            if (__builtin_add_overflow(offset, shown, &mediaTime.num))
                return failure(MovieError::Code::Corrupt, placeOf(track), "the times are beyond all measure");
            return mediaTime;
        }
        return std::nullopt;
    }

    /// The timecode at that time, counted on from the sample that holds it.
    Result<Reading> readingAt(const QTTrack& track, const MediaTime& time)
    {
        const auto media = track.media();
        if (track.mediaType() != QTMediaTypeTimeCode)
            return failure(MovieError::Code::Refused, placeOf(track), "this is no timecode track");
        const auto description = media.sampleDescription(1);
        if (!description)
            return failure(
                MovieError::Code::Corrupt, placeOf(track), "the timecode track has no description");
        Reading reading;
        RW_TRY(reading.description, description->timecode());
        const auto& definition = reading.description.definition;
        const auto sample = sampleHolding(media, wholeUnits(time));
        if (!sample)
            return failure(MovieError::Code::Corrupt, placeOf(track), "the timecode track has no sample");
        RW_TRY(const auto bytes, media.sampleStart(sample->sample, kSampleSize));
        ByteReader in {bytes.span(), "timecode sample"};
        const auto stored = in.u32();
        RW_CHECK(in.finish(true));
        // The sign bit is a sign only where negative times are allowed; else counts above 2^31 are what they
        // say.
        const bool isSigned = (definition.flags & TimecodeDefinition::kNegativeTimesOK) != 0;
        const std::int64_t first
            = isSigned ? static_cast<std::int32_t>(stored) : static_cast<std::int64_t>(stored);
        // Media units to units of the definition, then to the frame that has begun.
        RW_TRY(const auto start, product(track, {sample->start, time.den}));
        RW_TRY(const auto elapsed, product(track, {time.num - start, definition.timeScale}));
        RW_TRY(const auto unit, product(track, {media.timeScale(), definition.frameDuration, time.den}));
        const Wide frames = unit <= 0 ? 0 : roundedDown(elapsed, unit);
        reading.frame = saturated(frames > INT64_MAX / 2 ? frames : first + frames);
        reading.text = label(reading.frame, definition);
        return reading;
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
    // A damaged record may count more than 64 bits of frames; the nearest limit then stands for it.
    const auto minutes = Wide {record.hours} * 60 + record.minutes;
    const auto dropped = droppedPerMinute(definition);
    auto frames = record.frames;
    if (dropped != 0 && record.seconds == 0 && frames < dropped && record.minutes % 10 != 0)
        frames = dropped;
    const auto number = (minutes * 60 + record.seconds) * labelsPerSecond(definition) + frames
        - dropped * (minutes - minutes / 10);
    const auto limited = static_cast<std::int64_t>(std::min<Wide>(number, INT64_MAX));
    return record.negative ? -limited : limited;
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
    return readingAt(track, {mediaTime, 1});
}

bool isAtHand(const QTTrack& track, std::int64_t mediaTime)
{
    const auto media = track.media();
    const auto sample = sampleHolding(media, mediaTime);
    return !sample || media.isSampleStartKept(sample->sample, kSampleSize);
}

void readAhead(const QTMovie& movie)
{
    for (const auto& track : movie.tracksOfMediaType(QTMediaTypeTimeCode))
        static_cast<void>(atMediaTime(track, 0));
}

bool isAtHand(const QTTrack& track, const QTTime& movieTime)
{
    const auto time = mediaTimeAt(track, movieTime);
    return !time || !*time || isAtHand(track, wholeUnits(**time));
}

Result<std::optional<Reading>> atMovieTime(const QTTrack& track, const QTTime& time)
{
    RW_TRY(const auto mediaTime, mediaTimeAt(track, time));
    if (!mediaTime)
        return std::nullopt;
    RW_TRY(auto reading, readingAt(track, *mediaTime));
    return reading;
}

} // namespace reelwright::timecodeMedia

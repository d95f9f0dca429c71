#include "movie/samples/TimecodeMedia.h"

#include "movie/FrameRate.h"
#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <utility>

namespace reelwright::timecodeMedia {
namespace {

    __extension__ using Wide = __int128;

    constexpr std::int64_t kMinutesPerDay = 24 * 60;

    /// Frame labels a second. Some cameras write the number of frames of an NTSC rate rounded down (29 for
    /// 30000/1001) and count as if it were right.
    std::int64_t labelsPerSecond(const TimecodeDefinition& definition)
    {
        const std::int64_t nominal = definition.numberOfFrames + 1;
        return FrameRate::of(definition) == FrameRate {nominal * 1000, 1001} ? nominal
                                                                             : definition.numberOfFrames;
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

    /// The description that a sample counts by: files put together from several tapes have one for each.
    Result<TimecodeDescription> descriptionOf(const QTTrack& track, std::uint32_t sample)
    {
        const auto media = track.media();
        const auto chunk = media.sampleTable().locate(sample);
        auto description = media.sampleDescription(chunk ? chunk->description : 1);
        if (!description)
            description = media.sampleDescription(1);
        if (!description)
            return failure(
                MovieError::Code::Corrupt, placeOf(track), "the timecode track has no description");
        return description->timecode();
    }

    Result<std::uint32_t> storedNumber(const QTMedia& media, std::uint32_t sample)
    {
        RW_TRY(const auto bytes, media.sampleStart(sample, kSampleSize));
        ByteReader in {bytes.span(), "timecode sample"};
        const auto stored = in.u32();
        RW_CHECK(in.finish(true));
        return stored;
    }

    /// The sign bit is a sign only where negative times are allowed; else counts above 2^31 are what they
    /// say.
    std::int64_t meantNumber(std::uint32_t stored, const TimecodeDefinition& definition)
    {
        const bool isSigned = (definition.flags & TimecodeDefinition::kNegativeTimesOK) != 0;
        return isSigned ? static_cast<std::int32_t>(stored) : static_cast<std::int64_t>(stored);
    }

    /// The timecode at that time, counted on from the sample that holds it.
    Result<Reading> readingAt(const QTTrack& track, const MediaTime& time)
    {
        const auto media = track.media();
        if (track.mediaType() != QTMediaTypeTimeCode)
            return failure(MovieError::Code::Refused, placeOf(track), "this is no timecode track");
        Reading reading;
        const auto sample = sampleHolding(media, wholeUnits(time));
        RW_TRY(reading.description, descriptionOf(track, sample ? sample->sample : 1));
        const auto& definition = reading.description.definition;
        if (!sample)
            return failure(MovieError::Code::Corrupt, placeOf(track), "the timecode track has no sample");
        RW_TRY(const auto stored, storedNumber(media, sample->sample));
        const auto first = meantNumber(stored, definition);
        // Media units to units of the definition, then to the frame that has begun.
        RW_TRY(const auto start, product(track, {sample->start, time.den}));
        const auto rate = FrameRate::of(definition);
        RW_TRY(const auto elapsed, product(track, {time.num - start, rate.num}));
        RW_TRY(const auto unit, product(track, {media.timeScale(), rate.num == 0 ? 0 : rate.den, time.den}));
        const Wide frames = unit <= 0 ? 0 : roundedDown(elapsed, unit);
        reading.frame = saturated(frames > INT64_MAX / 2 ? frames : first + frames);
        reading.text = label(reading.frame, definition);
        return reading;
    }

} // namespace

std::int64_t framesPerDay(const TimecodeDefinition& definition)
{
    const std::int64_t dropped = droppedPerMinute(definition) * (kMinutesPerDay - kMinutesPerDay / 10);
    return labelsPerSecond(definition) * 60 * kMinutesPerDay - dropped;
}

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

std::optional<TimecodeRecord> recordOf(std::string_view text)
{
    TimecodeRecord record;
    if (text.starts_with('-')) {
        record.negative = true;
        text.remove_prefix(1);
    }
    std::int64_t* const fields[] = {&record.hours, &record.minutes, &record.seconds, &record.frames};
    for (std::size_t i = 0; i < std::size(fields); ++i) {
        const auto end = i == 3 ? text.size() : text.find_first_of(":;");
        if (end == std::string_view::npos)
            return std::nullopt;
        std::int32_t number = 0;
        const auto* stop = text.data() + end;
        const auto [parsed, error] = std::from_chars(text.data(), stop, number);
        if (error != std::errc {} || parsed != stop || number < 0)
            return std::nullopt;
        *fields[i] = number;
        text.remove_prefix(i == 3 ? end : end + 1);
    }
    return record;
}

bool hasLabel(const TimecodeRecord& wanted, const TimecodeDefinition& definition)
{
    auto found = record(frameNumber(wanted, definition), definition);
    found.negative = found.negative && wanted.negative; // there is no negative zero
    return found
        == TimecodeRecord {wanted.negative && frameNumber(wanted, definition) != 0, wanted.hours,
            wanted.minutes, wanted.seconds, wanted.frames};
}

namespace {

    /// When each sample begins and how long it lasts; what its media say is not read.
    Result<std::vector<StoredSample>> unreadSamples(const QTTrack& track)
    {
        const auto table = track.media().sampleTable();
        if (table.sampleCount() > kMostSamples)
            return failure(MovieError::Code::Refused, placeOf(track),
                fmt::format("the timecode track has {} samples, more than the {} that are read at once",
                    table.sampleCount(), kMostSamples));
        std::vector<StoredSample> samples;
        samples.reserve(table.sampleCount());
        std::uint64_t start = 0;
        std::size_t run = 0;
        std::uint32_t ofRun = 0;
        for (std::uint32_t number = 1; number <= table.sampleCount(); ++number) {
            while (run < table.timeRunCount() && ofRun == table.timeRun(run).count) {
                ++run;
                ofRun = 0;
            }
            const auto duration = run < table.timeRunCount() ? table.timeRun(run).duration : 0;
            auto& sample = samples.emplace_back();
            sample.start = start;
            sample.duration = duration;
            ++ofRun;
            start += duration;
        }
        return samples;
    }

    /// Adds what the sample's media say.
    Result<void> readSample(const QTTrack& track, std::uint32_t number, StoredSample& sample)
    {
        const auto media = track.media();
        const auto chunk = media.sampleTable().locate(number);
        sample.descriptionIndex
            = chunk && media.sampleDescription(chunk->description) ? chunk->description : 1;
        RW_TRY(sample.description, descriptionOf(track, number));
        RW_TRY(sample.stored, storedNumber(media, number));
        sample.frame = meantNumber(sample.stored, sample.description.definition);
        return {};
    }

    /// A label, or a counter's number.
    struct Wanted
    {
        std::optional<TimecodeRecord> record;
        std::int64_t counter = 0;

        static std::optional<Wanted> of(std::string_view label)
        {
            Wanted wanted {recordOf(label)};
            const auto* const stop = label.data() + label.size();
            const auto [end, error] = std::from_chars(label.data(), stop, wanted.counter);
            if (!wanted.record && (error != std::errc {} || end != stop))
                return std::nullopt;
            return wanted;
        }

        /// How many frames behind the sample's own it is; nothing when the sample's labels never come to it.
        [[nodiscard]] std::optional<std::int64_t> framesBehind(const StoredSample& sample) const
        {
            const auto& definition = sample.description.definition;
            const bool counts = (definition.flags & TimecodeDefinition::kCounter) != 0;
            if (FrameRate::of(definition).num <= 0 || counts == record.has_value()
                || (record && !hasLabel(*record, definition)))
                return std::nullopt;
            std::int64_t frames = (counts ? counter : frameNumber(*record, definition)) - sample.frame;
            // Behind midnight labels begin again.
            if (const auto day = counts ? 0 : framesPerDay(definition); frames < 0 && day > 0)
                frames = (frames % day + day) % day;
            return frames < 0 ? std::nullopt : std::optional(frames);
        }
    };

    struct TimeScales
    {
        Wide media = 0;
        Wide movie = 0;
    };

    /// The time of the movie at which an edit, which begins at `at` (in the movie's scale), first shows that
    /// frame of the sample; nothing when it does not.
    std::optional<QTTime> timeInEdit(const EditList::Edit& edit, Wide at, const StoredSample& sample,
        bool isLast, std::int64_t frames, const TimeScales& scales)
    {
        const auto rate = FrameRate::of(sample.description.definition);
        // The frame lasts from `shown` to `hidden`, in units of 1 ÷ (media scale × rate.num) of the media.
        const Wide start = Wide {static_cast<std::int64_t>(sample.start)} * rate.num;
        const Wide frameLength = scales.media * rate.den;
        const Wide until // the last one counts on
            = isLast ? Wide {INT64_MAX} * rate.num : start + Wide {sample.duration} * rate.num;
        const Wide shown = start + frames * frameLength;
        const Wide hidden = std::min(shown + frameLength, until);
        const Wide editStart = Wide {edit.mediaTime} * rate.num;
        constexpr Wide kOne = 1 << 16;
        const Wide first = std::max(shown, editStart);
        if (shown >= until || hidden <= editStart)
            return std::nullopt;
        // Into the movie: media units ÷ the edit's rate.
        const double seconds = static_cast<double>(first - editStart) / static_cast<double>(scales.media)
            / static_cast<double>(rate.num) * static_cast<double>(kOne) / edit.rate;
        if (seconds * static_cast<double>(scales.movie) >= static_cast<double>(edit.duration))
            return std::nullopt;
        // Rounded up, so that the time lies in the frame and never before it.
        constexpr std::int32_t kScale = 1'000'000'000;
        const Wide unit = scales.media * rate.num * edit.rate;
        const Wide inEdit = ((first - editStart) * kOne * kScale + unit - 1) / unit;
        const Wide time = (at * kScale + scales.movie - 1) / scales.movie + inEdit;
        if (time > INT64_MAX)
            return std::nullopt;
        return QTTime {static_cast<std::int64_t>(time), kScale};
    }

    /// Has the edit shown all it shows before that time of the media?
    bool endsBefore(const EditList::Edit& edit, std::uint64_t mediaTime, const TimeScales& scales)
    {
        const double shown = static_cast<double>(edit.duration) / static_cast<double>(scales.movie)
            * static_cast<double>(scales.media) * edit.rate / (1 << 16);
        return static_cast<double>(edit.mediaTime) + shown < static_cast<double>(mediaTime);
    }

} // namespace

Result<std::vector<StoredSample>> storedSamples(const QTTrack& track)
{
    RW_TRY(auto samples, unreadSamples(track));
    for (std::uint32_t number = 1; number <= samples.size(); ++number)
        RW_CHECK(readSample(track, number, samples[number - 1]));
    return samples;
}

Result<std::optional<QTTime>> movieTimeOf(const QTTrack& track, std::string_view label, Samples which)
{
    const auto wanted = Wanted::of(label);
    if (!wanted)
        return std::nullopt;
    RW_TRY(auto samples, unreadSamples(track));
    RW_TRY(const auto list, track.editList());
    const TimeScales scales {track.media().timeScale(), track.timeScale()};
    if (scales.media <= 0 || scales.movie <= 0)
        return std::nullopt;
    // Read when it comes to them: the label may stand before the one that cannot be read.
    std::vector<std::optional<Result<void>>> read(samples.size());
    std::optional<MovieError> problem;
    const auto canBeRead = [&](std::size_t i) {
        const auto number = static_cast<std::uint32_t>(i + 1);
        if (!read[i] && which == Samples::AtHand && !track.media().isSampleStartKept(number, kSampleSize))
            read[i] = failure(MovieError::Code::Io, placeOf(track), "a sample was not read yet");
        if (!read[i])
            read[i] = readSample(track, number, samples[i]);
        if (!*read[i] && !problem)
            problem = read[i]->error();
        return read[i]->has_value();
    };
    Wide begin = 0; // of the edit, in the movie's scale
    for (const auto& edit : list.edits) {
        const Wide at = begin;
        begin += edit.duration;
        if (edit.isEmpty() || edit.rate <= 0)
            continue;
        const auto later = std::ranges::upper_bound(
            samples, std::max<std::int64_t>(edit.mediaTime, 0),
            [](std::int64_t time, std::uint64_t start) { return std::cmp_less(time, start); },
            &StoredSample::start);
        auto i = static_cast<std::size_t>(std::max<std::ptrdiff_t>(later - samples.begin() - 1, 0));
        for (; i < samples.size() && !endsBefore(edit, samples[i].start, scales); ++i) {
            if (!canBeRead(i))
                continue;
            if (const auto frames = wanted->framesBehind(samples[i]))
                if (const auto time
                    = timeInEdit(edit, at, samples[i], i + 1 == samples.size(), *frames, scales))
                    return time;
        }
    }
    if (problem)
        return tl::unexpected<MovieError>(std::move(*problem));
    return std::nullopt;
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

bool areAllAtHand(const QTTrack& track)
{
    const auto media = track.media();
    const auto count = media.sampleCount();
    if (count > kMostSamples)
        return true; // none is read
    for (std::uint32_t number = 1; number <= count; ++number)
        if (!media.isSampleStartKept(number, kSampleSize))
            return false;
    return true;
}

void readAllAhead(const QTTrack& track)
{
    const auto count = track.media().sampleCount();
    for (std::uint32_t number = 1; number <= count && count <= kMostSamples; ++number)
        static_cast<void>(storedNumber(track.media(), number));
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

#include "timecode/KWTimecodeController.h"

#include "movie/FrameRate.h"
#include "support/KWLog.h"
#include "support/Text.h"
#include "timecode/StillImage.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>
#include <locale.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <cwctype>
#include <filesystem>

namespace reelwright {
namespace {

    std::string lowerExtension(const std::string& fileName)
    {
        const auto dot = fileName.rfind('.');
        const auto slash = fileName.rfind('/');
        if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
            return {};
        auto extension = fileName.substr(dot + 1);
        std::transform(extension.begin(), extension.end(), extension.begin(),
            [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
        return extension;
    }

    /// Is the UTF-8 character that begins at `text[0]` a letter or a digit of any script?
    bool isLetterOrDigit(std::string_view text)
    {
        static const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        const auto lead = static_cast<unsigned char>(text.front());
        if (lead < 0x80)
            return (lead >= '0' && lead <= '9') || (lead >= 'A' && lead <= 'Z')
                || (lead >= 'a' && lead <= 'z');
        std::uint32_t code = lead >= 0xF0 ? lead & 0x07U : lead >= 0xE0 ? lead & 0x0FU : lead & 0x1FU;
        for (const char byte : text.substr(1))
            code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
        return unicode == nullptr || ::iswalnum_l(static_cast<std::wint_t>(code), unicode) != 0;
    }

    /// The text without what is neither letter nor digit at its two ends.
    std::string trimReel(std::string_view text)
    {
        const auto characterAt = [&](std::size_t begin) {
            std::size_t end = begin + 1;
            while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
                ++end;
            return text.substr(begin, end - begin);
        };
        std::size_t first = text.size();
        std::size_t last = 0;
        for (std::size_t at = 0; at < text.size();) {
            const auto character = characterAt(at);
            if (isLetterOrDigit(character)) {
                first = std::min(first, at);
                last = at + character.size();
            }
            at += character.size();
        }
        return first < last ? std::string(text.substr(first, last - first)) : std::string {};
    }

    KWTimecodeController::Reel trimmed(const KWTimecodeController::Reel& reel)
    {
        return reel ? KWTimecodeController::Reel(trimReel(*reel)) : std::nullopt;
    }

    bool isSameName(std::string_view a, std::string_view b)
    {
        const auto lower
            = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
        return std::equal(
            a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
    }

    /// The file at that path, or one in its folder whose name differs by upper and lower case only.
    std::optional<std::string> existingFile(const std::filesystem::path& path)
    {
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error))
            return path.string();
        for (std::filesystem::directory_iterator entry {path.parent_path(), error}, end;
             !error && entry != end; entry.increment(error)) {
            std::error_code unreadable;
            if (isSameName(entry->path().filename().string(), path.filename().string())
                && entry->is_regular_file(unreadable))
                return entry->path().string();
        }
        return std::nullopt;
    }

    std::optional<QTMedia> pictureMedia(const QTMovie& movie)
    {
        const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
        return video.empty() ? std::nullopt : std::optional(video.front().media());
    }

    /// In a time scale in which a frame has no whole length, readers drift or misread the rate: the movie's
    /// becomes a multiple of the picture's and, where frames have no whole length in that either, of the
    /// rate's own.
    void raiseToPicture(QTMovie& movie)
    {
        const auto raise = [&movie](std::int64_t unit) {
            const auto raised = movie.raiseTimeScale(unit > INT32_MAX ? 0 : static_cast<std::int32_t>(unit));
            if (!raised || !*raised)
                KWLog::appendLog("Unable to raise the movie time scale {} to {}", movie.timeScale(), unit);
        };
        if (const auto media = pictureMedia(movie))
            raise(media->timeScale());
        const auto rate = FrameRate::forTimecode(movie);
        const bool isNominal = rate.den == 1 || rate.den == 1001;
        if (isNominal && !rate.isWholeAt(movie.timeScale()))
            raise(rate.num);
    }

    /// The definition of a new track: time scale ÷ rate, cut off. It counts in the movie's time scale, or,
    /// where a frame has no whole length in it, in the picture's or the rate's own.
    TimecodeDefinition definitionFor(const QTMovie& movie, std::uint32_t flags)
    {
        const auto rate = FrameRate::forTimecode(movie);
        std::int64_t scale = movie.timeScale();
        const auto media = pictureMedia(movie);
        for (const std::int64_t other : {media ? media->timeScale() : std::int64_t {0}, rate.num})
            if (!rate.isWholeAt(scale) && other > 0 && other <= INT32_MAX && rate.isWholeAt(other))
                scale = other;
        const auto byte = static_cast<std::uint8_t>(rate.labels());
        return {flags, static_cast<std::uint32_t>(scale), rate.frameLengthAt(scale),
            byte == 0 ? std::uint8_t {1} : byte};
    }

    /// The flags without those that mean nothing at that rate.
    std::uint32_t meaningfulFlags(std::uint32_t flags, const TimecodeDefinition& definition)
    {
        if ((flags & TimecodeDefinition::kDropFrame) == 0 || (flags & TimecodeDefinition::kCounter) != 0
            || FrameRate::of(definition).hasDropFrame())
            return flags;
        KWLog::appendLog("Drop frame left out: it does not exist at {}",
            KWTimecodeController::rateText(
                {0, definition.timeScale, definition.frameDuration, definition.numberOfFrames}));
        return flags & ~TimecodeDefinition::kDropFrame;
    }

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    tl::unexpected<MovieError> refusedAndLogged(std::string sentence)
    {
        KWLog::appendLog("{}", sentence);
        return refusal(std::move(sentence));
    }

    /// "00:01:00;00"
    std::string typedText(const TimecodeRecord& record, const TimecodeDefinition& definition)
    {
        return timecodeMedia::text(record, definition);
    }

    std::string noSuchLabel(const TimecodeRecord& wanted, const TimecodeDefinition& definition)
    {
        const auto nearest = timecodeMedia::label(timecodeMedia::frameNumber(wanted, definition), definition);
        auto text = fmt::format("there is no timecode {} at {}{}", typedText(wanted, definition),
            KWTimecodeController::rateText(definition),
            (definition.flags & TimecodeDefinition::k24HourMax) != 0 ? " within 24 hours" : "");
        if (wanted.negative && (definition.flags & TimecodeDefinition::kNegativeTimesOK) == 0)
            text += " without negative times";
        return nearest.empty() ? text : fmt::format("{}; the nearest is {}", text, nearest);
    }

    /// The number to store for a start; 32 bits whatever its sign.
    std::uint32_t storedFrame(const TimecodeRecord& start, const TimecodeDefinition& definition)
    {
        return static_cast<std::uint32_t>(timecodeMedia::frameNumber(start, definition));
    }

    TimecodeRecord startRecord(std::uint8_t hours, std::uint8_t mins, std::uint8_t secs, std::uint8_t frames)
    {
        return {false, hours, mins, secs, frames};
    }

} // namespace

bool KWTimecodeController::isTypeWithoutTimecode(const std::string& fileName)
{
    const auto extension = lowerExtension(fileName);
    return extension == "mp4" || extension == "m4v" || extension == "dv";
}

std::optional<KWTimecodeController::Fields> KWTimecodeController::fourFields(std::string_view timecode)
{
    Fields fields {};
    const auto parts = split(timecode, ":;");
    if (parts.size() != fields.size())
        return std::nullopt;
    for (std::size_t i = 0; i < fields.size(); ++i)
        fields[i] = static_cast<Byte>(integerValue(parts[i])); // the fields are bytes: larger numbers wrap
    return fields;
}

Result<void> KWTimecodeController::canHaveTimecode(const QTMovie& movie)
{
    if (isTypeWithoutTimecode(movie.fileName()))
        return refusal("Timecode tracks are not supported for this file format; save the movie under a name "
                       "that ends in .mov first (-o NAME.mov) and edit that");
    if (movie.tracks().empty())
        return refusal("the movie has no tracks that a timecode could belong to; add one first");
    return {};
}

std::string KWTimecodeController::rateText(const TimecodeDefinition& definition)
{
    const auto rate = FrameRate::of(definition);
    const auto drops = (definition.flags & TimecodeDefinition::kDropFrame) != 0 ? " in drop frame" : "";
    if (rate.num == 0 || rate.num % rate.den == 0)
        return fmt::format(
            "{} frames a second{}", rate.num == 0 ? definition.numberOfFrames : rate.num / rate.den, drops);
    return fmt::format("{:.2f} frames a second{}", rate.perSecond(), drops);
}

Result<KWMovTrack> KWTimecodeController::insertTimecodeTrack(
    Byte hours, Byte mins, Byte secs, Byte frames, std::uint32_t flags, const Reel& reel, QTMovie& movie)
{
    if (isTypeWithoutTimecode(movie.fileName()))
        KWLog::appendLog("Unable to add timecode track - timecode is not supported by this file format");
    else if (movie.tracks().empty())
        KWLog::appendLog("No tracks in movie");
    RW_CHECK(canHaveTimecode(movie));
    auto sources = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (sources.empty())
        sources = movie.tracks();
    const EditableScope scope {movie};
    raiseToPicture(movie);
    auto definition = definitionFor(movie, flags);
    definition.flags = meaningfulFlags(flags, definition);
    KWLog::appendLog("Settings for new timecode track:");
    KWLog::appendLog("Flags: {}", static_cast<std::int32_t>(definition.flags));
    KWLog::appendLog("Timescale: {}", definition.timeScale);
    KWLog::appendLog("Frame duration: {}", definition.frameDuration);
    KWLog::appendLog("Num frames: {}", definition.numberOfFrames);
    KWLog::appendLog("Hours: {}", hours);
    KWLog::appendLog("Mins: {}", mins);
    KWLog::appendLog("Secs: {}", secs);
    KWLog::appendLog("Frames: {}", frames);

    timecodeMedia::NewTimecode timecode;
    timecode.description = timecodeMedia::makeDescription(definition, trimmed(reel));
    timecode.startFrame = storedFrame(startRecord(hours, mins, secs, frames), definition);
    timecode.mediaTimeScale = movie.timeScale();
    timecode.duration = static_cast<std::uint64_t>(std::max<std::int64_t>(movie.duration().value, 0));
    const auto track = timecodeMedia::addTrack(movie, timecode);
    if (!track) {
        KWLog::appendLog("Error adding timecode media sample: {}", track.error().status);
        return tl::unexpected<MovieError>(track.error());
    }
    if (const auto referred = sources.front().addReference(QTMediaTypeTimeCode, track->trackID());
        !referred) {
        KWLog::appendLog("Error adding timecode track reference: {}", referred.error().status);
        return tl::unexpected<MovieError>(referred.error());
    }
    return KWMovTrack::trackWithQTTrack(*track);
}

Result<KWMovTrack> KWTimecodeController::insertTimecodeTrack(
    Byte hours, Byte mins, Byte secs, Byte frames, QTMovie& movie)
{
    return insertTimecodeTrack(hours, mins, secs, frames, 0, std::nullopt, movie);
}

Result<KWMovTrack> KWTimecodeController::insertBlankTimecodeTrack(QTMovie& movie)
{
    return insertTimecodeTrack(1, 0, 0, 0, movie);
}

namespace {

    /// Gives a timecode track one sample that starts so, from the start of the movie to its end.
    Result<void> rewriteTimecode(const TimecodeRecord& start, std::uint32_t flags,
        const KWTimecodeController::Reel& reel, const QTTrack& track, QTMovie& movie)
    {
        if (track.mediaType() != QTMediaTypeTimeCode)
            return refusal(fmt::format("track {} is no timecode track", track.trackID()));
        const EditableScope scope {movie};
        const auto description = track.media().sampleDescription(1);
        const auto timecode = description
            ? description->timecode()
            : failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
                "the timecode track has no description");
        if (!timecode) {
            KWLog::appendLog("Error: {}: Unable to begin media editing", timecode.error().status);
            return tl::unexpected<MovieError>(timecode.error());
        }
        auto definition = timecode->definition;
        definition.flags = meaningfulFlags(flags, definition);
        timecodeMedia::NewTimecode changed;
        changed.description
            = timecodeMedia::changeDescription(description->entry(), definition.flags, trimmed(reel));
        raiseToPicture(movie);
        changed.startFrame = storedFrame(start, definition);
        changed.mediaTimeScale = movie.timeScale();
        changed.duration = static_cast<std::uint64_t>(std::max<std::int64_t>(movie.duration().value, 0));
        if (auto replaced = timecodeMedia::replaceMedia(movie, track, changed); !replaced) {
            KWLog::appendLog("Error: {}: Unable to add timecode sample", replaced.error().status);
            return replaced;
        }
        return {};
    }

    constexpr auto kFlags = {TimecodeDefinition::kDropFrame, TimecodeDefinition::kNegativeTimesOK,
        TimecodeDefinition::k24HourMax, TimecodeDefinition::kCounter};

    /// A description's flags after the change.
    std::uint32_t changedFlags(const TimecodeChange& change, std::uint32_t flags)
    {
        const std::optional<bool> wanted[]
            = {change.dropFrame, change.negativeTimes, change.limit24Hours, change.counter};
        const auto* next = wanted;
        for (const auto flag : kFlags) {
            if (*next)
                flags = **next ? flags | flag : flags & ~flag;
            ++next;
        }
        return (flags & TimecodeDefinition::kCounter) != 0 ? TimecodeDefinition::kCounter : flags;
    }

    /// Do the flags that are asked for go together, and with the rate?
    Result<void> checkFlags(const TimecodeChange& change, const TimecodeDefinition& definition)
    {
        const bool counter = change.counter.value_or((definition.flags & TimecodeDefinition::kCounter) != 0);
        const auto asked = [](const std::optional<bool>& flag) { return flag.value_or(false); };
        if (counter && (asked(change.dropFrame) || asked(change.negativeTimes) || asked(change.limit24Hours)))
            return refusedAndLogged(
                "a counter has no drop frame, no negative times and no 24-hour limit; give the track a "
                "timecode first (--timecode TEXT)");
        if (!counter && asked(change.dropFrame) && !FrameRate::of(definition).hasDropFrame())
            return refusedAndLogged(
                fmt::format("drop frame is for 29.97 and 59.94 frames a second (and 119.88); this timecode "
                            "has {}: leave out --drop-frame, and write the start with \":\" throughout",
                    KWTimecodeController::rateText(
                        {0, definition.timeScale, definition.frameDuration, definition.numberOfFrames})));
        return {};
    }

    constexpr auto kBeforeMidnight
        = "the start lies before midnight, on the day before; negative times (--negative) show it below zero";

    /// The number that means this frame under those flags; a day later where it is below zero and must not
    /// be.
    std::uint32_t storedNumber(std::int64_t frame, const TimecodeDefinition& definition, std::string& remark)
    {
        const bool counter = (definition.flags & TimecodeDefinition::kCounter) != 0;
        const bool isSigned = (definition.flags & TimecodeDefinition::kNegativeTimesOK) != 0;
        const auto day = timecodeMedia::framesPerDay(definition);
        if (frame < 0 && !isSigned && !counter && day > 0) {
            frame = (frame % day + day) % day;
            remark = kBeforeMidnight;
        }
        return static_cast<std::uint32_t>(frame);
    }

    /// The change of everything but the start: description by description, sample by sample.
    Result<std::string> changeInPlace(const TimecodeChange& change, const QTTrack& track, QTMovie& movie)
    {
        const auto media = track.media();
        std::string remark;
        const bool numbersMayChange
            = change.offset || change.dropFrame || change.negativeTimes || change.counter;
        std::vector<timecodeMedia::StoredSample> samples;
        if (numbersMayChange) {
            RW_TRY(samples, timecodeMedia::storedSamples(track));
        }
        const auto first = samples.empty() ? std::size_t {1} : samples.front().descriptionIndex;
        const auto chunk = media.sampleTable().locate(1);
        const auto reelIndex
            = chunk && media.sampleDescription(chunk->description) ? chunk->description : first;
        std::vector<std::optional<TimecodeDescription>> present(1); // 1-based
        for (std::size_t i = 1; i <= media.sampleDescriptionCount(); ++i) {
            const auto read = media.sampleDescription(i)->timecode();
            if (!read && i == reelIndex)
                return tl::unexpected<MovieError>(read.error());
            present.push_back(read ? std::optional(*read) : std::nullopt);
        }
        if (reelIndex >= present.size())
            return failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
                "the timecode track has no description");
        const auto oldReel = present[reelIndex]->reel;
        RW_CHECK(checkFlags(change, present[reelIndex]->definition));

        std::vector<std::uint32_t> numbers;
        bool numbersChange = false;
        for (const auto& sample : samples) {
            auto definition = sample.description.definition;
            const auto before = definition;
            definition.flags = changedFlags(change, before.flags);
            auto frame = sample.frame;
            const bool staysOfItsKind
                = ((definition.flags ^ before.flags) & TimecodeDefinition::kCounter) == 0;
            // Another way to count keeps the label where there is one, and the number to and from a counter.
            if (staysOfItsKind && (definition.flags & TimecodeDefinition::kCounter) == 0
                && definition.flags != before.flags)
                frame = timecodeMedia::frameNumber(timecodeMedia::record(frame, before), definition);
            if (change.offset) {
                if ((definition.flags & TimecodeDefinition::kCounter) != 0)
                    return refusedAndLogged("a counter has no timecode that could be moved; set its number "
                                            "with --counter N");
                const auto day = timecodeMedia::framesPerDay(definition);
                const bool isOfDay = frame >= 0 && frame < day;
                frame += timecodeMedia::frameNumber(*change.offset, definition);
                if (isOfDay && frame >= day) {
                    frame %= day;
                    remark = "the start lies after midnight, on the next day";
                }
            }
            const bool isSame
                = frame == sample.frame && !(frame < 0 && staysOfItsKind && change.negativeTimes);
            numbers.push_back(isSame ? sample.stored : storedNumber(frame, definition, remark));
            numbersChange = numbersChange || numbers.back() != sample.stored;
        }

        const EditableScope scope {movie};
        const auto reel = trimmed(change.reel);
        for (std::size_t i = 1; i < present.size(); ++i) {
            if (!present[i])
                continue;
            const auto flags = changedFlags(change, present[i]->definition.flags);
            // One tape may stand in several descriptions; another one keeps its name.
            const bool renames = reel && present[i]->reel == oldReel && present[i]->reel != *reel;
            if (flags == present[i]->definition.flags && !renames)
                continue;
            const auto description = media.sampleDescription(i);
            RW_CHECK(timecodeMedia::setDescription(track, i,
                timecodeMedia::changeDescription(
                    description->entry(), flags, renames ? reel : std::nullopt)));
        }
        if (numbersChange)
            RW_CHECK(timecodeMedia::setStoredNumbers(movie, track, numbers));
        return remark;
    }

    /// Does the track show nothing but one sample, from the start of the movie to its end?
    bool isPlain(const QTTrack& track)
    {
        const auto list = track.editList();
        const auto media = track.media();
        return list && list->edits.size() == 1 && !list->edits.front().isEmpty()
            && list->edits.front().mediaTime == 0 && list->edits.front().rate == 1 << 16
            && media.sampleCount() == 1 && media.sampleDescriptionCount() == 1
            && track.range().duration == track.movie().duration();
    }

} // namespace

Result<void> KWTimecodeController::modifyTimecode(Byte hours, Byte mins, Byte secs, Byte frames,
    const Reel& reel, const QTTrack& track, QTMovie& movie, bool dropFrame, bool negativeTC, bool limit24Hrs,
    bool counter)
{
    const auto flags = counter ? TimecodeDefinition::kCounter
                               : (dropFrame ? TimecodeDefinition::kDropFrame : 0U)
            + (negativeTC ? TimecodeDefinition::kNegativeTimesOK : 0U)
            + (limit24Hrs ? TimecodeDefinition::k24HourMax : 0U);
    return rewriteTimecode(
        startRecord(hours, mins, secs, frames), flags, reel.value_or(std::string {}), track, movie);
}

Result<void> KWTimecodeController::modifyTimecode(
    Byte hours, Byte mins, Byte secs, Byte frames, const QTTrack& track, QTMovie& movie)
{
    return modifyTimecode(hours, mins, secs, frames, std::nullopt, track, movie, false, false, false, false);
}

Result<std::string> KWTimecodeController::changeTimecode(
    const TimecodeChange& change, const QTTrack& track, QTMovie& movie)
{
    if (track.mediaType() != QTMediaTypeTimeCode)
        return refusedAndLogged(fmt::format("track {} is no timecode track", track.trackID()));
    const auto done = [&](Result<std::string> answer) {
        if (!answer && answer.error().code != MovieError::Code::Refused)
            KWLog::appendLog("Error: {}: Unable to change the timecode track", answer.error().status);
        return answer;
    };
    if (!change.start)
        return done(changeInPlace(change, track, movie));

    const auto description = track.media().sampleDescription(1);
    if (!description)
        return done(failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
            "the timecode track has no description"));
    const auto present = description->timecode();
    if (!present)
        return done(tl::unexpected<MovieError>(present.error()));
    auto definition = present->definition;
    RW_CHECK(checkFlags(change, definition));
    definition.flags = meaningfulFlags(changedFlags(change, definition.flags), definition);
    std::string remark;
    auto start = *change.start;
    const auto has = [&](std::uint32_t flag) { return (definition.flags & flag) != 0; };
    if (!has(TimecodeDefinition::kCounter) && !timecodeMedia::hasLabel(start, definition)) {
        if (change.missing == TimecodeChange::Missing::Refuse)
            return refusedAndLogged(noSuchLabel(start, definition));
        const bool isBefore = start.negative && !has(TimecodeDefinition::kNegativeTimesOK);
        remark = isBefore ? kBeforeMidnight : noSuchLabel(start, definition);
        start = timecodeMedia::record(timecodeMedia::frameNumber(start, definition), definition);
    }
    // A start that is there already is no reason to write new media.
    const auto reading = timecodeMedia::atMediaTime(track, 0);
    if (reading && isPlain(track) && definition.flags == present->definition.flags
        && storedFrame(start, definition) == static_cast<std::uint32_t>(reading->frame)) {
        TimecodeChange rest;
        rest.reel = change.reel;
        RW_CHECK(changeInPlace(rest, track, movie));
        return remark;
    }
    RW_CHECK(rewriteTimecode(start, definition.flags, change.reel, track, movie));
    return remark;
}

Result<void> KWTimecodeController::replaceTimecodeTrack(const QTTrack& track, QTMovie& movie)
{
    TimecodeDefinition definition;
    std::string reel;
    const auto start = fourFields(timecodeForTrack(track, &definition, &reel));
    if (!start)
        return refusal(
            fmt::format("track {} has no start timecode that a new track could get", track.trackID()));
    {
        const EditableScope scope {movie};
        RW_CHECK(movie.removeTrack(track));
    }
    const auto& [hours, mins, secs, frames] = *start;
    RW_CHECK(insertTimecodeTrack(hours, mins, secs, frames, definition.flags, reel, movie));
    return {};
}

Result<void> KWTimecodeController::relinkTimecode(const QTTrack& track, QTMovie& movie)
{
    if (track.mediaType() != QTMediaTypeTimeCode)
        return refusedAndLogged(fmt::format("track {} is no timecode track", track.trackID()));
    auto sources = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (sources.empty())
        sources = movie.tracks();
    std::erase_if(sources, [&](const QTTrack& other) { return other.trackID() == track.trackID(); });
    const auto id = track.trackID();
    const bool isReferred = std::any_of(sources.begin(), sources.end(), [&](const QTTrack& source) {
        const auto references = source.references();
        const auto kind = references.find(QTMediaTypeTimeCode);
        return kind != references.end()
            && std::find(kind->second.begin(), kind->second.end(), id) != kind->second.end();
    });
    const EditableScope scope {movie};
    RW_CHECK(timecodeMedia::completeMediaHeader(movie, track));
    if (!isReferred && !sources.empty())
        RW_CHECK(sources.front().addReference(QTMediaTypeTimeCode, id));
    return {};
}

namespace {

    /// The first timecode track; a new one where there is none.
    Result<QTTrack> firstOrNewTrack(QTMovie& movie)
    {
        if (const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie))
            return track->track();
        RW_TRY(const auto added, KWTimecodeController::insertBlankTimecodeTrack(movie));
        return added.track();
    }

} // namespace

Result<void> KWTimecodeController::updateTimecode(const std::string& timecode, const Reel& reel,
    QTMovie& movie, bool dropFrame, bool negativeTC, bool limit24Hrs)
{
    RW_TRY(const auto track, firstOrNewTrack(movie));
    const auto fields = fourFields(timecode);
    if (!fields) {
        KWLog::appendLog("Invalid timecode string");
        return refusal(fmt::format("\"{}\" is no timecode such as 10:00:00:00", timecode));
    }
    const auto& [hours, mins, secs, frames] = *fields;
    return modifyTimecode(
        hours, mins, secs, frames, reel, track, movie, dropFrame, negativeTC, limit24Hrs, false);
}

Result<void> KWTimecodeController::updateCounter(Byte counter, const Reel& reel, QTMovie& movie)
{
    RW_TRY(const auto track, firstOrNewTrack(movie));
    return modifyTimecode(0, 0, 0, counter, reel, track, movie, false, false, false, true);
}

std::string KWTimecodeController::timecodeForTrack(
    const QTTrack& track, TimecodeDefinition* timecodeDef, std::string* reelName)
{
    const auto reading = timecodeMedia::atMediaTime(track, 0);
    if (!reading)
        return {};
    if (timecodeDef)
        *timecodeDef = reading->description.definition;
    if (reelName)
        *reelName = trimReel(reading->description.reel);
    return reading->text;
}

Result<KWMovTrack> KWTimecodeController::addTimecodeTrackWithDate(
    std::chrono::sys_seconds date, QTMovie& movie)
{
    const std::time_t time = date.time_since_epoch().count();
    std::tm local {};
    if (::localtime_r(&time, &local) == nullptr)
        return refusal("the date is beyond the calendar");
    const auto byte = [](int field) { return static_cast<Byte>(field); };
    return insertTimecodeTrack(byte(local.tm_hour), byte(local.tm_min), byte(local.tm_sec), 0, movie);
}

Result<KWMovTrack> KWTimecodeController::addTimecodeFromTHMFile(const std::string& path, QTMovie& movie)
{
    // The camera wrote what its clock showed, and that is what is wanted: a way through a time zone would
    // only move the hour that a change to summer time leaves out.
    if (const auto recorded = StillImage::recordingTime(path))
        return insertTimecodeTrack(recorded->hours, recorded->minutes, recorded->seconds, 0, movie);
    if (!StillImage::canBeRead())
        return refusal("still images cannot be read: a part of this program is missing or cannot be loaded "
                       "(the log says which); install it again");
    return refusal(fmt::format("no time of recording (EXIF DateTimeOriginal) can be read from {}", path));
}

Result<KWMovTrack> KWTimecodeController::addTimecodeFromTHMFolder(const std::string& folder, QTMovie& movie)
{
    const std::filesystem::path name = std::filesystem::path(movie.fileName()).stem();
    const auto still = name.empty() ? std::nullopt
                                    : existingFile(std::filesystem::path(folder) / (name.string() + ".THM"));
    if (!still)
        return refusal(
            fmt::format("no still of the movie's name (.THM) with a time of recording is in {}", folder));
    return addTimecodeFromTHMFile(*still, movie);
}

namespace {

    /// Adds a track that starts with that label, which must be one at the movie's rate. `of` says whose it
    /// is.
    Result<KWMovTrack> addLabel(const TimecodeRecord& start, std::uint32_t flags,
        const KWTimecodeController::Reel& reel, const std::string& of, QTMovie& movie)
    {
        RW_CHECK(KWTimecodeController::canHaveTimecode(movie));
        auto definition = definitionFor(movie, flags);
        definition.flags = meaningfulFlags(flags, definition);
        constexpr int kMostHours = 99; // two digits
        if (start.negative || start.hours > kMostHours || !timecodeMedia::hasLabel(start, definition))
            return refusedAndLogged(
                fmt::format("{}: {}; give the start with --timecode", of, noSuchLabel(start, definition)));
        const auto byte = [](std::int64_t field) { return static_cast<std::uint8_t>(field); };
        return KWTimecodeController::insertTimecodeTrack(byte(start.hours), byte(start.minutes),
            byte(start.seconds), byte(start.frames), flags, reel, movie);
    }

} // namespace

Result<KWMovTrack> KWTimecodeController::addTimecodeFromMovieInFolder(
    const std::string& folder, QTMovie& destMovie)
{
    const auto missing
        = [&] { return refusal(fmt::format("no movie of the same name with a timecode is in {}", folder)); };
    const auto name = std::filesystem::path(destMovie.fileName()).filename();
    if (name.empty())
        return missing();
    auto candidate = std::filesystem::path(folder) / name;
    auto found = existingFile(candidate);
    const auto extension = lowerExtension(destMovie.fileName());
    for (const auto* other : {"mov", "mp4"})
        if (!found && extension != other)
            found = existingFile(candidate.replace_extension(other));
    if (!found)
        return missing();
    const auto source = QTMovie::open(*found, Storage::posix(), HeaderReading::Outline);
    const auto track = source ? KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, *source) : std::nullopt;
    if (!track)
        return missing();
    TimecodeDefinition definition;
    std::string reel;
    const auto text = timecodeForTrack(track->track(), &definition, &reel);
    const auto start = timecodeMedia::recordOf(text);
    if (!start)
        return refusal(fmt::format("{} has {} in its timecode track, which is no timecode", *found,
            text.empty() ? "nothing that can be read" : text));
    return addLabel(*start, definition.flags, reel,
        fmt::format("{} starts with {} at {}", *found, text, rateText(definition)), destMovie);
}

Result<KWMovTrack> KWTimecodeController::addTimecodeFromText(
    std::string_view text, std::string_view place, QTMovie& movie)
{
    const auto start = timecodeMedia::recordOf(reelwright::trimmed(text));
    if (!start)
        return refusedAndLogged(fmt::format(
            "{} has \"{}\", which is no timecode such as 10:00:00:00; give the start with --timecode", place,
            text));
    return addLabel(*start, 0, std::nullopt, fmt::format("{} has {}", place, text), movie);
}

float KWTimecodeController::frameRateForMedia(const QTMedia& media)
{
    return KWQuickTime::frameRateForMedia(media);
}

} // namespace reelwright

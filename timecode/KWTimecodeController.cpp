#include "timecode/KWTimecodeController.h"

#include "support/KWLog.h"
#include "support/Text.h"
#include "timecode/StillImage.h"
#include "tracks/KWQuickTime.h"

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

    /// The media whose rate the timecode counts at; none in a movie without a picture.
    std::optional<QTMedia> pictureMedia(const QTMovie& movie)
    {
        const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
        return video.empty() ? std::nullopt : std::optional(video.front().media());
    }

    __extension__ using Wide = __int128;

    /// A frame rate: num ÷ den frames a second.
    struct Rate
    {
        std::int64_t num = 0;
        std::int64_t den = 1;
    };

    /// The whole or NTSC rate that a media has but for the rounding of its sample times, if it has one: 30000
    /// ÷ 1001 for frames that last 20 units of 600 and now and then 21.
    std::optional<Rate> nominalRate(double average, double samples)
    {
        constexpr double kNear = 0.0004; // well below the thousandth between 30 and 29.97
        const auto whole = std::llround(average);
        const auto ntsc = std::llround(average * 1.001);
        std::optional<Rate> nearest;
        double smallest = std::min(kNear, 1 / samples); // over the whole media less than a frame
        for (const auto& rate : {Rate {whole, 1}, Rate {ntsc * 1000, 1001}}) {
            if (rate.num <= 0 || (rate.den != 1 && ntsc % 24 != 0 && ntsc % 30 != 0))
                continue;
            const auto error
                = std::abs(average * static_cast<double>(rate.den) / static_cast<double>(rate.num) - 1);
            if (error < smallest) {
                smallest = error;
                nearest = rate;
            }
        }
        return nearest;
    }

    /// The length that all frames have but perhaps the last, which is often cut short or held; 0 where they
    /// differ. A last one that is a unit off may be a matter of rounding, and counts as different.
    std::uint32_t commonFrameLength(const SampleTable& table)
    {
        const auto runs = table.timeRunCount();
        const auto length = table.firstDuration();
        if (runs == 2 && table.timeRun(1).count == 1) {
            const auto last = table.timeRun(1).duration;
            return std::max(length, last) - std::min(length, last) > 1 ? length : 0;
        }
        return runs == 1 ? length : 0;
    }

    /// Does a rate serve as it is? Then a frame has a whole length in the movie's time scale, and readers
    /// that round the rate come to the number of frames, which is rounded up.
    bool isUsable(const Rate& rate, std::int32_t movieTimeScale)
    {
        const auto rest = rate.num % rate.den;
        const bool roundsUp = rest == 0 || rest >= rate.den - rest;
        return roundsUp && static_cast<Wide>(movieTimeScale) * rate.den % rate.num == 0;
    }

    /// The rate that a timecode of the movie counts at: that of the picture, 30 without one. It is samples ×
    /// media time scale ÷ media duration, as the exact quotient: one of two rounded numbers would make a
    /// frame of 1001 last 1000. A last frame of another length does not count, or 25 frames a second
    /// became 26. Where the lengths vary, so that the cut-off length of an average frame would drift off the
    /// picture, it is the rate that they only round, or else the whole number of frames.
    Rate timecodeRate(const QTMovie& movie)
    {
        const auto media = pictureMedia(movie);
        const auto duration = media ? media->duration() : QTTime {};
        const auto samples = media ? static_cast<std::int64_t>(media->sampleCount()) : 0;
        if (samples == 0 || duration.value <= 0 || duration.scale <= 0)
            return {30, 1};
        const auto length = commonFrameLength(media->sampleTable());
        const auto rate
            = length != 0 ? Rate {duration.scale, length} : Rate {duration.scale * samples, duration.value};
        if (isUsable(rate, movie.timeScale()))
            return rate;
        const auto count = static_cast<double>(samples);
        if (const auto nominal
            = nominalRate(static_cast<double>(rate.num) / static_cast<double>(rate.den), count))
            return *nominal;
        return {rate.num / rate.den + (rate.num % rate.den != 0 ? 1 : 0), 1};
    }

    /// Movie time scale ÷ frame rate, rounded toward zero.
    std::uint32_t frameDuration(const QTMovie& movie)
    {
        const auto rate = timecodeRate(movie);
        const Wide exact = static_cast<Wide>(movie.timeScale()) * rate.den / rate.num;
        return exact > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(exact);
    }

    std::uint8_t numberOfFrames(const QTMovie& movie)
    {
        const auto rate = timecodeRate(movie);
        const auto roundedUp = rate.num / rate.den + (rate.num % rate.den != 0 ? 1 : 0);
        const auto byte = static_cast<std::uint8_t>(roundedUp);
        return byte == 0 ? 1 : byte;
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
        const auto rate = timecodeRate(movie);
        const bool isNominal = rate.den == 1 || rate.den == 1001;
        if (isNominal && static_cast<Wide>(movie.timeScale()) * rate.den % rate.num != 0)
            raise(rate.num);
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
        fields[i] = static_cast<Byte>(integerValue(parts[i])); // a byte by definition: larger numbers wrap
    return fields;
}

std::optional<KWMovTrack> KWTimecodeController::insertTimecodeTrack(
    Byte hours, Byte mins, Byte secs, Byte frames, std::uint32_t flags, const Reel& reel, QTMovie& movie)
{
    if (isTypeWithoutTimecode(movie.fileName())) {
        KWLog::appendLog("Unable to add timecode track - timecode is not supported by this file format");
        return std::nullopt;
    }
    auto sources = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (sources.empty())
        sources = movie.tracks();
    if (sources.empty()) {
        KWLog::appendLog("No tracks in movie");
        return std::nullopt;
    }
    const EditableScope scope {movie};
    raiseToPicture(movie);
    const TimecodeDefinition definition {
        flags, static_cast<std::uint32_t>(movie.timeScale()), frameDuration(movie), numberOfFrames(movie)};
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
        return std::nullopt;
    }
    if (const auto referred = sources.front().addReference(QTMediaTypeTimeCode, track->trackID());
        !referred) {
        KWLog::appendLog("Error adding timecode track reference: {}", referred.error().status);
        return std::nullopt;
    }
    return KWMovTrack::trackWithQuickTimeTrack(*track);
}

std::optional<KWMovTrack> KWTimecodeController::insertTimecodeTrack(
    Byte hours, Byte mins, Byte secs, Byte frames, QTMovie& movie)
{
    return insertTimecodeTrack(hours, mins, secs, frames, 0, std::nullopt, movie);
}

std::optional<KWMovTrack> KWTimecodeController::insertBlankTimecodeTrack(QTMovie& movie)
{
    return insertTimecodeTrack(1, 0, 0, 0, movie);
}

bool KWTimecodeController::modifyTimecode(Byte hours, Byte mins, Byte secs, Byte frames, const Reel& reel,
    const QTTrack& track, QTMovie& movie, bool dropFrame, bool negativeTC, bool limit24Hrs, bool counter)
{
    if (track.mediaType() != QTMediaTypeTimeCode)
        return false;
    const EditableScope scope {movie};
    const auto description = track.media().sampleDescription(1);
    const auto timecode = description ? description->timecode() : failure(MovieError::Code::Corrupt, {}, {});
    if (!timecode) {
        KWLog::appendLog("Error: {}: Unable to begin media editing", timecode.error().status);
        return false;
    }
    auto definition = timecode->definition;
    definition.flags = counter ? TimecodeDefinition::kCounter
                               : (dropFrame ? TimecodeDefinition::kDropFrame : 0U)
            + (negativeTC ? TimecodeDefinition::kNegativeTimesOK : 0U)
            + (limit24Hrs ? TimecodeDefinition::k24HourMax : 0U);
    timecodeMedia::NewTimecode changed;
    changed.description = timecodeMedia::changeDescription(
        description->entry(), definition.flags, trimmed(reel).value_or(std::string {}));
    raiseToPicture(movie);
    changed.startFrame = storedFrame(startRecord(hours, mins, secs, frames), definition);
    changed.mediaTimeScale = movie.timeScale();
    changed.duration = static_cast<std::uint64_t>(std::max<std::int64_t>(movie.duration().value, 0));
    if (const auto replaced = timecodeMedia::replaceMedia(movie, track, changed); !replaced) {
        KWLog::appendLog("Error: {}: Unable to add timecode sample", replaced.error().status);
        return false;
    }
    return true;
}

bool KWTimecodeController::modifyTimecode(
    Byte hours, Byte mins, Byte secs, Byte frames, const QTTrack& track, QTMovie& movie)
{
    return modifyTimecode(hours, mins, secs, frames, std::nullopt, track, movie, false, false, false, false);
}

bool KWTimecodeController::replaceTimecodeTrack(const QTTrack& track, QTMovie& movie)
{
    TimecodeDefinition definition;
    std::string reel;
    const auto start = fourFields(timecodeForTrack(track, &definition, &reel));
    if (!start)
        return false;
    {
        const EditableScope scope {movie};
        if (const auto removed = movie.removeTrack(track); !removed)
            return false;
    }
    const auto& [hours, mins, secs, frames] = *start;
    return insertTimecodeTrack(hours, mins, secs, frames, definition.flags, reel, movie).has_value();
}

void KWTimecodeController::updateTimecode(const std::string& timecode, const Reel& reel, QTMovie& movie,
    bool dropFrame, bool negativeTC, bool limit24Hrs)
{
    auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
    if (!track)
        track = insertBlankTimecodeTrack(movie);
    if (!track)
        return;
    const auto fields = fourFields(timecode);
    if (!fields) {
        KWLog::appendLog("Invalid timecode string");
        return;
    }
    const auto& [hours, mins, secs, frames] = *fields;
    modifyTimecode(
        hours, mins, secs, frames, reel, track->track(), movie, dropFrame, negativeTC, limit24Hrs, false);
}

void KWTimecodeController::updateCounter(Byte counter, const Reel& reel, QTMovie& movie)
{
    auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
    if (!track)
        track = insertBlankTimecodeTrack(movie);
    if (track)
        modifyTimecode(0, 0, 0, counter, reel, track->track(), movie, false, false, false, true);
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

std::optional<KWMovTrack> KWTimecodeController::addTimecodeTrackWithDate(
    std::chrono::sys_seconds date, QTMovie& movie)
{
    const std::time_t time = date.time_since_epoch().count();
    std::tm local {};
    if (::localtime_r(&time, &local) == nullptr)
        return std::nullopt;
    const auto byte = [](int field) { return static_cast<Byte>(field); };
    return insertTimecodeTrack(byte(local.tm_hour), byte(local.tm_min), byte(local.tm_sec), 0, movie);
}

std::optional<KWMovTrack> KWTimecodeController::addTimecodeFromTHMFile(
    const std::string& path, QTMovie& movie)
{
    // The camera wrote what its clock showed, and that is what is wanted: a way through a time zone would
    // only move the hour that a change to summer time leaves out.
    const auto recorded = StillImage::recordingTime(path);
    return recorded ? insertTimecodeTrack(recorded->hours, recorded->minutes, recorded->seconds, 0, movie)
                    : std::nullopt;
}

std::optional<KWMovTrack> KWTimecodeController::addTimecodeFromTHMFolder(
    const std::string& folder, QTMovie& movie)
{
    const std::filesystem::path name = std::filesystem::path(movie.fileName()).stem();
    if (name.empty())
        return std::nullopt;
    const auto still = existingFile(std::filesystem::path(folder) / (name.string() + ".THM"));
    return still ? addTimecodeFromTHMFile(*still, movie) : std::nullopt;
}

std::optional<KWMovTrack> KWTimecodeController::addTimecodeFromMovieInFolder(
    const std::string& folder, QTMovie& destMovie)
{
    const auto name = std::filesystem::path(destMovie.fileName()).filename();
    if (name.empty())
        return std::nullopt;
    auto candidate = std::filesystem::path(folder) / name;
    auto found = existingFile(candidate);
    const auto extension = lowerExtension(destMovie.fileName());
    for (const auto* other : {"mov", "mp4"})
        if (!found && extension != other)
            found = existingFile(candidate.replace_extension(other));
    if (!found)
        return std::nullopt;
    const auto source = QTMovie::open(*found, Storage::posix(), HeaderReading::Outline);
    const auto track = source ? KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, *source) : std::nullopt;
    if (!track)
        return std::nullopt;
    TimecodeDefinition definition;
    std::string reel;
    const auto start = fourFields(timecodeForTrack(track->track(), &definition, &reel));
    if (!start)
        return std::nullopt;
    const auto& [hours, mins, secs, frames] = *start;
    return insertTimecodeTrack(hours, mins, secs, frames, definition.flags, reel, destMovie);
}

float KWTimecodeController::frameRateForMedia(const QTMedia& media)
{
    return KWQuickTime::frameRateForMedia(media);
}

} // namespace reelwright

#include "conform/KWConformController.h"

#include "conform/SoundRate.h"
#include "movie/ChapterList.h"
#include "movie/saving/MovieSaver.h"
#include "support/KWLog.h"
#include "support/Preferences.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    using Notes = KWQuickTimeParser::Notes;

    std::vector<std::string> soundWarnings(const QTMovie& movie)
    {
        std::vector<std::string> warnings;
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeSound)) {
            const auto description = track.media().sampleDescription(1);
            const auto format
                = description ? KWConformController::formatWithOwnRate(description->format()) : std::nullopt;
            if (format)
                warnings.push_back(KWConformController::ownRateWarning(track.trackID(), *format));
        }
        return warnings;
    }

    /// Half of what is between 24 and 23.976.
    bool isOtherRate(double result, double asked)
    {
        return std::abs(result - asked) > asked * 0.0005;
    }

    /// Below a movie's time scale of 32 bits and above.
    std::uint32_t scaled(std::uint32_t scale, double ratio)
    {
        return static_cast<std::uint32_t>(
            std::clamp(std::ceil(scale * ratio), 1.0, static_cast<double>(INT32_MAX)));
    }

    Result<void> setMediaTimeScale(const QTTrack& track, std::uint32_t scale)
    {
        auto header = track.media().header();
        auto* trak = track.editAtom();
        auto* media = trak ? trak->edit("mdia"_cc) : nullptr;
        if (!media || !media->find("mdhd"_cc))
            return failure(MovieError::Code::Corrupt, "mdia", "the media has no header");
        header.timeScale = scale;
        media->setLeaf("mdhd"_cc, header.write());
        return {};
    }

    /// Stretches the movie's edits from one length to another; where the media's own time scale does not
    /// follow, the edits play at another rate.
    Result<void> scaleSegment(QTMovie& movie, std::int32_t oldScale, std::int32_t newScale)
    {
        for (const auto& track : movie.tracks()) {
            RW_TRY(auto list, track.editList());
            const auto type = track.mediaType();
            const bool mediaFollows = type == QTMediaTypeVideo || type == QTMediaTypeSound;
            std::uint64_t end = 0;
            std::uint64_t newEnd = 0;
            for (auto& edit : list.edits) {
                end += edit.duration;
                const auto next = static_cast<std::uint64_t>(
                    std::llround(static_cast<double>(end) * oldScale / newScale));
                edit.duration = next - newEnd;
                newEnd = next;
                if (!mediaFollows && !edit.isEmpty())
                    edit.rate = static_cast<std::int32_t>(
                        std::lround(static_cast<double>(edit.rate) * newScale / oldScale));
            }
            RW_CHECK(track.setEditList(list));
        }
        return {};
    }

    Result<void> conformSoundDescription(const QTTrack& track, double ratio)
    {
        const auto media = track.media();
        KWLog::appendLog("Sound sample count: {}", media.sampleDescriptionCount());
        const auto description = media.sampleDescription(1);
        const auto rate = description ? soundRate::of(*description) : std::nullopt;
        if (!rate) {
            const auto why
                = failure(MovieError::Code::Corrupt, "stsd", "the sound description cannot be read");
            KWLog::appendLog("Error {} getting ASBD", why.value().status);
            return why;
        }
        KWLog::appendLog("Old audio sample rate {:f}, new audio sample rate {:f}", *rate, *rate * ratio);
        const auto& file = track.movie().file();
        auto changed = soundRate::withRate(description->entry(), *rate * ratio, !file || file->isQuickTime());
        if (!changed) {
            KWLog::appendLog("Error {} creating sound description", changed.error().status);
            return tl::unexpected<MovieError>(changed.error());
        }
        auto* descriptions = track.editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
        if (!descriptions || descriptions->children.empty()) {
            const auto why
                = failure(MovieError::Code::Corrupt, "stsd", "the sound description cannot be changed");
            KWLog::appendLog("Error {} setting sample description", why.value().status);
            return why;
        }
        descriptions->children.front() = Cow<Atom>(std::move(*changed));
        return {};
    }

} // namespace

std::optional<std::string> KWConformController::formatWithOwnRate(FourCC format)
{
    switch (format.value) {
    case "mp4a"_cc.value:
        return "AAC";
    case "ac-3"_cc.value:
    case "sac3"_cc.value:
        return "AC-3";
    case "ec-3"_cc.value:
        return "E-AC-3";
    case "Opus"_cc.value:
        return "Opus";
    case "alac"_cc.value:
        return "Apple Lossless";
    case "fLaC"_cc.value:
        return "FLAC";
    case ".mp3"_cc.value:
    case 0x6D730055: // "ms" and the number of MP3
        return "MP3";
    case "samr"_cc.value:
    case "sawb"_cc.value:
        return "AMR";
    case "dtsc"_cc.value:
    case "dtsh"_cc.value:
    case "dtsl"_cc.value:
        return "DTS";
    default:
        return std::nullopt;
    }
}

std::string KWConformController::ownRateWarning(std::uint32_t trackID, const std::string& format)
{
    return fmt::format(
        "track {}: the sound will not follow: {} decoders go by the sample rate in the sound's own data",
        trackID, format);
}

Result<KWConformController::Forecast> KWConformController::forecast(
    const QTMovie& movie, const Request& request, SaveMode mode, Notes notes)
{
    RW_TRY(const auto preview, SavePreview::make(movie, mode));
    auto planned = ConformPlan::make(
        *preview, {request.fromFrameRate, request.toFrameRate, request.stripEditLists, notes});
    const auto checked = planned ? planned->checkAgainst(preview->header())
                                 : Result<void> {tl::unexpected<MovieError>(planned.error())};
    if (!checked) {
        if (notes == Notes::Log)
            KWLog::appendLog("Error: unable to conform file - {}", checked.error().message());
        return tl::unexpected<MovieError>(checked.error());
    }
    Forecast result {std::move(*planned), movie, {}};
    result.warnings = result.plan.warnings;
    const auto sound = soundWarnings(movie);
    result.warnings.insert(result.warnings.end(), sound.begin(), sound.end());
    {
        const EditableScope scope {result.movie};
        RW_CHECK(result.plan.applyTo(result.movie.editHeader(), preview->header()));
        RW_CHECK(chapterList::stretchList(result.movie, movie.duration()));
    }
    if (const auto fps = KWQuickTime::fpsForMovie(result.movie); isOtherRate(fps, result.plan.rates.to))
        result.warnings.push_back(fmt::format(
            "the picture will have {:.3f} frames a second, not {:.3f}; \"Conform exactly\" reaches that rate",
            fps, result.plan.rates.to));
    if (!request.rebuildTimecode)
        return result;
    if (const auto timecode = result.movie.tracksOfMediaType(QTMediaTypeTimeCode); !timecode.empty()) {
        auto rebuilt = result.movie; // the track that is there is better than none
        if (KWTimecodeController::replaceTimecodeTrack(
                rebuilt.tracksOfMediaType(QTMediaTypeTimeCode).front(), rebuilt))
            result.movie = std::move(rebuilt);
        else
            result.warnings.emplace_back("the timecode track could not be rebuilt for the new rate");
    }
    return result;
}

Result<void> KWConformController::save(QTMovie& movie)
{
    if (MovieSaver::canUpdateMovieFile(movie))
        return MovieSaver::updateMovieFile(movie).map([](const SaveReport&) {});
    return MovieSaver::writeToFile(movie, movie.fileName()).map([](const SaveReport&) {});
}

Result<void> KWConformController::conformFile(
    const std::string& path, double fromFrameRate, double toFrameRate)
{
    return conformFile(
        path, {fromFrameRate, toFrameRate, Preferences::standard().boolean("conformStripEDTS"), false});
}

Result<void> KWConformController::conformFile(
    const std::string& path, const Request& request, std::shared_ptr<Storage> storage)
{
    auto movie = QTMovie::open(path, std::move(storage));
    if (!movie) {
        KWLog::appendLog("Error: unable to conform file - {}", movie.error().message());
        return tl::unexpected<MovieError>(std::move(movie).error());
    }
    return conformSaved(*movie, request);
}

Result<void> KWConformController::conformSaved(const QTMovie& movie, const Request& request)
{
    const auto mode = MovieSaver::canUpdateMovieFile(movie) ? SaveMode::InPlace : SaveMode::Flattened;
    auto conformed = forecast(movie, request, mode);
    if (!conformed)
        return tl::unexpected<MovieError>(std::move(conformed).error());
    auto saved = save(conformed->movie);
    if (!saved)
        KWLog::appendLog("Error: unable to conform file - {}", saved.error().message());
    return saved;
}

bool KWConformController::conformMovie(QTMovie& movie, double toFrameRate)
{
    const auto oldRate = KWQuickTime::fpsForMovie(movie);
    const bool isSlowMotion
        = ConformRates::snapped(oldRate) == 59.94 && shouldRetimeVideoTrackSamplesForMovie(movie, 100);
    if (toFrameRate == oldRate || !(toFrameRate >= 1.0) || !(oldRate > 0))
        return false;
    const EditableScope scope {movie};
    KWLog::appendLog("Conforming frame rate from {:f} to {:f}", oldRate, toFrameRate);
    if (isSlowMotion)
        KWLog::appendLog("Shot is slow-mo");
    const auto ratio = toFrameRate / oldRate;
    const auto oldScale = movie.timeScale();
    if (oldScale <= 0)
        return false;
    const auto newScale = static_cast<std::int32_t>(scaled(static_cast<std::uint32_t>(oldScale), ratio));
    KWLog::appendLog("Old timescale: {}, new timescale: {}", oldScale, newScale);
    const auto duration = movie.duration();
    KWLog::appendLog("Old duration: {}, new duration {}", QTStringFromTime(duration),
        QTStringFromTime({duration.value, newScale}));
    if (const auto done = scaleSegment(movie, oldScale, newScale); !done)
        KWLog::appendLog("Error {} scaling the movie", done.error().status);
    const auto rescale = [&](const QTTrack& track, const char* kind) {
        const auto old = track.media().header().timeScale;
        const auto changed = scaled(old, ratio);
        KWLog::appendLog("Old {} media timescale: {}, new {} media timescale: {}", kind, old, kind, changed);
        if (const auto done = setMediaTimeScale(track, changed); !done)
            KWLog::appendLog("Error {} setting the media timescale", done.error().status);
    };
    for (const auto& track : movie.tracksOfMediaType(QTMediaTypeVideo))
        rescale(track, "video");
    for (const auto& track : movie.tracksOfMediaType(QTMediaTypeSound)) {
        static_cast<void>(conformSoundDescription(track, ratio)); // logged, and the next track's turn
        rescale(track, "audio");
    }
    movie.updateDuration();
    KWLog::appendLog("Conform complete");
    return true;
}

bool KWConformController::shouldRetimeVideoTrackSamplesForMovie(
    const QTMovie& movie, std::uint32_t newSampleDuration)
{
    const auto tracks = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (tracks.empty())
        return false;
    constexpr std::uint32_t kMostSamples = 999;
    const auto table = tracks.front().media().sampleTable();
    // Samples alike in time are one reference.
    std::size_t references = 0;
    for (std::uint32_t samples = 0; references < table.timeRunCount() && samples < kMostSamples; ++references)
        samples += std::min(table.timeRun(references).count, kMostSamples);
    KWLog::appendLog("Sample ref count: {}", references);
    KWLog::appendLog("Sample duration: {}", table.firstDuration());
    return references == 1 && table.firstDuration() == 50 && newSampleDuration == 100;
}

std::uint64_t KWConformController::positionOfAtom(
    const std::vector<std::string>& path, const RandomReader& inFileHandle)
{
    for (std::uint64_t position = 0; !path.empty();) {
        std::array<std::byte, 8> header {};
        if (inFileHandle.readAt(position, header).value_or(0) != header.size())
            return 0;
        const auto size = KWQuickTimeParser::unsignedInt32FromData(header);
        const auto type
            = FourCC {KWQuickTimeParser::unsignedInt32FromData(ByteSpan {header}.subspan(4))}.text();
        if (std::find(path.begin(), path.end(), type) == path.end()) {
            if (size == 0) // it would be met for ever
                return 0;
            position += size;
        } else if (type == path.back()) {
            return position;
        } else {
            position += header.size();
        }
    }
    return 0;
}

bool KWConformController::retimeVideoTrackSamplesForMovieFile(
    const std::string& path, std::uint32_t newSampleDuration)
{
    const auto retime = [&]() -> Result<void> {
        RW_TRY(auto movie, QTMovie::open(path));
        RW_TRY(const auto preview, SavePreview::make(movie, SaveMode::InPlace));
        const auto position = positionOfAtom({"moov", "trak", "mdia", "minf", "stbl", "stts"}, *preview);
        KWLog::appendLog("position: {}", position);
        std::array<std::byte, 16> head {};
        if (position == 0 || preview->readAt(position, head).value_or(0) != head.size())
            return {};
        const auto size = KWQuickTimeParser::unsignedInt32FromData(head);
        const auto count = KWQuickTimeParser::unsignedInt32FromData(ByteSpan {head}.subspan(12));
        if (16 + std::uint64_t {count} * 8 > size)
            return failure(
                MovieError::Code::Corrupt, "stts", "the table does not hold its entries", position);
        ConformPlan plan;
        for (std::uint64_t i = 0; i < count; ++i)
            plan.patches.push_back({position + 20 + i * 8, 4, 0, newSampleDuration, "stts", position,
                "sample duration", "as asked"});
        {
            const EditableScope scope {movie};
            RW_CHECK(plan.applyTo(movie.editHeader(), preview->header()));
        }
        return save(movie);
    };
    if (const auto done = retime(); !done)
        KWLog::appendLog("Error {} retiming the samples of {}", done.error().status, path);
    return true;
}

} // namespace reelwright

#include "tasks/KWQuickTaskController.h"

#include "attributes/KWImageDescriptionController.h"
#include "attributes/KWMetadataController.h"
#include "movie/QTMetaData.h"
#include "support/FileDates.h"
#include "support/KWLog.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"

#include <algorithm>
#include <chrono>
#include <span>

namespace reelwright {
namespace {

    /// The first text under the key, which some programs write in the other order.
    std::optional<std::string> timecodeField(const QTMovie& movie)
    {
        for (const auto& item : QTMetaData::ofMovie(movie).items()) {
            const auto key = item.shownKey();
            const auto text = item.text();
            if (text && (key == "\u00A9TIM" || key == "MIT\u00A9"))
                return text;
        }
        return std::nullopt;
    }

    /// Removes tracks that were collected before, so that the walk over a movie is not disturbed.
    Result<std::size_t> removeTracks(std::span<const QTTrack> tracks, QTMovie& movie)
    {
        const EditableScope scope {movie};
        if (auto removed = movie.removeTracks(tracks); !removed) {
            KWLog::appendLog("Error removing track: {}", removed.error().status);
            return tl::unexpected<MovieError>(std::move(removed).error());
        }
        return tracks.size();
    }

    Result<void> setEnabled(std::span<const QTTrack> tracks, bool enabled, QTMovie& movie)
    {
        const EditableScope scope {movie};
        for (const auto& track : tracks)
            if (auto done = track.setEnabled(enabled); !done) {
                KWLog::appendLog(
                    "Error {} track: {}", enabled ? "enabling" : "disabling", done.error().status);
                return done;
            }
        return {};
    }

    std::span<const QTTrack> outside(const AudioTrackRange& range, const std::vector<QTTrack>& tracks)
    {
        return std::span {tracks}.subspan(std::min(range.kept(), tracks.size()));
    }

} // namespace

Result<std::size_t> KWQuickTaskController::removeEmptyTracks(QTMovie& movie)
{
    std::vector<QTTrack> empty;
    for (const auto& track : movie.tracks())
        if (track.range().duration.value == 0)
            empty.push_back(track);
    return removeTracks(empty, movie);
}

Result<std::size_t> KWQuickTaskController::removeAllAudioTracks(
    QTMovie& movie, const AudioTrackRange& exceptRange)
{
    const auto tracks = movie.tracksOfMediaType(QTMediaTypeSound);
    return removeTracks(outside(exceptRange, tracks), movie);
}

Result<std::size_t> KWQuickTaskController::disableAllAudioTracks(
    QTMovie& movie, const AudioTrackRange& exceptRange)
{
    const auto tracks = movie.tracksOfMediaType(QTMediaTypeSound);
    RW_CHECK(enableAllAudioTracks(movie));
    const auto others = outside(exceptRange, tracks);
    RW_CHECK(setEnabled(others, false, movie));
    return others.size();
}

Result<void> KWQuickTaskController::enableAllAudioTracks(QTMovie& movie)
{
    return setEnabled(movie.tracksOfMediaType(QTMediaTypeSound), true, movie);
}

Result<std::size_t> KWQuickTaskController::removeAllTimecodeTracks(QTMovie& movie)
{
    return removeTracks(movie.tracksOfMediaType(QTMediaTypeTimeCode), movie);
}

Result<void> KWQuickTaskController::removeGammaCorrection(QTMovie& movie)
{
    const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, movie);
    const auto entries
        = track ? KWImageDescriptionController::imageDescriptionExtensionsForTrack(*track) : std::nullopt;
    const bool hasGamma = entries && std::any_of(entries->begin(), entries->end(), [](const auto& entry) {
        return entry.description == kGamma;
    });
    return hasGamma ? KWImageDescriptionController::removeAttribute({std::string(kGamma)}, *track)
                    : Result<void> {};
}

Result<void> KWQuickTaskController::removeApertureDimensions(QTMovie& movie)
{
    const EditableScope scope {movie};
    return movie.removeApertureModeDimensions();
}

Result<void> KWQuickTaskController::stripAdobeXMPMetadata(QTMovie& movie)
{
    constexpr auto kPacket = "_PMX"; // user data keys are stored in reverse
    const auto metadata = QTMetaDataReference::ofMovie(movie);
    const auto items = metadata.read().items();
    const bool isThere
        = std::any_of(items.begin(), items.end(), [&](const auto& item) { return item.key == kPacket; });
    return isThere ? KWMetadataController::removeMetaDataKey(kPacket, metadata, movie) : Result<void> {};
}

Result<void> KWQuickTaskController::copyARRIReelToFCPXReel(QTMovie& movie)
{
    const auto metadata = QTMetaDataReference::ofMovie(movie);
    const auto items = KWMetadataController::metaDataArrayFromMetaDataReference(metadata);
    const auto reel = std::find_if(
        items.begin(), items.end(), [](const auto& item) { return item.key == "com.arri.camera.ReelName"; });
    if (reel == items.end() || reel->value.empty())
        return {};
    return KWMetadataController::setMetaDataValue(reel->value, "com.apple.proapps.reel", metadata, movie);
}

Result<void> KWQuickTaskController::setARRIGammaToLogC(QTMovie& movie)
{
    return KWMetadataController::setMetaDataValue(
        "LOG-C", "com.arri.camera.ColorGammaSxS", QTMetaDataReference::ofMovie(movie), movie);
}

Result<KWMovTrack> KWQuickTaskController::timecodeTrackFromCreationTime(QTMovie& movie)
{
    const auto created = movie.creationTime();
    if (!created)
        return failure(MovieError::Code::Refused, {}, "the movie has no creation time");
    return KWTimecodeController::addTimecodeTrackWithDate(*created, movie);
}

Result<KWMovTrack> KWQuickTaskController::timecodeTrackFromFileCreationTime(QTMovie& movie)
{
    const auto created = fileCreationTime(movie.fileName());
    if (!created && !movie.creationTime())
        return failure(MovieError::Code::Refused, {}, "neither the file nor the movie has a creation time");
    return created ? KWTimecodeController::addTimecodeTrackWithDate(*created, movie)
                   : timecodeTrackFromCreationTime(movie);
}

Result<void> KWQuickTaskController::addTimecodeTrackFromUserDataField(QTMovie& movie)
{
    const auto text = timecodeField(movie);
    if (!text)
        return failure(
            MovieError::Code::Refused, {}, "the movie's metadata have no timecode under \u00A9TIM");
    RW_CHECK(KWTimecodeController::addTimecodeFromText(*text, "the metadata item \u00A9TIM", movie));
    return {};
}

} // namespace reelwright

#include "app/PlayableMovie.h"

#include "movie/ByteReader.h"

#include <optional>
#include <set>
#include <vector>

namespace reelwright {
namespace {

    /// More sound tracks than anybody tells apart.
    constexpr std::size_t kMostSoundTracks = 32;

    /// What of a movie is to be seen and heard.
    struct Selection
    {
        std::optional<QTTrack> picture;
        std::vector<QTTrack> sounds;
    };

    Selection selectionOf(const QTMovie& movie)
    {
        Selection result;
        std::set<std::int16_t> groups;
        for (const auto& track : movie.tracks()) {
            if (!track.isEnabled() || track.media().sampleCount() == 0)
                continue;
            if (track.mediaType() == QTMediaTypeVideo && !result.picture)
                result.picture = track;
            if (track.mediaType() != QTMediaTypeSound || result.sounds.size() == kMostSoundTracks)
                continue;
            const auto group = track.header().alternateGroup;
            if (group == 0 || groups.insert(group).second)
                result.sounds.push_back(track);
        }
        return result;
    }

    /// The mode that the movie was given, or that it asks for (`apmd`).
    FourCC apertureModeOf(const QTMovie& movie)
    {
        if (movie.apertureMode() != FourCC {})
            return movie.apertureMode();
        const auto item = movie.userDataItem("apmd"_cc);
        return item ? ByteReader {item->span()}.fourCC() : FourCC {};
    }

} // namespace

PlayableMovie PlayableMovie::make(const QTMovie& movie)
{
    PlayableMovie result;
    result.duration = movie.duration();
    // A track whose media are not to be had (in another file that is missing) does not keep the others away.
    const auto note = [&](const Result<void>& outcome) {
        if (!outcome && result.problem.isEmpty())
            result.problem = QString::fromStdString(outcome.error().message());
    };
    const auto selection = selectionOf(movie);
    if (const auto& picture = selection.picture) {
        result.frames = FrameTimes {*picture};
        result.placement = PicturePlacement::of(*picture, apertureModeOf(movie));
        if (const auto description = picture->media().sampleDescription(1))
            result.pictureFormat = description->format();
        note(result.feed.addPicture(*picture, result.frames));
    }
    for (const auto& sound : selection.sounds)
        note(result.feed.addSound(sound));
    return result;
}

} // namespace reelwright

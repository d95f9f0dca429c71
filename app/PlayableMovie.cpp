#include "app/PlayableMovie.h"

#include "movie/ByteReader.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

namespace reelwright {
namespace {

    /// More sound tracks than anybody tells apart.
    constexpr std::size_t kMostSoundTracks = 32;
    /// Edits that may be put in the place of gaps.
    constexpr std::uint64_t kMostFillers = 100'000;

    /// What of a movie is to be seen and heard: identities of its `trak` atoms.
    struct Selection
    {
        std::optional<std::uint64_t> picture;
        std::vector<std::uint64_t> sounds;
    };

    Selection selectionOf(const QTMovie& movie)
    {
        Selection result;
        std::set<std::int16_t> groups;
        for (const auto& track : movie.tracks()) {
            if (!track.isEnabled() || track.media().sampleCount() == 0)
                continue;
            if (track.mediaType() == QTMediaTypeVideo && !result.picture)
                result.picture = track.atom().id;
            if (track.mediaType() != QTMediaTypeSound || result.sounds.size() == kMostSoundTracks)
                continue;
            // Of the tracks of a group (languages) only one plays.
            const auto group = track.header().alternateGroup;
            if (group == 0 || groups.insert(group).second)
                result.sounds.push_back(track.atom().id);
        }
        return result;
    }

    /// The first track of the copy with that identity, or nothing.
    std::optional<QTTrack> trackWith(const QTMovie& movie, std::uint64_t id)
    {
        const QTTrack track {movie, id};
        return track.isValid() ? std::optional {track} : std::nullopt;
    }

    /// Puts media where the edit list shows nothing: the stretch that is shown first, as often as it takes.
    /// Players skip a gap at the start, or show it in no time, when nothing of the track is there to play.
    ///
    ///     | gap     | A | B |   ->   | A | A | A'| A | B |
    void fillGaps(const QTTrack& track)
    {
        auto list = track.editList();
        if (!list)
            return;
        const auto& edits = list->edits;
        const auto first = std::find_if(edits.begin(), edits.end(),
            [](const auto& edit) { return !edit.isEmpty() && edit.duration > 0; });
        if (first == edits.end())
            return;
        const auto available
            = atScale(track.media().duration() - QTTime {first->mediaTime, track.media().timeScale()},
                track.timeScale());
        const auto stretch = std::min(
            first->duration, static_cast<std::uint64_t>(std::max<std::int64_t>(available.value, 0)));
        if (stretch == 0)
            return;
        std::uint64_t fillers = 0;
        for (const auto& edit : edits)
            if (edit.isEmpty())
                fillers += edit.duration / stretch + 1;
        if (fillers == 0 || fillers > kMostFillers)
            return;
        std::vector<EditList::Edit> filled;
        for (const auto& edit : edits) {
            auto left = edit.isEmpty() ? edit.duration : 0;
            if (!edit.isEmpty())
                filled.push_back(edit);
            for (; left > 0; left -= std::min(left, stretch))
                filled.push_back({std::min(left, stretch), first->mediaTime, 1 << 16});
        }
        list->edits = std::move(filled);
        // A list that cannot be written stays as it is: the gap is shown wrongly then, and nothing else.
        static_cast<void>(track.setEditList(*list));
    }

    /// A copy with the selected tracks only and nothing that a player could turn, or take for pictures.
    QTMovie straightened(const QTMovie& movie, const Selection& selection)
    {
        QTMovie copy = movie;
        const EditableScope scope {copy};
        auto& header = copy.editHeader();
        std::erase_if(header.children, [&](const Cow<Atom>& child) {
            if (child->type != "trak"_cc)
                return child->type != "mvhd"_cc;
            return selection.picture != child->id
                && std::find(selection.sounds.begin(), selection.sounds.end(), child->id)
                == selection.sounds.end();
        });
        if (const auto* mvhd = header.find("mvhd"_cc))
            if (auto fields = MovieHeader::parse(mvhd->head)) {
                fields->matrix = Matrix {};
                header.setLeaf("mvhd"_cc, fields->write());
            }
        if (const auto picture = selection.picture ? trackWith(copy, *selection.picture) : std::nullopt) {
            static_cast<void>(picture->setMatrix(Matrix {}));
            fillGaps(*picture);
        }
        return copy;
    }

    /// The mode that the movie was given, or that it asks for (`apmd`).
    FourCC apertureModeOf(const QTMovie& movie)
    {
        if (movie.apertureMode() != FourCC {})
            return movie.apertureMode();
        const auto item = movie.userDataItem("apmd"_cc);
        return item ? ByteReader {item->span()}.fourCC() : FourCC {};
    }

    Result<std::shared_ptr<const MovieStream>> streamOf(const QTMovie& movie, const Selection& selection)
    {
        RW_TRY(auto stream, MovieStream::openForPlaying(straightened(movie, selection)));
        return std::make_shared<const MovieStream>(std::move(stream));
    }

    /// The tracks of a selection whose media are to be had, each asked by itself.
    Selection readable(const QTMovie& movie, const Selection& selection)
    {
        Selection result;
        if (selection.picture && streamOf(movie, {selection.picture, {}}))
            result.picture = selection.picture;
        for (const auto sound : selection.sounds)
            if (streamOf(movie, {std::nullopt, {sound}}))
                result.sounds.push_back(sound);
        return result;
    }

} // namespace

PlayableMovie PlayableMovie::make(const QTMovie& movie)
{
    PlayableMovie result;
    result.duration = movie.duration();
    auto selection = selectionOf(movie);
    if (const auto picture = selection.picture ? trackWith(movie, *selection.picture) : std::nullopt) {
        result.frames = FrameTimes {*picture};
        result.placement = PicturePlacement::of(*picture, apertureModeOf(movie));
        if (const auto description = picture->media().sampleDescription(1))
            result.pictureFormat = description->format();
    }
    if (!selection.picture && selection.sounds.empty())
        return result;

    auto stream = streamOf(movie, selection);
    if (!stream) {
        // Media in another file that is not there: what is there still plays.
        result.problem = QString::fromStdString(stream.error().message());
        selection = readable(movie, selection);
        if (selection.picture || !selection.sounds.empty())
            stream = streamOf(movie, selection);
    }
    if (stream)
        result.feed = {*stream, selection.picture.has_value(), static_cast<int>(selection.sounds.size())};
    return result;
}

} // namespace reelwright

#include "app/player/PlayableMovie.h"

#include "movie/atoms/ByteReader.h"
#include "movie/samples/SampleDescription.h"

#include <QCoreApplication>

#include <algorithm>
#include <set>
#include <vector>

namespace reelwright {
namespace {

    /// More sound tracks than anybody tells apart.
    constexpr std::size_t kMostSoundTracks = 32;
    /// libmpv shows a frame that starts up to this much before the time of an exact seek.
    constexpr double kSeekTolerance = 0.005;
    /// A step where there are no frames.
    constexpr QTTime kSoundStep {1, 30};

    QTTime clamped(const QTTime& time, const QTTime& duration)
    {
        if (time.value < 0)
            return {0, time.scale};
        return time > duration ? duration : time;
    }

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

    QString translated(const char* text)
    {
        return QCoreApplication::translate("PlayableMovie", text);
    }

    bool isEncrypted(const QTTrack& track)
    {
        const auto description = track.media().sampleDescription(1);
        return description && isEncryptedFormat(description->format());
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
    auto selection = selectionOf(movie);
    if (movie.tracks().empty()) {
        result.problem = translated("The movie is empty: it has no tracks.");
    } else if (!selection.picture && selection.sounds.empty()) {
        result.problem = translated("Nothing is shown: no enabled track has a picture or sound.");
    }
    // What is encrypted would come as noise.
    if (selection.picture && isEncrypted(*selection.picture)) {
        result.problem = translated("The picture is encrypted and cannot be shown.");
        selection.picture.reset();
    }
    const auto encrypted = std::erase_if(selection.sounds, isEncrypted);
    if (encrypted > 0 && result.problem.isEmpty() && !selection.picture && selection.sounds.empty())
        result.problem = translated("The sound is encrypted and cannot be played.");
    if (const auto& picture = selection.picture) {
        result.frames = FrameTimes {*picture};
        result.placement = PicturePlacement::of(*picture, apertureModeOf(movie));
        if (const auto description = picture->media().sampleDescription(1))
            result.pictureFormat = description->format();
        note(result.feed.addPicture(*picture, result.frames));
    }
    result.texts = TextLayer::of(movie, selection.picture);
    for (const auto& sound : selection.sounds)
        note(result.feed.addSound(sound));
    return result;
}

std::optional<FrameTimes::Frame> PlayableMovie::frameAt(const QTTime& time) const
{
    auto frame = frames.at(time);
    // Behind the picture there is none, and in a gap neither.
    if (frame && (frame->isGap || time >= frame->end))
        frame.reset();
    return frame;
}

bool PlayableMovie::isGapAt(const QTTime& time) const
{
    const auto frame = frames.at(time);
    return frame && frame->isGap;
}

QTTime PlayableMovie::snapped(const QTTime& wanted) const
{
    auto time = clamped(wanted, duration);
    if (time >= duration) // the end of the movie is the start of what is shown last
        if (const auto last = frames.at(time))
            time = clamped(duration - (last->end - last->start), duration);
    const auto frame = frameAt(time);
    return frame ? frame->start : time;
}

QTTime PlayableMovie::stepped(const QTTime& from, int count) const
{
    if (frames.empty())
        return snapped(from + QTTime {kSoundStep.value * count, kSoundStep.scale});
    auto time = from;
    for (int i = 0; i < std::abs(count); ++i) {
        const auto neighbour = count > 0 ? frames.next(time) : frames.previous(time);
        if (!neighbour)
            break;
        time = *neighbour;
    }
    return time;
}

double PlayableMovie::playerTime(const QTTime& time) const
{
    const auto frame = frameAt(time);
    if (!frame)
        return time.seconds();
    // Pictures that last less than twice the player's tolerance would be mistaken for the one before.
    const auto half = (frame->end - frame->start).seconds() / 2;
    return frame->start.seconds() + std::max(0.0, kSeekTolerance - half);
}

bool PlayableMovie::agrees(double playerSeconds, const QTTime& time) const
{
    const auto frame = frameAt(time);
    if (!frame)
        return true;
    const auto length = (frame->end - frame->start).seconds();
    const auto off = playerSeconds - frame->start.seconds();
    return off >= -length / 2 && off <= length;
}

} // namespace reelwright

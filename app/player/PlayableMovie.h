#pragma once

#include "app/player/PicturePlacement.h"
#include "app/player/PlayerFeed.h"
#include "app/player/TextLayer.h"
#include "movie/samples/FrameTimes.h"

#include <QString>

#include <optional>

namespace reelwright {

/// A movie made ready for a player: what to play, when its frames are, where its picture lies. A value,
/// independent of the movie it was made from.
///
/// What is seen and heard: the first enabled video track; all enabled sound tracks, of those of one group
/// (languages) the first. The player gets the media without what it might understand in its own way: edit
/// lists become pieces of the feed, and the view turns the picture itself (`placement`) and hides it in gaps
/// (`frames`).
struct PlayableMovie
{
    PlayerFeed feed;
    FrameTimes frames; ///< empty without a picture
    PicturePlacement placement;
    TextLayer texts; ///< drawn over the picture by the view: the player's own subtitles stay off
    QTTime duration;
    FourCC pictureFormat; ///< of the first sample description
    QString problem; ///< why there is nothing to play though there should be; empty otherwise

    /// Costs what the movie's header and its texts cost; reads no other media.
    static PlayableMovie make(const QTMovie& movie);

    /// The start of the frame that is on show at a time; that of the last one at the end and behind it. In a
    /// gap, and where sound lasts longer than the picture, the time itself.
    [[nodiscard]] QTTime snapped(const QTTime& time) const;
    /// The time that many frames on, or back below 0; stays at the first and the last one. Without a picture
    /// a frame lasts a thirtieth of a second.
    [[nodiscard]] QTTime stepped(const QTTime& from, int frames) const;
    /// Is nothing shown at that time, though there is a picture?
    [[nodiscard]] bool isGapAt(const QTTime& time) const;
    /// What a player is to be asked for (seconds) to show the frame at that time.
    [[nodiscard]] double playerTime(const QTTime& time) const;
    /// Is a player that tells this position (seconds) showing the frame at that time?
    [[nodiscard]] bool agrees(double playerSeconds, const QTTime& time) const;

private:
    [[nodiscard]] std::optional<FrameTimes::Frame> frameAt(const QTTime& time) const;
};

} // namespace reelwright

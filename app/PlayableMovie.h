#pragma once

#include "app/PicturePlacement.h"
#include "app/PlayerFeed.h"
#include "movie/FrameTimes.h"

#include <QString>

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
    QTTime duration;
    FourCC pictureFormat; ///< of the first sample description
    QString problem; ///< why there is nothing to play though there should be; empty otherwise

    /// Costs what the movie's header costs; reads no media.
    static PlayableMovie make(const QTMovie& movie);
};

} // namespace reelwright

#pragma once

#include "app/MoviePlayer.h"
#include "app/PicturePlacement.h"
#include "movie/FrameTimes.h"

namespace reelwright {

/// A movie made ready for a player: what to play, when its frames are, where its picture lies. A value,
/// independent of the movie it was made from.
///
/// Players differ from what a movie says, so the player gets a copy that leaves it no choice: only the tracks
/// that are to be seen and heard (the first enabled video track, all enabled sound tracks), with straight
/// matrices, and with something to play in the gaps of the picture. The view turns the picture itself
/// (`placement`) and hides it in the gaps (`frames`).
struct PlayableMovie
{
    MoviePlayer::Feed feed;
    FrameTimes frames; ///< empty without a picture
    PicturePlacement placement;
    QTTime duration;
    FourCC pictureFormat; ///< of the first sample description
    QString problem; ///< why there is nothing to play though there should be; empty otherwise

    /// Costs what the movie's header costs; reads no media.
    static PlayableMovie make(const QTMovie& movie);
};

} // namespace reelwright

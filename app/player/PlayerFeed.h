#pragma once

#include "movie/samples/FrameTimes.h"
#include "movie/saving/FlattenPlan.h"

#include <memory>
#include <vector>

namespace reelwright {

/// What a player plays: lanes side by side, each a row of pieces, one after the other, of sources that hold
/// one track each and no edit list. Players understand edit lists differently, or not at all; here none is
/// left to them.
struct PlayerFeed
{
    /// A stretch of a source. Units: seconds.
    struct Piece
    {
        std::size_t source = 0; ///< index into `sources`
        double start = 0;
        double length = 0;
    };
    using Lane = std::vector<Piece>;

    std::vector<std::shared_ptr<const MovieStream>> sources;
    Lane picture; ///< empty: none
    std::vector<Lane> sounds; ///< heard together
    /// Seconds by which the player has to start earlier than the frame it looks for, because pictures are
    /// decoded before they are displayed.
    double reordering = 0;

    [[nodiscard]] bool empty() const { return picture.empty() && sounds.empty(); }

    /// Adds a video track, frame by frame at the times that `frames` has for it. Gaps are filled with some
    /// picture of the track, so that time goes on in them; who shows the pictures hides those.
    /// Errors: those of MovieStream::openForPlaying.
    Result<void> addPicture(const QTTrack& track, const FrameTimes& frames);
    /// Adds a sound track; gaps are silent. Scaled edits play at the media's own speed.
    /// Errors: those of MovieStream::openForPlaying.
    Result<void> addSound(const QTTrack& track);

private:
    Result<std::size_t> addSource(const QTMovie& movie);
};

} // namespace reelwright

#pragma once

#include "edits/EditCatalogue.h"
#include "tracks/TrackSelector.h"

namespace reelwright::edits {

/// The tracks of the files that media come from are named by their place among those of their kind, from 1.
constexpr std::size_t kFirstOfKind = 1;

/// An empty track of a type of KWMovTrack (kText, kSprite, kVideo); without a size that of the picture.
Edit addEmptyTrack(int type, std::optional<QTSize> size = {});
/// A new track of that type (kVideo, kAudio) with the media of another movie's track, from `start` on.
Edit insertTrack(
    int type, const std::string& path, std::size_t sourcePlace = kFirstOfKind, const QTTime& start = {});
/// The media of another movie's track behind those of the track.
Edit addMedia(const TrackSelector& track, const std::string& path, std::size_t sourcePlace = kFirstOfKind);
/// Takes all media from the tracks, which keep their IDs and places.
Edit removeAllMedia(const TrackSelector& tracks);

/// Takes a track into a file of its own; the movie stays as it is.
Edit extractTrack(const TrackSelector& track, const std::string& path);

std::span<const EditKind> insertionKinds();

} // namespace reelwright::edits

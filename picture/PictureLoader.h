#pragma once

#include "movie/saving/FlattenPlan.h"
#include "picture/modules/PictureModule.h"

#include <memory>

namespace reelwright {

/// The decoding and encoding part of the program, loaded at its first use. Errors: Unsupported when it is
/// missing or cannot be loaded, which is tried again the next time.
Result<picture::PictureLibrary*> pictureLibrary();

/// The edited movie as bytes for it. Safe to use from one thread, independent of the movie.
Result<std::unique_ptr<picture::ByteSource>> pictureSource(const QTMovie& movie);

/// The IDs of the tracks that play.
std::vector<int> playingTracks(const QTMovie& movie);

/// The error of a text that the library answered; nothing for an empty one.
Result<void> pictureResult(const std::string& text, const QTMovie& movie);

} // namespace reelwright

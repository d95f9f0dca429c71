#pragma once

#include "movie/QTMovie.h"

namespace reelwright {

constexpr int kSilentMovieSeconds = 600;

/// A movie without a file: one sound track of kSilentMovieSeconds of silence, of a second of media in memory.
/// Values that no sound has give 48000 a second and two channels.
QTMovie silentMovie(double sampleRate, std::uint32_t channels);

} // namespace reelwright

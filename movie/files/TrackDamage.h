#pragma once

#include "movie/QTMovie.h"

namespace reelwright {

/// Damage in the tracks that edits and saves live with, but that a user should know of.
void noteTrackDamage(const QTMovie& movie, std::vector<MovieWarning>& warnings);

} // namespace reelwright

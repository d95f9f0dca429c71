#pragma once

#include "movie/QTMovie.h"
#include "tests/helpers/MovieBuilder.h"

#include <gtest/gtest.h>

namespace reelwright::test {

/// Do the movie's first tracks hold every sample that the builder put in, read through the engine?
testing::AssertionResult holdsSamplesOf(const QTMovie& movie, const MovieBuilder& built);

} // namespace reelwright::test

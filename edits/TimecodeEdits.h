#pragma once

#include "edits/EditCatalogue.h"

namespace reelwright::edits {

/// The options that describe the timecode track.
std::span<const EditKind> timecodeKinds();

} // namespace reelwright::edits

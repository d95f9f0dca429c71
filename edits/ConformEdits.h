#pragma once

#include "edits/ConformRequest.h"
#include "edits/EditCatalogue.h"

namespace reelwright::edits {

/// To an exact rate; unlike the conform by the walk it is an edit, which can be undone.
Edit conformExactly(const ExactRate& rate, bool acceptDrift);
/// Puts back the header that was kept before a conform.
Edit restoreHeader(const std::string& path);

/// The options of the frame rate.
std::span<const EditKind> conformKinds();

} // namespace reelwright::edits

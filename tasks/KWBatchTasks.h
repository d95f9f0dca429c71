#pragma once

#include "movie/QTMovie.h"

#include <cstddef>

namespace reelwright {

/// Tasks as an interface's action calls them: with the control that sent the action.
class KWBatchTasks
{
public:
    /// As KWQuickTaskController::removeEmptyTracks has it; the sender says nothing.
    static Result<std::size_t> removeEmptyTracks(const void* sender, QTMovie& movie);
};

} // namespace reelwright

#include "tasks/KWBatchTasks.h"

#include "tasks/KWQuickTaskController.h"

namespace reelwright {

Result<std::size_t> KWBatchTasks::removeEmptyTracks(const void* /*sender*/, QTMovie& movie)
{
    return KWQuickTaskController::removeEmptyTracks(movie);
}

} // namespace reelwright

#pragma once

#include "edits/Edit.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// One queued change: a label and a recorded call. A conform has no call; it comes with the save.
struct QueueEntry
{
    std::string desc; ///< "Rotate left"
    std::optional<RecordedCall> invocation;
    double conformFPS = 0; ///< of an entry without a call
    std::string value; ///< what the entry sets, for a column beside its label
    /// As the command line has it: options and their values in turn.
    std::vector<std::string> arguments;

    static QueueEntry of(const Edit& edit);
    static QueueEntry conform(std::string desc, double fps);
};

using BatchQueue = std::vector<QueueEntry>;

/// The rate of the last conform in the queue; 0 for none.
double conformFPS(const BatchQueue& queue);

} // namespace reelwright

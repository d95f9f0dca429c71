#include "batch/BatchQueue.h"

#include <fmt/format.h>

namespace reelwright {

QueueEntry QueueEntry::of(const Edit& edit)
{
    QueueEntry entry;
    entry.desc = edit.queueLabel;
    entry.invocation = edit.call;
    // An option's value may have spaces, its name has none.
    const auto space = edit.option.find(' ');
    entry.arguments.push_back(edit.option.substr(0, space));
    if (space != std::string::npos)
        entry.arguments.push_back(edit.option.substr(space + 1));
    if (entry.arguments.size() > 1)
        entry.value = entry.arguments.back();
    return entry;
}

QueueEntry QueueEntry::conform(std::string desc, double fps)
{
    QueueEntry entry;
    entry.desc = std::move(desc);
    entry.conformFPS = fps;
    entry.value = fmt::format("{} fps", fps);
    entry.arguments = {"--conform", fmt::format("{}", fps)};
    return entry;
}

double conformFPS(const BatchQueue& queue)
{
    double fps = 0;
    for (const auto& entry : queue)
        if (!entry.invocation)
            fps = entry.conformFPS;
    return fps;
}

} // namespace reelwright

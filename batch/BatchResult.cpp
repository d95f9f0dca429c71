#include "batch/BatchResult.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {

std::size_t BatchResult::changedSteps() const
{
    return static_cast<std::size_t>(std::count(steps.begin(), steps.end(), StepOutcome::Changed));
}

std::string BatchResult::text() const
{
    if (status == Status::Failed)
        return error;
    const auto counted = [](std::size_t count, const char* one) {
        return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
    };
    std::string text;
    if (status == Status::Unchanged)
        text = "Nothing to change";
    else if (status == Status::Done)
        text = changedSteps() == 0 ? "Saved without changes" : counted(changedSteps(), "change");
    if (!warnings.empty())
        text += (text.empty() ? "" : ", ") + counted(warnings.size(), "warning");
    return text;
}

const char* BatchResult::statusName(Status status)
{
    switch (status) {
    case Status::Done:
        return "done";
    case Status::Unchanged:
        return "unchanged";
    case Status::Failed:
        return "failed";
    case Status::Waiting:
        break;
    }
    return "not begun";
}

} // namespace reelwright

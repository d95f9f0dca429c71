#include "edits/EditSteps.h"

namespace reelwright {

Result<void> EditPlan::apply(QTMovie& movie, std::vector<std::string>* remarks) const
{
    auto copy = movie;
    for (const auto& edit : edits)
        RW_CHECK(edit.apply(copy, remarks));
    movie = std::move(copy);
    return {};
}

Result<EditPlan> EditSteps::finish()
{
    EditPlan plan;
    for (auto& step : m_steps) {
        if (step.compound) {
            RW_TRY(step.edit, step.compound->finish());
        }
        plan.edits.push_back(std::move(step.edit));
    }
    return plan;
}

} // namespace reelwright

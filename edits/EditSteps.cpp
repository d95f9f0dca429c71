#include "edits/EditSteps.h"

namespace reelwright {

Result<void> EditPlan::apply(QTMovie& movie, std::vector<std::string>* remarks, RefusedParts* refused,
    std::vector<Extraction>* extracted) const
{
    auto copy = movie;
    for (const auto& edit : edits)
        RW_CHECK(edit.apply(copy, remarks, refused, extracted));
    movie = std::move(copy);
    return {};
}

Result<void> EditSteps::checkConform() const
{
    const auto wrong = [](std::string why) { return failure(MovieError::Code::Refused, {}, std::move(why)); };
    if (!m_alone.empty() && (m_steps.size() > 1 || m_conform))
        return wrong(m_alone + " replaces the whole header and goes with no other edit");
    if (!m_conform)
        return {};
    const bool isRounded = m_conform->frameRate > 0;
    if (isRounded && m_conform->exact)
        return wrong("--conform and --conform-exact exclude each other");
    if (!isRounded && !m_conform->exact)
        return wrong(
            "--strip-edit-lists, --accept-drift and --keep-header go with --conform or --conform-exact");
    if (m_conform->stripEditLists && !isRounded)
        return wrong("--strip-edit-lists goes with --conform; --conform-exact keeps the edit lists in step");
    if (m_conform->acceptDrift && !m_conform->exact)
        return wrong("--accept-drift goes with --conform-exact");
    return {};
}

Result<EditPlan> EditSteps::finish()
{
    RW_CHECK(checkConform());
    EditPlan plan;
    plan.conform = m_conform;
    for (auto& step : m_steps) {
        if (step.compound) {
            RW_TRY(step.edit, step.compound->finish());
        }
        plan.edits.push_back(std::move(step.edit));
    }
    return plan;
}

} // namespace reelwright

#pragma once

#include "edits/ConformRequest.h"
#include "edits/Edit.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// A change that several options describe together.
class CompoundEdit
{
public:
    CompoundEdit() = default;
    CompoundEdit(const CompoundEdit&) = delete;
    CompoundEdit& operator=(const CompoundEdit&) = delete;
    virtual ~CompoundEdit() = default;

    /// Call when all options are read. The error is a sentence about options that do not go together.
    virtual Result<Edit> finish() = 0;
};

/// What one command line, one batch or one rule asks of each file.
struct EditPlan
{
    std::vector<Edit> edits; ///< in the order given
    std::optional<ConformRequest> conform; ///< of the frame rate, after them, by the save

    [[nodiscard]] bool isEmpty() const { return edits.empty() && !conform; }
    /// The edits one after the other, all or nothing, without the conform. `remarks` receives what the user
    /// should know of them, `refused` the parts of them that were left out, `extracted` the files that they
    /// take out of the movie, each as it is at its step.
    Result<void> apply(QTMovie& movie, std::vector<std::string>* remarks = nullptr,
        RefusedParts* refused = nullptr, std::vector<Extraction>* extracted = nullptr) const;
};

/// The steps of a command line while its options are read, in the order given.
class EditSteps
{
public:
    void add(Edit edit) { m_steps.push_back({std::move(edit), nullptr}); }
    /// A change that leaves nothing of others.
    void addAlone(Edit edit)
    {
        m_alone = edit.option;
        add(std::move(edit));
    }
    /// The change of the frame rate that several options describe.
    ConformRequest& conform() { return m_conform ? *m_conform : m_conform.emplace(); }
    /// The compound change of that class, made at its first use; its step stands where the first of its
    /// options does.
    template <class Compound> Compound& compound()
    {
        for (const auto& step : m_steps)
            if (auto* known = dynamic_cast<Compound*>(step.compound.get()))
                return *known;
        return begin<Compound>();
    }
    /// The last compound change of that class, made where there is none.
    template <class Compound> Compound& latest()
    {
        for (auto step = m_steps.rbegin(); step != m_steps.rend(); ++step)
            if (auto* known = dynamic_cast<Compound*>(step->compound.get()))
                return *known;
        return begin<Compound>();
    }
    /// The last step where it is a compound change of that class, else null: for options that say more about
    /// the option before them.
    template <class Compound> Compound* last()
    {
        return m_steps.empty() ? nullptr : dynamic_cast<Compound*>(m_steps.back().compound.get());
    }
    /// A new compound change as the next step.
    template <class Compound> Compound& begin()
    {
        auto made = std::make_shared<Compound>();
        m_steps.push_back({{}, made});
        return *made;
    }
    /// The whole plan. The error is a sentence about options that do not go together (wrong usage).
    Result<EditPlan> finish();

private:
    struct Step
    {
        Edit edit; ///< unless there is a compound change
        std::shared_ptr<CompoundEdit> compound;
    };
    [[nodiscard]] Result<void> checkConform() const;

    std::vector<Step> m_steps;
    std::optional<ConformRequest> m_conform;
    std::string m_alone; ///< the option of a change that goes with no other
};

} // namespace reelwright

#pragma once

#include "edits/EditSteps.h"
#include "saving/OutputPlan.h"
#include "saving/SaveRoad.h"

namespace reelwright::cli {

/// What an edit does to each file, where the result goes, and how it is saved.
struct EditOptions : OutputRule, SaveRules
{
    EditPlan plan;
    std::string planText; ///< the edit options and their values, one a line: the plan's identity
    std::string journal; ///< the path of one, or empty
    bool sync = true; ///< flush to the medium
    unsigned jobs = 1; ///< files at a time
};

} // namespace reelwright::cli

#pragma once

#include "edits/EditSteps.h"
#include "saving/OutputPlan.h"
#include "saving/SaveRoad.h"

namespace reelwright::cli {

/// What an edit does to each file, where the result goes, and how it is saved.
struct EditOptions : OutputRule, SaveRules
{
    EditPlan plan;
    bool sync = true; ///< flush to the medium
    unsigned jobs = 1; ///< files at a time
};

} // namespace reelwright::cli

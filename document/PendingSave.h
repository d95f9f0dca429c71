#pragma once

#include "document/UndoHistory.h"
#include "report/Changes.h"

#include <string>
#include <vector>

namespace reelwright {

/// What a save of a movie would do, and what is true of its file. Asks the disk: made where waiting keeps
/// nobody.
struct PendingSave
{
    std::vector<Change> changes; ///< what differs from the file, as a dry run lists it
    bool hasFile = true;
    bool inPlace = true; ///< only the header is written
    std::uint64_t bytes = 0; ///< that are written
    std::uint64_t mediaBytes = 0; ///< that stay where they are when it is saved in place
    std::string whyAnew; ///< why the whole file is written, as a sentence

    // The file
    bool isWriteProtected = false;
    bool isChangedByOthers = false;
    std::string missingMedia; ///< the reason why some of its media cannot be read; empty when they can
    bool isEncrypted = false;

    static PendingSave of(const QTMovie& movie);
};

/// One step of the undo history with what it changed.
struct ReviewedStep
{
    std::size_t index = 0; ///< among the steps that can be undone, from the oldest
    std::string name; ///< "Rotate Left"
    std::vector<Change> changes;
    bool canBeUndoneAlone = false; ///< also while others came after it
};

/// The steps since the movie was saved, the oldest first, each with what it changed.
std::vector<ReviewedStep> reviewSteps(
    const std::vector<UndoHistory::StepCopy>& steps, const QTMovie& present);

} // namespace reelwright

#pragma once

#include "edits/RecordedCall.h"

namespace reelwright {

/// One change of a movie as a value: what the window performs, the command line applies and a batch queues.
/// It names tracks by selector or ID, so that it means the same in every movie.
struct Edit
{
    std::string option; ///< as the command line has it: "--rotate left"
    std::string undoName; ///< "Rotate Left"
    std::string queueLabel; ///< "Rotate left"
    RecordedCall call;

    /// All or nothing: works on a copy, which costs a counter, and then takes it. The error is the
    /// operation's, which has logged it.
    Result<void> apply(QTMovie& movie) const;
};

/// An edit whose call is a function of its own, for changes that no single class operation makes.
Edit makeEdit(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<void>(QTMovie&)> perform);

} // namespace reelwright

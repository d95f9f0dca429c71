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
    /// Does what the call does and answers what the user should know of it (a value that is not taken as
    /// typed), or the empty text. May be left out.
    std::function<Result<std::string>(QTMovie&)> performAndTell {};

    /// All or nothing: works on a copy, which costs a counter, and then takes it. The error is the
    /// operation's, which has logged it. `remarks` receives what the user should know.
    Result<void> apply(QTMovie& movie, std::vector<std::string>* remarks = nullptr) const;
};

/// An edit whose call is a function of its own, for changes that no single class operation makes.
Edit makeEdit(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<void>(QTMovie&)> perform);

} // namespace reelwright

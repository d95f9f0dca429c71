#pragma once

#include "edits/RecordedCall.h"

#include <vector>

namespace reelwright {

/// What an edit did not do although the rest of it was done: sentences.
using RefusedParts = std::vector<std::string>;

/// What an edit did otherwise than asked.
struct EditNotes
{
    std::vector<std::string> remarks; ///< what the user should know
    RefusedParts refused;
};

/// A movie of its own that an edit takes out of a movie, and where it is to be written.
struct Extraction
{
    QTMovie movie;
    std::string path;
};

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
    /// For an edit that may leave out a part: does what the call does and answers which. Else null.
    std::function<Result<RefusedParts>(QTMovie&)> performInParts {};
    /// For an edit with both. Else null.
    std::function<Result<EditNotes>(QTMovie&)> performWithNotes {};
    /// For an edit that changes nothing but takes a file out of the movie as it is at that step; the caller
    /// writes it. Else null.
    std::function<Result<Extraction>(const QTMovie&)> extract {};

    /// All or nothing: works on a copy, which costs a counter, and then takes it. The error is the
    /// operation's, which has logged it. `remarks` receives what the user should know, `refused` the parts
    /// that were left out, `extracted` what is to be written beside.
    Result<void> apply(QTMovie& movie, std::vector<std::string>* remarks = nullptr,
        RefusedParts* refused = nullptr, std::vector<Extraction>* extracted = nullptr) const;
};

/// An edit whose call is a function of its own, for changes that no single class operation makes.
Edit makeEdit(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<void>(QTMovie&)> perform);
/// The same for an edit that may leave out a part. A recorded call of it logs what was left out.
Edit makeEditInParts(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<RefusedParts>(QTMovie&)> perform);
/// The same for one that may also have something to tell.
Edit makeEditWithNotes(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<EditNotes>(QTMovie&)> perform);

/// What an edit of so many parts answers: those that were refused, or where nothing is left of it an error
/// that says why.
Result<RefusedParts> unlessAllRefused(RefusedParts refused, std::size_t parts);

} // namespace reelwright

#pragma once

#include "edits/EditCatalogue.h"

#include <string>
#include <vector>

namespace reelwright {

/// Something that one movie can take from another: a row of the option `--copy`, and a check box of the
/// window.
struct CopySubject
{
    const char* name; ///< "metadata"
    const char* title; ///< "Metadata"
    Result<RefusedParts> (*copy)(const QTMovie& from, QTMovie& to);
};

std::span<const CopySubject> copySubjects();

namespace edits {

    /// Takes these subjects, by their names, from the movie in that file, which is opened now. Errors: those
    /// of opening; Refused for a name that is no subject.
    Result<Edit> copyFrom(const std::string& path, const std::vector<std::string>& subjects);

    /// The options `--copy-from` and `--copy`.
    std::span<const EditKind> copyKinds();

} // namespace edits
} // namespace reelwright

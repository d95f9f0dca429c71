#pragma once

#include "movie/atoms/Atom.h"

#include <string>
#include <vector>

namespace reelwright {

/// One entry of a `dref` atom: where a media's samples are kept.
struct DataReference
{
    FourCC type; ///< `alis`, `url `, `rsrc`, `urn ` or another
    bool isSelf = false; ///< the samples are in the movie's own file
    std::string name; ///< what the entry names, for messages; empty when nothing can be read from it
    std::vector<std::string> candidates; ///< paths to try, best first, not checked

    /// The entries of a `dref` atom in order. `movieFolder` is where relative names start ("" for the current
    /// folder).
    static std::vector<DataReference> parseAll(const Atom& dref, const std::string& movieFolder);
};

} // namespace reelwright

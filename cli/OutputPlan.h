#pragma once

#include "cli/EditOptions.h"

#include <string>
#include <vector>

namespace reelwright::cli {

/// Where one file's edit goes.
struct PlannedEdit
{
    std::string file;
    std::string output; ///< empty: into the file itself
    std::string refusal; ///< why it is not done; empty when it is
};

/// The edits of all files, with the refusals that can be known before any is opened: an output that exists,
/// is an input, or is another file's output too. In place, a file that is named twice (also by a link) is
/// planned once; the others are handed to `alias` with the name that stays.
std::vector<PlannedEdit> planOutputs(const std::vector<std::string>& files, const EditOptions& options,
    const std::function<void(const std::string& alias, const std::string& kept)>& alias);

/// Path of the copy with a suffix: "a/clip.mov" and "-x" give "a/clip-x.mov".
std::string pathWithSuffix(const std::string& path, const std::string& suffix);

} // namespace reelwright::cli

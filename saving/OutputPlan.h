#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// Where the results of a run over many files go: without any of these into the files themselves.
struct OutputRule
{
    std::optional<std::string> suffix; ///< a copy beside the file, with this behind its name
    std::optional<std::string> outputFolder; ///< a copy of the same name in this folder
    std::optional<std::string> outputFile; ///< a copy of the only file
    bool overwrite = false; ///< may a copy replace a file?

    [[nodiscard]] bool isInPlace() const { return !suffix && !outputFolder && !outputFile; }
};

/// Where one file's result goes.
struct PlannedOutput
{
    std::string file;
    std::string output; ///< empty: into the file itself
    std::string refusal; ///< why it is not done; empty when it is
};

/// The outputs of all files, with the refusals that can be known before any is opened: an output that exists,
/// is an input, or is another file's output too. In place, a file that is named twice (also by a link) is
/// planned once; the others are handed to `alias` with the name that stays.
std::vector<PlannedOutput> planOutputs(const std::vector<std::string>& files, const OutputRule& rule,
    const std::function<void(const std::string& alias, const std::string& kept)>& alias);

/// Path of the copy with a suffix: "a/clip.mov" and "-x" give "a/clip-x.mov".
std::string pathWithSuffix(const std::string& path, const std::string& suffix);

} // namespace reelwright

#pragma once

#include "report/Changes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// What became of one queued change in one file.
enum class StepOutcome {
    Changed,
    Nothing, ///< there was nothing to do
    Failed, ///< it could not be applied; a warning says why
    NotReached,
};

/// What became of one file, or in a preview what would.
struct BatchResult
{
    enum class Status {
        Waiting,
        Done,
        Unchanged,
        Failed,
    };
    /// How the result is written.
    enum class Road { Nothing, InPlace, WholeFile };

    std::string file;
    std::string output; ///< empty where nothing is written
    Status status = Status::Waiting;
    Road road = Road::Nothing;
    std::uint64_t bytesWritten = 0;
    std::uint64_t headerBytes = 0; ///< of the movie to be saved
    std::vector<StepOutcome> steps; ///< one for each entry of the queue
    std::vector<std::string> warnings;
    std::string error; ///< empty unless failed
    std::string target; ///< where the result was to go
    bool conformFailed = false; ///< that, and nothing before it, is what failed
    std::optional<bool> verified; ///< nothing where the media were not compared
    double seconds = 0;

    /// How many of the queued changes changed something.
    [[nodiscard]] std::size_t changedSteps() const;
    /// "3 changes, 1 warning", or why it failed.
    [[nodiscard]] std::string text() const;
    /// The path by which a failure is reported.
    [[nodiscard]] const std::string& failedPath() const { return target.empty() ? file : target; }
    static const char* statusName(Status status);
};

/// A preview of one file in full.
struct BatchPreview
{
    BatchResult result;
    std::vector<Change> changes;
};

} // namespace reelwright

#pragma once

#include "edits/EditCatalogue.h"

#include <string>
#include <vector>

namespace reelwright {

/// The groups in which the tasks stand in a menu.
enum class TaskGroup { TracksAndMetadata, Timecode, PictureShapeAndColor, Sound };
/// What a task asks for before it can run.
enum class TaskPath {
    None,
    Still, ///< a still image, or a folder of them; without one that which lies beside the movie
    MovieFolder,
};
/// Where a task is asked for. Some say something else there.
enum class TaskPlace { Document, Batch };

/// A one-step repair of a whole movie: a row of the menu in a movie's window, and of the one in a batch.
struct QuickTask
{
    int tag; ///< from 1, never another one
    TaskGroup group;
    const char* name; ///< "Remove empty tracks"
    const char* description; ///< empty: not for a single movie
    const char* batchDescription; ///< empty: the same
    TaskPath path;
    /// What it does: a call with the path, which is empty unless `path` asks for one.
    RecordedCall (*call)(const std::string& path);

    /// "remove-empty-tracks", as the command line has it.
    [[nodiscard]] std::string optionName() const;
    /// The text beside the menu; empty for none.
    [[nodiscard]] std::string descriptionIn(TaskPlace place) const;
};

/// All of them in the order of the menu.
std::span<const QuickTask> quickTasks();
/// Null for none.
const QuickTask* quickTaskWithTag(int tag);
/// By name or number: "remove-empty-tracks", "1". Null for none.
const QuickTask* quickTaskNamed(std::string_view name);
const char* groupTitle(TaskGroup group);

namespace edits {

    /// A task as a change. What has to be one time for many movies, the present one, is read here.
    Edit quickTask(const QuickTask& task, const std::string& path = {});

    /// The option `--task`.
    std::span<const EditKind> quickTaskKinds();

} // namespace edits
} // namespace reelwright

#include "edits/EditCatalogue.h"

#include "edits/AttributeEdits.h"
#include "edits/ChapterEdits.h"
#include "edits/ConformEdits.h"
#include "edits/CopyEdits.h"
#include "edits/InsertionEdits.h"
#include "edits/MetadataEdits.h"
#include "edits/QuickTasks.h"
#include "edits/SettingsEdits.h"
#include "edits/TimecodeEdits.h"
#include "edits/TrackEdits.h"

#include <fmt/format.h>

namespace reelwright {

std::span<const EditGroup> editGroups()
{
    static const EditGroup kGroups[] = {
        {"Players and picture", edits::settingsKinds()},
        {"Video attributes (of the first video track)", edits::attributeKinds()},
        {"Tracks", edits::trackKinds()},
        {"Tracks in and out", edits::insertionKinds()},
        {"Timecode", edits::timecodeKinds()},
        {"Chapters", edits::chapterKinds()},
        {"Metadata", edits::metadataKinds()},
        {"From another movie", edits::copyKinds()},
        {"Frame rate", edits::conformKinds()},
        {"Quick tasks", edits::quickTaskKinds()},
    };
    return kGroups;
}

std::vector<EditKind> editKinds()
{
    std::vector<EditKind> kinds;
    for (const auto& group : editGroups())
        kinds.insert(kinds.end(), group.kinds.begin(), group.kinds.end());
    return kinds;
}

tl::unexpected<MovieError> edits::wrongValue(
    std::string_view option, std::string_view value, std::string_view wanted)
{
    return failure(
        MovieError::Code::Refused, {}, fmt::format("{} takes {}, not \"{}\"", option, wanted, value));
}

} // namespace reelwright

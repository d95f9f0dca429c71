#include "edits/EditCatalogue.h"

#include "edits/AttributeEdits.h"
#include "edits/ChapterEdits.h"
#include "edits/ConformEdits.h"
#include "edits/CopyEdits.h"
#include "edits/InsertionEdits.h"
#include "edits/MetadataEdits.h"
#include "edits/QuickTasks.h"
#include "edits/SettingsEdits.h"
#include "edits/TextEdits.h"
#include "edits/TimecodeEdits.h"
#include "edits/TrackEdits.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {

std::span<const EditGroup> editGroups()
{
    static const EditGroup kGroups[] = {
        {"Players and picture", edits::settingsKinds()},
        {"Video attributes (of the first video track)", edits::attributeKinds()},
        {"Tracks", edits::trackKinds()},
        {"Tracks in and out", edits::insertionKinds()},
        {"Texts of text tracks", edits::textKinds()},
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

Result<EditPlan> planOf(std::span<const std::string> options)
{
    const auto kinds = editKinds();
    EditSteps steps;
    for (const auto& text : options) {
        const auto space = std::min(text.find(' '), text.size());
        const auto option = text.substr(0, space);
        const auto value = std::string_view {text}.substr(std::min(space + 1, text.size()));
        const auto kind = std::find_if(
            kinds.begin(), kinds.end(), [&](const EditKind& each) { return each.option == option; });
        if (kind == kinds.end())
            return failure(
                MovieError::Code::Refused, {}, fmt::format("there is no edit option \"{}\"", option));
        if ((*kind->value == '\0') != (space == text.size()))
            return failure(MovieError::Code::Refused, {},
                *kind->value == '\0' ? option + " takes no value" : option + " takes " + kind->value);
        RW_CHECK(kind->parse(value, steps));
    }
    return steps.finish();
}

tl::unexpected<MovieError> edits::wrongValue(
    std::string_view option, std::string_view value, std::string_view wanted)
{
    return failure(
        MovieError::Code::Refused, {}, fmt::format("{} takes {}, not \"{}\"", option, wanted, value));
}

} // namespace reelwright

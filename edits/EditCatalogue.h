#pragma once

#include "edits/EditSteps.h"

#include <span>
#include <string_view>
#include <vector>

namespace reelwright {

/// A kind of edit as the command line, its help, the man page, the shells' completion, the documents and the
/// interoperability rules know it.
struct EditKind
{
    const char* option; ///< "--rotate"
    const char* value; ///< what follows it ("left|right"), "" for nothing
    const char* help;
    /// Adds what a value asks for to the steps. The error is a sentence about a wrong value (wrong usage).
    Result<void> (*parse)(std::string_view value, EditSteps& steps);
};

/// The kinds of one subject, under the title that the help gives them.
struct EditGroup
{
    const char* title;
    std::span<const EditKind> kinds;
};

/// All of them, in the order of the help.
std::span<const EditGroup> editGroups();
std::vector<EditKind> editKinds();
/// The plan of options with their values, as in "--rotate left", in the order given. The error is a sentence
/// about an option that is not there, a wrong value, or options that do not go together.
Result<EditPlan> planOf(std::span<const std::string> options);

namespace edits {

    /// The error of a value that an option does not take.
    tl::unexpected<MovieError> wrongValue(
        std::string_view option, std::string_view value, std::string_view wanted);

    /// An option whose value makes one edit.
    template <Result<Edit> (*parse)(std::string_view)>
    Result<void> single(std::string_view value, EditSteps& steps)
    {
        RW_TRY(auto edit, parse(value));
        steps.add(std::move(edit));
        return {};
    }

} // namespace edits
} // namespace reelwright

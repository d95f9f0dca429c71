#pragma once

#include "movie/QTMovie.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright::cli {

/// One change of a movie, as an option of the command line asks for it.
struct EditStep
{
    std::string option; ///< as typed, for messages: "--rotate left"
    std::function<Result<void>(QTMovie&)> apply;
};

/// An edit option as the command line and its help know it.
struct EditOption
{
    const char* name; ///< "--rotate"
    const char* value; ///< what follows it ("left|right"), "" for nothing
    const char* help;
    /// The step for a value. The error is a sentence about a wrong value (wrong usage).
    Result<EditStep> (*parse)(std::string_view value);
};

/// All of them, in the order of the help.
std::span<const EditOption> editOptions();

} // namespace reelwright::cli

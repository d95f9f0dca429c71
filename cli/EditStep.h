#pragma once

#include "cli/TimecodeEdit.h"

#include <functional>
#include <memory>
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

/// The steps of a command line while its options are read, in the order given.
class EditSteps
{
public:
    void add(EditStep step) { m_steps.push_back(std::move(step)); }
    /// The change of the timecode, which several options describe together; its step stands where the first
    /// of them does.
    TimecodeEdit& timecode();
    /// All of them. The error is a sentence about options that do not go together.
    Result<std::vector<EditStep>> finish();

private:
    std::vector<EditStep> m_steps;
    std::shared_ptr<TimecodeEdit> m_timecode;
};

/// An edit option as the command line and its help know it.
struct EditOption
{
    const char* name; ///< "--rotate"
    const char* value; ///< what follows it ("left|right"), "" for nothing
    const char* help;
    /// Adds what a value asks for to the steps. The error is a sentence about a wrong value (wrong usage).
    Result<void> (*parse)(std::string_view value, EditSteps& steps);
};

/// All of them, in the order of the help.
std::span<const EditOption> editOptions();

} // namespace reelwright::cli

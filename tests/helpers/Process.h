#pragma once

#include <string>
#include <vector>

namespace reelwright::test {

struct ProcessResult
{
    int exitCode = -1; ///< 128 + number for a program that a signal ended; -1 when it could not be started
    std::string output;
    std::string errors; ///< what it said on standard error, or why it could not be started
};

/// Runs a program (looked for in PATH) with these arguments and waits for its end. Its standard input is
/// empty; no shell reads the arguments.
ProcessResult runProcess(const std::vector<std::string>& arguments);

} // namespace reelwright::test

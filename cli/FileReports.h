#pragma once

#include "cli/Command.h"
#include "movie/Result.h"

#include <functional>
#include <string>
#include <vector>

namespace reelwright::cli {

/// What a command that only reads says about one file.
struct FileReport
{
    std::string text; ///< when the results are text,
    Json json; ///< else this
    std::vector<std::string> problems; ///< for standard error; any makes the file a failed one
};

/// Reports on each file in turn. Files for which `report` fails are named on standard error and, in JSON, as
/// {file, error}. The exit status: 1 when a file failed, else 0.
int reportEach(
    const Invocation& invocation, const std::function<Result<FileReport>(const std::string& file)>& report);

} // namespace reelwright::cli

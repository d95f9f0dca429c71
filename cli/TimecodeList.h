#pragma once

#include "cli/FileReports.h"

namespace reelwright::cli {

/// `timecode --all`: every place of a file that carries timecode, side by side. A disagreement is a problem
/// of the file, so that scripts see it in the exit status.
Result<FileReport> listTimecodes(const std::string& file);

} // namespace reelwright::cli

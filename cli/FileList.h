#pragma once

#include "movie/Result.h"

#include <string>
#include <vector>

namespace reelwright::cli {

/// What stands between the names of a list of files.
enum class NameSeparator { LineEnd, Nul };

/// The names in the file `list`, or on standard input when it is "-". Empty names are left out.
/// Of lists of lines a byte-order mark in front is left out, and the CR of line ends that are CR and LF.
/// Errors: Io; Unsupported for a list in UTF-16.
Result<std::vector<std::string>> readFileList(const std::string& list, NameSeparator separator);

} // namespace reelwright::cli

#pragma once

#include "movie/Result.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// The words of a file of options: one or more a line, quoted as in a shell ('as it stands'; in "..." a
/// backslash keeps a quotation mark or a backslash; elsewhere it keeps any character), # at the beginning of
/// a word for the rest of the line. Each line begins with an option; quotes end on the line they began on.
/// `isOption` answers whether the command has an option of that name ("--rotate").
/// Errors: Io; a sentence with the place, "repair.txt:3: ...".
Result<std::vector<std::string>> readOptionsFile(
    const std::string& path, const std::function<bool(const std::string& name)>& isOption);

/// The same of a text; `path` is for its errors.
Result<std::vector<std::string>> parseOptions(std::string_view text, const std::string& path,
    const std::function<bool(const std::string& name)>& isOption);

/// The arguments with each --options-from FILE replaced by the words of that file.
Result<std::vector<std::string>> withOptionFiles(
    const std::vector<std::string>& arguments, const std::function<bool(const std::string& name)>& isOption);

} // namespace reelwright

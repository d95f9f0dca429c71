#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

using TextRecord = std::vector<std::string>;

/// The records of a table as RFC 4180 has it: fields between delimiters, in quotes where they hold a
/// delimiter, a quote (doubled) or a line end. Lines may end in LF too; empty lines are left out. Nothing
/// when quotes stand where none may, or the last one is missing.
std::optional<std::vector<TextRecord>> parseDelimitedText(std::string_view text, char delimiter = ',');

/// One record with its line end, CR LF. Fields are put in quotes where they need them.
std::string delimitedRecord(const TextRecord& fields, char delimiter = ',');

/// What parts the fields of a table's first line: a comma, or a semicolon or a tab where it has no comma.
char delimiterOf(std::string_view firstLine);

} // namespace reelwright

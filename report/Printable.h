#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace reelwright {

/// The text as it can be shown on a terminal and in a table: on one line, and unable to move the cursor,
/// change colours or reorder what stands beside it. Control characters and bytes that are no UTF-8 become \n,
/// \t or \xNN; characters that change the direction of writing become \u{NNNN}.
std::string printable(std::string_view text);

/// Columns of a terminal that a printable text takes; wide (East Asian) characters take two.
std::size_t displayWidth(std::string_view text);

} // namespace reelwright

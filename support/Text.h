#pragma once

#include <string_view>

namespace reelwright {

/// `text` without the white space and line ends round it, Unicode's included. `text` is UTF-8; other bytes
/// are kept.
std::string_view trimmed(std::string_view text);

} // namespace reelwright

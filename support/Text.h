#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// `text` without the white space and line ends round it, Unicode's included. `text` is UTF-8; other bytes
/// are kept.
std::string_view trimmed(std::string_view text);

/// The parts between the separators, any one of the characters of `separators`; n of them give n + 1 parts.
std::vector<std::string_view> split(std::string_view text, std::string_view separators);

/// A word as a shell reads it: between single quotes unless every sign is harmless.
std::string shellWord(std::string_view text);

/// The number that a text begins with: ASCII white space, a sign and digits, whatever follows them. The
/// nearest 32-bit number where it does not fit; 0 when there are no digits.
int integerValue(std::string_view text);

} // namespace reelwright

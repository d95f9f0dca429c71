#pragma once

#include <string>

namespace reelwright::colorCodes {

/// Names of the codes of a "Color", as ISO/IEC 23091-2 (H.273) has them: "1  BT.709", "3  Reserved (3)".
std::string primaries(int code);
std::string transfer(int code);
std::string matrix(int code);

/// Codes that the standard numbers are bytes.
inline constexpr int kCodes = 256;

} // namespace reelwright::colorCodes

#pragma once

#include <string_view>

namespace reelwright {

/// An ICC profile of a named color space.
struct ColorProfileData
{
    const char* name;
    std::string_view base64;
};

/// In the order of namedColorSpaces::kNames.
extern const ColorProfileData kColorProfiles[7];

} // namespace reelwright

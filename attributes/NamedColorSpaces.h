#pragma once

#include "movie/atoms/Bytes.h"

#include <array>
#include <optional>
#include <string_view>

namespace reelwright {

/// The color spaces that a movie can be tagged with by name: fixed ICC profiles, the same on every machine.
/// A profile is recognized by its bytes.
namespace namedColorSpaces {

    inline constexpr std::array<std::string_view, 7> kNames {"Generic Gray", "Generic RGB", "Generic CMYK",
        "Generic RGB Linear", "Adobe RGB 1998", "sRGB", "Generic Gray 2.2 Gamma"};

    /// The profile of the name with that index; nothing for another index.
    std::optional<Bytes> profile(std::size_t index);
    /// The first name whose profile has these bytes.
    std::optional<std::size_t> indexOf(const Bytes& profile);
    /// The index of a name, as shown or in lower case with hyphens ("adobe-rgb-1998").
    std::optional<std::size_t> indexNamed(std::string_view name);

} // namespace namedColorSpaces
} // namespace reelwright

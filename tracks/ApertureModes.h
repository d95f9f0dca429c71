#pragma once

#include "movie/atoms/FourCC.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// The aperture modes in the order in which they are offered: classic, clean, production, encoded pixels.
inline constexpr std::array kApertureModes {"clas"_cc, "clea"_cc, "prod"_cc, "enco"_cc};

/// "classic", "clean", "production" or "encoded"; the code itself for another one; "" for zero.
std::string apertureModeName(FourCC mode);
/// The mode of such a name, or nothing.
std::optional<FourCC> apertureModeNamed(std::string_view name);

} // namespace reelwright

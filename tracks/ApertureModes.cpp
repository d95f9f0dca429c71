#include "tracks/ApertureModes.h"

namespace reelwright {
namespace {

    constexpr std::array kNames {"classic", "clean", "production", "encoded"}; // as kApertureModes

} // namespace

std::string apertureModeName(FourCC mode)
{
    for (std::size_t i = 0; i < kApertureModes.size(); ++i)
        if (kApertureModes[i] == mode)
            return kNames[i];
    return mode == FourCC {} ? std::string {} : mode.text();
}

std::optional<FourCC> apertureModeNamed(std::string_view name)
{
    for (std::size_t i = 0; i < kApertureModes.size(); ++i)
        if (kNames[i] == name)
            return kApertureModes[i];
    return std::nullopt;
}

} // namespace reelwright

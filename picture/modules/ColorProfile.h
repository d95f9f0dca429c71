#pragma once

#include "picture/modules/Handles.h"

#include <cstdint>
#include <vector>

namespace reelwright::picture {

/// What the numbers of a stream's pictures mean once they are red, green and blue, as an ICC profile: the one
/// that the movie carries, else one made of its tags. Empty where it says nothing.
std::vector<std::uint8_t> colorProfileOf(const AVStream& stream);

/// An image file (png, jpg, tif) with that profile in it; other kinds, and files that are not as expected,
/// stay as they are.
std::vector<std::uint8_t> withColorProfile(
    std::vector<std::uint8_t> file, const std::string& extension, const std::vector<std::uint8_t>& profile);

} // namespace reelwright::picture

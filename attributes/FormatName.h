#pragma once

#include "movie/atoms/FourCC.h"

#include <string>

namespace reelwright {

/// The name of a sample format with its code, "Apple ProRes 422 (apcn)"; the code alone for an unknown one.
std::string formatName(FourCC format);

} // namespace reelwright

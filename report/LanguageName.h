#pragma once

#include <cstdint>
#include <string>

namespace reelwright {

/// What a media header's language code says: the name of a Macintosh language ("English"), the letters of a
/// packed ISO 639-2 one ("eng"), empty where no language is said.
std::string languageName(std::uint16_t code);

} // namespace reelwright

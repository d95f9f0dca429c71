#include "movie/atoms/FourCC.h"

#include <fmt/format.h>

namespace reelwright {

std::string FourCC::text() const
{
    std::string result;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<unsigned>(value >> shift & 0xFFU);
        if (byte == 0xA9)
            result += "\u00A9";
        else if (byte >= 0x20 && byte < 0x7F)
            result += static_cast<char>(byte);
        else
            result += fmt::format("\\x{:02x}", byte);
    }
    return result;
}

} // namespace reelwright

#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace reelwright {

/// A four-character code: atom type, media type, sample format, brand. The first character is the most
/// significant byte.
struct FourCC
{
    std::uint32_t value = 0;

    constexpr FourCC() = default;
    constexpr explicit FourCC(std::uint32_t bits)
        : value(bits)
    {
    }
    constexpr auto operator<=>(const FourCC&) const = default;

    /// The code as UTF-8: ASCII as it stands, 0xA9 as the copyright sign, every other byte as \xNN.
    [[nodiscard]] std::string text() const;
};

namespace literals {

    /// "moov"_cc. The copyright sign is written "\xA9nam"_cc. Shorter texts are padded with zero bytes.
    constexpr FourCC operator""_cc(const char* text, std::size_t length)
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            value = value << 8U | (i < length ? static_cast<std::uint8_t>(text[i]) : 0U);
        return FourCC {value};
    }

} // namespace literals

using namespace literals;

} // namespace reelwright

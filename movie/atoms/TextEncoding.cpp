#include "movie/atoms/TextEncoding.h"

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

    /// Unicode of the Mac Roman bytes 0x80 to 0xFF (Apple's ROMAN.TXT mapping).
    constexpr std::array<char16_t, 128> kMacRoman
        = {0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
            0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
            0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
            0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
            0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
            0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
            0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
            0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
            0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
            0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
            0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

    void appendUtf8(std::string& out, unsigned code)
    {
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0U | code >> 6U);
            out += static_cast<char>(0x80U | (code & 0x3FU));
        } else {
            if (code < 0x10000) {
                out += static_cast<char>(0xE0U | code >> 12U);
            } else {
                out += static_cast<char>(0xF0U | code >> 18U);
                out += static_cast<char>(0x80U | (code >> 12U & 0x3FU));
            }
            out += static_cast<char>(0x80U | (code >> 6U & 0x3FU));
            out += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }

    constexpr unsigned kReplacement = 0xFFFD;

    /// Takes the first character off a text; the replacement character for bytes that are none.
    unsigned takeCharacter(std::string_view& utf8)
    {
        const auto lead = static_cast<unsigned char>(utf8.front());
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if (length > utf8.size() || !isValidUtf8(std::as_bytes(std::span {utf8}.first(length)))) {
            utf8.remove_prefix(1);
            return kReplacement;
        }
        unsigned code = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i)
            code = code << 6U | (static_cast<unsigned char>(utf8[i]) & 0x3FU);
        utf8.remove_prefix(length);
        return code;
    }

} // namespace

bool isValidUtf8(ByteSpan bytes)
{
    std::size_t i = 0;
    while (i < bytes.size()) {
        const auto lead = std::to_integer<unsigned>(bytes[i]);
        const std::size_t length = lead < 0x80 ? 1
            : lead >= 0xC2 && lead < 0xE0      ? 2
            : lead >= 0xE0 && lead < 0xF0      ? 3
            : lead >= 0xF0 && lead < 0xF5      ? 4
                                               : 0;
        if (length == 0 || length > bytes.size() - i)
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((std::to_integer<unsigned>(bytes[i + k]) & 0xC0U) != 0x80U)
                return false;
        if (length >= 3) { // over-long forms, surrogates, beyond the last plane
            const auto second = std::to_integer<unsigned>(bytes[i + 1]);
            if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)
                || (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F))
                return false;
        }
        i += length;
    }
    return true;
}

std::string decodeMacRoman(ByteSpan bytes)
{
    std::string text;
    for (const auto byte : bytes) {
        const auto value = std::to_integer<unsigned>(byte);
        appendUtf8(text, value < 0x80 ? value : kMacRoman[value - 0x80]);
    }
    return text;
}

std::string decodeText(ByteSpan bytes)
{
    if (!isValidUtf8(bytes))
        return decodeMacRoman(bytes);
    std::string text(bytes.size(), '\0');
    std::transform(
        bytes.begin(), bytes.end(), text.begin(), [](std::byte byte) { return static_cast<char>(byte); });
    return text;
}

std::optional<std::string> encodeMacRoman(std::string_view utf8)
{
    std::string bytes;
    while (!utf8.empty()) {
        const auto code = takeCharacter(utf8);
        const auto place = std::find(kMacRoman.begin(), kMacRoman.end(), static_cast<char16_t>(code));
        if (code < 0x80)
            bytes += static_cast<char>(code);
        else if (code < 0x10000 && place != kMacRoman.end())
            bytes += static_cast<char>(0x80 + (place - kMacRoman.begin()));
        else
            return std::nullopt;
    }
    return bytes;
}

std::string decodeUtf16(ByteSpan bytes, ByteOrder order)
{
    const auto unit = [&](std::size_t i) {
        const auto first = std::to_integer<unsigned>(bytes[i]);
        const auto second = std::to_integer<unsigned>(bytes[i + 1]);
        return order == ByteOrder::BigEndian ? first << 8U | second : second << 8U | first;
    };
    std::string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        auto code = unit(i);
        if (code >= 0xD800 && code < 0xE000) {
            const auto next = i + 3 < bytes.size() ? unit(i + 2) : 0;
            const bool isPair = code < 0xDC00 && next >= 0xDC00 && next < 0xE000;
            code = isPair ? 0x10000 + ((code - 0xD800) << 10U) + (next - 0xDC00) : kReplacement;
            i += isPair ? 2 : 0;
        }
        appendUtf8(text, code);
    }
    return text;
}

std::string encodeUtf16(std::string_view utf8, ByteOrder order)
{
    std::string bytes;
    const auto unit = [&](unsigned value) {
        const auto high = static_cast<char>(value >> 8U & 0xFFU);
        const auto low = static_cast<char>(value & 0xFFU);
        bytes += order == ByteOrder::BigEndian ? high : low;
        bytes += order == ByteOrder::BigEndian ? low : high;
    };
    while (!utf8.empty()) {
        const auto code = takeCharacter(utf8);
        if (code >= 0x10000) {
            unit(0xD800 + ((code - 0x10000) >> 10U));
            unit(0xDC00 + ((code - 0x10000) & 0x3FFU));
        } else {
            unit(code);
        }
    }
    return bytes;
}

std::size_t fittingUtf8(std::string_view utf8, std::size_t most)
{
    auto size = std::min(utf8.size(), most);
    while (size > 0 && size < utf8.size() && (static_cast<unsigned char>(utf8[size]) & 0xC0U) == 0x80U)
        --size;
    return size;
}

std::optional<std::string> decodeTextFile(ByteSpan bytes)
{
    const auto at
        = [&](std::size_t i) { return i < bytes.size() ? std::to_integer<unsigned>(bytes[i]) : 0x100; };
    if (at(0) == 0xFE && at(1) == 0xFF)
        return decodeUtf16(bytes.subspan(2), ByteOrder::BigEndian);
    if (at(0) == 0xFF && at(1) == 0xFE)
        return decodeUtf16(bytes.subspan(2), ByteOrder::LittleEndian);
    // Without a mark: lists begin with letters, of which one half is zero.
    if (bytes.size() % 2 == 0 && at(0) == 0 && at(1) != 0 && at(1) != 0x100)
        return decodeUtf16(bytes, ByteOrder::BigEndian);
    if (bytes.size() % 2 == 0 && at(0) != 0 && at(1) == 0)
        return decodeUtf16(bytes, ByteOrder::LittleEndian);
    if (at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF)
        bytes = bytes.subspan(3);
    return isValidUtf8(bytes) ? std::optional(decodeText(bytes)) : std::nullopt;
}

std::string reversedText(std::string_view utf8)
{
    std::string result;
    while (!utf8.empty()) {
        std::size_t last = utf8.size() - 1;
        while (last > 0 && (static_cast<unsigned char>(utf8[last]) & 0xC0U) == 0x80U)
            --last;
        result += utf8.substr(last);
        utf8.remove_suffix(utf8.size() - last);
    }
    return result;
}

} // namespace reelwright

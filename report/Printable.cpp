#include "report/Printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace reelwright {
namespace {

    struct Character
    {
        char32_t code = 0;
        std::size_t length = 0; ///< bytes; 0 when no character starts here
    };

    /// The character at the start of a text that is not empty.
    Character decode(std::string_view text)
    {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
        const char32_t lead = byte(0);
        if (lead < 0x80)
            return {lead, 1};
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
            return {};
        char32_t code = lead & (0xFFU >> (length + 1));
        for (std::size_t i = 1; i < length; ++i) {
            if ((byte(i) & 0xC0U) != 0x80U)
                return {};
            code = code << 6U | (byte(i) & 0x3FU);
        }
        constexpr char32_t kSmallest[] = {0x80, 0x800, 0x10000};
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        if (code < kSmallest[length - 2] || code > 0x10FFFF || surrogate)
            return {};
        return {code, length};
    }

    struct CodeRange
    {
        char32_t first;
        char32_t last;
    };

    template <std::size_t N> bool isIn(const CodeRange (&ranges)[N], char32_t code)
    {
        return std::any_of(std::begin(ranges), std::end(ranges),
            [&](const CodeRange& range) { return code >= range.first && code <= range.last; });
    }

    /// Marks, embeddings and isolates of writing direction, line and paragraph separators, the byte order
    /// mark.
    constexpr CodeRange kUnsafe[]
        = {{0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF}, {0x061C, 0x061C}};

    constexpr CodeRange kWide[]
        = {{0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},
            {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

    /// Combining marks that stand on the character before them.
    constexpr CodeRange kNarrow[]
        = {{0x0300, 0x036F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0x200B, 0x200D}, {0xFE00, 0xFE0F}};

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto [code, length] = decode(text);
        const auto taken = std::max<std::size_t>(length, 1);
        if (length == 0)
            result += fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
        else if (code == U'\n')
            result += "\\n";
        else if (code == U'\t')
            result += "\\t";
        else if (code < 0x20 || (code >= 0x7F && code < 0xA0))
            result += fmt::format("\\x{:02x}", static_cast<std::uint32_t>(code));
        else if (isIn(kUnsafe, code))
            result += fmt::format("\\u{{{:04x}}}", static_cast<std::uint32_t>(code));
        else
            result += text.substr(0, length);
        text.remove_prefix(taken);
    }
    return result;
}

std::size_t displayWidth(std::string_view text)
{
    std::size_t width = 0;
    while (!text.empty()) {
        const auto [code, length] = decode(text);
        width += isIn(kNarrow, code) ? 0U : isIn(kWide, code) ? 2U : 1U;
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return width;
}

} // namespace reelwright

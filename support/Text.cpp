#include "support/Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace reelwright {
namespace {

    constexpr std::string_view kWhiteSpace[] = {
        // space, tab, line feed, vertical tab, form feed, carriage return, next line,
        // no-break space, ogham space mark
        " ", "\t", "\n", "\v", "\f", "\r", "\xC2\x85", "\xC2\xA0", "\xE1\x9A\x80",
        // the spaces of given widths, U+2000 to U+200B
        "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85",
        "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\x8B",
        // line and paragraph separators, narrow no-break, mathematical and ideographic space
        "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80"};

    /// Most texts begin and end so; it spares them the table.
    bool isPlain(char c)
    {
        return c > ' ' && c < '\x7F';
    }

    std::size_t spaceAtStart(std::string_view text)
    {
        if (text.empty() || isPlain(text.front()))
            return 0;
        for (const auto space : kWhiteSpace) {
            if (text.starts_with(space))
                return space.size();
        }
        return 0;
    }

    std::size_t spaceAtEnd(std::string_view text)
    {
        if (text.empty() || isPlain(text.back()))
            return 0;
        for (const auto space : kWhiteSpace) {
            if (text.ends_with(space))
                return space.size();
        }
        return 0;
    }

} // namespace

std::string_view trimmed(std::string_view text)
{
    while (const auto length = spaceAtStart(text))
        text.remove_prefix(length);
    while (const auto length = spaceAtEnd(text))
        text.remove_suffix(length);
    return text;
}

std::vector<std::string_view> split(std::string_view text, std::string_view separators)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const auto end = text.find_first_of(separators);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return parts;
        text.remove_prefix(end + 1);
    }
}

std::string shellWord(std::string_view text)
{
    const auto isHarmless = [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z')
            || (character >= '0' && character <= '9')
            || std::string_view("-_./=:,+@%").find(character) != std::string_view::npos;
    };
    if (!text.empty() && std::all_of(text.begin(), text.end(), isHarmless))
        return std::string(text);
    std::string quoted = "'";
    for (const char character : text)
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return quoted + '\'';
}

int integerValue(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    const std::int64_t limit
        = isNegative ? -std::int64_t {std::numeric_limits<int>::min()} : std::numeric_limits<int>::max();
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        number = std::min(number * 10 + (c - '0'), limit);
    }
    return static_cast<int>(isNegative ? -number : number);
}

} // namespace reelwright

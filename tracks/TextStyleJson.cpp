#include "tracks/TextStyleJson.h"

#include "movie/atoms/TextEncoding.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <charconv>

namespace reelwright::textStyle {
namespace {

    using Json = nlohmann::ordered_json;

    constexpr int kMostPixels = INT16_MAX;

    tl::unexpected<MovieError> wrong(const std::string& member, const char* wanted)
    {
        return failure(
            MovieError::Code::Refused, {}, fmt::format("\"{}\" of a text's style takes {}", member, wanted));
    }

    Result<void> applyBox(const Json& value, TextStyle& style)
    {
        constexpr auto kWanted = "[left, top, width, height] in whole pixels of the track";
        if (!value.is_array() || value.size() != 4)
            return wrong("box", kWanted);
        int numbers[4] {};
        for (std::size_t i = 0; i < 4; ++i) {
            const bool isWhole
                = value[i].is_number_integer() && value[i] >= -kMostPixels && value[i] <= kMostPixels;
            if (!isWhole)
                return wrong("box", kWanted);
            numbers[i] = value[i].get<int>();
        }
        const auto [left, top, width, height] = numbers;
        if (width <= 0 || height <= 0 || left + width > kMostPixels || top + height > kMostPixels)
            return wrong("box", kWanted);
        TextCue cue;
        cue.style = style;
        cue.setBox({left, top, width, height});
        style = cue.style;
        return {};
    }

    Result<void> applyColor(const std::string& member, const Json& value, TextStyle& style)
    {
        if (member == "background" && value.is_null()) {
            style.displayFlags |= TextStyle::kKeyed;
            return {};
        }
        const auto color = value.is_string() ? colorFromText(value.get<std::string>()) : std::nullopt;
        if (!color)
            return wrong(member,
                member == "background" ? "a color such as \"#000000\", or null for none"
                                       : "a color such as \"#FFCC00\"");
        (member == "background" ? style.background : style.foreground) = *color;
        if (member == "background")
            style.displayFlags &= ~TextStyle::kKeyed;
        return {};
    }

    Result<void> applyMember(const std::string& member, const Json& value, TextStyle& style)
    {
        if (member == "box")
            return applyBox(value, style);
        if (member == "color" || member == "background")
            return applyColor(member, value, style);
        if (member == "align") {
            TextCue cue;
            cue.style = style;
            if (value == "left")
                cue.setAlignment(TextAlignment::Left);
            else if (value == "center")
                cue.setAlignment(TextAlignment::Center);
            else if (value == "right")
                cue.setAlignment(TextAlignment::Right);
            else
                return wrong(member, "\"left\", \"center\" or \"right\"");
            style = cue.style;
            return {};
        }
        if (member == "size") {
            if (!value.is_number_integer() || value < 1 || value > UINT8_MAX)
                return wrong(member, "whole pixels from 1 to 255");
            style.fontSize = value.get<std::uint16_t>();
            return {};
        }
        if (member == "font") {
            const auto name = value.is_string() ? value.get<std::string>() : std::string(UINT8_MAX + 1, ' ');
            if (name.size() > UINT8_MAX)
                return wrong(member, "a name of at most 255 bytes");
            style.fontName = name;
            return {};
        }
        const std::uint8_t face = member == "bold" ? TextStyle::kBold
            : member == "italic"                   ? TextStyle::kItalic
            : member == "underline"                ? TextStyle::kUnderlined
                                                   : 0;
        if (face == 0)
            return failure(MovieError::Code::Refused, {},
                fmt::format("a text's style has no \"{}\"; it has box, align, size, color, background, bold, "
                            "italic, underline, font",
                    member));
        if (!value.is_boolean())
            return wrong(member, "true or false");
        style.fontFace
            = static_cast<std::uint8_t>(value.get<bool>() ? style.fontFace | face : style.fontFace & ~face);
        return {};
    }

} // namespace

Result<void> apply(std::string_view text, TextStyle& style)
{
    const auto parsed = Json::parse(text, nullptr, false);
    if (!parsed.is_object())
        return failure(MovieError::Code::Refused, {},
            "a text's style is a JSON object such as {\"size\": 24, \"color\": \"#FFFFFF\"}");
    auto changed = style;
    for (const auto& [member, value] : parsed.items())
        RW_CHECK(applyMember(member, value, changed));
    style = changed;
    return {};
}

std::string json(const TextStyle& style)
{
    TextCue cue;
    cue.style = style;
    const auto [left, top, width, height] = cue.box();
    const char* align = cue.alignment() == TextAlignment::Left ? "left"
        : cue.alignment() == TextAlignment::Center             ? "center"
                                                               : "right";
    const Json all {{"box", {left, top, width, height}}, {"align", align}, {"size", style.fontSize},
        {"color", colorText(style.foreground)},
        {"background", style.isOpaque() ? Json(colorText(style.background)) : Json {}},
        {"bold", (style.fontFace & TextStyle::kBold) != 0},
        {"italic", (style.fontFace & TextStyle::kItalic) != 0},
        {"underline", (style.fontFace & TextStyle::kUnderlined) != 0}, {"font", style.fontName}};
    return all.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string colorText(const TextStyle::Color& color)
{
    return fmt::format("#{:02X}{:02X}{:02X}", color[0] >> 8U, color[1] >> 8U, color[2] >> 8U);
}

std::optional<TextStyle::Color> colorFromText(std::string_view text)
{
    constexpr int kHexadecimal = 16;
    std::uint32_t value = 0;
    if (text.size() != 7 || text.front() != '#')
        return std::nullopt;
    const auto [end, error]
        = std::from_chars(text.data() + 1, text.data() + text.size(), value, kHexadecimal);
    if (error != std::errc {} || end != text.data() + text.size())
        return std::nullopt;
    TextStyle::Color color {};
    for (unsigned i = 0; i < color.size(); ++i)
        color[i] = static_cast<std::uint16_t>(((value >> (16U - 8U * i)) & 0xFFU) * 0x101U);
    return color;
}

} // namespace reelwright::textStyle

#pragma once

#include "tracks/TextInsertion.h"

namespace reelwright::textStyle {

/// What a JSON object says of a text's look; what it does not name stays.
///
/// | member | value |
/// |---|---|
/// | `box` | [left, top, width, height] in pixels of the track |
/// | `align` | "left", "center", "right" |
/// | `size` | pixels |
/// | `color` | "#RRGGBB" |
/// | `background` | "#RRGGBB", or null: the picture shows through |
/// | `bold`, `italic`, `underline` | true, false |
/// | `font` | a name, "" for the player's own |
///
/// Errors: Refused, naming the member and what it takes.
Result<void> apply(std::string_view json, TextStyle& style);
/// The same the other way, with all members.
std::string json(const TextStyle& style);

/// "#RRGGBB" of the upper halves of the components.
std::string colorText(const TextStyle::Color& color);
std::optional<TextStyle::Color> colorFromText(std::string_view text);

} // namespace reelwright::textStyle

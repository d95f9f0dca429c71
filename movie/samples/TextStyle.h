#pragma once

#include "movie/samples/SampleDescription.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace reelwright {

/// How text is set: the fields of a text description, QuickTime's (`text`) or timed text's (`tx3g`, 3GPP TS
/// 26.245). A QuickTime description ends in a TextEdit style element of 20 bytes (start, height, ascent,
/// font, face in one byte and a filler, size, color) and the font's name; the published table of its fields
/// has a byte more there, which files do not.
struct TextStyle
{
    /// A colour of 16 bits a component.
    using Color = std::array<std::uint16_t, 3>;

    static constexpr std::uint32_t kAntiAlias = 0x2000;
    /// The background is not painted: the picture shows through.
    static constexpr std::uint32_t kKeyed = 0x4000;
    static constexpr std::uint8_t kBold = 1;
    static constexpr std::uint8_t kItalic = 2;
    static constexpr std::uint8_t kUnderlined = 4;

    std::uint32_t displayFlags = 0;
    std::int32_t justification = 0; ///< 0 left, 1 centred, -1 right
    std::int8_t verticalJustification = 0; ///< of timed text: 0 top, 1 middle, -1 bottom
    Color background {};
    std::int16_t boxTop = 0; ///< pixels of the track
    std::int16_t boxLeft = 0;
    std::int16_t boxBottom = 0;
    std::int16_t boxRight = 0;
    std::int16_t lineHeight = 0; ///< 0: the font's
    std::int16_t ascent = 0;
    std::uint16_t fontNumber = 0;
    std::uint8_t fontFace = 0;
    std::uint16_t fontSize = 0; ///< pixels of the track; 0: the player's
    Color foreground {};
    std::string fontName; ///< UTF-8, empty for the player's

    bool operator==(const TextStyle&) const = default;

    /// Nothing for a description of another format, or one that is too short.
    static std::optional<TextStyle> of(const SampleDescription& description);
    /// A description of that format ('text' or 'tx3g') with data reference 1.
    [[nodiscard]] Atom description(FourCC format) const;
    /// Can a sample under a description of that style be given this one by extension atoms of its own? There
    /// are readers that give up on a text track with several descriptions.
    [[nodiscard]] bool isWithinReachOf(const TextStyle& described, FourCC format) const;
    /// These extension atoms, for a text of so many characters; none where the styles are equal.
    [[nodiscard]] Bytes extensions(const TextStyle& described, FourCC format, std::size_t characters) const;
    /// Takes what the extension atoms of a sample say of its whole text.
    void takeExtensions(ByteSpan extensions, FourCC format);

    /// Is the background painted over the picture? Timed text is written with one that cannot be seen.
    [[nodiscard]] bool isOpaque() const { return (displayFlags & kKeyed) == 0; }
};

} // namespace reelwright

#pragma once

#include "movie/QTTrack.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// How text is set: the fields of a text description (QuickTime File Format, "Text Sample Description").
struct TextStyle
{
    /// A colour of 16 bits a component.
    using Color = std::array<std::uint16_t, 3>;

    std::uint32_t displayFlags = 0;
    std::int32_t justification = 0; ///< 0 left, 1 centred, -1 right
    Color background {};
    std::int16_t boxTop = 0; ///< pixels of the track
    std::int16_t boxLeft = 0;
    std::int16_t boxBottom = 0;
    std::int16_t boxRight = 0;
    std::uint16_t fontNumber = 0;
    std::uint16_t fontFace = 0; ///< 1 bold, 2 italic, 4 underlined
    Color foreground {};
    std::string fontName;
};

/// The text media handlers: samples of text, each a 16-bit length, the text, and extension atoms.
namespace textMedia {

    constexpr FourCC kQuickTimeText = "text"_cc;
    constexpr FourCC kTimedText = "tx3g"_cc; ///< 3GPP TS 26.245

    /// No sample holds a longer text. Units: bytes of UTF-8.
    constexpr std::size_t kMaxText = UINT16_MAX;
    /// A track with more samples, or more bytes of text, is not read.
    constexpr std::size_t kMaxSamples = 200'000;
    constexpr std::size_t kMaxBytes = 64U << 20U;

    /// Does the track hold text samples of a kind that is read here?
    bool isTextTrack(const QTTrack& track);

    /// The text of a sample as UTF-8. UTF-16 has a byte-order mark, or an `encd` atom says Unicode and it is
    /// no UTF-8; other bytes that are no UTF-8 count as Mac Roman. A damaged sample gives what is there.
    std::string decode(ByteSpan sample);
    /// A sample of a text, which is cut at a character when it is longer than a sample can hold. In QuickTime
    /// text an `encd` atom says that it is UTF-8, where it is not plain ASCII.
    Bytes encode(std::string_view text, FourCC format);
    /// A `text` description with data reference 1.
    Atom makeDescription(const TextStyle& style);

    /// A text on show.
    struct ShownText
    {
        std::string text;
        QTTime start; ///< in the movie
    };
    /// The texts of a track as the movie shows them, through the edit list, in the order of their starts. The
    /// media are read in few pieces, which the movie's sources keep.
    /// Errors: Refused for another kind of track, and one with too many texts; Corrupt, Io and Truncated when
    /// its samples cannot be read; those of QTTrack::editList.
    Result<std::vector<ShownText>> shownTexts(const QTTrack& track);

} // namespace textMedia
} // namespace reelwright

#pragma once

#include "movie/QTTrack.h"
#include "movie/samples/TextStyle.h"

#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

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
    /// text an `encd` atom says that it is UTF-8, where it is not plain ASCII. The extension atoms come
    /// behind.
    Bytes encode(std::string_view text, FourCC format, ByteSpan extensions = {});
    /// What stands behind the text of a sample: its extension atoms.
    ByteSpan extensionsOf(ByteSpan sample);

    /// A text on show.
    struct ShownText
    {
        std::string text;
        QTTime start; ///< in the movie
        QTTime end; ///< in the movie
        Bytes sample; ///< as it is stored, a slice of what was read
        std::uint32_t description = 1; ///< 1-based
    };
    /// The texts of a track as the movie shows them, through the edit list, in the order of their starts. The
    /// media are read in few pieces, which the movie's sources keep.
    /// Errors: Refused for another kind of track, and one with too many texts; Corrupt, Io and Truncated when
    /// its samples cannot be read; those of QTTrack::editList.
    Result<std::vector<ShownText>> shownTexts(const QTTrack& track);

} // namespace textMedia
} // namespace reelwright

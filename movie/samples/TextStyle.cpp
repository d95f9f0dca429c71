#include "movie/samples/TextStyle.h"

#include "movie/atoms/Atom.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/ByteWriter.h"
#include "movie/atoms/TextEncoding.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr FourCC kQuickTimeText = "text"_cc;
    constexpr FourCC kTimedText = "tx3g"_cc;
    constexpr std::size_t kTimedTextSize = 38; ///< up to the table of fonts

    std::uint8_t eightBits(std::uint16_t component)
    {
        return static_cast<std::uint8_t>(component >> 8U);
    }

    std::uint16_t sixteenBits(std::uint8_t component)
    {
        return static_cast<std::uint16_t>(component * 0x101U);
    }

    std::string shortName(const std::string& name)
    {
        return name.substr(0, fittingUtf8(name, UINT8_MAX));
    }

    std::string pascalText(ByteReader& in)
    {
        const std::size_t length = in.u8();
        const auto text = in.bytes(length);
        return in.ok() ? decodeText(text) : std::string {};
    }

    void readBox(ByteReader& in, TextStyle& style)
    {
        style.boxTop = in.i16();
        style.boxLeft = in.i16();
        style.boxBottom = in.i16();
        style.boxRight = in.i16();
    }

    TextStyle readQuickTime(ByteReader& in)
    {
        TextStyle style;
        style.displayFlags = in.u32();
        style.justification = in.i32();
        for (auto& component : style.background)
            component = in.u16();
        readBox(in, style);
        in.skip(4); // first character of the style
        style.lineHeight = in.i16();
        style.ascent = in.i16();
        style.fontNumber = in.u16();
        style.fontFace = in.u8();
        in.skip(1);
        style.fontSize = in.u16();
        for (auto& component : style.foreground)
            component = in.u16();
        return style;
    }

    TextStyle readTimedText(ByteReader& in)
    {
        TextStyle style;
        style.displayFlags = in.u32();
        style.justification = static_cast<std::int8_t>(in.u8());
        style.verticalJustification = static_cast<std::int8_t>(in.u8());
        for (auto& component : style.background)
            component = sixteenBits(in.u8());
        // The picture shows through unless the background is dense.
        constexpr std::uint8_t kDense = 0x80;
        style.displayFlags &= ~TextStyle::kKeyed;
        if (in.u8() < kDense)
            style.displayFlags |= TextStyle::kKeyed;
        readBox(in, style);
        in.skip(4); // characters that the style is for
        style.fontNumber = in.u16();
        style.fontFace = in.u8();
        style.fontSize = in.u8();
        for (auto& component : style.foreground)
            component = sixteenBits(in.u8());
        in.skip(1); // how dense it is
        return style;
    }

    /// The name of that font in an `ftab` atom.
    std::string fontNamed(std::uint16_t number, ByteSpan fonts)
    {
        ByteReader in {fonts};
        const auto size = in.u32();
        if (in.fourCC() != "ftab"_cc || size > fonts.size())
            return {};
        const std::size_t count = in.u16();
        for (std::size_t i = 0; i < count && in.ok(); ++i) {
            const auto id = in.u16();
            auto name = pascalText(in);
            if (in.ok() && id == number)
                return name;
        }
        return {};
    }

    /// The style with the fields that a sample can override taken from another.
    TextStyle overridden(TextStyle style, const TextStyle& by, FourCC format)
    {
        style.fontFace = by.fontFace;
        style.fontSize = by.fontSize;
        style.foreground = by.foreground;
        if (format == kTimedText) {
            style.boxTop = by.boxTop;
            style.boxLeft = by.boxLeft;
            style.boxBottom = by.boxBottom;
            style.boxRight = by.boxRight;
        }
        return style;
    }

    void writeBox(const TextStyle& style, ByteWriter& out)
    {
        out.i16(style.boxTop).i16(style.boxLeft).i16(style.boxBottom).i16(style.boxRight);
    }

    void writeTimedStyle(const TextStyle& style, std::uint16_t font, ByteWriter& out)
    {
        out.u16(font).u8(style.fontFace);
        out.u8(static_cast<std::uint8_t>(std::min<std::uint16_t>(style.fontSize, UINT8_MAX)));
        for (const auto component : style.foreground)
            out.u8(eightBits(component));
        out.u8(0xFF);
    }

    void writeQuickTimeStyle(const TextStyle& style, ByteWriter& out)
    {
        out.zeros(4).i16(style.lineHeight).i16(style.ascent).u16(style.fontNumber).u8(style.fontFace).u8(0);
        out.u16(style.fontSize);
        for (const auto component : style.foreground)
            out.u16(component);
    }

} // namespace

bool TextStyle::isWithinReachOf(const TextStyle& described, FourCC format) const
{
    return overridden(described, *this, format) == *this;
}

Bytes TextStyle::extensions(const TextStyle& described, FourCC format, std::size_t characters) const
{
    ByteWriter out;
    if (*this == described)
        return out.toBytes();
    const bool hasOwnBox = boxTop != described.boxTop || boxLeft != described.boxLeft
        || boxBottom != described.boxBottom || boxRight != described.boxRight;
    auto boxed = *this;
    boxed.boxTop = described.boxTop;
    boxed.boxLeft = described.boxLeft;
    boxed.boxBottom = described.boxBottom;
    boxed.boxRight = described.boxRight;
    if (format == kTimedText) {
        const auto font = std::max<std::uint16_t>(fontNumber, 1);
        if (boxed != described) {
            out.u32(22).fourCC("styl"_cc).u16(1); // one run of characters
            out.u16(0).u16(static_cast<std::uint16_t>(std::min<std::size_t>(characters, UINT16_MAX)));
            writeTimedStyle(*this, font, out);
        }
        if (hasOwnBox) {
            out.u32(16).fourCC("tbox"_cc);
            writeBox(*this, out);
        }
        return out.toBytes();
    }
    out.u32(30).fourCC("styl"_cc).u16(1);
    writeQuickTimeStyle(*this, out);
    // The table of fonts is needed beside.
    const auto name = shortName(fontName);
    out.u32(static_cast<std::uint32_t>(13 + name.size())).fourCC("ftab"_cc).u16(1).u16(fontNumber);
    out.u8(static_cast<std::uint8_t>(name.size())).text(name);
    return out.toBytes();
}

void TextStyle::takeExtensions(ByteSpan extensions, FourCC format)
{
    while (const auto header = AtomHeader::parse(extensions)) {
        if (header->size < header->headerSize || header->size > extensions.size())
            return;
        ByteReader in {extensions.subspan(static_cast<std::size_t>(header->headerSize),
            static_cast<std::size_t>(header->size - header->headerSize))};
        auto taken = *this;
        bool isWhole = false;
        if (header->type == "tbox"_cc && format == kTimedText) {
            readBox(in, taken);
            isWhole = true;
        } else if (header->type == "styl"_cc && in.u16() == 1) {
            // Of several runs none is that of the whole text.
            isWhole = (format == kTimedText ? in.u16() : in.u32()) == 0;
            if (format == kTimedText) {
                in.skip(4); // end, font
                taken.fontFace = in.u8();
                taken.fontSize = in.u8();
                for (auto& component : taken.foreground)
                    component = sixteenBits(in.u8());
            } else {
                in.skip(6); // height, ascent, font
                taken.fontFace = in.u8();
                in.skip(1);
                taken.fontSize = in.u16();
                for (auto& component : taken.foreground)
                    component = in.u16();
            }
        }
        if (isWhole && in.ok())
            *this = taken;
        extensions = extensions.subspan(static_cast<std::size_t>(header->size));
    }
}

std::optional<TextStyle> TextStyle::of(const SampleDescription& description)
{
    const auto bytes = description.entry().head.span();
    const bool isQuickTime = description.format() == kQuickTimeText;
    if (!isQuickTime && description.format() != kTimedText)
        return std::nullopt;
    ByteReader in {bytes};
    in.skip(8); // reserved bytes, data reference
    if (!isQuickTime) {
        auto style = readTimedText(in);
        if (!in.ok())
            return std::nullopt;
        style.fontName = fontNamed(style.fontNumber, bytes.subspan(kTimedTextSize));
        return style;
    }
    // Chapter tracks of some muxers have the timed form under this name: seen by their table of fonts.
    if (bytes.size() >= kTimedTextSize + 8
        && ByteReader {bytes.subspan(kTimedTextSize + 4)}.fourCC() == "ftab"_cc)
        return readTimedText(in);
    auto style = readQuickTime(in);
    if (!in.ok())
        return std::nullopt;
    if (in.left() > 0)
        style.fontName = pascalText(in);
    return style;
}

Atom TextStyle::description(FourCC format) const
{
    ByteWriter out;
    out.zeros(6).u16(1); // reserved bytes, data reference 1
    if (format == kTimedText) {
        out.u32(displayFlags & ~(kKeyed | kAntiAlias)); // flags of the other kind
        out.u8(static_cast<std::uint8_t>(justification)).u8(static_cast<std::uint8_t>(verticalJustification));
        for (const auto component : background)
            out.u8(eightBits(component));
        out.u8(isOpaque() ? 0xFF : 0);
        writeBox(*this, out);
        const auto font = std::max<std::uint16_t>(fontNumber, 1);
        out.zeros(4); // characters: all
        writeTimedStyle(*this, font, out);
        const auto name = shortName(fontName.empty() ? "Sans-Serif" : fontName);
        constexpr std::size_t kWithoutName = 13;
        out.u32(static_cast<std::uint32_t>(kWithoutName + name.size())).fourCC("ftab"_cc).u16(1).u16(font);
        out.u8(static_cast<std::uint8_t>(name.size())).text(name);
        return Atom {kTimedText, out.toBytes()};
    }
    out.u32(displayFlags).i32(justification);
    for (const auto component : background)
        out.u16(component);
    writeBox(*this, out);
    writeQuickTimeStyle(*this, out);
    const auto name = shortName(fontName);
    out.u8(static_cast<std::uint8_t>(name.size())).text(name);
    return Atom {kQuickTimeText, out.toBytes()};
}

} // namespace reelwright

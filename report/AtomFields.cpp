#include "report/AtomFields.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/Atom.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/TextEncoding.h"
#include "report/LanguageName.h"
#include "report/Printable.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <span>

namespace reelwright {
namespace {

    constexpr std::size_t kMostEntries = 200;
    constexpr std::size_t kMostText = 4096;
    constexpr std::size_t kMostBytesShown = 32;

    enum class Kind {
        Unsigned, ///< of `size` bytes
        Signed,
        Hex,
        Wide, ///< 32 bits, in version 1 of the atom 64
        WideSigned,
        Time, ///< seconds since 1904, 32 or 64 bits as `Wide`
        Fixed, ///< 8.8 or 16.16
        Code,
        Language,
        Matrix,
        PascalText, ///< a length, the text, filled up to `size` bytes
        Bytes,
        Rest, ///< all that follows, as text where it is text
    };

    struct Field
    {
        const char* name;
        Kind kind;
        std::size_t size = 4;
    };

    /// What the bytes of a kind of atom mean.
    struct Layout
    {
        FourCC type;
        FourCC parent; ///< zero: anywhere
        FourCC mediaType; ///< zero: any
        std::span<const Field> fields;
        std::span<const Field> entry
            = {}; ///< of the list behind the fields, in which a 32-bit count stands first
        bool isCounted = true; ///< otherwise the list goes to the end
    };

    constexpr Field kVersion {"version", Kind::Unsigned, 1};
    constexpr Field kFlags {"flags", Kind::Hex, 3};

    constexpr Field kFull[] = {kVersion, kFlags};
    constexpr Field kBrands[] = {{"major brand", Kind::Code}, {"minor version", Kind::Hex}};
    constexpr Field kBrand[] = {{"brand", Kind::Code}};
    constexpr Field kMovieHeader[] = {kVersion, kFlags, {"creation time", Kind::Time},
        {"modification time", Kind::Time}, {"time scale", Kind::Unsigned}, {"duration", Kind::Wide},
        {"preferred rate", Kind::Fixed}, {"preferred volume", Kind::Fixed, 2}, {"reserved", Kind::Bytes, 10},
        {"matrix", Kind::Matrix}, {"preview time", Kind::Unsigned}, {"preview duration", Kind::Unsigned},
        {"poster time", Kind::Unsigned}, {"selection time", Kind::Unsigned},
        {"selection duration", Kind::Unsigned}, {"current time", Kind::Unsigned},
        {"next track ID", Kind::Unsigned}};
    constexpr Field kTrackHeader[] = {kVersion, kFlags, {"creation time", Kind::Time},
        {"modification time", Kind::Time}, {"track ID", Kind::Unsigned}, {"reserved", Kind::Bytes, 4},
        {"duration", Kind::Wide}, {"reserved", Kind::Bytes, 8}, {"layer", Kind::Signed, 2},
        {"alternate group", Kind::Signed, 2}, {"volume", Kind::Fixed, 2}, {"reserved", Kind::Bytes, 2},
        {"matrix", Kind::Matrix}, {"width", Kind::Fixed}, {"height", Kind::Fixed}};
    constexpr Field kMediaHeader[] = {kVersion, kFlags, {"creation time", Kind::Time},
        {"modification time", Kind::Time}, {"time scale", Kind::Unsigned}, {"duration", Kind::Wide},
        {"language", Kind::Language, 2}, {"quality", Kind::Unsigned, 2}};
    constexpr Field kHandler[] = {kVersion, kFlags, {"component type", Kind::Code},
        {"component subtype", Kind::Code}, {"manufacturer", Kind::Code}, {"component flags", Kind::Hex},
        {"flags mask", Kind::Hex}, {"name", Kind::Rest}};
    constexpr Field kVideoHeader[] = {kVersion, kFlags, {"graphics mode", Kind::Hex, 2},
        {"red", Kind::Unsigned, 2}, {"green", Kind::Unsigned, 2}, {"blue", Kind::Unsigned, 2}};
    constexpr Field kSoundHeader[]
        = {kVersion, kFlags, {"balance", Kind::Fixed, 2}, {"reserved", Kind::Bytes, 2}};
    constexpr Field kBaseHeader[] = {kVersion, kFlags, {"graphics mode", Kind::Hex, 2},
        {"red", Kind::Unsigned, 2}, {"green", Kind::Unsigned, 2}, {"blue", Kind::Unsigned, 2},
        {"balance", Kind::Fixed, 2}, {"reserved", Kind::Bytes, 2}};
    constexpr Field kTextHeader[] = {{"matrix", Kind::Matrix}};
    constexpr Field kTimecodeInfo[] = {kVersion, kFlags, {"font", Kind::Unsigned, 2}, {"face", Kind::Hex, 2},
        {"size", Kind::Unsigned, 2}, {"reserved", Kind::Bytes, 2}, {"text color", Kind::Hex, 6},
        {"background color", Kind::Hex, 6}, {"font name", Kind::PascalText, 0}};
    constexpr Field kLoad[] = {{"preload start", Kind::Unsigned}, {"preload duration", Kind::Unsigned},
        {"preload flags", Kind::Hex}, {"hints", Kind::Hex}};
    constexpr Field kAperture[] = {kVersion, kFlags, {"width", Kind::Fixed}, {"height", Kind::Fixed}};
    constexpr Field kEditEntry[]
        = {{"duration", Kind::Wide}, {"media time", Kind::WideSigned}, {"rate", Kind::Fixed}};
    constexpr Field kCountAndDelta[] = {{"samples", Kind::Unsigned}, {"duration", Kind::Unsigned}};
    constexpr Field kCountAndShift[] = {{"samples", Kind::Unsigned}, {"offset", Kind::Signed}};
    constexpr Field kShiftLeast[] = {kVersion, kFlags, {"composition to decode", Kind::WideSigned},
        {"least offset", Kind::WideSigned}, {"greatest offset", Kind::WideSigned},
        {"composition start", Kind::WideSigned}, {"composition end", Kind::WideSigned}};
    constexpr Field kSampleNumber[] = {{"sample", Kind::Unsigned}};
    constexpr Field kChunkRun[] = {{"first chunk", Kind::Unsigned}, {"samples a chunk", Kind::Unsigned},
        {"description", Kind::Unsigned}};
    constexpr Field kSizes[] = {kVersion, kFlags, {"size of all samples", Kind::Unsigned}};
    constexpr Field kSize[] = {{"size", Kind::Unsigned}};
    constexpr Field kOffset32[] = {{"offset", Kind::Unsigned}};
    constexpr Field kOffset64[] = {{"offset", Kind::Unsigned, 8}};
    constexpr Field kTrackNumber[] = {{"track", Kind::Unsigned}};
    constexpr Field kReference[] = {kVersion, kFlags, {"reference", Kind::Rest}};
    constexpr Field kListHeader[] = {kVersion, kFlags, {"entries", Kind::Unsigned}};
    constexpr Field kData[] = {{"type", Kind::Unsigned}, {"locale", Kind::Hex}, {"value", Kind::Rest}};
    constexpr Field kText[] = {{"text", Kind::Rest}};
    constexpr Field kFullText[] = {kVersion, kFlags, {"text", Kind::Rest}};
    constexpr Field kUserText[]
        = {{"length", Kind::Unsigned, 2}, {"language", Kind::Language, 2}, {"text", Kind::Rest}};
    constexpr Field kWindowPlace[] = {{"horizontal", Kind::Signed, 2}, {"vertical", Kind::Signed, 2}};
    constexpr Field kPlayAll[] = {{"setting", Kind::Unsigned, 1}};
    constexpr Field kLoop[] = {{"looping", Kind::Unsigned}};
    constexpr Field kVideoDescription[] = {{"reserved", Kind::Bytes, 6},
        {"data reference", Kind::Unsigned, 2}, {"version", Kind::Unsigned, 2},
        {"revision", Kind::Unsigned, 2}, {"vendor", Kind::Code}, {"temporal quality", Kind::Unsigned},
        {"spatial quality", Kind::Unsigned}, {"width", Kind::Unsigned, 2}, {"height", Kind::Unsigned, 2},
        {"horizontal resolution", Kind::Fixed}, {"vertical resolution", Kind::Fixed},
        {"data size", Kind::Unsigned}, {"frames a sample", Kind::Unsigned, 2},
        {"compressor", Kind::PascalText, 32}, {"depth", Kind::Unsigned, 2}, {"color table", Kind::Signed, 2}};
    constexpr Field kSoundDescription[] = {{"reserved", Kind::Bytes, 6},
        {"data reference", Kind::Unsigned, 2}, {"version", Kind::Unsigned, 2},
        {"revision", Kind::Unsigned, 2}, {"vendor", Kind::Code}, {"channels", Kind::Unsigned, 2},
        {"bits a sample", Kind::Unsigned, 2}, {"compression", Kind::Signed, 2},
        {"packet size", Kind::Unsigned, 2}, {"sample rate", Kind::Fixed}};
    constexpr Field kTimecodeDescription[]
        = {{"reserved", Kind::Bytes, 6}, {"data reference", Kind::Unsigned, 2}, {"reserved", Kind::Bytes, 4},
            {"flags", Kind::Hex}, {"time scale", Kind::Unsigned}, {"frame duration", Kind::Unsigned},
            {"frames a second", Kind::Unsigned, 1}, {"reserved", Kind::Bytes, 1}};
    constexpr Field kTextDescription[] = {{"reserved", Kind::Bytes, 6}, {"data reference", Kind::Unsigned, 2},
        {"display flags", Kind::Hex}, {"justification", Kind::Signed}, {"background color", Kind::Hex, 6},
        {"box top", Kind::Signed, 2}, {"box left", Kind::Signed, 2}, {"box bottom", Kind::Signed, 2},
        {"box right", Kind::Signed, 2}, {"reserved", Kind::Bytes, 8}, {"font", Kind::Unsigned, 2},
        {"face", Kind::Hex, 2}, {"reserved", Kind::Bytes, 3}, {"text color", Kind::Hex, 6}};
    constexpr Field kAnyDescription[] = {{"reserved", Kind::Bytes, 6}, {"data reference", Kind::Unsigned, 2}};
    constexpr Field kColor[]
        = {{"kind", Kind::Code}, {"primaries", Kind::Unsigned, 2}, {"transfer function", Kind::Unsigned, 2},
            {"matrix", Kind::Unsigned, 2}, {"full range", Kind::Hex, 1}};
    constexpr Field kPixelAspect[]
        = {{"horizontal spacing", Kind::Unsigned}, {"vertical spacing", Kind::Unsigned}};
    constexpr Field kCleanAperture[]
        = {{"width numerator", Kind::Unsigned}, {"width denominator", Kind::Unsigned},
            {"height numerator", Kind::Unsigned}, {"height denominator", Kind::Unsigned},
            {"horizontal offset numerator", Kind::Signed}, {"horizontal offset denominator", Kind::Unsigned},
            {"vertical offset numerator", Kind::Signed}, {"vertical offset denominator", Kind::Unsigned}};
    constexpr Field kFields[] = {{"fields", Kind::Unsigned, 1}, {"detail", Kind::Unsigned, 1}};
    constexpr Field kGamma[] = {{"gamma", Kind::Fixed}};
    constexpr Field kBitRates[] = {{"buffer size", Kind::Unsigned}, {"greatest bit rate", Kind::Unsigned},
        {"average bit rate", Kind::Unsigned}};
    constexpr Field kTrackExtends[] = {kVersion, kFlags, {"track ID", Kind::Unsigned},
        {"description", Kind::Unsigned}, {"sample duration", Kind::Unsigned}, {"sample size", Kind::Unsigned},
        {"sample flags", Kind::Hex}};
    constexpr Field kFragmentHeader[] = {kVersion, kFlags, {"sequence number", Kind::Unsigned}};
    constexpr Field kFragmentDuration[] = {kVersion, kFlags, {"duration", Kind::Wide}};
    constexpr Field kFragmentTime[] = {kVersion, kFlags, {"base media decode time", Kind::Wide}};

    constexpr FourCC kAny {};
    constexpr Layout kLayouts[] = {
        {"ftyp"_cc, kAny, kAny, kBrands, kBrand, false},
        {"mvhd"_cc, kAny, kAny, kMovieHeader},
        {"tkhd"_cc, kAny, kAny, kTrackHeader},
        {"mdhd"_cc, kAny, kAny, kMediaHeader},
        {"hdlr"_cc, kAny, kAny, kHandler},
        {"vmhd"_cc, kAny, kAny, kVideoHeader},
        {"smhd"_cc, kAny, kAny, kSoundHeader},
        {"gmin"_cc, kAny, kAny, kBaseHeader},
        {"text"_cc, "gmhd"_cc, kAny, kTextHeader},
        {"tcmi"_cc, kAny, kAny, kTimecodeInfo},
        {"load"_cc, "trak"_cc, kAny, kLoad},
        {"clef"_cc, "tapt"_cc, kAny, kAperture},
        {"prof"_cc, "tapt"_cc, kAny, kAperture},
        {"enof"_cc, "tapt"_cc, kAny, kAperture},
        {"elst"_cc, kAny, kAny, kFull, kEditEntry},
        {"dref"_cc, "dinf"_cc, kAny, kListHeader},
        {"stsd"_cc, kAny, kAny, kListHeader},
        {"stts"_cc, kAny, kAny, kFull, kCountAndDelta},
        {"ctts"_cc, kAny, kAny, kFull, kCountAndShift},
        {"cslg"_cc, kAny, kAny, kShiftLeast},
        {"stss"_cc, kAny, kAny, kFull, kSampleNumber},
        {"stps"_cc, kAny, kAny, kFull, kSampleNumber},
        {"stsc"_cc, kAny, kAny, kFull, kChunkRun},
        {"stsz"_cc, kAny, kAny, kSizes, kSize},
        {"stco"_cc, kAny, kAny, kFull, kOffset32},
        {"co64"_cc, kAny, kAny, kFull, kOffset64},
        {"url "_cc, "dref"_cc, kAny, kReference},
        {"alis"_cc, "dref"_cc, kAny, kReference},
        {"rsrc"_cc, "dref"_cc, kAny, kReference},
        {"keys"_cc, "meta"_cc, kAny, kListHeader},
        {"mdta"_cc, "keys"_cc, kAny, kText},
        {"data"_cc, kAny, kAny, kData},
        {"mean"_cc, kAny, kAny, kFullText},
        {"name"_cc, "udta"_cc, kAny, kText},
        {"SelO"_cc, "udta"_cc, kAny, kPlayAll},
        {"AllF"_cc, "udta"_cc, kAny, kPlayAll},
        {"WLOC"_cc, "udta"_cc, kAny, kWindowPlace},
        {"LOOP"_cc, "udta"_cc, kAny, kLoop},
        {"mehd"_cc, kAny, kAny, kFragmentDuration},
        {"trex"_cc, kAny, kAny, kTrackExtends},
        {"mfhd"_cc, kAny, kAny, kFragmentHeader},
        {"tfdt"_cc, kAny, kAny, kFragmentTime},
        // Extensions of sample descriptions, which are read as if they lay below them.
        {"colr"_cc, kAny, kAny, kColor},
        {"pasp"_cc, kAny, kAny, kPixelAspect},
        {"clap"_cc, kAny, kAny, kCleanAperture},
        {"fiel"_cc, kAny, kAny, kFields},
        {"gama"_cc, kAny, kAny, kGamma},
        {"btrt"_cc, kAny, kAny, kBitRates},
        {"name"_cc, "tmcd"_cc, kAny, kUserText},
        {kAny, "tref"_cc, kAny, {}, kTrackNumber, false},
        {kAny, "stsd"_cc, "vide"_cc, kVideoDescription},
        {kAny, "stsd"_cc, "soun"_cc, kSoundDescription},
        {kAny, "stsd"_cc, "tmcd"_cc, kTimecodeDescription},
        {kAny, "stsd"_cc, "text"_cc, kTextDescription},
        {kAny, "stsd"_cc, kAny, kAnyDescription},
    };

    bool isUserText(const AtomContext& context)
    {
        return context.parent == "udta"_cc && context.type.value >> 24U == 0xA9;
    }

    const Layout* layoutFor(const AtomContext& context)
    {
        static constexpr Layout kInternationalText {kAny, "udta"_cc, kAny, kUserText};
        if (isUserText(context))
            return &kInternationalText;
        const auto fits = [](FourCC wanted, FourCC there) { return wanted == kAny || wanted == there; };
        const auto* found = std::find_if(std::begin(kLayouts), std::end(kLayouts), [&](const Layout& layout) {
            return fits(layout.type, context.type) && fits(layout.parent, context.parent)
                && fits(layout.mediaType, context.mediaType);
        });
        return found == std::end(kLayouts) ? nullptr : found;
    }

    std::string hexOf(ByteSpan bytes)
    {
        std::string text;
        for (const auto byte : bytes.first(std::min(bytes.size(), kMostBytesShown)))
            text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
        return bytes.size() > kMostBytesShown ? text + fmt::format("… ({} bytes)", bytes.size()) : text;
    }

    bool isText(ByteSpan bytes)
    {
        return std::none_of(bytes.begin(), bytes.end(), [](std::byte byte) {
            const auto c = std::to_integer<unsigned>(byte);
            return c < 0x20 && c != '\t' && c != '\n' && c != '\r';
        });
    }

    std::string textOf(ByteSpan bytes)
    {
        const auto shown = bytes.first(std::min(bytes.size(), kMostText));
        return isText(shown) ? printable(decodeText(shown)) : hexOf(bytes);
    }

    std::string timeOf(std::uint64_t seconds)
    {
        constexpr std::uint64_t kLast = 253'402'300'799ULL + kSecondsFrom1904To1970; // the year 9999
        if (seconds == 0 || seconds > kLast)
            return seconds == 0 ? "0 (not set)" : std::to_string(seconds);
        const auto unixTime = static_cast<std::time_t>(seconds) - kSecondsFrom1904To1970;
        return fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(unixTime));
    }

    std::string matrixOf(ByteSpan bytes)
    {
        ByteReader in {bytes};
        std::vector<std::string> numbers;
        for (int i = 0; i < 9; ++i)
            numbers.push_back(fmt::format("{:g}", in.i32() / (i % 3 == 2 ? 1073741824.0 : 65536.0)));
        return fmt::format("{}", fmt::join(numbers, ", "));
    }

    std::int64_t signedOf(std::uint64_t value, std::size_t size)
    {
        const auto shift = 64 - 8 * size;
        return static_cast<std::int64_t>(value << shift) >> shift;
    }

    std::string valueOf(Kind kind, ByteSpan bytes)
    {
        const auto number = [&] { return readBigEndian(bytes.data(), bytes.size()); };
        switch (kind) {
        case Kind::Unsigned:
        case Kind::Wide:
            return std::to_string(number());
        case Kind::Signed:
        case Kind::WideSigned:
            return std::to_string(signedOf(number(), bytes.size()));
        case Kind::Hex:
            return fmt::format("0x{:0{}x}", number(), 2 * bytes.size());
        case Kind::Time:
            return timeOf(number());
        case Kind::Fixed:
            return fmt::format("{:g}",
                static_cast<double>(signedOf(number(), bytes.size()))
                    / (bytes.size() == 2 ? 256.0 : 65536.0));
        case Kind::Code:
            return printable(FourCC {static_cast<std::uint32_t>(number())}.text());
        case Kind::Language: {
            const auto name = languageName(static_cast<std::uint16_t>(number()));
            return name.empty() ? std::to_string(number()) : fmt::format("{} ({})", name, number());
        }
        case Kind::Matrix:
            return matrixOf(bytes);
        case Kind::PascalText: {
            const auto length
                = std::min<std::size_t>(std::to_integer<unsigned>(bytes.front()), bytes.size() - 1);
            return textOf(bytes.subspan(1, length));
        }
        case Kind::Bytes:
            return hexOf(bytes);
        case Kind::Rest:
            break;
        }
        return textOf(bytes);
    }

    /// Reads the fields of one atom.
    class FieldReader
    {
    public:
        FieldReader(ByteSpan payload, std::size_t headerSize)
            : m_payload(payload)
            , m_headerSize(headerSize)
            , m_isWide(!payload.empty() && payload.front() == std::byte {1})
        {
        }

        void read(const Layout& layout)
        {
            for (const auto& field : layout.fields)
                if (!add(field))
                    return;
            if (!layout.entry.empty())
                readEntries(layout);
        }

        /// Atoms from here on, each a field with what its own fields say.
        void readExtensions(FourCC parent)
        {
            while (left() >= 8) {
                const auto header = AtomHeader::parse(m_payload.subspan(m_position));
                if (!header || header->size > left() || header->size < header->headerSize)
                    break;
                const auto inner = atomFields({header->type, parent, {}},
                    m_payload.subspan(m_position + header->headerSize, header->size - header->headerSize), 0);
                std::vector<std::string> values;
                for (const auto& field : inner)
                    values.push_back(fmt::format("{} {}", field.name, field.value));
                const auto bytes
                    = m_payload.subspan(m_position + header->headerSize, header->size - header->headerSize);
                m_fields.push_back({fmt::format("extension {}", printable(header->type.text())),
                    m_headerSize + m_position, header->size,
                    values.empty() ? hexOf(bytes) : fmt::format("{}", fmt::join(values, ", "))});
                m_position += header->size;
            }
        }

        std::vector<AtomField> take() { return std::move(m_fields); }
        [[nodiscard]] std::size_t left() const { return m_payload.size() - m_position; }

    private:
        [[nodiscard]] std::size_t sizeOf(const Field& field) const
        {
            switch (field.kind) {
            case Kind::Wide:
            case Kind::WideSigned:
            case Kind::Time:
                return m_isWide ? 8 : 4;
            case Kind::Matrix:
                return 36;
            case Kind::PascalText:
                return field.size != 0 || left() == 0
                    ? field.size
                    : 1 + std::to_integer<std::size_t>(m_payload[m_position]);
            case Kind::Rest:
                return left();
            default:
                return field.size;
            }
        }

        bool add(const Field& field)
        {
            const auto size = sizeOf(field);
            if (size == 0 || size > left())
                return false;
            m_fields.push_back({field.name, m_headerSize + m_position, size,
                valueOf(field.kind, m_payload.subspan(m_position, size))});
            m_position += size;
            return true;
        }

        void readEntries(const Layout& layout)
        {
            std::uint64_t count = UINT64_MAX;
            if (layout.isCounted) {
                if (!add({"entries", Kind::Unsigned}))
                    return;
                count = readBigEndian32(m_payload.data() + m_position - 4);
            }
            std::size_t entrySize = 0;
            for (const auto& field : layout.entry)
                entrySize += sizeOf(field);
            for (std::uint64_t i = 0; i < count && i < kMostEntries && left() >= entrySize; ++i) {
                const auto start = m_position;
                std::vector<std::string> values;
                for (const auto& field : layout.entry) {
                    const auto value = valueOf(field.kind, m_payload.subspan(m_position, sizeOf(field)));
                    values.push_back(
                        layout.entry.size() == 1 ? value : fmt::format("{} {}", field.name, value));
                    m_position += sizeOf(field);
                }
                m_fields.push_back(
                    {fmt::format(
                         "{} {}", layout.entry.size() == 1 ? layout.entry.front().name : "entry", i + 1),
                        m_headerSize + start, entrySize, fmt::format("{}", fmt::join(values, ", "))});
            }
            if (left() >= entrySize && (count > kMostEntries || !layout.isCounted)
                && m_fields.size() > kMostEntries)
                m_fields.push_back({"…", m_headerSize + m_position, left(),
                    fmt::format(
                        "{} more", std::min<std::uint64_t>(count - kMostEntries, left() / entrySize))});
        }

        ByteSpan m_payload;
        std::size_t m_headerSize;
        bool m_isWide;
        std::size_t m_position = 0;
        std::vector<AtomField> m_fields;
    };

    /// Bytes between the fields of a sound description and its extensions, by its version.
    std::size_t soundFieldsOf(ByteSpan payload)
    {
        if (payload.size() < 10)
            return 0;
        switch (readBigEndian(payload.data() + 8, 2)) {
        case 1:
            return 16;
        case 2:
            return 36;
        default:
            return 0;
        }
    }

} // namespace

std::vector<AtomField> atomFields(const AtomContext& context, ByteSpan payload, std::size_t headerSize)
{
    const auto* layout = layoutFor(context);
    if (!layout)
        return {};
    FieldReader reader {payload, headerSize};
    reader.read(*layout);
    auto fields = reader.take();
    if (context.parent != "stsd"_cc || fields.size() != layout->fields.size())
        return fields;
    auto used = fields.back().offset + fields.back().size - headerSize;
    if (context.mediaType == "soun"_cc) {
        const auto more = std::min(soundFieldsOf(payload), payload.size() - used);
        if (more != 0)
            fields.push_back(
                {"fields of this version", headerSize + used, more, hexOf(payload.subspan(used, more))});
        used += more;
    }
    if (context.mediaType == "text"_cc) // the font's name
        return fields;
    FieldReader extensions {payload.subspan(used), headerSize + used};
    extensions.readExtensions(context.type);
    auto rest = extensions.take();
    fields.insert(fields.end(), std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()));
    return fields;
}

} // namespace reelwright

#include "movie/samples/DecoderChannels.h"

#include "movie/atoms/ByteReader.h"

#include <algorithm>
#include <string_view>

namespace reelwright {
namespace {

    using Channels = std::optional<std::uint32_t>;

    /// Bits from the highest to the lowest; zeros behind the end, which `ok` then tells.
    class BitReader
    {
    public:
        explicit BitReader(ByteSpan bytes)
            : m_bytes(bytes)
        {
        }

        std::uint32_t bits(unsigned count)
        {
            std::uint32_t value = 0;
            for (; count > 0; --count, ++m_position) {
                const auto byte = m_position / 8;
                const auto bit = byte < m_bytes.size()
                    ? std::to_integer<std::uint32_t>(m_bytes[byte]) >> (7 - m_position % 8) & 1U
                    : 0U;
                value = value << 1U | bit;
            }
            return value;
        }
        [[nodiscard]] bool ok() const { return m_position <= m_bytes.size() * 8; }
        [[nodiscard]] std::size_t left() const
        {
            return m_position < m_bytes.size() * 8 ? m_bytes.size() * 8 - m_position : 0;
        }

    private:
        ByteSpan m_bytes;
        std::size_t m_position = 0;
    };

    Channels known(std::uint32_t channels, bool isKnown)
    {
        return isKnown && channels > 0 ? Channels(channels) : std::nullopt;
    }

    // AAC (ISO/IEC 14496-3, 1.6)

    constexpr std::uint32_t kEscape = 31;
    constexpr std::uint32_t kSpectralBandReplication = 5;
    constexpr std::uint32_t kParametricStereo = 29;

    std::uint32_t objectType(BitReader& in)
    {
        const auto type = in.bits(5);
        return type == kEscape ? 32 + in.bits(6) : type;
    }

    void skipRate(BitReader& in)
    {
        constexpr std::uint32_t kOwnRate = 15;
        if (in.bits(4) == kOwnRate)
            in.bits(24);
    }

    /// The list of channels that stands in the place of a number for unusual ones.
    std::uint32_t programChannels(BitReader& in)
    {
        in.bits(4 + 2 + 4); // tag, profile, rate
        const auto front = in.bits(4);
        const auto side = in.bits(4);
        const auto back = in.bits(4);
        const auto lowFrequency = in.bits(2);
        in.bits(3 + 4); // associated data, coupling
        for (const unsigned size : {4U, 4U, 3U}) // mixdowns
            if (in.bits(1) != 0)
                in.bits(size);
        std::uint32_t channels = lowFrequency;
        for (auto element = front + side + back; element > 0; --element) {
            channels += 1 + in.bits(1); // a pair counts twice
            in.bits(4);
        }
        return channels;
    }

    Channels aacChannels(ByteSpan configuration)
    {
        BitReader in {configuration};
        auto type = objectType(in);
        skipRate(in);
        const auto number = in.bits(4);
        const bool isExplicit = type == kSpectralBandReplication || type == kParametricStereo;
        bool isParametricStereo = type == kParametricStereo;
        if (isExplicit) {
            skipRate(in);
            type = objectType(in);
        }
        constexpr std::uint32_t kCounts[] = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8, 0};
        auto channels = kCounts[number];
        constexpr std::uint32_t kGeneralAudio[] = {1, 2, 3, 4, 6, 7, 17, 19, 20, 21, 22, 23};
        if (std::find(std::begin(kGeneralAudio), std::end(kGeneralAudio), type) == std::end(kGeneralAudio))
            return known(channels, in.ok());
        in.bits(1); // length of frames
        if (in.bits(1) != 0)
            in.bits(14); // delay of the core coder
        const bool isExtended = in.bits(1) != 0;
        if (number == 0)
            channels = programChannels(in);
        // Older readers shall not see this; it stands behind everything else.
        constexpr std::uint32_t kSyncBand = 0x2B7;
        constexpr std::uint32_t kSyncStereo = 0x548;
        if (!isExplicit && !isExtended && number != 0 && in.left() >= 16 && in.bits(11) == kSyncBand
            && objectType(in) == kSpectralBandReplication && in.bits(1) != 0) {
            skipRate(in);
            isParametricStereo = in.left() >= 12 && in.bits(11) == kSyncStereo && in.bits(1) != 0;
        }
        return known(isParametricStereo && channels == 1 ? 2 : channels, in.ok());
    }

    /// The number within the first header of Vorbis.
    Channels vorbisChannels(ByteSpan configuration)
    {
        constexpr std::string_view kMark = "\1vorbis";
        constexpr std::size_t kChannelsAt = 11;
        const auto* begin = reinterpret_cast<const char*>(configuration.data());
        const std::string_view text {begin, configuration.size()};
        const auto at = text.find(kMark);
        return at != std::string_view::npos && at + kChannelsAt < text.size()
            ? known(static_cast<unsigned char>(text[at + kChannelsAt]), true)
            : std::nullopt;
    }

    /// An elementary stream descriptor (ISO/IEC 14496-1, 7.2.6): the decoder's configuration lies two levels
    /// down.
    Channels esdsChannels(ByteSpan payload)
    {
        ByteReader in {payload};
        in.skip(4);
        const auto open = [&](std::uint8_t wanted) {
            if (in.u8() != wanted)
                return std::uint32_t {0};
            std::uint32_t size = 0;
            for (int i = 0; i < 4; ++i) {
                const auto byte = in.u8();
                size = size << 7U | (byte & 0x7FU);
                if ((byte & 0x80U) == 0)
                    break;
            }
            return size;
        };
        if (open(3) == 0)
            return std::nullopt;
        in.skip(2);
        const auto flags = in.u8();
        if ((flags & 0x80U) != 0)
            in.skip(2);
        if ((flags & 0x40U) != 0)
            in.skip(in.u8());
        if ((flags & 0x20U) != 0)
            in.skip(2);
        if (open(4) == 0)
            return std::nullopt;
        const auto coding = in.u8();
        in.skip(12);
        const auto size = open(5);
        if (!in.ok() || size == 0 || size > in.rest().size())
            return std::nullopt;
        const auto configuration = in.bytes(size);
        switch (coding) {
        case 0x40: // MPEG-4 audio
        case 0x66: // MPEG-2 AAC, three profiles
        case 0x67:
        case 0x68:
            return aacChannels(configuration);
        case 0xDD:
            return vorbisChannels(configuration);
        default:
            return std::nullopt;
        }
    }

    // Dolby and DTS (ETSI TS 102 366, annex F; TS 102 114, annex E)

    std::uint32_t dolbyChannels(std::uint32_t mode, std::uint32_t lowFrequency)
    {
        constexpr std::uint32_t kCounts[] = {2, 1, 2, 3, 3, 4, 4, 5};
        return kCounts[mode] + lowFrequency;
    }

    Channels ac3Channels(ByteSpan payload)
    {
        BitReader in {payload};
        in.bits(2 + 5 + 3);
        const auto mode = in.bits(3);
        return known(dolbyChannels(mode, in.bits(1)), in.ok());
    }

    Channels eac3Channels(ByteSpan payload)
    {
        BitReader in {payload};
        in.bits(13 + 3);
        in.bits(2 + 5 + 1 + 1 + 3); // of the first independent stream
        const auto mode = in.bits(3);
        auto channels = dolbyChannels(mode, in.bits(1));
        in.bits(3);
        if (in.bits(4) != 0) {
            constexpr std::uint32_t kAtPlaces[] = {2, 2, 1, 1, 2, 2, 2, 1, 1};
            const auto places = in.bits(9);
            for (unsigned i = 0; i < 9; ++i)
                if ((places >> i & 1U) != 0)
                    channels += kAtPlaces[i];
        }
        return known(channels, in.ok());
    }

    Channels dtsChannels(ByteSpan payload)
    {
        BitReader in {payload};
        for (int i = 0; i < 3; ++i)
            in.bits(32);
        in.bits(8);
        in.bits(2 + 5 + 1 + 6 + 14 + 1 + 3);
        const auto places = in.bits(16);
        constexpr std::uint32_t kAtPlaces[] = {1, 2, 2, 1, 1, 2, 2, 1, 1, 2, 2, 2, 1, 2, 1, 2};
        std::uint32_t channels = 0;
        for (unsigned i = 0; i < 16; ++i)
            if ((places >> i & 1U) != 0)
                channels += kAtPlaces[i];
        return known(channels, in.ok());
    }

    /// One byte of a fixed place.
    Channels byteAt(ByteSpan payload, std::size_t place)
    {
        return place < payload.size() ? known(std::to_integer<std::uint32_t>(payload[place]), true) : std::nullopt;
    }

    Channels flacChannels(ByteSpan payload)
    {
        BitReader in {payload};
        in.bits(32);
        if ((in.bits(8) & 0x7FU) != 0)
            return std::nullopt; // the stream's own block comes first
        in.bits(24);
        in.bits(16 + 16);
        in.bits(24);
        in.bits(24);
        in.bits(20);
        return known(in.bits(3) + 1, in.ok());
    }

} // namespace

std::optional<std::uint32_t> decoderChannels(FourCC type, ByteSpan payload)
{
    constexpr std::size_t kAlacPlace = 4 + 9;
    constexpr std::size_t kOpusPlace = 1;
    if (type == "esds"_cc)
        return esdsChannels(payload);
    if (type == "dac3"_cc)
        return ac3Channels(payload);
    if (type == "dec3"_cc)
        return eac3Channels(payload);
    if (type == "ddts"_cc)
        return dtsChannels(payload);
    if (type == "alac"_cc)
        return byteAt(payload, kAlacPlace);
    if (type == "dOps"_cc)
        return byteAt(payload, kOpusPlace);
    if (type == "dfLa"_cc)
        return flacChannels(payload);
    return std::nullopt;
}

} // namespace reelwright

#include "movie/samples/SampleDescription.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"
#include "movie/samples/DecoderChannels.h"

#include <bit>

namespace reelwright {
namespace {

    constexpr std::size_t kCommonSize = 8; // reserved bytes and the data reference index
    constexpr std::size_t kVideoSize = kCommonSize + 70;
    constexpr std::size_t kSoundSize = kCommonSize + 20;
    constexpr std::size_t kSoundVersion1Extra = 16;
    constexpr std::size_t kSoundVersion2Extra = 36;
    constexpr std::size_t kTimecodeSize = kCommonSize + 18;

    bool atomStartsAt(ByteSpan payload, std::size_t offset)
    {
        if (offset > payload.size())
            return false;
        const auto header = AtomHeader::parse(payload.subspan(offset));
        return header && header->sizeForm == SizeForm::Compact && header->size <= payload.size() - offset;
    }

    /// Packets of the constant-rate formats that have no version 1 fields.
    SoundPacking classicPacking(FourCC format, std::uint32_t channels, std::uint32_t bits)
    {
        switch (format.value) {
        case "raw "_cc.value:
        case "twos"_cc.value:
        case "sowt"_cc.value:
        case FourCC {}.value:
        case "NONE"_cc.value:
            return {1, channels * ((bits + 7) / 8)};
        case "in24"_cc.value:
            return {1, channels * 3};
        case "in32"_cc.value:
        case "fl32"_cc.value:
            return {1, channels * 4};
        case "fl64"_cc.value:
            return {1, channels * 8};
        case "ulaw"_cc.value:
        case "alaw"_cc.value:
            return {1, channels};
        case "ima4"_cc.value:
            return {64, channels * 34};
        case "MAC3"_cc.value:
            return {6, channels * 2};
        case "MAC6"_cc.value:
            return {6, channels};
        default:
            return {};
        }
    }

    void readChannelLayout(const Bytes& payload, SoundDescription& sound)
    {
        ByteReader in {payload.span(), "chan"};
        in.skip(4); // version and flags
        const auto tag = in.u32();
        in.skip(4); // bitmap
        std::vector<AudioChannelDescription> list(in.count32(20));
        for (auto& channel : list) {
            channel.mChannelLabel = in.u32();
            channel.mChannelFlags = in.u32();
            for (auto& coordinate : channel.mCoordinates)
                coordinate = std::bit_cast<float>(in.u32());
        }
        if (!in.ok())
            return;
        sound.channelLayoutTag = tag;
        sound.channelList = std::move(list);
    }

} // namespace

std::uint16_t SampleDescription::dataReferenceIndex() const
{
    ByteReader in {m_entry->head.span()};
    in.skip(6);
    return in.u16();
}

Result<VideoDescription> SampleDescription::video() const
{
    ByteReader in {m_entry->head.span(), "stsd"};
    VideoDescription video;
    in.skip(kCommonSize + 4); // version and revision
    video.vendor = in.fourCC();
    in.skip(8); // qualities
    video.width = in.u16();
    video.height = in.u16();
    in.skip(14); // resolutions, data size, frame count
    const auto length = in.u8();
    const auto name = in.bytes(31);
    video.depth = in.u16();
    in.skip(2); // colour table
    if (in.ok())
        video.compressorName = decodeText(name.first(std::min<std::size_t>(length, 31)));
    return in.finish(std::move(video));
}

bool isEncryptedFormat(FourCC format)
{
    constexpr FourCC kFormats[] = {"encv"_cc, "enca"_cc, "encs"_cc, "enct"_cc, "drmi"_cc, "drms"_cc, "drmt"_cc,
        "p608"_cc};
    return std::find(std::begin(kFormats), std::end(kFormats), format) != std::end(kFormats);
}

Result<SoundDescription> SampleDescription::sound() const
{
    ByteReader in {m_entry->head.span(), "stsd"};
    SoundDescription sound;
    in.skip(kCommonSize);
    sound.version = in.u16();
    in.skip(6); // revision and vendor
    sound.channels = in.u16();
    sound.bitsPerChannel = in.u16();
    const auto compression = in.i16();
    in.skip(2); // packet size
    sound.sampleRate = in.u32() / 65536.0;
    const auto extensionsAt = extensionsOffset("soun"_cc);
    sound.packing = classicPacking(format(), sound.channels, sound.bitsPerChannel);
    if (sound.version == 1 && extensionsAt == kSoundSize + kSoundVersion1Extra) {
        const auto samplesPerPacket = in.u32();
        in.skip(4); // bytes per packet of one channel
        const auto bytesPerFrame = in.u32();
        in.skip(4); // bytes per sample
        if (samplesPerPacket != 0 && bytesPerFrame != 0)
            sound.packing = {samplesPerPacket, bytesPerFrame};
        if (compression == -2) // variable rate: the sample sizes are bytes
            sound.packing = {};
    } else if (sound.version == 2) {
        in.skip(4); // size of the structure
        sound.sampleRate = std::bit_cast<double>(in.u64());
        sound.channels = in.u32();
        in.skip(4); // always 0x7F000000
        sound.bitsPerChannel = in.u32();
        in.skip(4); // format flags
        const auto bytesPerPacket = in.u32();
        const auto framesPerPacket = in.u32();
        sound.packing
            = format() == "lpcm"_cc ? SoundPacking {framesPerPacket, bytesPerPacket} : SoundPacking {};
    }
    for (const auto& atom : extensions("soun"_cc))
        if (const auto channels = decoderChannels(atom.type, atom.head.span()))
            sound.channels = *channels;
    if (format() == "samr"_cc || format() == "sawb"_cc)
        sound.channels = 1; // writers leave 2 in the field, and the format knows no more than one
    const auto layout = extension("soun"_cc, "chan"_cc);
    if (layout)
        readChannelLayout(*layout, sound);
    if (const auto wave = extension("soun"_cc, "wave"_cc)) {
        // Some writers put the layout with the decoder's own atoms.
        std::size_t position = 0;
        while (atomStartsAt(wave->span(), position)) {
            const auto header = *AtomHeader::parse(wave->span().subspan(position));
            const auto payload = wave->slice(position + 8, static_cast<std::size_t>(header.size) - 8);
            if (header.type == "chan"_cc && !layout)
                readChannelLayout(payload, sound);
            else if (const auto channels = decoderChannels(header.type, payload.span()))
                sound.channels = *channels;
            position += static_cast<std::size_t>(header.size);
        }
    }
    return in.finish(std::move(sound));
}

Result<TimecodeDescription> SampleDescription::timecode() const
{
    ByteReader in {m_entry->head.span(), "stsd"};
    TimecodeDescription timecode;
    in.skip(kCommonSize + 4);
    timecode.definition.flags = in.u32();
    timecode.definition.timeScale = in.u32();
    timecode.definition.frameDuration = in.u32();
    timecode.definition.numberOfFrames = in.u8();
    in.skip(1);
    if (const auto name = extension("tmcd"_cc, "name"_cc))
        if (const auto texts = userData::texts(name->span()); !texts.empty())
            timecode.reel = texts.front().text;
    return in.finish(std::move(timecode));
}

std::size_t SampleDescription::extensionsOffset(FourCC mediaType) const
{
    const auto payload = m_entry->head.span();
    if (mediaType == "soun"_cc) {
        ByteReader in {payload};
        in.skip(kCommonSize);
        const auto version = in.u16();
        if (version == 2)
            return kSoundSize + kSoundVersion2Extra;
        // ISO files have an entry version 1 of their own, without the QuickTime fields.
        const bool plain = version != 1
            || (atomStartsAt(payload, kSoundSize)
                && !atomStartsAt(payload, kSoundSize + kSoundVersion1Extra));
        return plain ? kSoundSize : kSoundSize + kSoundVersion1Extra;
    }
    if (mediaType == "tmcd"_cc)
        // One or three reserved bytes follow the number of frames; both occur.
        return atomStartsAt(payload, kTimecodeSize + 2) && !atomStartsAt(payload, kTimecodeSize)
            ? kTimecodeSize + 2
            : kTimecodeSize;
    if (mediaType != "vide"_cc)
        return payload.size();
    ByteReader in {payload};
    in.skip(kVideoSize - 4);
    const auto depth = in.u16() & 0x1FU;
    const auto colourTable = in.u16();
    if (colourTable == 0 && (depth == 1 || depth == 2 || depth == 4 || depth == 8)) {
        // The palette stands in the description itself: seed, flags, last index, eight bytes a colour.
        in.skip(6);
        const auto colours = in.u16() + 1U;
        const auto end = kVideoSize + 8 + colours * std::size_t {8};
        if (in.ok() && end <= payload.size())
            return end;
    }
    return kVideoSize;
}

std::vector<Atom> SampleDescription::extensions(FourCC mediaType) const
{
    std::vector<Atom> result;
    auto position = extensionsOffset(mediaType);
    while (atomStartsAt(m_entry->head.span(), position)) {
        const auto header = *AtomHeader::parse(m_entry->head.span().subspan(position));
        Atom atom {header.type, m_entry->head.slice(position + 8, static_cast<std::size_t>(header.size) - 8)};
        atom.sourceOffset = m_entry->sourceOffset + 8 + position;
        result.push_back(std::move(atom));
        position += static_cast<std::size_t>(header.size);
    }
    return result;
}

std::optional<Bytes> SampleDescription::extension(FourCC mediaType, FourCC type) const
{
    for (auto& atom : extensions(mediaType))
        if (atom.type == type)
            return atom.head;
    return std::nullopt;
}

std::optional<PixelAspectRatio> SampleDescription::pixelAspectRatio() const
{
    const auto payload = extension("vide"_cc, "pasp"_cc);
    if (!payload)
        return std::nullopt;
    ByteReader in {payload->span()};
    const PixelAspectRatio ratio {in.u32(), in.u32()};
    return in.ok() ? std::optional(ratio) : std::nullopt;
}

std::optional<CleanAperture> SampleDescription::cleanAperture() const
{
    const auto payload = extension("vide"_cc, "clap"_cc);
    if (!payload)
        return std::nullopt;
    ByteReader in {payload->span()};
    const CleanAperture clean {
        in.u32(), in.u32(), in.u32(), in.u32(), in.i32(), in.u32(), in.i32(), in.u32()};
    return in.ok() ? std::optional(clean) : std::nullopt;
}

std::optional<std::uint32_t> SampleDescription::gamma() const
{
    const auto payload = extension("vide"_cc, "gama"_cc);
    if (!payload || payload->size() < 4)
        return std::nullopt;
    return ByteReader {payload->span()}.u32();
}

std::optional<ColorParameters> SampleDescription::color() const
{
    for (const auto& atom : extensions("vide"_cc)) {
        ByteReader in {atom.head.span()};
        const auto kind = in.fourCC();
        if (atom.type != "colr"_cc || (kind != "nclc"_cc && kind != "nclx"_cc))
            continue;
        ColorParameters color {in.u16(), in.u16(), in.u16()};
        if (!in.ok())
            continue;
        if (kind == "nclx"_cc && in.left() >= 1)
            color.fullRange = (in.u8() & 0x80U) != 0;
        return color;
    }
    return std::nullopt;
}

std::optional<Bytes> SampleDescription::colorProfile() const
{
    for (const auto& atom : extensions("vide"_cc)) {
        const auto kind = ByteReader {atom.head.span()}.fourCC();
        if (atom.type == "colr"_cc && (kind == "prof"_cc || kind == "rICC"_cc))
            return atom.head.slice(4);
    }
    return std::nullopt;
}

std::optional<FieldLayout> SampleDescription::fieldLayout() const
{
    const auto payload = extension("vide"_cc, "fiel"_cc);
    if (!payload || payload->size() < 2)
        return std::nullopt;
    ByteReader in {payload->span()};
    return FieldLayout {in.u8(), in.u8()};
}

} // namespace reelwright

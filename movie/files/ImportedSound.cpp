#include "movie/files/ImportedSound.h"

#include "movie/TrackBuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace reelwright {
namespace {

    constexpr double kMaxClassicRate = 65535.0; ///< 16.16 fixed point
    constexpr std::uint32_t kClassicChannels = 2; ///< versions 0 and 1 say nothing of more

    // Format flags of a version 2 description.
    constexpr std::uint32_t kIsFloat = 1;
    constexpr std::uint32_t kIsBigEndian = 2;
    constexpr std::uint32_t kIsSignedInteger = 4;
    constexpr std::uint32_t kIsPacked = 8;

    constexpr std::uint64_t kMinChunkSize = 16384; ///< bytes
    constexpr std::uint64_t kMaxChunks = 1U << 22U;

    enum class Version { Classic, WithPackets, Wide };

    Version versionOf(const ImportedSound& sound)
    {
        const bool exact = sound.sampleRate <= kMaxClassicRate;
        if (sound.format == "lpcm"_cc || sound.channels > kClassicChannels || !exact)
            return Version::Wide;
        switch (sound.format.value) {
        case "in24"_cc.value:
        case "in32"_cc.value:
        case "fl32"_cc.value:
        case "fl64"_cc.value:
            return Version::WithPackets;
        default:
            return Version::Classic;
        }
    }

    /// A version 2 description names uncompressed sound by its flags, not by its format.
    bool isUncompressed(FourCC format)
    {
        switch (format.value) {
        case "raw "_cc.value:
        case "sowt"_cc.value:
        case "twos"_cc.value:
        case "in24"_cc.value:
        case "in32"_cc.value:
        case "fl32"_cc.value:
        case "fl64"_cc.value:
        case "lpcm"_cc.value:
            return true;
        default:
            return false;
        }
    }

    void writeAtom(ByteWriter& out, FourCC type, ByteSpan payload)
    {
        out.u32(static_cast<std::uint32_t>(payload.size() + 8)).fourCC(type).bytes(payload);
    }

    /// The byte order of formats that are big-endian by their name.
    void writeByteOrder(ByteWriter& out, FourCC format)
    {
        ByteWriter wave;
        wave.u32(12).fourCC("frma"_cc).fourCC(format);
        wave.u32(10).fourCC("enda"_cc).u16(1);
        wave.u32(8).u32(0); // ends the list
        writeAtom(out, "wave"_cc, wave.span());
    }

    Atom description(const ImportedSound& sound)
    {
        const auto version = versionOf(sound);
        ByteWriter out;
        out.zeros(6).u16(1); // the first data reference
        if (version == Version::Wide) {
            out.u16(2).u16(0).u32(0).u16(3).u16(16).i16(-2).u16(0).u32(0x10000);
            out.u32(72)
                .u64(std::bit_cast<std::uint64_t>(sound.sampleRate))
                .u32(sound.channels)
                .u32(0x7F000000);
            const bool uncompressed = isUncompressed(sound.format);
            std::uint32_t flags = kIsPacked;
            flags |= sound.isFloat ? kIsFloat : 0;
            flags |= sound.isSigned && !sound.isFloat ? kIsSignedInteger : 0;
            flags |= !sound.isLittleEndian && sound.bitsPerChannel > 8 ? kIsBigEndian : 0;
            out.u32(uncompressed ? sound.bitsPerChannel : 0).u32(uncompressed ? flags : 0);
            out.u32(sound.packing.bytes).u32(sound.packing.frames);
        } else {
            const bool packets = version == Version::WithPackets;
            const auto bits = isUncompressed(sound.format) && !packets ? sound.bitsPerChannel : 16;
            out.u16(packets ? 1 : 0).u16(0).u32(0);
            out.u16(static_cast<std::uint16_t>(sound.channels)).u16(static_cast<std::uint16_t>(bits));
            out.i16(packets ? -1 : 0).u16(0);
            out.u32(static_cast<std::uint32_t>(std::llround(sound.sampleRate * 65536.0)));
            if (packets) {
                const auto sampleSize = sound.packing.bytes / sound.channels;
                out.u32(1).u32(sampleSize).u32(sound.packing.bytes).u32(sampleSize);
                if (sound.isLittleEndian)
                    writeByteOrder(out, sound.format);
            }
        }
        if (!sound.channelLayout.empty())
            writeAtom(out, "chan"_cc, sound.channelLayout.span());
        const bool named = version != Version::Wide || !isUncompressed(sound.format);
        return Atom {named ? sound.format : "lpcm"_cc, out.toBytes()};
    }

} // namespace

std::optional<FourCC> ImportedSound::integerFormat(std::uint32_t bytes, bool isLittleEndian, bool isSigned)
{
    if (bytes == 1)
        return isSigned ? "twos"_cc : "raw "_cc;
    if (!isSigned)
        return std::nullopt;
    switch (bytes) {
    case 2:
        return isLittleEndian ? "sowt"_cc : "twos"_cc;
    case 3:
        return "in24"_cc;
    case 4:
        return "in32"_cc;
    case 8:
        return "lpcm"_cc;
    default:
        return std::nullopt;
    }
}

Result<Atom> makeSoundMovie(const ImportedSound& sound, std::uint64_t time, const std::string& where)
{
    const auto unsupported = [&](std::string detail) {
        return failure(MovieError::Code::Unsupported, where, std::move(detail), sound.dataOffset);
    };
    RW_ASSERT(sound.packing.frames != 0 && sound.packing.bytes != 0);
    if (!(sound.sampleRate >= 0.5) || sound.sampleRate > INT32_MAX)
        return unsupported(fmt::format("a sample rate of {} is out of range", sound.sampleRate));
    const auto scale = static_cast<std::uint32_t>(std::llround(sound.sampleRate));
    const auto packets = sound.dataSize / sound.packing.bytes;
    if (packets > UINT32_MAX / sound.packing.frames)
        return unsupported("the sound has more than 2^32 - 1 samples");

    // Of compressed sound under a version 2 description a sample is a packet, else it is one frame.
    const auto entry = description(sound);
    const bool wide = versionOf(sound) == Version::Wide;
    const bool byPacket = wide && !isUncompressed(sound.format);
    SampleTableBuilder::Sample sample;
    sample.duration = byPacket ? sound.packing.frames : 1;
    sample.size = byPacket || sound.packing.frames == 1 ? sound.packing.bytes : 1;
    const auto samplesPerPacket = byPacket ? 1 : sound.packing.frames;

    const auto halfSecond = (scale / 2 + sound.packing.frames - 1) / sound.packing.frames;
    const auto perChunk = std::max({std::uint64_t {halfSecond}, kMinChunkSize / sound.packing.bytes,
        packets / kMaxChunks + 1, std::uint64_t {1}});
    SampleTableBuilder tables;
    for (std::uint64_t done = 0; done < packets; done += perChunk) {
        tables.beginChunk(sound.dataOffset + done * sound.packing.bytes, 1);
        RW_CHECK(tables.add(
            sample, static_cast<std::uint32_t>(std::min(perChunk, packets - done) * samplesPerPacket)));
    }

    NewTrack track;
    track.trackID = 1;
    track.mediaType = "soun"_cc;
    track.mediaTimeScale = scale;
    track.mediaDuration = track.duration = tables.duration();
    track.volume = 0x100;
    track.time = time;
    auto trak = makeTrack(track);
    addSampleDescription(trak, entry);
    tables.write(*editSampleTables(trak));
    return makeMovie(scale, std::move(trak), time);
}

Bytes channelLayoutOfMask(std::uint32_t mask, std::uint32_t channels)
{
    constexpr std::uint32_t kKnownBits = 18;
    constexpr std::uint32_t kCenter = 3;
    constexpr std::uint32_t kMono = 42;
    constexpr std::uint32_t kUnknown = 0xFFFFFFFF;
    std::vector<std::uint32_t> labels;
    // The bits stand in the order of the platform's labels, which count from 1.
    for (std::uint32_t bit = 0; bit < kKnownBits && labels.size() < channels; ++bit)
        if ((mask >> bit & 1U) != 0)
            labels.push_back(bit + 1);
    if (labels.empty())
        return {};
    if (channels == 1 && labels.front() == kCenter)
        labels.front() = kMono;
    constexpr std::size_t kMaxListed = 64;
    labels.resize(std::min<std::size_t>(channels, std::max(labels.size(), kMaxListed)), kUnknown);
    ByteWriter out;
    out.u32(0).u32(0).u32(0).u32(static_cast<std::uint32_t>(labels.size()));
    for (const auto label : labels)
        out.u32(label).zeros(16); // flags and coordinates
    return out.toBytes();
}

} // namespace reelwright

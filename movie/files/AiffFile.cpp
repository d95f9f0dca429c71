#include "movie/files/AiffFile.h"

#include "movie/atoms/ByteReader.h"
#include "movie/files/ChunkFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr std::size_t kMaxLayoutSize = 4096;

    /// An 80-bit extended number: sign and exponent, then 64 bits with the leading one among them.
    double extended(ByteReader& in)
    {
        const auto signAndExponent = in.u16();
        const auto mantissa = in.u64();
        const auto value = std::ldexp(static_cast<double>(mantissa), (signAndExponent & 0x7FFF) - 16383 - 63);
        return (signAndExponent & 0x8000) != 0 ? -value : value;
    }

    struct Codec
    {
        FourCC name; ///< in the file
        FourCC format; ///< of the sample description; zero: integers, by their size
        SoundPacking packing; ///< of one channel; zero bytes: by the size of the samples
        bool isLittleEndian = false;
        bool isFloat = false;
    };

    constexpr Codec kCodecs[] = {
        {"NONE"_cc, {}, {1, 0}},
        {"twos"_cc, {}, {1, 0}},
        {"sowt"_cc, {}, {1, 0}, true},
        {"raw "_cc, "raw "_cc, {1, 1}},
        {"in24"_cc, "in24"_cc, {1, 3}},
        {"in32"_cc, "in32"_cc, {1, 4}},
        {"42ni"_cc, "in24"_cc, {1, 3}, true},
        {"23ni"_cc, "in32"_cc, {1, 4}, true},
        {"fl32"_cc, "fl32"_cc, {1, 4}, false, true},
        {"FL32"_cc, "fl32"_cc, {1, 4}, false, true},
        {"fl64"_cc, "fl64"_cc, {1, 8}, false, true},
        {"FL64"_cc, "fl64"_cc, {1, 8}, false, true},
        {"alaw"_cc, "alaw"_cc, {1, 1}},
        {"ALAW"_cc, "alaw"_cc, {1, 1}},
        {"ulaw"_cc, "ulaw"_cc, {1, 1}},
        {"ULAW"_cc, "ulaw"_cc, {1, 1}},
        {"ima4"_cc, "ima4"_cc, {64, 34}},
        {"MAC3"_cc, "MAC3"_cc, {6, 2}},
        {"MAC6"_cc, "MAC6"_cc, {6, 1}},
    };

    class AiffReader : ChunkFile
    {
    public:
        AiffReader(StorageFile& file, const std::string& path)
            : ChunkFile(file, path)
        {
        }

        Result<std::optional<ImportedSound>> read()
        {
            RW_TRY(const auto start, head());
            ByteReader in {start};
            const auto form = in.fourCC();
            in.skip(4); // size
            const auto kind = in.fourCC();
            if (!in.ok() || form != "FORM"_cc || (kind != "AIFF"_cc && kind != "AIFC"_cc))
                return std::nullopt;
            m_isCompressed = kind == "AIFC"_cc;
            RW_CHECK(walk());
            if (!m_hasFormat)
                return corrupt("the file has no common chunk", kHeadSize);
            if (!m_hasData && m_packets != 0)
                return corrupt("the file has no sound data chunk", kHeadSize);
            // The number of packets leaves out padding behind the sound; a recorder that was cut off left it
            // 0.
            const auto claimed = m_packets * m_sound.packing.bytes;
            if (m_packets != 0)
                m_sound.dataSize = std::min(m_sound.dataSize, claimed);
            return m_sound;
        }

    private:
        Result<void> walk()
        {
            std::uint64_t offset = kHeadSize;
            for (std::size_t count = 0; offset < m_fileSize; ++count) {
                if (count == kMaxChunks)
                    return corrupt("the file has too many chunks", offset);
                RW_TRY(const auto header, at(offset, 8));
                ByteReader in {header};
                const auto type = in.fourCC();
                const std::uint64_t size = in.u32();
                if (!in.ok())
                    return {};
                const auto payload = offset + 8;
                const auto left = m_fileSize - payload;
                if (type == "COMM"_cc && !m_hasFormat) {
                    RW_CHECK(readFormat(payload, std::min(size, left)));
                } else if (type == "SSND"_cc && !m_hasData) {
                    RW_CHECK(readData(payload, size, left));
                } else if (type == "CHAN"_cc) {
                    RW_CHECK(readLayout(payload, std::min(size, left)));
                }
                if (size >= left)
                    return {};
                offset = payload + size + size % 2;
            }
            return {};
        }

        Result<void> readFormat(std::uint64_t offset, std::uint64_t size)
        {
            RW_TRY(const auto bytes, at(offset, static_cast<std::size_t>(std::min<std::uint64_t>(size, 22))));
            ByteReader in {bytes};
            m_sound.channels = in.u16();
            m_packets = in.u32();
            const std::uint32_t bits = in.u16();
            m_sound.sampleRate = extended(in);
            const auto name = m_isCompressed ? in.fourCC() : "NONE"_cc;
            if (!in.ok())
                return corrupt("the common chunk is too short", offset);
            if (m_sound.channels == 0 || !(m_sound.sampleRate >= 0.5))
                return corrupt("the sound has no channels or no sample rate", offset);
            const auto codec = std::find_if(std::begin(kCodecs), std::end(kCodecs),
                [&](const Codec& entry) { return entry.name == name; });
            const auto unsupported = [&] {
                return failure(MovieError::Code::Unsupported, m_path,
                    fmt::format("sound of format {} with {} bits is not known", name.text(), bits), offset);
            };
            if (codec == std::end(kCodecs))
                return unsupported();
            auto bytesPerChannel = codec->packing.bytes;
            m_sound.format = codec->format;
            if (codec->format == FourCC {}) {
                bytesPerChannel = (bits + 7) / 8;
                const auto format
                    = ImportedSound::integerFormat(bytesPerChannel, codec->isLittleEndian, true);
                if (!format)
                    return unsupported();
                m_sound.format = *format;
            }
            m_sound.isSigned = codec->name != "raw "_cc;
            m_sound.isFloat = codec->isFloat;
            m_sound.isLittleEndian = codec->isLittleEndian;
            m_sound.bitsPerChannel = bytesPerChannel * 8;
            m_sound.packing = {codec->packing.frames, bytesPerChannel * m_sound.channels};
            m_hasFormat = true;
            return {};
        }

        Result<void> readData(std::uint64_t payload, std::uint64_t size, std::uint64_t left)
        {
            RW_TRY(const auto bytes, at(payload, 8));
            ByteReader in {bytes};
            const std::uint64_t skip = 8 + std::uint64_t {in.u32()};
            if (!in.ok())
                return corrupt("the sound data chunk is too short", payload);
            const auto there = size == 0 ? left : std::min(size, left);
            m_sound.dataOffset = payload + std::min(skip, there);
            m_sound.dataSize = there - std::min(skip, there);
            m_hasData = true;
            return {};
        }

        /// A channel layout chunk has the payload of a `chan` atom but for version and flags.
        Result<void> readLayout(std::uint64_t offset, std::uint64_t size)
        {
            if (size < 12 || size > kMaxLayoutSize)
                return {};
            RW_TRY(const auto bytes, readExactly(m_file, offset, size, m_path));
            ByteWriter out;
            m_sound.channelLayout = out.u32(0).bytes(bytes.span()).toBytes();
            return {};
        }

        bool m_isCompressed = false;
        bool m_hasFormat = false;
        bool m_hasData = false;
        std::uint64_t m_packets = 0;
        ImportedSound m_sound;
    };

} // namespace

Result<std::optional<ImportedSound>> readAiffFile(StorageFile& file, const std::string& path)
{
    return AiffReader {file, path}.read();
}

} // namespace reelwright

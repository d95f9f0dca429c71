#include "movie/files/WaveFile.h"

#include "movie/atoms/ByteReader.h"
#include "movie/files/ChunkFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

    constexpr std::uint32_t kNoSize = 0xFFFFFFFF;

    // Format tags.
    constexpr std::uint32_t kInteger = 1;
    constexpr std::uint32_t kFloat = 3;
    constexpr std::uint32_t kALaw = 6;
    constexpr std::uint32_t kMuLaw = 7;
    constexpr std::uint32_t kExtensible = 0xFFFE;

    /// What follows the format tag in the identifier of an extensible format.
    constexpr std::array<std::uint8_t, 14> kSubformatTail
        = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

    /// The little-endian number of `width` bytes at `offset`; 0 where the bytes are not there.
    std::uint64_t little(ByteSpan bytes, std::size_t offset, std::size_t width)
    {
        if (bytes.size() < offset + width)
            return 0;
        std::uint64_t value = 0;
        for (auto i = width; i-- > 0;)
            value = value << 8U | std::to_integer<std::uint64_t>(bytes[offset + i]);
        return value;
    }

    std::uint32_t little32(ByteSpan bytes, std::size_t offset)
    {
        return static_cast<std::uint32_t>(little(bytes, offset, 4));
    }

    struct Chunk
    {
        FourCC type;
        std::uint64_t offset = 0; ///< of the payload
        std::uint64_t size = 0;
    };

    class WaveReader : ChunkFile
    {
    public:
        WaveReader(StorageFile& file, const std::string& path)
            : ChunkFile(file, path)
        {
        }

        Result<std::optional<ImportedSound>> read()
        {
            RW_TRY(const auto start, head());
            const auto form = FourCC {static_cast<std::uint32_t>(little(start, 0, 4))};
            if (start.size() < kHeadSize || little32(start, 8) != kWave)
                return std::nullopt;
            m_hasWideSizes = form.value == kRf64 || form.value == kBw64;
            if (form.value != kRiff && !m_hasWideSizes)
                return std::nullopt;
            RW_CHECK(walk());
            if (!m_format)
                return corrupt("the file has no format chunk", kHeadSize);
            if (!m_data)
                return corrupt("the file has no data chunk", kHeadSize);
            m_sound.dataOffset = m_data->offset;
            m_sound.dataSize = m_data->size;
            RW_CHECK(readFormat());
            return m_sound;
        }

    private:
        // Chunk names as little-endian numbers.
        static constexpr std::uint32_t kRiff = 0x46464952;
        static constexpr std::uint32_t kRf64 = 0x34364652;
        static constexpr std::uint32_t kBw64 = 0x34365742;
        static constexpr std::uint32_t kWave = 0x45564157;
        static constexpr std::uint32_t kFormat = 0x20746D66;
        static constexpr std::uint32_t kData = 0x61746164;
        static constexpr std::uint32_t kSizes = 0x34367364; // ds64

        /// Finds the chunks that matter.
        Result<void> walk()
        {
            std::uint64_t offset = kHeadSize;
            std::uint64_t wideDataSize = 0;
            for (std::size_t count = 0; offset < m_fileSize && !(m_format && m_data); ++count) {
                if (count == kMaxChunks)
                    return corrupt("too many chunks before the sound", offset);
                RW_TRY(const auto header, at(offset, 8));
                if (header.size() < 8)
                    return {};
                const auto type = little32(header, 0);
                const auto left = m_fileSize - offset - 8;
                Chunk chunk {FourCC {type}, offset + 8, little32(header, 4)};
                if (type == kSizes && m_hasWideSizes) {
                    RW_TRY(const auto sizes, at(chunk.offset, 16));
                    wideDataSize = little(sizes, 8, 8);
                } else if (type == kFormat && !m_format) {
                    m_format = chunk;
                } else if (type == kData && !m_data) {
                    if (chunk.size == kNoSize)
                        chunk.size = wideDataSize != 0 ? wideDataSize : left;
                    else if (chunk.size == 0 && !(left >= 8 && isChunk(offset + 8)))
                        chunk.size = left; // a recorder that never came back to fill the size in
                    chunk.size = std::min(chunk.size, left);
                    m_data = chunk;
                }
                if (chunk.size >= left)
                    return {};
                offset = chunk.offset + chunk.size + chunk.size % 2;
            }
            return {};
        }

        /// Does a chunk that fits the file start there?
        bool isChunk(std::uint64_t offset)
        {
            const auto header = at(offset, 8);
            if (!header || header->size() < 8)
                return false;
            for (std::size_t i = 0; i < 4; ++i) {
                const auto character = std::to_integer<unsigned>((*header)[i]);
                if (character < 0x20 || character > 0x7E)
                    return false;
            }
            return little32(*header, 4) <= m_fileSize - offset - 8;
        }

        Result<void> readFormat()
        {
            const auto place = m_format->offset;
            RW_TRY(const auto format,
                at(place, static_cast<std::size_t>(std::min<std::uint64_t>(m_format->size, 40))));
            if (format.size() < 14)
                return corrupt("the format chunk is too short", place);
            auto tag = static_cast<std::uint32_t>(little(format, 0, 2));
            m_sound.channels = static_cast<std::uint32_t>(little(format, 2, 2));
            const auto rate = little32(format, 4);
            const auto blockSize = static_cast<std::uint32_t>(little(format, 12, 2));
            auto bits = static_cast<std::uint32_t>(little(format, 14, 2));
            if (tag == kExtensible && format.size() >= 40) {
                m_sound.channelLayout = channelLayoutOfMask(little32(format, 20), m_sound.channels);
                const bool known = std::equal(kSubformatTail.begin(), kSubformatTail.end(),
                    format.begin() + 26, [](std::uint8_t a, std::byte b) { return std::byte {a} == b; });
                tag = known ? static_cast<std::uint32_t>(little(format, 24, 2)) : kExtensible;
            }
            if (m_sound.channels == 0 || rate == 0)
                return corrupt("the format has no channels or no sample rate", place);
            if (bits == 0)
                bits = 8 * (blockSize / m_sound.channels);
            m_sound.sampleRate = rate;
            m_sound.isLittleEndian = true;
            // A frame may be wider than its samples need.
            auto width = (bits + 7) / 8;
            if (blockSize % m_sound.channels == 0 && blockSize / m_sound.channels > width)
                width = blockSize / m_sound.channels;
            const auto accept = [&](std::optional<FourCC> code) -> Result<void> {
                if (!code || width == 0)
                    return failure(MovieError::Code::Unsupported, m_path,
                        fmt::format("sound of format {:#06x} with {} bits is not known", tag, bits), place);
                m_sound.format = *code;
                m_sound.bitsPerChannel = 8 * width;
                m_sound.packing = {1, width * m_sound.channels};
                return {};
            };
            switch (tag) {
            case kInteger:
                m_sound.isSigned = width != 1;
                return accept(ImportedSound::integerFormat(width, true, m_sound.isSigned));
            case kFloat:
                m_sound.isFloat = true;
                return accept(width == 4 ? std::optional("fl32"_cc)
                        : width == 8     ? std::optional("fl64"_cc)
                                         : std::nullopt);
            case kALaw:
            case kMuLaw:
                width = 1;
                return accept(tag == kALaw ? "alaw"_cc : "ulaw"_cc);
            default:
                return accept(std::nullopt);
            }
        }

        bool m_hasWideSizes = false;
        std::optional<Chunk> m_format;
        std::optional<Chunk> m_data;
        ImportedSound m_sound;
    };

} // namespace

Result<std::optional<ImportedSound>> readWaveFile(StorageFile& file, const std::string& path)
{
    return WaveReader {file, path}.read();
}

} // namespace reelwright

#include "saving/MediaChecksum.h"

#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>

namespace reelwright {
namespace {

    // Odd numbers without a pattern: fractional parts of the square roots of 2, 3 and 5.
    constexpr std::uint64_t kFirst = 0x6A09E667F3BCC909ULL;
    constexpr std::uint64_t kSecond = 0xBB67AE8584CAA73BULL;
    constexpr std::uint64_t kThird = 0x3C6EF372FE94F82BULL;

    std::uint64_t stir(std::uint64_t state, std::uint64_t word)
    {
        return std::rotl((state ^ word) * kFirst, 29) * kSecond;
    }

    /// Reads the samples of one track into hashes.
    class TrackReader
    {
    public:
        TrackReader(const QTTrack& track, const std::function<bool()>& goOn)
            : m_track(track)
            , m_media(track.media())
            , m_table(m_media.sampleTable())
            , m_references(m_media.dataReferences())
            , m_goOn(goOn)
        {
        }

        Result<TrackChecksum> checksum()
        {
            Result<void> outcome;
            const auto packing = m_media.soundPacking(1);
            m_table.forEachChunk(
                [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                    outcome = hashChunk(chunk);
                    return outcome.has_value();
                },
                packing);
            if (!outcome)
                return tl::unexpected<MovieError>(std::move(outcome).error());
            addNumber(m_sizes, m_table.uniformSize());
            addNumber(m_sizes, m_samples);
            return TrackChecksum {
                m_track.trackID(), fmt::format("{:016x}", stir(m_bytes.value(), m_sizes.value()))};
        }

    private:
        static constexpr std::size_t kStep = 1U << 20U;

        static void addNumber(StreamHash& hash, std::uint64_t number)
        {
            hash.update(std::as_bytes(std::span {&number, 1}));
        }

        Result<void> hashChunk(const SampleTable::Chunk& chunk)
        {
            m_samples += chunk.sampleCount;
            if (m_table.uniformSize() == 0)
                for (std::uint32_t i = 0; i < chunk.sampleCount; ++i)
                    addNumber(m_sizes, m_table.sampleSize(chunk.firstSample + i));
            if (chunk.offset >= MediaSources::kMemoryBase)
                return hashMemory(chunk);
            RW_TRY(const auto file, source(chunk.description));
            for (std::uint64_t done = 0; done < chunk.size;) {
                if (!m_goOn())
                    return failure(MovieError::Code::Cancelled, {}, "the check of the media was cancelled");
                m_buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kStep, chunk.size - done)));
                RW_TRY(const auto count, file->readAt(chunk.offset + done, m_buffer));
                m_bytes.update(std::span {m_buffer}.first(count));
                done += count;
                if (count < m_buffer.size()) { // the file is cut short; what is missing is missing alike
                    addNumber(m_sizes, chunk.size - done);
                    break;
                }
            }
            return {};
        }

        Result<void> hashMemory(const SampleTable::Chunk& chunk)
        {
            const auto bytes = m_track.movie().sources().memory(chunk.offset, chunk.size);
            if (bytes.size() < chunk.size)
                return failure(MovieError::Code::Corrupt, fmt::format("track {}", m_track.trackID()),
                    "new media in memory are not whole");
            m_bytes.update(bytes.span());
            return {};
        }

        /// The file that holds the samples under a description; the last one is remembered.
        Result<std::shared_ptr<StorageFile>> source(std::uint32_t descriptionIndex)
        {
            if (m_source && m_sourceOf == descriptionIndex)
                return m_source;
            const auto description = m_media.sampleDescription(descriptionIndex);
            const std::size_t index = description ? description->dataReferenceIndex() : 0;
            DataReference self;
            self.isSelf = true;
            // Index 0 and missing references occur in files whose media are their own.
            const bool isGiven = index >= 1 && index <= m_references.size();
            RW_TRY(m_source, m_track.movie().sources().open(isGiven ? m_references[index - 1] : self));
            m_sourceOf = descriptionIndex;
            return m_source;
        }

        const QTTrack& m_track;
        const QTMedia m_media;
        const SampleTable m_table;
        const std::vector<DataReference> m_references;
        const std::function<bool()>& m_goOn;
        std::shared_ptr<StorageFile> m_source;
        std::uint32_t m_sourceOf = 0;
        std::vector<std::byte> m_buffer;
        StreamHash m_bytes;
        StreamHash m_sizes;
        std::uint64_t m_samples = 0;
    };

} // namespace

void StreamHash::update(ByteSpan bytes)
{
    m_length += bytes.size();
    if (m_pendingSize != 0) {
        const auto part = std::min(kBlock - m_pendingSize, bytes.size());
        std::copy_n(bytes.data(), part, m_pending + m_pendingSize);
        m_pendingSize += part;
        bytes = bytes.subspan(part);
        if (m_pendingSize < kBlock)
            return;
        mix(m_pending);
        m_pendingSize = 0;
    }
    for (; bytes.size() >= kBlock; bytes = bytes.subspan(kBlock))
        mix(bytes.data());
    std::copy(bytes.begin(), bytes.end(), m_pending);
    m_pendingSize = bytes.size();
}

std::uint64_t StreamHash::value() const
{
    auto last = *this;
    std::fill(last.m_pending + m_pendingSize, last.m_pending + kBlock, std::byte {});
    last.mix(last.m_pending);
    auto result = m_length * kThird;
    for (const auto lane : last.m_lanes)
        result = stir(result, lane);
    return result ^ result >> 32U;
}

void StreamHash::mix(const std::byte* block)
{
    for (std::size_t i = 0; i < kLanes; ++i) {
        std::uint64_t word = 0;
        std::memcpy(&word, block + i * 8, 8);
        m_lanes[i] = stir(m_lanes[i], word);
    }
}

Result<std::vector<TrackChecksum>> mediaChecksums(const QTMovie& movie, const std::function<bool()>& goOn)
{
    std::vector<TrackChecksum> checksums;
    for (const auto& track : movie.tracks()) {
        RW_TRY(auto checksum, TrackReader(track, goOn).checksum());
        checksums.push_back(std::move(checksum));
    }
    return checksums;
}

} // namespace reelwright

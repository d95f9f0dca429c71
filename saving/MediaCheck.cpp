#include "saving/MediaCheck.h"

#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr std::size_t kStep = 1U << 20U;

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

        Result<TrackCheck> check()
        {
            m_check.trackID = m_track.trackID();
            m_check.samples = m_table.sampleCount();
            Result<void> outcome;
            std::uint64_t inChunks = 0;
            m_table.forEachChunk(
                [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                    inChunks += chunk.sampleCount;
                    outcome = readChunk(chunk);
                    return outcome.has_value();
                },
                m_media.soundPacking(1));
            RW_CHECK(outcome);
            if (inChunks < m_check.samples)
                add(static_cast<std::uint32_t>(inChunks) + 1,
                    m_check.samples - static_cast<std::uint32_t>(inChunks),
                    "the sample tables give no place for them");
            return std::move(m_check);
        }

    private:
        Result<void> readChunk(const SampleTable::Chunk& chunk)
        {
            m_offset = chunk.offset;
            if (chunk.offset >= MediaSources::kMemoryBase) {
                const auto bytes = m_track.movie().sources().memory(chunk.offset, chunk.size);
                m_check.bytes += bytes.size();
                if (bytes.size() < chunk.size)
                    add(chunk.firstSample, chunk.sampleCount, "new media in memory are not whole");
                return {};
            }
            if (const auto opened = openSource(chunk.description); !opened) {
                add(chunk.firstSample, chunk.sampleCount, opened.error().message());
                return {};
            }
            RW_TRY(const bool isWhole, read(chunk.offset, chunk.size));
            return isWhole ? Result<void> {} : readSamples(chunk);
        }

        /// Can all of it be read? The error is a cancel.
        Result<bool> read(std::uint64_t offset, std::uint64_t size)
        {
            for (std::uint64_t done = 0; done < size; done += kStep) {
                if (!m_goOn())
                    return failure(MovieError::Code::Cancelled, {}, "the check of the media was cancelled");
                m_buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kStep, size - done)));
                const auto got = m_source->readAt(offset + done, m_buffer);
                if (!got || *got < m_buffer.size()) {
                    m_reason = got ? "the file ends before" : got.error().detail;
                    return false;
                }
            }
            m_check.bytes += size;
            return true;
        }

        /// One by one: which of them cannot be read?
        Result<void> readSamples(const SampleTable::Chunk& chunk)
        {
            RW_TRY(const auto state, m_source->state());
            // Samples of sound can be smaller than their packets: they share what can be read.
            const bool isPacked = m_media.soundPacking(1).frames != 0;
            const std::uint64_t share
                = isPacked ? chunk.size / std::max(chunk.sampleCount, 1U) : m_table.uniformSize();
            auto offset = chunk.offset;
            for (std::uint32_t i = 0; i < chunk.sampleCount; ++i) {
                const auto sample = chunk.firstSample + i;
                const std::uint64_t size = share != 0 || isPacked ? share : m_table.sampleSize(sample);
                m_offset = offset;
                if (offset > state.size || size > state.size - offset) {
                    // So are all behind it, however many the tables claim.
                    add(sample, chunk.sampleCount - i, "the file ends before");
                    return {};
                }
                RW_TRY(const bool isReadable, read(offset, size));
                if (!isReadable)
                    add(sample, 1, m_reason);
                offset += size;
            }
            return {};
        }

        Result<void> openSource(std::uint32_t descriptionIndex)
        {
            if (m_source && m_sourceOf == descriptionIndex)
                return {};
            const auto description = m_media.sampleDescription(descriptionIndex);
            const std::size_t index = description ? description->dataReferenceIndex() : 0;
            DataReference self;
            self.isSelf = true;
            // Index 0 and missing references occur in files whose media are their own.
            const bool isGiven = index >= 1 && index <= m_references.size();
            const auto& reference = isGiven ? m_references[index - 1] : self;
            m_sourceName = reference.isSelf ? m_track.movie().fileName() : reference.name;
            m_source.reset();
            RW_TRY(m_source, m_track.movie().sources().open(reference));
            m_sourceOf = descriptionIndex;
            return {};
        }

        void add(std::uint32_t first, std::uint32_t count, const std::string& reason)
        {
            m_check.unreadableCount += count;
            auto& stretches = m_check.unreadable;
            if (!stretches.empty() && stretches.back().last() + 1 == first
                && stretches.back().reason == reason && stretches.back().source == m_sourceName)
                stretches.back().count += count;
            else if (stretches.size() < TrackCheck::kMostStretches)
                stretches.push_back({first, count, m_sourceName, m_offset, reason});
        }

        const QTTrack& m_track;
        const QTMedia m_media;
        const SampleTable m_table;
        const std::vector<DataReference> m_references;
        const std::function<bool()>& m_goOn;
        std::shared_ptr<StorageFile> m_source;
        std::string m_sourceName;
        std::uint32_t m_sourceOf = 0;
        std::uint64_t m_offset = 0; ///< of what is being read
        std::string m_reason; ///< why the last read failed
        std::vector<std::byte> m_buffer;
        TrackCheck m_check;
    };

} // namespace

Result<std::vector<TrackCheck>> checkMedia(const QTMovie& movie, const std::function<bool()>& goOn)
{
    std::vector<TrackCheck> checks;
    for (const auto& track : movie.tracks()) {
        RW_TRY(auto check, TrackReader(track, goOn).check());
        checks.push_back(std::move(check));
    }
    return checks;
}

} // namespace reelwright

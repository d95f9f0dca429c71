#pragma once

#include "movie/atoms/Atom.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace reelwright {

/// Makes the sample tables of an `stbl` (`stts`, `ctts`, `stss`, `sdtp`, `stsc`, `stsz`, `stco` or `co64`;
/// ISO/IEC 14496-12 8.5 to 8.7), from nothing or continuing those that are there. Keeps runs: memory grows
/// with the number of changes from one sample to the next, not with the number of samples.
class SampleTableBuilder
{
public:
    /// What the tables say of a sample beside where it lies. Units: media time scale, bytes.
    struct Sample
    {
        std::uint32_t duration = 0;
        std::uint32_t size = 0;
        std::int32_t compositionOffset = 0;
        bool isSync = true;
        std::uint8_t dependency = 0; ///< the byte of `sdtp`; 0 says nothing
        bool operator==(const Sample&) const = default;
    };

    SampleTableBuilder() = default;
    /// Starts with the samples of these tables that lie in a chunk. Damaged tables count as SampleTable reads
    /// them.
    static SampleTableBuilder continuing(const Atom& stbl);

    [[nodiscard]] std::uint32_t sampleCount() const { return m_durations.total; }
    /// Sum of the durations.
    [[nodiscard]] std::uint64_t duration() const { return m_duration; }
    /// Latest end of a sample after its composition offset; 0 when there is none above.
    [[nodiscard]] std::uint64_t compositionEnd() const;

    /// The samples that follow lie together from `offset` of the data source on. `description` is a 1-based
    /// index.
    void beginChunk(std::uint64_t offset, std::uint32_t description);
    /// Adds samples alike to the chunk. Refused when a table cannot count them.
    Result<void> add(const Sample& sample, std::uint32_t count = 1);
    /// Adds the samples of another table behind these; its first sample description becomes number
    /// `descriptionsBefore` + 1. Refused when a table cannot count them.
    Result<void> append(const SampleTableBuilder& other, std::uint32_t descriptionsBefore);
    /// Multiplies all times, to count in a finer time scale. Refused when one does not fit 32 bits.
    Result<void> multiplyTimes(std::uint32_t factor);
    /// Makes the last sample longer or shorter. Answers false, and changes nothing, when there is none or its
    /// duration would not be one.
    bool changeLastDuration(std::int64_t by);
    /// Dependencies are written even when they say no more than the sync samples.
    void keepDependencies() { m_keepDependencies = true; }

    /// Puts the tables in, replacing those of the same kinds and leaving every other child alone.
    void write(Atom& stbl) const;

private:
    template <class T> struct Runs
    {
        struct Run
        {
            std::uint32_t count = 0;
            T value {};
        };
        std::vector<Run> runs;
        std::uint32_t total = 0;

        void add(std::uint32_t count, T value)
        {
            if (count == 0)
                return;
            total += count;
            if (!runs.empty() && runs.back().value == value)
                runs.back().count += count;
            else
                runs.push_back({count, value});
        }
        /// Cuts or extends to `count`, with the last value or the given one.
        void fit(std::uint32_t count, T filler);
        /// Is every value this one?
        [[nodiscard]] bool isAll(T value) const
        {
            return runs.empty() || (runs.size() == 1 && runs.front().value == value);
        }
    };
    struct ChunkRow
    {
        std::uint32_t firstChunk = 0;
        std::uint32_t samples = 0;
        std::uint32_t description = 0;
    };

    void openChunk();
    [[nodiscard]] bool dependenciesSayMore() const;
    void writeTimes(Atom& stbl) const;
    void writeSync(Atom& stbl) const;
    void writeChunks(Atom& stbl) const;

    Runs<std::uint32_t> m_durations;
    Runs<std::uint32_t> m_sizes;
    Runs<std::int32_t> m_offsets;
    Runs<bool> m_sync;
    Runs<std::uint8_t> m_dependencies;
    std::vector<ChunkRow> m_rows; ///< the last one counts the samples of the last chunk as they come
    std::vector<std::uint64_t> m_chunks;
    std::uint64_t m_duration = 0;
    std::uint64_t m_nextOffset = 0;
    std::uint32_t m_nextDescription = 1;
    bool m_chunkPending = true;
    bool m_wideOffsets = false;
    bool m_keepDependencies = false;
};

} // namespace reelwright

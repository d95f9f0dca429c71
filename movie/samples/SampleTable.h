#pragma once

#include "movie/atoms/Atom.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace reelwright {

/// How many bytes samples of a constant-rate sound description take: `frames` samples in `bytes` bytes. 0
/// frames where the sample sizes of the table are bytes.
struct SoundPacking
{
    std::uint32_t frames = 0;
    std::uint32_t bytes = 0;
};

/// Read access to a media's sample table (`stbl`, ISO/IEC 14496-12 8.5 to 8.7) in the run-length form it has
/// in the file: nothing is expanded. Keeps the bytes alive. Sample and chunk numbers are 1-based, as in the
/// format.
class SampleTable
{
public:
    /// A run of samples of one duration (`stts` row). Units: media time scale.
    struct TimeRun
    {
        std::uint32_t count = 0;
        std::uint32_t duration = 0;
    };
    /// A run of chunks alike (`stsc` row).
    struct ChunkRun
    {
        std::uint32_t firstChunk = 0;
        std::uint32_t samplesPerChunk = 0;
        std::uint32_t description = 0; ///< 1-based index into the sample descriptions
    };
    /// One chunk: samples that lie together in a file.
    struct Chunk
    {
        std::uint64_t offset = 0; ///< bytes from the start of the data source
        std::uint64_t size = 0; ///< bytes
        std::uint32_t firstSample = 0;
        std::uint32_t sampleCount = 0;
        std::uint32_t description = 0;
    };
    /// An empty table.
    SampleTable() = default;
    /// The tables below an `stbl`. A missing or damaged table counts as empty, with a warning; counts are cut
    /// to what the atom holds. Of tables that are cut (Atom::isCut) only the number of samples and their
    /// times are known: all sizes are 0, and there are no chunks.
    static SampleTable parse(const Atom& stbl, std::vector<MovieWarning>* warnings = nullptr);

    [[nodiscard]] std::uint32_t sampleCount() const { return m_sampleCount; }
    /// 0 when the sizes differ.
    [[nodiscard]] std::uint32_t uniformSize() const { return m_uniformSize; }
    /// Bytes; 0 for a sample that is not there.
    [[nodiscard]] std::uint32_t sampleSize(std::uint32_t sample) const;

    [[nodiscard]] std::size_t timeRunCount() const { return m_times.size() / 8; }
    [[nodiscard]] TimeRun timeRun(std::size_t index) const;
    [[nodiscard]] std::size_t chunkRunCount() const { return m_chunkRuns.size() / 12; }
    [[nodiscard]] ChunkRun chunkRun(std::size_t index) const;
    [[nodiscard]] std::uint32_t chunkCount() const;
    [[nodiscard]] std::uint64_t chunkOffset(std::uint32_t chunk) const;
    [[nodiscard]] bool hasWideOffsets() const { return m_wideOffsets; }

    /// Sum of the samples' durations, saturating. Units: media time scale.
    [[nodiscard]] std::uint64_t duration() const;
    /// Of the first sample; 0 when there is none.
    [[nodiscard]] std::uint32_t firstDuration() const;

    /// One sample in time: number, start and duration in the media time scale.
    struct TimedSample
    {
        std::uint32_t sample = 0;
        std::uint64_t start = 0;
        std::uint32_t duration = 0;
    };
    /// The sample shown at that decode time; the last one for a time past the end; nothing when there are no
    /// samples, or the table says nothing of their times.
    [[nodiscard]] std::optional<TimedSample> sampleAt(std::uint64_t mediaTime) const;

    /// Where a sample lies: offset, size and description. `packing` as for `forEachChunk`.
    [[nodiscard]] std::optional<Chunk> locate(std::uint32_t sample, SoundPacking packing = {}) const;

    /// Calls `visit` for every chunk in order, until it answers false. Samples that no chunk holds are left
    /// out.
    void forEachChunk(const std::function<bool(std::uint32_t number, const Chunk&)>& visit,
        SoundPacking packing = {}) const;

private:
    /// Calls `visit(run, begin, end)` for the chunks [begin, end) of each row that has any, in order, until
    /// it answers false. Rows out of order hold what the rows before have left.
    template <class Visit> void forEachRun(Visit visit) const;
    [[nodiscard]] std::uint64_t bytesOf(
        std::uint32_t firstSample, std::uint32_t count, SoundPacking packing) const;

    std::uint32_t m_sampleCount = 0;
    std::uint32_t m_uniformSize = 0;
    unsigned m_sizeBits = 32; ///< of one entry of m_sizes: 32, or 16, 8, 4 for `stz2`
    bool m_wideOffsets = false;
    Bytes m_sizes;
    Bytes m_times;
    Bytes m_chunkRuns;
    Bytes m_chunkOffsets;
};

} // namespace reelwright

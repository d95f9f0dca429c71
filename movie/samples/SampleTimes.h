#pragma once

#include "movie/QTTrack.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace reelwright {

/// When the samples of a media are decoded and displayed (`stts`, `ctts`), as a run-length copy of the
/// tables. Units: media time scale. Sample numbers are 1-based. Times so far off that sums of them could
/// overflow are cut.
class SampleTimes
{
public:
    /// No samples.
    SampleTimes() = default;
    explicit SampleTimes(const Atom& stbl);

    [[nodiscard]] bool empty() const { return m_count == 0; }
    [[nodiscard]] std::uint32_t count() const { return m_count; }
    /// The end of the last sample in decode order.
    [[nodiscard]] std::int64_t end() const;
    /// Of the offsets from decode to display time; both 0 where display order is decode order.
    [[nodiscard]] std::int32_t lowestOffset() const { return m_lowestOffset; }
    [[nodiscard]] std::int32_t highestOffset() const { return m_highestOffset; }

    /// Of a sample that is there.
    [[nodiscard]] std::int64_t decodeTime(std::uint32_t sample) const;
    [[nodiscard]] std::int64_t displayTime(std::uint32_t sample) const;
    /// The first sample that is decoded at that time or later; nothing behind the last.
    [[nodiscard]] std::optional<std::uint32_t> decodedFrom(std::int64_t time) const;

    /// The latest display time at or before a time; nothing before the first.
    [[nodiscard]] std::optional<std::int64_t> displayedAt(std::int64_t time) const;
    /// The earliest display time after a time; nothing behind the last.
    [[nodiscard]] std::optional<std::int64_t> displayedAfter(std::int64_t time) const;

    /// How many samples are displayed from one time on and before another.
    [[nodiscard]] std::int64_t displayedBetween(std::int64_t begin, std::int64_t end) const;

    /// No time lies farther from 0.
    static constexpr std::int64_t kFarthest = 1LL << 60U;

private:
    /// Samples of one duration, in decode order.
    struct DecodeRun
    {
        std::uint32_t firstSample = 0; ///< 0-based
        std::uint32_t count = 0;
        std::uint32_t duration = 0;
        std::int64_t start = 0;
    };
    /// Samples of one composition offset.
    struct OffsetRun
    {
        std::uint64_t firstSample = 0; ///< 0-based
        std::int32_t offset = 0;
    };

    std::uint32_t m_count = 0;
    std::int32_t m_lowestOffset = 0;
    std::int32_t m_highestOffset = 0;
    std::vector<DecodeRun> m_decode;
    std::vector<OffsetRun> m_offsets; ///< empty where display order is decode order
};

} // namespace reelwright

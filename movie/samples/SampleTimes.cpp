#include "movie/samples/SampleTimes.h"

#include "movie/atoms/ByteReader.h"

#include <algorithm>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    /// Samples that one question looks at: far more than any encoder reorders, few enough to be no wait.
    constexpr int kMostLooked = 1 << 16;

    std::int64_t clampTime(Wide time)
    {
        return static_cast<std::int64_t>(
            std::clamp<Wide>(time, -SampleTimes::kFarthest, SampleTimes::kFarthest));
    }

} // namespace

SampleTimes::SampleTimes(const Atom& stbl)
{
    const auto table = SampleTable::parse(stbl);
    std::int64_t time = 0;
    for (std::size_t i = 0; i < table.timeRunCount() && m_count < table.sampleCount(); ++i) {
        const auto row = table.timeRun(i);
        const auto count = std::min(row.count, table.sampleCount() - m_count);
        if (count == 0)
            continue;
        m_decode.push_back({m_count, count, row.duration, time});
        m_count += count;
        time = clampTime(static_cast<Wide>(time) + static_cast<Wide>(count) * row.duration);
    }
    const auto* ctts = stbl.find("ctts"_cc);
    if (!ctts)
        return;
    ByteReader in {ctts->head.span()};
    in.skip(4);
    std::uint64_t sample = 0;
    // Version 0 offsets are unsigned by the letter, but writers put negative ones there too.
    for (auto rows = in.count32(8); rows > 0 && sample < m_count; --rows) {
        const auto count = in.u32();
        const auto offset = in.i32();
        if (count == 0)
            continue;
        m_lowestOffset = sample == 0 ? offset : std::min(m_lowestOffset, offset);
        m_highestOffset = sample == 0 ? offset : std::max(m_highestOffset, offset);
        m_offsets.push_back({sample, offset});
        sample += count;
    }
    if (sample < m_count) { // samples behind the table have no offset
        m_lowestOffset = std::min(m_lowestOffset, 0);
        m_highestOffset = std::max(m_highestOffset, 0);
        m_offsets.push_back({sample, 0});
    }
    if (m_lowestOffset == 0 && m_highestOffset == 0)
        m_offsets.clear();
}

std::int64_t SampleTimes::end() const
{
    if (m_decode.empty())
        return 0;
    const auto& last = m_decode.back();
    return clampTime(last.start + static_cast<Wide>(last.count) * last.duration);
}

std::int64_t SampleTimes::decodeTime(std::uint32_t sample) const
{
    const auto index = sample - 1;
    const auto run = std::prev(std::upper_bound(m_decode.begin(), m_decode.end(), index,
        [](std::uint32_t number, const DecodeRun& row) { return number < row.firstSample; }));
    return clampTime(run->start + static_cast<Wide>(index - run->firstSample) * run->duration);
}

std::int64_t SampleTimes::displayTime(std::uint32_t sample) const
{
    if (m_offsets.empty())
        return decodeTime(sample);
    const auto run = std::prev(std::upper_bound(m_offsets.begin(), m_offsets.end(), sample - 1,
        [](std::uint32_t number, const OffsetRun& row) { return number < row.firstSample; }));
    return decodeTime(sample) + run->offset;
}

std::optional<std::uint32_t> SampleTimes::decodedFrom(std::int64_t time) const
{
    const auto run = std::partition_point(m_decode.begin(), m_decode.end(), [&](const DecodeRun& row) {
        return row.start + static_cast<Wide>(row.count - 1) * row.duration < time;
    });
    if (run == m_decode.end())
        return std::nullopt;
    if (time <= run->start || run->duration == 0)
        return run->firstSample + 1;
    const auto ahead = static_cast<Wide>(time) - run->start;
    return run->firstSample + static_cast<std::uint32_t>((ahead + run->duration - 1) / run->duration) + 1;
}

std::optional<std::int64_t> SampleTimes::displayedAt(std::int64_t time) const
{
    std::optional<std::int64_t> best;
    // All samples before this one are decoded early enough to be displayed by then.
    auto sample = decodedFrom(time - m_lowestOffset + 1).value_or(m_count + 1);
    for (int looked = 0; sample > 1 && looked < kMostLooked; ++looked) {
        --sample;
        const auto shown = displayTime(sample);
        if (shown <= time && (!best || shown > *best))
            best = shown;
        if (best && decodeTime(sample) + m_highestOffset <= *best)
            break;
    }
    return best;
}

std::optional<std::int64_t> SampleTimes::displayedAfter(std::int64_t time) const
{
    std::optional<std::int64_t> best;
    std::uint64_t sample = decodedFrom(time - m_highestOffset + 1).value_or(m_count);
    for (int looked = 0; sample >= 1 && sample <= m_count && looked < kMostLooked; ++looked, ++sample) {
        const auto number = static_cast<std::uint32_t>(sample);
        const auto shown = displayTime(number);
        if (shown > time && (!best || shown < *best))
            best = shown;
        if (best && decodeTime(number) + m_lowestOffset >= *best)
            break;
    }
    return best;
}

std::int64_t SampleTimes::displayedBetween(std::int64_t begin, std::int64_t end) const
{
    if (begin >= end || empty())
        return 0;
    // Samples (from 1) decoded before a time.
    const auto decodedBefore
        = [&](std::int64_t time) { return decodedFrom(time).value_or(std::uint32_t {m_count + 1}) - 1; };
    if (m_offsets.empty())
        return std::int64_t {decodedBefore(end)} - decodedBefore(begin);
    // Only those near enough in decode order can be displayed then; of them run by run.
    const auto first = decodedBefore(begin - m_highestOffset);
    const auto last = decodedBefore(end - m_lowestOffset);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < m_offsets.size(); ++i) {
        const auto& run = m_offsets[i];
        const std::uint64_t runEnd = i + 1 < m_offsets.size() ? m_offsets[i + 1].firstSample : m_count;
        if (runEnd <= first || run.firstSample >= last)
            continue;
        const auto within = [&](std::int64_t time) {
            return std::clamp<std::int64_t>(decodedBefore(time - run.offset),
                static_cast<std::int64_t>(run.firstSample), static_cast<std::int64_t>(runEnd));
        };
        count += within(end) - within(begin);
    }
    return count;
}

} // namespace reelwright

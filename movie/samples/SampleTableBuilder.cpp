#include "movie/samples/SampleTableBuilder.h"

#include "movie/atoms/ByteReader.h"
#include "movie/samples/SampleTable.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr std::uint8_t kDependsOnOthers = 0x10; ///< a sample that is no sync sample says this or nothing
    constexpr std::uint8_t kDependsOnNone = 0x20; ///< so does a sync sample

    /// The rows of a leaf whose payload is version, flags, count and rows; cut to what is there.
    ByteReader rowsOf(const Atom* atom, std::size_t rowSize, std::uint32_t& count)
    {
        ByteReader in {atom ? atom->head.span() : ByteSpan {}};
        in.skip(4);
        count = static_cast<std::uint32_t>(std::min<std::size_t>(in.u32(), in.left() / rowSize));
        return in;
    }

    ByteWriter table(std::size_t rowCount, std::uint8_t version = 0)
    {
        ByteWriter out;
        out.u8(version).u24(0).u32(static_cast<std::uint32_t>(rowCount));
        return out;
    }

} // namespace

template <class T> void SampleTableBuilder::Runs<T>::fit(std::uint32_t count, T filler)
{
    while (total > count) {
        const auto over = std::min(total - count, runs.back().count);
        total -= over;
        if ((runs.back().count -= over) == 0)
            runs.pop_back();
    }
    add(count - total, filler);
}

SampleTableBuilder SampleTableBuilder::continuing(const Atom& stbl)
{
    SampleTableBuilder builder;
    const auto present = SampleTable::parse(stbl);
    builder.m_wideOffsets = present.hasWideOffsets();
    std::uint32_t samples = 0;
    present.forEachChunk([&](std::uint32_t, const SampleTable::Chunk& chunk) {
        if (chunk.sampleCount == 0)
            return true;
        builder.beginChunk(chunk.offset, chunk.description);
        builder.openChunk();
        builder.m_rows.back().samples = chunk.sampleCount;
        samples += chunk.sampleCount;
        return true;
    });
    builder.m_chunkPending = true;

    if (const auto size = present.uniformSize(); size != 0)
        builder.m_sizes.add(samples, size);
    else
        for (std::uint32_t sample = 1; sample <= samples; ++sample)
            builder.m_sizes.add(1, present.sampleSize(sample));

    const auto room
        = [&](std::uint32_t count, std::uint32_t total) { return std::min(count, samples - total); };
    for (std::size_t i = 0; i < present.timeRunCount(); ++i) {
        const auto run = present.timeRun(i);
        builder.m_durations.add(room(run.count, builder.m_durations.total), run.duration);
    }
    const auto& durations = builder.m_durations.runs;
    builder.m_durations.fit(samples, durations.empty() ? 1 : durations.back().value);
    for (const auto& run : durations)
        builder.m_duration += static_cast<std::uint64_t>(run.count) * run.value;

    std::uint32_t count = 0;
    for (auto in = rowsOf(stbl.find("ctts"_cc), 8, count); count > 0; --count) {
        const auto length = in.u32();
        builder.m_offsets.add(room(length, builder.m_offsets.total), in.i32());
    }
    builder.m_offsets.fit(samples, 0);

    const auto* sync = stbl.find("stss"_cc);
    for (auto in = rowsOf(sync, 4, count); count > 0; --count) {
        const auto number = in.u32();
        if (number <= builder.m_sync.total || number > samples)
            continue;
        builder.m_sync.fit(number - 1, false);
        builder.m_sync.add(1, true);
    }
    builder.m_sync.fit(samples, sync == nullptr);

    if (const auto* dependencies = stbl.find("sdtp"_cc)) {
        builder.m_keepDependencies = true;
        const auto bytes = dependencies->head.slice(4, samples);
        for (const auto byte : bytes.span())
            builder.m_dependencies.add(1, std::to_integer<std::uint8_t>(byte));
    }
    builder.m_dependencies.fit(samples, 0);
    return builder;
}

Result<void> SampleTableBuilder::append(const SampleTableBuilder& other, std::uint32_t descriptionsBefore)
{
    constexpr std::size_t kMost = UINT32_MAX - 1;
    if (kMost - sampleCount() < other.sampleCount() || kMost - m_chunks.size() < other.m_chunks.size())
        return failure(MovieError::Code::Refused, {}, "a media cannot have more than 4 294 967 294 samples");
    const auto join = [](auto& runs, const auto& more) {
        for (const auto& run : more.runs)
            runs.add(run.count, run.value);
    };
    join(m_durations, other.m_durations);
    join(m_sizes, other.m_sizes);
    join(m_offsets, other.m_offsets);
    join(m_sync, other.m_sync);
    join(m_dependencies, other.m_dependencies);
    for (auto row : other.m_rows) {
        row.firstChunk += static_cast<std::uint32_t>(m_chunks.size());
        row.description += descriptionsBefore;
        m_rows.push_back(row);
    }
    m_chunks.insert(m_chunks.end(), other.m_chunks.begin(), other.m_chunks.end());
    m_duration += other.m_duration;
    m_chunkPending = true;
    m_wideOffsets = m_wideOffsets || other.m_wideOffsets;
    m_keepDependencies = m_keepDependencies || other.m_keepDependencies;
    return {};
}

Result<void> SampleTableBuilder::multiplyTimes(std::uint32_t factor)
{
    for (auto& run : m_durations.runs) {
        if (run.value > UINT32_MAX / factor)
            return failure(MovieError::Code::Refused, {}, "a sample's duration would not fit its table");
        run.value *= factor;
    }
    for (auto& run : m_offsets.runs) {
        const auto scaled = static_cast<std::int64_t>(run.value) * factor;
        if (scaled > INT32_MAX || scaled < INT32_MIN)
            return failure(MovieError::Code::Refused, {}, "a sample's time would not fit its table");
        run.value = static_cast<std::int32_t>(scaled);
    }
    m_duration *= factor;
    return {};
}

std::uint64_t SampleTableBuilder::compositionEnd() const
{
    // Within a stretch of one duration and one offset the last sample ends last.
    std::uint64_t latest = 0;
    std::uint64_t time = 0;
    auto offset = m_offsets.runs.begin();
    std::uint32_t offsetLeft = offset == m_offsets.runs.end() ? 0 : offset->count;
    for (const auto& run : m_durations.runs) {
        auto left = run.count;
        while (left > 0) {
            const auto both = std::min(left, offsetLeft);
            time += static_cast<std::uint64_t>(both) * run.value;
            left -= both;
            offsetLeft -= both;
            const std::int64_t shift = offset->value;
            if (shift >= 0)
                latest = std::max(latest, time + static_cast<std::uint64_t>(shift));
            else if (time > static_cast<std::uint64_t>(-shift))
                latest = std::max(latest, time - static_cast<std::uint64_t>(-shift));
            if (offsetLeft == 0 && ++offset != m_offsets.runs.end())
                offsetLeft = offset->count;
        }
    }
    return latest;
}

void SampleTableBuilder::beginChunk(std::uint64_t offset, std::uint32_t description)
{
    m_nextOffset = offset;
    m_nextDescription = description;
    m_chunkPending = true;
}

void SampleTableBuilder::openChunk()
{
    m_chunkPending = false;
    m_chunks.push_back(m_nextOffset);
    m_wideOffsets = m_wideOffsets || m_nextOffset > UINT32_MAX;
    // The chunk before is complete: it joins the row before it when both are alike.
    if (m_rows.size() >= 2) {
        const auto& last = m_rows.back();
        const auto& before = m_rows[m_rows.size() - 2];
        if (last.samples == before.samples && last.description == before.description)
            m_rows.pop_back();
    }
    m_rows.push_back({static_cast<std::uint32_t>(m_chunks.size()), 0, m_nextDescription});
}

Result<void> SampleTableBuilder::add(const Sample& sample, std::uint32_t count)
{
    if (count == 0)
        return {};
    if (count > UINT32_MAX - sampleCount())
        return failure(MovieError::Code::Refused, "stsz", "a media cannot have more than 2^32 - 1 samples");
    if (m_chunkPending) {
        if (m_chunks.size() == UINT32_MAX)
            return failure(
                MovieError::Code::Refused, "stsc", "a media cannot have more than 2^32 - 1 chunks");
        openChunk();
    }
    m_rows.back().samples += count;
    m_durations.add(count, sample.duration);
    m_sizes.add(count, sample.size);
    m_offsets.add(count, sample.compositionOffset);
    m_sync.add(count, sample.isSync);
    m_dependencies.add(count, sample.dependency);
    m_duration += static_cast<std::uint64_t>(count) * sample.duration;
    return {};
}

bool SampleTableBuilder::changeLastDuration(std::int64_t by)
{
    if (m_durations.runs.empty())
        return false;
    const auto last = m_durations.runs.back().value;
    if (by < -static_cast<std::int64_t>(last) || by > static_cast<std::int64_t>(UINT32_MAX - last))
        return false;
    const auto changed = static_cast<std::int64_t>(last) + by;
    m_durations.fit(m_durations.total - 1, 0);
    m_durations.add(1, static_cast<std::uint32_t>(changed));
    m_duration
        = by < 0 ? m_duration - static_cast<std::uint64_t>(-by) : m_duration + static_cast<std::uint64_t>(by);
    return true;
}

bool SampleTableBuilder::dependenciesSayMore() const
{
    auto sync = m_sync.runs.begin();
    std::uint32_t syncLeft = sync == m_sync.runs.end() ? 0 : sync->count;
    for (const auto& run : m_dependencies.runs) {
        for (auto left = run.count; left > 0;) {
            if (run.value != 0 && run.value != (sync->value ? kDependsOnNone : kDependsOnOthers))
                return true;
            const auto both = std::min(left, syncLeft);
            left -= both;
            syncLeft -= both;
            if (syncLeft == 0 && ++sync != m_sync.runs.end())
                syncLeft = sync->count;
        }
    }
    return false;
}

void SampleTableBuilder::writeTimes(Atom& stbl) const
{
    auto times = table(m_durations.runs.size());
    for (const auto& run : m_durations.runs)
        times.u32(run.count).u32(run.value);
    stbl.setLeaf("stts"_cc, times.toBytes());

    if (m_offsets.isAll(0)) {
        stbl.remove("ctts"_cc);
        return;
    }
    const bool isSigned = std::any_of(
        m_offsets.runs.begin(), m_offsets.runs.end(), [](const auto& run) { return run.value < 0; });
    auto offsets = table(m_offsets.runs.size(), isSigned ? 1 : 0);
    for (const auto& run : m_offsets.runs)
        offsets.u32(run.count).i32(run.value);
    stbl.setLeaf("ctts"_cc, offsets.toBytes());
}

void SampleTableBuilder::writeSync(Atom& stbl) const
{
    if (m_sync.isAll(true)) {
        stbl.remove("stss"_cc);
    } else {
        std::size_t count = 0;
        for (const auto& run : m_sync.runs)
            count += run.value ? run.count : 0;
        auto numbers = table(count);
        numbers.reserve(8 + count * 4);
        std::uint32_t number = 1;
        for (const auto& run : m_sync.runs) {
            for (std::uint32_t i = 0; run.value && i < run.count; ++i)
                numbers.u32(number + i);
            number += run.count;
        }
        stbl.setLeaf("stss"_cc, numbers.toBytes());
    }
    if (m_keepDependencies || dependenciesSayMore()) {
        ByteWriter bytes;
        bytes.reserve(4 + std::size_t {sampleCount()});
        bytes.u32(0);
        for (const auto& run : m_dependencies.runs)
            for (std::uint32_t i = 0; i < run.count; ++i)
                bytes.u8(run.value);
        stbl.setLeaf("sdtp"_cc, bytes.toBytes());
    }
}

void SampleTableBuilder::writeChunks(Atom& stbl) const
{
    auto rows = m_rows;
    if (rows.size() >= 2 && rows.back().samples == rows[rows.size() - 2].samples
        && rows.back().description == rows[rows.size() - 2].description)
        rows.pop_back();
    auto chunks = table(rows.size());
    for (const auto& row : rows)
        chunks.u32(row.firstChunk).u32(row.samples).u32(row.description);
    stbl.setLeaf("stsc"_cc, chunks.toBytes());

    ByteWriter sizes;
    const auto& runs = m_sizes.runs;
    const bool uniform = runs.empty() || (runs.size() == 1 && runs.front().value != 0);
    sizes.u32(0).u32(uniform && !runs.empty() ? runs.front().value : 0).u32(sampleCount());
    if (!uniform) {
        sizes.reserve(12 + std::size_t {sampleCount()} * 4);
        for (const auto& run : runs)
            for (std::uint32_t i = 0; i < run.count; ++i)
                sizes.u32(run.value);
    }
    if (stbl.find("stz2"_cc) && !stbl.find("stsz"_cc))
        stbl.edit("stz2"_cc)->type = "stsz"_cc;
    stbl.setLeaf("stsz"_cc, sizes.toBytes());

    auto offsets = table(m_chunks.size());
    offsets.reserve(8 + m_chunks.size() * (m_wideOffsets ? 8 : 4));
    for (const auto offset : m_chunks) {
        if (m_wideOffsets)
            offsets.u64(offset);
        else
            offsets.u32(static_cast<std::uint32_t>(offset));
    }
    const auto type = m_wideOffsets ? "co64"_cc : "stco"_cc;
    const auto other = m_wideOffsets ? "stco"_cc : "co64"_cc;
    if (stbl.find(other) && !stbl.find(type))
        stbl.edit(other)->type = type;
    stbl.remove(other);
    stbl.setLeaf(type, offsets.toBytes());
}

void SampleTableBuilder::write(Atom& stbl) const
{
    writeTimes(stbl);
    writeSync(stbl);
    writeChunks(stbl);
}

} // namespace reelwright

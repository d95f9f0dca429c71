#include "movie/samples/SampleTable.h"

#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    std::uint32_t number32(const Bytes& bytes, std::size_t offset)
    {
        return readBigEndian32(bytes.span().data() + offset);
    }

    /// Entries of a table: a 32-bit count at `countAt`, then `count` entries of `size` bytes; cut to what the
    /// atom holds.
    Bytes entries(
        const Atom* atom, std::size_t countAt, std::size_t size, std::vector<MovieWarning>* warnings)
    {
        if (!atom || atom->isCut || atom->head.size() < countAt + 4)
            return {};
        const auto claimed = number32(atom->head, countAt);
        const auto body = atom->head.slice(countAt + 4);
        const auto room = body.size() / size;
        if (claimed > room && warnings)
            warnings->push_back({atom->sourceOffset, atom->type.text(),
                fmt::format("{} entries claimed, {} are there", claimed, room)});
        return body.slice(0, std::min<std::size_t>(claimed, room) * size);
    }

} // namespace

SampleTable SampleTable::parse(const Atom& stbl, std::vector<MovieWarning>* warnings)
{
    SampleTable table;
    table.m_times = entries(stbl.find("stts"_cc), 4, 8, warnings);
    table.m_chunkRuns = entries(stbl.find("stsc"_cc), 4, 12, warnings);
    if (const auto* wide = stbl.find("co64"_cc)) {
        table.m_wideOffsets = true;
        table.m_chunkOffsets = entries(wide, 4, 8, warnings);
    } else {
        table.m_chunkOffsets = entries(stbl.find("stco"_cc), 4, 4, warnings);
    }
    if (const auto* sizes = stbl.find("stsz"_cc); sizes && sizes->head.size() >= 12) {
        table.m_uniformSize = number32(sizes->head, 4);
        table.m_sampleCount = number32(sizes->head, 8);
        if (table.m_uniformSize == 0 && !sizes->isCut) {
            table.m_sizes = entries(sizes, 8, 4, warnings);
            table.m_sampleCount = static_cast<std::uint32_t>(table.m_sizes.size() / 4);
        }
    } else if (const auto* compact = stbl.find("stz2"_cc); compact && compact->head.size() >= 12) {
        const auto bits = std::to_integer<unsigned>(compact->head.span()[7]);
        if (bits == 4 || bits == 8 || bits == 16) {
            table.m_sizeBits = bits;
            const auto body = compact->head.slice(12);
            const auto room = compact->isCut ? SIZE_MAX : body.size() * 8 / bits;
            table.m_sampleCount
                = static_cast<std::uint32_t>(std::min<std::size_t>(number32(compact->head, 8), room));
            table.m_sizes = body;
        }
    }
    if (std::any_of(
            stbl.children.begin(), stbl.children.end(), [](const auto& child) { return child->isCut; })) {
        // Without all of the tables no sample can be found.
        table.m_sizes = {};
        table.m_chunkRuns = {};
        table.m_chunkOffsets = {};
    }
    return table;
}

std::uint32_t SampleTable::sampleSize(std::uint32_t sample) const
{
    if (sample == 0 || sample > m_sampleCount)
        return 0;
    if (m_uniformSize != 0)
        return m_uniformSize;
    if (m_sizes.empty()) // cut
        return 0;
    const std::size_t index = sample - 1;
    const auto* bytes = m_sizes.span().data();
    if (m_sizeBits == 32)
        return readBigEndian32(bytes + index * 4);
    if (m_sizeBits >= 8)
        return static_cast<std::uint32_t>(readBigEndian(bytes + index * (m_sizeBits / 8), m_sizeBits / 8));
    const auto pair = std::to_integer<std::uint32_t>(bytes[index / 2]);
    return index % 2 == 0 ? pair >> 4U : pair & 0xFU;
}

SampleTable::TimeRun SampleTable::timeRun(std::size_t index) const
{
    return {number32(m_times, index * 8), number32(m_times, index * 8 + 4)};
}

SampleTable::ChunkRun SampleTable::chunkRun(std::size_t index) const
{
    const auto at = index * 12;
    return {number32(m_chunkRuns, at), number32(m_chunkRuns, at + 4), number32(m_chunkRuns, at + 8)};
}

std::uint32_t SampleTable::chunkCount() const
{
    return static_cast<std::uint32_t>(m_chunkOffsets.size() / (m_wideOffsets ? 8 : 4));
}

std::uint64_t SampleTable::chunkOffset(std::uint32_t chunk) const
{
    RW_ASSERT(chunk >= 1 && chunk <= chunkCount());
    const auto* bytes = m_chunkOffsets.span().data();
    const std::size_t index = chunk - 1;
    return m_wideOffsets ? readBigEndian64(bytes + index * 8) : readBigEndian32(bytes + index * 4);
}

std::uint64_t SampleTable::duration() const
{
    // 2^28 rows of at most 2^64 each: only the sum can overflow.
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < timeRunCount(); ++i) {
        const auto run = timeRun(i);
        const auto part = static_cast<std::uint64_t>(run.count) * run.duration;
        total = part > UINT64_MAX - 1 - total ? UINT64_MAX - 1 : total + part;
    }
    return total;
}

std::uint32_t SampleTable::firstDuration() const
{
    for (std::size_t i = 0; i < timeRunCount(); ++i)
        if (const auto run = timeRun(i); run.count != 0)
            return run.duration;
    return 0;
}

std::optional<SampleTable::TimedSample> SampleTable::sampleAt(std::uint64_t mediaTime) const
{
    std::uint64_t start = 0;
    std::uint64_t before = 0; // samples of the rows before
    std::optional<TimedSample> last;
    for (std::size_t i = 0; i < timeRunCount() && before < m_sampleCount; ++i) {
        const auto run = timeRun(i);
        if (run.count == 0)
            continue;
        // Rows may tell of more samples than there are.
        const auto count = std::min<std::uint64_t>(run.count, m_sampleCount - before);
        const auto length = count * run.duration;
        const bool holds = mediaTime - start < length;
        const auto inRun = holds ? (mediaTime - start) / run.duration : count - 1;
        last = TimedSample {
            static_cast<std::uint32_t>(before + inRun + 1), start + inRun * run.duration, run.duration};
        if (holds)
            break;
        start += length;
        before += count;
    }
    return last;
}

std::uint64_t SampleTable::bytesOf(std::uint32_t firstSample, std::uint32_t count, SoundPacking packing) const
{
    const auto plain = static_cast<std::uint64_t>(count) * m_uniformSize;
    if (m_uniformSize != 0 && packing.frames != 0) {
        // A last, partial packet is stored whole.
        const auto packed
            = (static_cast<std::uint64_t>(count) + packing.frames - 1) / packing.frames * packing.bytes;
        // Size 1 is how QuickTime writes "see the description". Where a table says another size, writers
        // disagree about which of the two is true: the larger one loses nothing.
        return m_uniformSize == 1 ? packed : std::max(plain, packed);
    }
    if (m_uniformSize != 0)
        return plain;
    std::uint64_t total = 0;
    if (m_sizeBits == 32) {
        const auto sizes
            = m_sizes.span().subspan((firstSample - std::size_t {1}) * 4, std::size_t {count} * 4);
        for (std::size_t i = 0; i < sizes.size(); i += 4)
            total += readBigEndian32(sizes.data() + i);
        return total;
    }
    for (std::uint32_t i = 0; i < count; ++i)
        total += sampleSize(firstSample + i);
    return total;
}

template <class Visit> void SampleTable::forEachRun(Visit visit) const
{
    std::uint64_t left = 1; // the first chunk that the rows before have left
    for (std::size_t row = 0; row < chunkRunCount(); ++row) {
        const auto run = chunkRun(row);
        std::uint64_t end = chunkCount() + 1ULL;
        if (row + 1 < chunkRunCount())
            end = std::min<std::uint64_t>(end, chunkRun(row + 1).firstChunk);
        const auto begin = std::max<std::uint64_t>(left, run.firstChunk);
        if (begin >= end)
            continue;
        if (!visit(run, begin, end))
            return;
        left = end;
    }
}

void SampleTable::forEachChunk(
    const std::function<bool(std::uint32_t, const Chunk&)>& visit, SoundPacking packing) const
{
    std::uint64_t sample = 1;
    forEachRun([&](const ChunkRun& run, std::uint64_t begin, std::uint64_t end) {
        for (auto number = begin; number < end && sample <= m_sampleCount; ++number) {
            const auto chunkNumber = static_cast<std::uint32_t>(number);
            const auto count = static_cast<std::uint32_t>(
                std::min<std::uint64_t>(run.samplesPerChunk, m_sampleCount - sample + 1));
            const auto first = static_cast<std::uint32_t>(sample);
            const Chunk chunk {
                chunkOffset(chunkNumber), bytesOf(first, count, packing), first, count, run.description};
            if (!visit(chunkNumber, chunk))
                return false;
            sample += count;
        }
        return sample <= m_sampleCount;
    });
}

std::optional<SampleTable::Chunk> SampleTable::locate(std::uint32_t sample, SoundPacking packing) const
{
    if (sample == 0 || sample > m_sampleCount)
        return std::nullopt;
    // Row by row to the chunk that holds it: no walk over all chunks.
    std::optional<Chunk> found;
    std::uint64_t first = 1;
    forEachRun([&](const ChunkRun& run, std::uint64_t begin, std::uint64_t end) {
        const auto samples = (end - begin) * run.samplesPerChunk;
        if (sample >= first + samples) {
            first += samples;
            return true;
        }
        const auto inRun = (sample - first) / run.samplesPerChunk;
        const auto firstInChunk = static_cast<std::uint32_t>(first + inRun * run.samplesPerChunk);
        auto before = sample - firstInChunk;
        if (m_uniformSize != 0 && packing.frames != 0)
            before -= before % packing.frames; // a sample lies where its packet begins
        const auto offset
            = chunkOffset(static_cast<std::uint32_t>(begin + inRun)) + bytesOf(firstInChunk, before, packing);
        found = Chunk {offset, bytesOf(sample, 1, packing), sample, 1, run.description};
        return false;
    });
    return found;
}

} // namespace reelwright

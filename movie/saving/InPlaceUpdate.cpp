#include "movie/saving/InPlaceUpdate.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/ByteWriter.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr std::uint64_t kSector = 512;
    constexpr std::uint64_t kHeaderSize = 8;
    constexpr std::uint64_t kMaxGap = UINT32_MAX - 16;

    bool isFree(const TopLevelAtom& atom)
    {
        return (atom.type == "free"_cc || atom.type == "skip"_cc) && atom.sizeForm == SizeForm::Compact;
    }

    /// Are so many bytes there (a field of an atom's header, or all of it) written whole or not at all?
    bool isAtomic(std::uint64_t offset, std::uint64_t size = 4)
    {
        return offset % kSector <= kSector - size;
    }

    /// The smallest stretch in front of an atom at `offset` with which its fields can be switched, and which
    /// can be a free atom itself.
    std::uint64_t leadFor(std::uint64_t offset)
    {
        if (isAtomic(offset + 4))
            return 0;
        std::uint64_t lead = kHeaderSize;
        while (!isAtomic(offset + lead + 4))
            ++lead;
        return lead;
    }

    /// A gap can be left empty behind an atom, or hold a free atom.
    bool canBeRest(std::uint64_t size)
    {
        return size == 0 || size >= kHeaderSize;
    }

    tl::unexpected<MovieError> mediaBehind(std::uint64_t offset)
    {
        return failure(MovieError::Code::Refused, {},
            "media of the movie lie behind the last whole atom, where the file would be cut off", offset);
    }

    tl::unexpected<MovieError> missingMediaAt(std::uint64_t offset)
    {
        return failure(MovieError::Code::Refused, {},
            "media of the movie are missing at the end of the file, and what is written there would be taken "
            "for them",
            offset);
    }

} // namespace

InPlaceUpdate::InPlaceUpdate(StorageFile* file, FileLayout layout, std::vector<FileStretch> inUse)
    : m_file(file)
    , m_layout(std::move(layout))
{
    std::ranges::sort(inUse, {}, &FileStretch::offset);
    for (const auto& stretch : inUse)
        if (m_inUse.empty() || stretch.offset > m_inUse.back().end)
            m_inUse.push_back(stretch);
        else
            m_inUse.back().end = std::max(m_inUse.back().end, stretch.end);
}

bool InPlaceUpdate::isInUse(std::uint64_t begin, std::uint64_t end) const
{
    const auto first = std::ranges::upper_bound(m_inUse, begin, {}, &FileStretch::end);
    return begin < end && first != m_inUse.end() && first->offset < end;
}

bool InPlaceUpdate::isUsable(const TopLevelAtom& atom) const
{
    // An atom that is cut short reaches behind the end of what can be written over.
    return isFree(atom) && !isInUse(atom.offset, atom.end()) && atom.end() <= m_layout.end;
}

std::uint64_t InPlaceUpdate::firstMediaOffset() const
{
    for (const auto& atom : m_layout.atoms)
        if (atom.type == "mdat"_cc)
            return atom.offset;
    return UINT64_MAX;
}

std::size_t InPlaceUpdate::indexAt(std::uint64_t offset) const
{
    const auto atom = std::find_if(m_layout.atoms.begin(), m_layout.atoms.end(),
        [&](const TopLevelAtom& a) { return a.offset == offset; });
    RW_ASSERT(atom != m_layout.atoms.end());
    return static_cast<std::size_t>(atom - m_layout.atoms.begin());
}

std::optional<InPlaceUpdate::Gap> InPlaceUpdate::findGap(
    std::uint64_t size, Place place, std::optional<std::size_t> alsoFree) const
{
    const auto media = firstMediaOffset();
    const auto& atoms = m_layout.atoms;
    const auto usable = [&](std::size_t i) {
        return i == alsoFree ? !isInUse(atoms[i].offset, atoms[i].end()) : isUsable(atoms[i]);
    };
    std::size_t runEnd = 0; // of the usable atoms that follow each other, the first that is none
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const auto offset = atoms[i].offset;
        if (i == runEnd) {
            while (runEnd < atoms.size() && usable(runEnd))
                ++runEnd;
            if (i == runEnd) {
                ++runEnd;
                continue;
            }
        }
        if (!isAtomic(offset))
            continue;
        if ((place == Place::BeforeMedia && offset > media)
            || (place == Place::BehindMedia && offset < media))
            continue;
        const auto lead = leadFor(offset);
        // The first atoms are too few until one ends behind the new one.
        auto last = std::ranges::lower_bound(atoms.begin() + static_cast<std::ptrdiff_t>(i),
            atoms.begin() + static_cast<std::ptrdiff_t>(runEnd), offset + lead + size, {},
            &TopLevelAtom::end);
        for (; last != atoms.begin() + static_cast<std::ptrdiff_t>(runEnd); ++last) {
            const auto length = last->end() - offset;
            if (length > kMaxGap)
                break;
            if (canBeRest(length - lead - size))
                return Gap {i, static_cast<std::size_t>(last - atoms.begin()) - i + 1, offset, length, lead};
        }
    }
    return std::nullopt;
}

InPlaceUpdate::Gap InPlaceUpdate::endGap(std::uint64_t size) const
{
    const auto lead = leadFor(m_layout.end);
    return {m_layout.atoms.size(), 0, m_layout.end, lead + size, lead};
}

Result<void> InPlaceUpdate::write(std::uint64_t offset, ByteSpan bytes)
{
    m_bytesWritten += bytes.size();
    m_longestSize = std::max(m_longestSize, offset + bytes.size());
    return m_file ? m_file->writeAt(offset, bytes) : Result<void> {};
}

Result<void> InPlaceUpdate::flush()
{
    return m_file ? m_file->flush() : Result<void> {};
}

Result<void> InPlaceUpdate::truncate(std::uint64_t size)
{
    return m_file ? m_file->truncate(size) : Result<void> {};
}

Result<void> InPlaceUpdate::write32(std::uint64_t offset, std::uint32_t value)
{
    RW_CHECK(write(offset, ByteWriter {}.u32(value).span()));
    return flush();
}

Result<void> InPlaceUpdate::writeHeader(std::uint64_t offset, std::uint64_t size, FourCC type)
{
    RW_ASSERT(isAtomic(offset, kHeaderSize));
    RW_CHECK(write(offset, ByteWriter {}.u32(static_cast<std::uint32_t>(size)).fourCC(type).span()));
    return flush();
}

Result<std::uint64_t> InPlaceUpdate::fill(const Gap& gap, ByteSpan atom)
{
    const auto type = ByteReader {atom.subspan(4)}.fourCC();
    const auto at = gap.offset + gap.lead;
    if (type == "moov"_cc)
        m_furthestHeaderOffset = std::max(m_furthestHeaderOffset, at);
    const auto rest = gap.size - gap.lead - atom.size();
    const bool atEnd = gap.count == 0;

    // 1. One free atom covers the whole gap.
    if (atEnd) {
        if (m_layout.ending != FileLayout::Ending::Clean)
            RW_CHECK(truncate(gap.offset));
        ByteWriter cover;
        cover.u32(static_cast<std::uint32_t>(gap.size)).fourCC("free"_cc);
        RW_CHECK(write(gap.offset, cover.span()));
        RW_CHECK(flush());
    } else if (gap.count > 1) {
        RW_CHECK(write32(gap.offset, static_cast<std::uint32_t>(gap.size)));
    }

    // 2. Its inside, with the atom typed free.
    if (gap.lead > 0) {
        ByteWriter lead;
        lead.zeros(static_cast<std::size_t>(gap.lead - kHeaderSize)).bytes(atom.first(4)).fourCC("free"_cc);
        RW_CHECK(write(gap.offset + kHeaderSize, lead.span()));
    }
    RW_CHECK(write(at + kHeaderSize, atom.subspan(kHeaderSize)));
    if (rest > 0)
        RW_CHECK(write(
            at + atom.size(), ByteWriter {}.u32(static_cast<std::uint32_t>(rest)).fourCC("free"_cc).span()));
    RW_CHECK(flush());

    // 3. The cover shrinks to its first atom; 4. the type makes the new one live. Both at once where they are
    // one header that no sector divides.
    const auto firstSize = gap.lead > 0 ? gap.lead : atom.size();
    const bool atOnce = gap.lead == 0 && isAtomic(at, kHeaderSize);
    if (firstSize != gap.size && !atOnce)
        RW_CHECK(write32(gap.offset, static_cast<std::uint32_t>(firstSize)));
    m_mayHaveReplacedHeader = m_mayHaveReplacedHeader || type == "moov"_cc;
    RW_CHECK(atOnce ? writeHeader(at, atom.size(), type) : write32(at + 4, type.value));

    std::vector<TopLevelAtom> placed;
    if (gap.lead > 0)
        placed.push_back({"free"_cc, gap.offset, gap.lead, kHeaderSize, SizeForm::Compact});
    placed.push_back({type, at, atom.size(), kHeaderSize, SizeForm::Compact});
    if (rest > 0)
        placed.push_back({"free"_cc, at + atom.size(), rest, kHeaderSize, SizeForm::Compact});
    auto& atoms = m_layout.atoms;
    if (atEnd) {
        if (m_layout.ending == FileLayout::Ending::CutFree)
            atoms.pop_back();
        m_layout.ending = FileLayout::Ending::Clean;
        m_layout.end = m_layout.fileSize = gap.offset + gap.size;
        atoms.insert(atoms.end(), placed.begin(), placed.end());
    } else {
        const auto first = atoms.begin() + static_cast<std::ptrdiff_t>(gap.first);
        const auto after = atoms.erase(first, first + static_cast<std::ptrdiff_t>(gap.count));
        atoms.insert(after, placed.begin(), placed.end());
    }
    return at;
}

Result<std::uint64_t> InPlaceUpdate::place(ByteSpan atom, Place place)
{
    if (const auto gap = findGap(atom.size(), place, std::nullopt))
        return fill(*gap, atom);
    const auto endBefore = m_layout.end;
    const auto gap = endGap(atom.size());
    if (isInUse(gap.offset, m_layout.fileSize))
        return mediaBehind(gap.offset);
    if (isInUse(gap.offset, gap.offset + gap.size))
        return missingMediaAt(gap.offset);
    auto placed = fill(gap, atom);
    if (!placed) // nothing refers to what was appended: leave the file as long as it was
        static_cast<void>(truncate(endBefore));
    return placed;
}

Result<void> InPlaceUpdate::retire(std::uint64_t offset)
{
    const auto index = indexAt(offset);
    auto& atom = m_layout.atoms[index];
    if (atom.end() == m_layout.fileSize && !isInUse(atom.offset, atom.end())) {
        const auto cut = truncate(offset);
        if (cut) {
            RW_CHECK(flush());
            m_layout.end = m_layout.fileSize = offset;
            m_layout.atoms.pop_back();
            return {};
        }
        if (cut.error().code != MovieError::Code::Changed)
            return cut;
        // Another program has appended to the file: the atom stays, as free space.
    }
    if (atom.sizeForm != SizeForm::Compact || !isAtomic(offset, kHeaderSize)) {
        RW_CHECK(write32(offset + 4, "free"_cc.value));
        atom.type = "free"_cc;
        return {};
    }
    // With the free atoms behind it it becomes one, and needs no cover when it is filled.
    auto& atoms = m_layout.atoms;
    auto size = atom.size;
    auto next = index + 1;
    for (; next < atoms.size() && isUsable(atoms[next]) && size + atoms[next].size <= kMaxGap; ++next)
        size += atoms[next].size;
    RW_CHECK(writeHeader(offset, size, "free"_cc));
    atom.type = "free"_cc;
    atom.size = size;
    const auto behind = atoms.begin() + static_cast<std::ptrdiff_t>(index + 1);
    atoms.erase(behind, atoms.begin() + static_cast<std::ptrdiff_t>(next));
    return {};
}

bool InPlaceUpdate::canClose(const FileLayout& layout)
{
    if (layout.ending != FileLayout::Ending::ToEnd || layout.atoms.back().type != "mdat"_cc)
        return false;
    const auto& atom = layout.atoms.back();
    return isAtomic(atom.offset) && atom.size <= UINT32_MAX;
}

Result<void> InPlaceUpdate::close()
{
    if (m_layout.ending != FileLayout::Ending::ToEnd)
        return {};
    RW_ASSERT(canClose(m_layout));
    auto& atom = m_layout.atoms.back();
    RW_CHECK(write32(atom.offset, static_cast<std::uint32_t>(atom.size)));
    atom.sizeForm = SizeForm::Compact;
    m_layout.ending = FileLayout::Ending::Clean;
    return {};
}

Result<void> InPlaceUpdate::retype(std::uint64_t offset, FourCC type)
{
    auto& atom = m_layout.atoms[indexAt(offset)];
    if (!isAtomic(offset + 4))
        return {};
    RW_CHECK(write32(offset + 4, type.value));
    atom.type = type;
    return {};
}

Result<void> InPlaceUpdate::replaceHeader(
    std::uint64_t oldOffset, std::uint64_t size, const HeaderAt& headerAt)
{
    const auto media = firstMediaOffset();
    const bool wasInFront = media != UINT64_MAX && oldOffset < media;
    const auto wanted = wasInFront ? Place::BeforeMedia : Place::Anywhere;
    const auto fillWith = [&](const Gap& gap) -> Result<void> {
        RW_TRY(const auto header, headerAt(gap.offset + gap.lead));
        RW_CHECK(fill(gap, header.span()));
        m_headerOffset = gap.offset + gap.lead;
        return {};
    };

    if (const auto gap = findGap(size, wanted, std::nullopt)) {
        RW_CHECK(fillWith(*gap));
        return retire(oldOffset);
    }
    const bool returns = findGap(size, wanted, indexAt(oldOffset)).has_value();
    const auto anywhere = findGap(size, Place::Anywhere, std::nullopt);
    RW_TRY(const auto interimHeader,
        headerAt(anywhere ? anywhere->offset + anywhere->lead : m_layout.end + leadFor(m_layout.end)));
    RW_TRY(const auto interim, place(interimHeader.span(), Place::Anywhere));
    m_headerOffset = interim;
    RW_CHECK(retire(oldOffset));
    m_headerLeftTheFront = wasInFront;
    if (!returns)
        return {};
    // The old header's space is free now. Its gap can be gone only where retiring cut it off with the end of
    // the file.
    const auto home = findGap(size, wanted, std::nullopt);
    if (!home)
        return {};
    RW_CHECK(fillWith(*home));
    m_headerLeftTheFront = false;
    return retire(interim);
}

} // namespace reelwright

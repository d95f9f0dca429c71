#include "movie/saving/MediaOffsets.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace reelwright {
namespace {

    /// Which source each sample description of a track keeps its media in.
    using SourceOfDescription = std::function<Result<std::size_t>(std::uint32_t description)>;

    SampleTable tableOf(const QTTrack& track)
    {
        return track.media().sampleTable();
    }

    /// Are media in memory among what the table refers to? Looks at the offsets only.
    bool refersToMemory(const SampleTable& table)
    {
        if (!table.hasWideOffsets()) // offsets of media in memory need 64 bits
            return false;
        for (std::uint32_t chunk = 1; chunk <= table.chunkCount(); ++chunk)
            if (table.chunkOffset(chunk) >= MediaSources::kMemoryBase)
                return true;
        return false;
    }

    void forEachChunkOf(
        const QTTrack& track, const std::function<bool(std::uint32_t, const SampleTable::Chunk&)>& visit)
    {
        const auto media = track.media();
        media.sampleTable().forEachChunk(visit, media.soundPacking(1));
    }

    /// New `stco` or `co64` payload for these offsets, and its type.
    Atom chunkOffsetAtom(const std::vector<std::uint64_t>& offsets, std::uint32_t versionAndFlags)
    {
        const bool wide
            = std::any_of(offsets.begin(), offsets.end(), [](auto offset) { return offset > UINT32_MAX; });
        ByteWriter out;
        out.reserve(8 + offsets.size() * (wide ? 8 : 4));
        out.u32(versionAndFlags).u32(static_cast<std::uint32_t>(offsets.size()));
        for (const auto offset : offsets)
            wide ? out.u64(offset) : out.u32(static_cast<std::uint32_t>(offset));
        return Atom {wide ? "co64"_cc : "stco"_cc, out.toBytes()};
    }

    /// Replaces the chunk offsets below `stbl` where they stand.
    void setChunkOffsets(Atom& stbl, const std::vector<std::uint64_t>& offsets)
    {
        for (auto& child : stbl.children)
            if (child->type == "stco"_cc || child->type == "co64"_cc) {
                const auto flags = ByteReader {child->head.span()}.u32();
                child = Cow<Atom>(chunkOffsetAtom(offsets, flags));
                return;
            }
    }

    /// A metadata value that is a file offset, and the key whose value is the length there.
    struct OffsetKey
    {
        std::string_view offsetKey;
        std::string_view lengthKey;
    };
    constexpr OffsetKey kOffsetKeys[] = {{"auxiliary.tracks.offset", "auxiliary.tracks.length"}};

    /// Where auxiliary data of samples lie (`saio`, ISO/IEC 14496-12 8.7.9).
    struct AuxiliaryOffsets
    {
        Bytes start; ///< version, flags and, where there is one, the kind
        bool isWide = false;
        std::vector<std::uint64_t> offsets;
        Bytes tail;

        static std::optional<AuxiliaryOffsets> parse(const Atom& atom)
        {
            AuxiliaryOffsets list;
            ByteReader in {atom.head.span()};
            list.isWide = in.u8() != 0;
            const std::size_t startSize = (in.u24() & 1U) != 0 ? 12 : 4;
            list.start = atom.head.slice(0, startSize);
            in.skip(startSize - 4);
            for (auto count = in.count32(list.isWide ? 8 : 4); count > 0; --count)
                list.offsets.push_back(list.isWide ? in.u64() : in.u32());
            list.tail = Bytes::copyOf(in.rest());
            if (!in.ok())
                return std::nullopt;
            return list;
        }
        [[nodiscard]] Bytes write() const
        {
            ByteWriter out;
            out.bytes(start.span()).u32(static_cast<std::uint32_t>(offsets.size()));
            for (const auto offset : offsets)
                isWide ? out.u64(offset) : out.u32(static_cast<std::uint32_t>(offset));
            return out.bytes(tail.span()).toBytes();
        }
    };

    template <class Visit> void forEachBelow(const Atom& atom, FourCC type, const Visit& visit)
    {
        for (const auto& child : atom.children)
            if (child->type == type)
                visit(*child);
            else
                forEachBelow(*child, type, visit);
    }

    bool hasBelow(const Atom& atom, FourCC type)
    {
        return std::ranges::any_of(atom.children,
            [&](const Cow<Atom>& child) { return child->type == type || hasBelow(*child, type); });
    }

    template <class Visit> void editBelow(Atom& atom, FourCC type, const Visit& visit)
    {
        for (auto& child : atom.children)
            if (child->type == type)
                visit(child.edit());
            else if (hasBelow(*child, type))
                editBelow(child.edit(), type, visit);
    }

    /// Where the bytes of an atom without children lie in a header.
    struct LeafPlace
    {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::uint64_t id = 0;
    };

    void addLeaves(const Atom& atom, std::uint64_t offset, std::vector<LeafPlace>& leaves)
    {
        const auto size = atom.size();
        if (atom.children.empty()) {
            leaves.push_back({offset, offset + size, atom.id});
            return;
        }
        std::uint64_t below = atom.tail.size();
        for (const auto& child : atom.children)
            below += child->size();
        auto at = offset + size - below;
        for (const auto& child : atom.children) {
            addLeaves(*child, at, leaves);
            at += child->size();
        }
    }

    /// In the order in which they lie, counted from the start of the header.
    std::vector<LeafPlace> leafPlaces(const Atom& header)
    {
        std::vector<LeafPlace> leaves;
        addLeaves(header, 0, leaves);
        return leaves;
    }

    /// The position records that dashboard cameras keep beside the media, and list in the header: version,
    /// count, then offset and size of each, in 32 bits.
    std::vector<FileStretch> positionRecords(const Atom& moov)
    {
        std::vector<FileStretch> records;
        if (const auto* list = moov.find("gps "_cc)) {
            ByteReader in {list->head.span()};
            in.skip(4);
            for (auto count = in.count32(8); count > 0; --count) {
                const std::uint64_t offset = in.u32();
                records.push_back({offset, offset + in.u32()});
            }
        }
        return records;
    }

    Result<void> rewritePositions(Atom& moov, const MediaOffsets::Map& map)
    {
        const auto* list = moov.find("gps "_cc);
        if (!list)
            return {};
        ByteReader in {list->head.span()};
        ByteWriter out;
        out.u32(in.u32());
        const auto count = in.count32(8);
        out.u32(static_cast<std::uint32_t>(count));
        for (auto i = count; i > 0; --i) {
            const std::uint64_t offset = in.u32();
            const auto size = in.u32();
            // A record that is not there keeps its number.
            const auto target = size == 0 ? std::nullopt : map(0, offset);
            if (target > UINT32_MAX)
                return failure(MovieError::Code::Unsupported, "moov/gps ",
                    "position records would come to lie where the header cannot name them", offset);
            out.u32(static_cast<std::uint32_t>(target.value_or(offset))).u32(size);
        }
        out.bytes(in.rest());
        if (in.ok())
            moov.edit("gps "_cc)->head = out.toBytes();
        return {};
    }

    /// Numbers (1-based) of the keys of a `meta` atom, by name.
    std::map<std::string, std::uint32_t, std::less<>> keyNumbers(const Atom& meta)
    {
        std::map<std::string, std::uint32_t, std::less<>> numbers;
        if (const auto* keys = meta.find("keys"_cc))
            for (std::uint32_t i = 0; i < keys->children.size(); ++i) {
                const auto name = keys->children[i]->head.span();
                std::string text;
                for (const auto byte : name)
                    text += static_cast<char>(byte);
                numbers.emplace(std::move(text), i + 1);
            }
        return numbers;
    }

    /// What the metadata values that are offsets refer to.
    struct OffsetValue
    {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
    };
    std::vector<OffsetValue> offsetValues(const Atom& moov)
    {
        std::vector<OffsetValue> values;
        const auto* meta = moov.find("meta"_cc);
        if (!meta || !meta->find("ilst"_cc) || !meta->find("keys"_cc))
            return values;
        const auto numbers = keyNumbers(*meta);
        const auto value = [&](std::string_view key) -> std::optional<std::uint64_t> {
            const auto number = numbers.find(key);
            const auto* item = number == numbers.end()
                ? nullptr
                : meta->find({"ilst"_cc, FourCC {number->second}, "data"_cc});
            if (!item || item->head.size() != 16)
                return std::nullopt;
            ByteReader in {item->head.span()};
            in.skip(8);
            return in.u64();
        };
        for (const auto& key : kOffsetKeys)
            if (const auto offset = value(key.offsetKey))
                values.push_back({*offset, value(key.lengthKey).value_or(MediaOffsets::kUnknownSize)});
        return values;
    }

    /// Maps the offsets that `meta` keys hold (8-byte big-endian values behind the type and locale of a
    /// `data` atom).
    Result<void> rewriteOffsetKeys(Atom& moov, const MediaOffsets::Map& map)
    {
        const auto* meta = moov.find("meta"_cc);
        if (!meta || !meta->find("ilst"_cc))
            return {};
        const auto numbers = keyNumbers(*meta);
        for (const auto& key : kOffsetKeys) {
            const auto number = numbers.find(key.offsetKey);
            if (number == numbers.end())
                continue;
            auto* item = moov.edit({"meta"_cc, "ilst"_cc, FourCC {number->second}, "data"_cc});
            if (!item || item->head.size() != 16)
                continue;
            ByteReader in {item->head.span()};
            const auto typeAndLocale = in.u64();
            const auto target = map(0, in.u64());
            if (!target)
                return failure(MovieError::Code::Unsupported, "moov/meta",
                    fmt::format(
                        "the value of {} points at bytes that the new file would not hold", key.offsetKey));
            item->head = ByteWriter {}.u64(typeAndLocale).u64(*target).toBytes();
        }
        return {};
    }

} // namespace

const Atom* MediaOffsets::findImmovable(const Atom& atom)
{
    for (const auto& child : atom.children) {
        if (child->type == "saio"_cc || child->type == "iloc"_cc)
            return &*child;
        if (const auto* below = findImmovable(*child))
            return below;
    }
    return nullptr;
}

Result<MediaOffsets> MediaOffsets::collect(const QTMovie& movie)
{
    MediaOffsets result;
    if (movie.isOutline())
        return failure(MovieError::Code::Refused, movie.fileName(),
            "only the outline of the movie was read, not where its media lie");
    if (const auto& own = movie.file())
        result.sources.push_back({own->file, own->path, own->state.size});
    else
        result.sources.emplace_back();
    if (const auto* atom = findImmovable(movie.header()))
        return failure(MovieError::Code::Unsupported, movie.fileName(),
            fmt::format(
                "the header holds offsets ({}) that can only stay true while the media stay where they are",
                atom->type.text()),
            atom->sourceOffset);

    for (const auto& track : movie.tracks()) {
        const auto media = track.media();
        const auto references = media.dataReferences();
        const auto scale = media.timeScale();
        const auto table = tableOf(track);
        std::map<std::uint32_t, std::size_t> sourceOf;
        std::uint64_t time = 0;
        std::size_t run = 0;
        std::uint64_t usedOfRun = 0;
        Result<void> outcome;
        forEachChunkOf(track, [&](std::uint32_t number, const SampleTable::Chunk& chunk) {
            auto known = sourceOf.find(chunk.description);
            if (known == sourceOf.end()) {
                const auto description = media.sampleDescription(chunk.description);
                const std::size_t index = description ? description->dataReferenceIndex() : 0;
                std::size_t source = 0;
                if (index >= 1 && index <= references.size() && !references[index - 1].isSelf) {
                    auto file = movie.sources().open(references[index - 1]);
                    if (!file) {
                        outcome = tl::unexpected<MovieError>(std::move(file).error());
                        return false;
                    }
                    const auto same = std::find_if(result.sources.begin(), result.sources.end(),
                        [&](const MediaSource& other) { return other.file == *file; });
                    source = static_cast<std::size_t>(same - result.sources.begin());
                    if (same == result.sources.end()) {
                        const auto state = (*file)->state();
                        result.sources.push_back(
                            {*file, references[index - 1].name, state ? state->size : 0});
                    }
                }
                known = sourceOf.emplace(chunk.description, source).first;
            }
            const bool inMemory = chunk.offset >= MediaSources::kMemoryBase;
            const auto source = inMemory ? MediaExtent::kMemorySource : known->second;
            if (!inMemory) {
                const auto& file = result.sources[source];
                if (chunk.offset > file.size || chunk.size > file.size - chunk.offset) {
                    outcome = failure(MovieError::Code::Truncated, file.path,
                        fmt::format(
                            "chunk {} of track {} lies behind the end of the file: its media are missing",
                            number, track.trackID()),
                        chunk.offset);
                    return false;
                }
            }
            result.extents.push_back(
                {source, chunk.offset, chunk.size, scale <= 0 ? 0.0 : static_cast<double>(time) / scale});
            // Media time of the next chunk, run by run.
            std::uint64_t samples = chunk.sampleCount;
            while (samples > 0 && run < table.timeRunCount()) {
                const auto row = table.timeRun(run);
                const auto part = std::min<std::uint64_t>(samples, row.count - usedOfRun);
                time += part * row.duration;
                samples -= part;
                usedOfRun += part;
                if (usedOfRun == row.count) {
                    ++run;
                    usedOfRun = 0;
                }
            }
            return true;
        });
        RW_CHECK(outcome);
    }
    for (const auto& record : positionRecords(movie.header()))
        if (record.offset < record.end && record.end <= result.sources.front().size)
            result.positions.push_back(record);
    return result;
}

Result<Cow<Atom>> MediaOffsets::rewrite(const QTMovie& movie, const Map& map) const
{
    QTMovie copy = movie;
    const EditableScope scope {copy};
    std::size_t next = 0;
    for (const auto& track : copy.tracks()) {
        std::vector<std::uint64_t> offsets;
        std::optional<std::uint32_t> lost;
        forEachChunkOf(track, [&](std::uint32_t number, const SampleTable::Chunk&) {
            const auto& extent = extents[next++];
            const auto target = map(extent.source, extent.offset);
            if (!target && extent.size > 0)
                lost = number;
            // Chunks before the first that holds samples have no place of their own.
            offsets.resize(number - 1, 0);
            offsets.push_back(target.value_or(0));
            return true;
        });
        if (lost)
            return failure(MovieError::Code::Corrupt, movie.fileName(),
                fmt::format("chunk {} of track {} has no place in the new file", *lost, track.trackID()));
        if (!track.atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc}))
            continue;
        // Chunks without samples refer to nothing.
        offsets.resize(tableOf(track).chunkCount(), 0);
        auto* minf = track.editAtom()->edit({"mdia"_cc, "minf"_cc});
        setChunkOffsets(*minf->edit("stbl"_cc), offsets);
        if (auto* dref = minf->edit({"dinf"_cc, "dref"_cc}))
            for (auto& entry : dref->children) {
                ByteReader in {entry->head.span()};
                if ((in.u32() & 1U) == 0) // now its media are in the movie's own file
                    entry = Cow<Atom>(Atom {
                        entry->type == "rsrc"_cc ? "alis"_cc : entry->type, ByteWriter {}.u32(1).toBytes()});
            }
    }
    RW_CHECK(rewriteOffsetKeys(copy.editHeader(), map));
    RW_CHECK(rewritePositions(copy.editHeader(), map));
    return Cow<Atom>(copy.header());
}

std::vector<MediaExtent> MediaOffsets::memoryExtents(const QTMovie& movie)
{
    std::vector<MediaExtent> extents;
    if (!movie.sources().hasMemory())
        return extents; // spares a look at each of a long movie's chunks
    for (const auto& track : movie.tracks())
        if (refersToMemory(tableOf(track)))
            forEachChunkOf(track, [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                if (chunk.offset >= MediaSources::kMemoryBase)
                    extents.push_back({MediaExtent::kMemorySource, chunk.offset, chunk.size, 0});
                return true;
            });
    return extents;
}

Result<Cow<Atom>> MediaOffsets::placeMemory(const QTMovie& movie, const Map& map)
{
    QTMovie copy = movie;
    const EditableScope scope {copy};
    for (const auto& track : copy.tracks()) {
        const auto table = tableOf(track);
        if (!refersToMemory(table))
            continue;
        std::vector<std::uint64_t> offsets;
        for (std::uint32_t chunk = 1; chunk <= table.chunkCount(); ++chunk) {
            auto offset = table.chunkOffset(chunk);
            if (offset >= MediaSources::kMemoryBase) {
                const auto target = map(MediaExtent::kMemorySource, offset);
                if (!target)
                    return failure(MovieError::Code::Corrupt, movie.fileName(),
                        "media in memory have no place in the file");
                offset = *target;
            }
            offsets.push_back(offset);
        }
        setChunkOffsets(*track.editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc}), offsets);
    }
    return Cow<Atom>(copy.header());
}

void MediaOffsets::forEachOwnChunk(const QTTrack& track, const Visit& visit)
{
    const auto media = track.media();
    const auto references = media.dataReferences();
    if (!references.empty() && std::ranges::none_of(references, &DataReference::isSelf))
        return;
    std::map<std::uint32_t, bool> isOwn;
    std::uint32_t seen = 0;
    forEachChunkOf(track, [&](std::uint32_t number, const SampleTable::Chunk& chunk) {
        auto known = isOwn.find(chunk.description);
        if (known == isOwn.end()) {
            const auto description = media.sampleDescription(chunk.description);
            const std::size_t index = description ? description->dataReferenceIndex() : 0;
            known = isOwn
                        .emplace(chunk.description,
                            index < 1 || index > references.size() || references[index - 1].isSelf)
                        .first;
        }
        if (known->second)
            visit(chunk.offset, chunk.size);
        seen = number;
        return true;
    });
    // Others may find samples in chunks that the tables leave empty.
    const auto table = tableOf(track);
    for (auto chunk = seen + 1; chunk > 0 && chunk <= table.chunkCount(); ++chunk)
        visit(table.chunkOffset(chunk), 0);
}

void MediaOffsets::forEachOther(const QTMovie& movie, const Visit& visit)
{
    for (const auto& record : positionRecords(movie.header()))
        visit(record.offset, record.end - record.offset);
    for (const auto& value : offsetValues(movie.header()))
        visit(value.offset, value.length);
    const auto& own = movie.m_truePlace;
    forEachBelow(movie.header(), "saio"_cc, [&](const Atom& atom) {
        if (const auto list = AuxiliaryOffsets::parse(atom))
            for (const auto offset : list->offsets)
                if (offset - own.offset >= own.header->size())
                    visit(offset, kUnknownSize);
    });
    forEachItem(movie.header(), visit);
}

void MediaOffsets::forEachItem(const Atom& atom, const Visit& visit)
{
    forEachBelow(atom, "iloc"_cc, [&](const Atom& iloc) {
        ByteReader in {iloc.head.span()};
        const auto version = in.u8();
        in.skip(3);
        const auto sizes = in.u16();
        const auto number = [&](unsigned width) -> std::uint64_t {
            return width == 0 ? 0 : width == 4 ? in.u32() : width == 8 ? in.u64() : (in.skip(width), 0);
        };
        const auto offsetWidth = static_cast<unsigned>(sizes >> 12U & 15U);
        const auto lengthWidth = static_cast<unsigned>(sizes >> 8U & 15U);
        const auto baseWidth = static_cast<unsigned>(sizes >> 4U & 15U);
        const auto indexWidth = version == 0 ? 0U : static_cast<unsigned>(sizes & 15U);
        for (auto items = version < 2 ? in.u16() : in.u32(); items > 0 && in.ok(); --items) {
            in.skip(version < 2 ? 2 : 4);
            const auto method = version == 0 ? 0U : in.u16() & 15U;
            const auto reference = in.u16();
            const auto base = number(baseWidth);
            for (auto extents = in.u16(); extents > 0 && in.ok(); --extents) {
                number(indexWidth);
                const auto offset = base + number(offsetWidth);
                const auto length = number(lengthWidth);
                if (in.ok() && method == 0 && reference == 0)
                    visit(offset, length == 0 ? kUnknownSize : length);
            }
        }
    });
}

Result<Cow<Atom>> MediaOffsets::headerAt(const QTMovie& movie, const Cow<Atom>& header, std::uint64_t offset)
{
    const auto& old = movie.m_truePlace;
    const auto oldSize = old.header->size();
    std::vector<std::uint64_t> inside;
    forEachBelow(*header, "saio"_cc, [&](const Atom& atom) {
        if (const auto list = AuxiliaryOffsets::parse(atom))
            for (const auto place : list->offsets)
                if (place - old.offset < oldSize)
                    inside.push_back(place - old.offset);
    });
    if (inside.empty())
        return header;
    const auto before = leafPlaces(*old.header);
    std::map<std::uint64_t, std::uint64_t> now; // where the leaves are, by identity
    for (const auto& leaf : leafPlaces(*header))
        now.emplace(leaf.id, leaf.begin);
    const auto moved = [&](std::uint64_t place) -> std::optional<std::uint64_t> {
        const auto leaf = std::ranges::upper_bound(before, place - old.offset, {}, &LeafPlace::end);
        if (leaf == before.end() || leaf->begin > place - old.offset || !now.contains(leaf->id))
            return std::nullopt;
        return offset + now.at(leaf->id) + (place - old.offset - leaf->begin);
    };
    auto result = header;
    bool good = true;
    editBelow(result.edit(), "saio"_cc, [&](Atom& atom) {
        auto list = AuxiliaryOffsets::parse(atom);
        if (!list)
            return;
        for (auto& place : list->offsets)
            if (place - old.offset < oldSize) {
                const auto target = moved(place);
                good = good && target && (list->isWide || *target <= UINT32_MAX);
                place = target.value_or(0);
            }
        atom.head = list->write();
    });
    if (!good)
        return failure(MovieError::Code::Refused, movie.fileName(),
            "the header holds offsets into itself (saio) that could not be kept true");
    return result;
}

} // namespace reelwright

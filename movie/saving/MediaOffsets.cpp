#include "movie/saving/MediaOffsets.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

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

std::vector<FileStretch> MediaOffsets::outsideMedia(std::initializer_list<const QTMovie*> versions)
{
    const auto& layout = (*versions.begin())->file()->layout;
    std::vector<FileStretch> open; // where an update may write, or the end of the file may come to lie
    for (const auto& atom : layout.atoms)
        if (atom.type == "free"_cc || atom.type == "skip"_cc || atom.type == "moov"_cc)
            open.push_back({atom.offset, atom.end()});
    open.push_back({layout.end, UINT64_MAX});
    std::vector<FileStretch> found;
    const auto note = [&](std::uint64_t offset, std::uint64_t size) {
        if (offset >= MediaSources::kMemoryBase || (offset == 0 && size == 0))
            return; // in no file yet; nowhere
        const auto end = offset + std::clamp<std::uint64_t>(size, 1, UINT64_MAX - offset);
        const auto next = std::upper_bound(open.begin(), open.end(), offset,
            [](std::uint64_t value, const FileStretch& stretch) { return value < stretch.end; });
        if (next->offset < end)
            found.push_back({offset, end});
    };
    std::set<const Atom*> seenTables; // versions share what no edit changed, and few edits change tables
    for (const auto* movie : versions) {
        for (const auto& track : movie->tracks()) {
            if (!seenTables.insert(track.atom().find({"mdia"_cc, "minf"_cc})).second)
                continue;
            const auto media = track.media();
            const auto references = media.dataReferences();
            if (!references.empty() && std::ranges::none_of(references, &DataReference::isSelf))
                continue;
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
                    note(chunk.offset, chunk.size);
                seen = number;
                return true;
            });
            // Others may find samples in chunks that the tables leave empty.
            const auto table = tableOf(track);
            for (auto chunk = seen + 1; chunk > 0 && chunk <= table.chunkCount(); ++chunk)
                note(table.chunkOffset(chunk), 0);
        }
        if (const auto* positions = movie->header().find("gps "_cc)) {
            // Version, count, then offset and size of each record.
            ByteReader in {positions->head.span()};
            in.skip(4);
            for (auto count = in.count32(8); count > 0; --count) {
                const auto offset = in.u32();
                note(offset, in.u32());
            }
        }
    }
    return found;
}

} // namespace reelwright

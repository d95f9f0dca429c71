#include "movie/saving/FlattenPlan.h"

#include "movie/QTTrack.h"
#include "movie/files/DataReference.h"
#include "movie/files/Fragments.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/FileAccount.h"

#include <algorithm>
#include <limits>
#include <map>

namespace reelwright {
namespace {

    /// Free space left behind the header, so that later edits find room for it there: at least so much, and
    /// up to a block more, so that media keep their place within a block. File systems that can share blocks
    /// between files then need not copy them.
    constexpr std::uint32_t kHeaderPadding = 2048;
    constexpr std::uint32_t kBlock = 4096;

    /// Atoms of the outermost level that a flattened file has its own of, or that only make sense with
    /// fragments.
    constexpr FourCC kNotKept[] = {"ftyp"_cc, "moov"_cc, "mdat"_cc, "free"_cc, "wide"_cc, "moof"_cc,
        "mfra"_cc, "sidx"_cc, "ssix"_cc, "styp"_cc};

    bool isKept(FourCC type)
    {
        return std::find(std::begin(kNotKept), std::end(kNotKept), type) == std::end(kNotKept);
    }

    /// A stretch of a source and where it comes to lie.
    struct Placed
    {
        std::size_t source = 0;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
        double time = 0;
        std::uint64_t target = 0; ///< from the start of the media
    };

    bool bySourceAndOffset(const Placed& a, const Placed& b)
    {
        return a.source != b.source ? a.source < b.source : a.offset < b.offset;
    }

    /// Disjoint stretches that hold every extent: sorted by where they lie, those that touch made one. Where
    /// several files hold media, their stretches are interleaved by time, so that a player finds what belongs
    /// together close together.
    std::vector<Placed> arrange(const std::vector<MediaExtent>& extents)
    {
        std::vector<Placed> pieces;
        pieces.reserve(extents.size());
        for (const auto& extent : extents)
            if (extent.size > 0)
                pieces.push_back({extent.source, extent.offset, extent.size, extent.time, 0});
        // Most movies' chunks lie in order already.
        if (!std::is_sorted(pieces.begin(), pieces.end(), bySourceAndOffset))
            std::sort(pieces.begin(), pieces.end(), bySourceAndOffset);
        const bool oneFile = std::all_of(pieces.begin(), pieces.end(), [&](const Placed& piece) {
            return piece.source == pieces.front().source || piece.source == MediaExtent::kMemorySource;
        });

        std::vector<Placed> merged;
        for (const auto& piece : pieces) {
            auto* last = merged.empty() || merged.back().source != piece.source ? nullptr : &merged.back();
            const auto end = last ? last->offset + last->size : 0;
            if (last && (piece.offset < end || (oneFile && piece.offset == end))) {
                last->size = std::max(end, piece.offset + piece.size) - last->offset;
                last->time = std::min(last->time, piece.time);
            } else {
                merged.push_back(piece);
            }
        }
        if (!oneFile)
            std::stable_sort(merged.begin(), merged.end(),
                [](const Placed& a, const Placed& b) { return a.time < b.time; });
        std::uint64_t target = 0;
        for (auto& piece : merged) {
            piece.target = target;
            target += piece.size;
        }
        return merged;
    }

    /// What stands in a flattened file besides its header and media.
    struct Surroundings
    {
        Bytes fileType;
        std::vector<TopLevelAtom> before; ///< between the header and the media
        std::vector<TopLevelAtom> behind; ///< behind the media; the last may be no whole atom
    };

    /// A `meta` atom beside the header may point at media by absolute offsets.
    Result<void> checkMovable(const MovieFile& file, const TopLevelAtom& atom)
    {
        if (atom.type != "meta"_cc || atom.size > MovieFile::kMaxHeaderSize)
            return {};
        RW_TRY(const auto bytes, readExactly(*file.file, atom.offset, atom.size, file.path));
        RW_TRY(const auto meta, Atom::parse(bytes, atom.offset));
        if (const auto* fixed = MediaOffsets::findImmovable(meta))
            return failure(MovieError::Code::Unsupported, file.path,
                "the file's meta atom holds offsets that can only stay true while the media stay where they "
                "are",
                fixed->sourceOffset);
        return {};
    }

    /// Is it an atom that holds position records, and nothing else that is referred to?
    bool holdsPositions(const TopLevelAtom& atom, const std::vector<FileStretch>& positions)
    {
        const auto next = std::ranges::lower_bound(positions, atom.offset, {}, &FileStretch::offset);
        return atom.type == "free"_cc && next != positions.end() && next->end <= atom.end();
    }

    Result<Surroundings> surroundingsOf(
        const MovieFile* file, const FileAccount& account, const std::vector<FileStretch>& positions)
    {
        Surroundings result;
        if (!file || !file->headerAtom()) {
            result.fileType = ByteWriter {}.u32(20).text("ftypqt  ").u32(0x20050300).text("qt  ").toBytes();
            return result;
        }
        const auto& layout = file->layout;
        bool mediaSeen = false;
        for (const auto& atom : layout.atoms) {
            const bool whole = atom.end() <= layout.end && atom.sizeForm != SizeForm::ToEnd;
            mediaSeen = mediaSeen || atom.type == "mdat"_cc;
            if (atom.type == "ftyp"_cc && result.fileType.empty() && whole) {
                RW_TRY(result.fileType, readExactly(*file->file, atom.offset, atom.size, file->path));
            }
            const bool isEmptySkip = atom.type == "skip"_cc && !account.hasContent(atom);
            if (!whole || isEmptySkip || (!isKept(atom.type) && !holdsPositions(atom, positions)))
                continue;
            RW_CHECK(checkMovable(*file, atom));
            (mediaSeen ? result.behind : result.before).push_back(atom);
        }
        // Whatever cannot be read as an atom at the end of the file comes along as it is, and stays at the
        // end.
        using Ending = FileLayout::Ending;
        if ((layout.ending == Ending::ToEnd || layout.ending == Ending::Truncated)
            && isKept(layout.atoms.back().type))
            result.behind.push_back(layout.atoms.back());
        bool hasTail = layout.ending == Ending::Garbage;
        if (layout.ending == Ending::Zeros) {
            RW_TRY(const bool zeros, FileAccount::endsInZeros(*file));
            hasTail = !zeros;
        }
        if (hasTail)
            result.behind.push_back(
                {FourCC {}, layout.end, layout.fileSize - layout.end, 0, SizeForm::Compact});
        return result;
    }

    /// The bytes of the movie's media atoms that neither the saved header nor the edited one refers to, as
    /// extents that are needed last.
    std::vector<MediaExtent> unusedMedia(const QTMovie& movie, const MediaOffsets& offsets)
    {
        if (!movie.file() || !movie.file()->headerAtom())
            return {};
        std::vector<FileStretch> used;
        const auto use = [&](std::uint64_t offset, std::uint64_t end) {
            if (offset < MediaSources::kMemoryBase)
                used.push_back({offset, end});
        };
        for (const auto& extent : offsets.extents)
            if (extent.source == 0)
                use(extent.offset, extent.offset + extent.size);
        for (const auto& record : offsets.positions)
            use(record.offset, record.end);
        // What an edit took away is meant to go.
        if (movie.isChanged()) {
            const auto saved = movie.asSaved();
            for (const auto& track : saved.tracks())
                MediaOffsets::forEachOwnChunk(track, [&](std::uint64_t offset, std::uint64_t size) {
                    use(offset, offset + std::min(size, UINT64_MAX - offset));
                });
        }
        if (!std::ranges::is_sorted(used, {}, &FileStretch::offset))
            std::ranges::sort(used, {}, &FileStretch::offset);
        constexpr auto kLast = std::numeric_limits<double>::infinity();
        std::vector<MediaExtent> unused;
        auto next = used.begin();
        std::uint64_t usedTo = 0; // by the stretches before the next
        for (const auto& atom : movie.file()->layout.atoms) {
            if (atom.type != "mdat"_cc)
                continue;
            auto at = std::max(usedTo, atom.offset + atom.headerSize);
            for (; next != used.end() && next->offset < atom.end(); ++next) {
                if (next->offset > at)
                    unused.push_back({0, at, next->offset - at, kLast});
                usedTo = std::max(usedTo, next->end);
                at = std::max(at, usedTo);
            }
            if (at < atom.end())
                unused.push_back({0, at, atom.end() - at, kLast});
        }
        return unused;
    }

    /// Does the stretch come along with an atom beside the media?
    bool isAmong(const Surroundings& around, const FileStretch& stretch)
    {
        const auto holds = [&](const std::vector<TopLevelAtom>& atoms) {
            const auto next = std::ranges::upper_bound(atoms, stretch.offset, {}, &TopLevelAtom::end);
            return next != atoms.end() && next->offset <= stretch.offset && stretch.end <= next->end();
        };
        return holds(around.before) || holds(around.behind);
    }

    /// From old places to new ones.
    class PlaceMap
    {
    public:
        void add(std::size_t source, std::uint64_t offset, std::uint64_t size, std::uint64_t target)
        {
            m_rows.push_back({source, offset, size, 0, target});
        }
        void sort() { std::sort(m_rows.begin(), m_rows.end(), bySourceAndOffset); }

        [[nodiscard]] std::optional<std::uint64_t> operator()(std::size_t source, std::uint64_t offset) const
        {
            auto row = std::upper_bound(
                m_rows.begin(), m_rows.end(), Placed {source, offset, 0, 0, 0}, bySourceAndOffset);
            if (row == m_rows.begin())
                return std::nullopt;
            --row;
            if (row->source != source || offset - row->offset >= row->size)
                return std::nullopt;
            return row->target + (offset - row->offset);
        }

    private:
        std::vector<Placed> m_rows;
    };

    /// Are all of the movie's media in its own file or in memory?
    bool isSelfContained(const QTMovie& movie)
    {
        for (const auto& track : movie.tracks()) {
            const auto media = track.media();
            const auto references = media.dataReferences();
            for (std::size_t i = 1; i <= media.sampleDescriptionCount(); ++i) {
                const auto description = media.sampleDescription(i);
                const std::size_t reference = description ? description->dataReferenceIndex() : 0;
                if (reference >= 1 && reference <= references.size() && !references[reference - 1].isSelf)
                    return false;
            }
        }
        return true;
    }

    /// An atom header that, put over the first bytes of a file, makes all of it one `mdat` atom. Nothing when
    /// there would be media under it.
    std::optional<Bytes> coverOf(const FileLayout& layout)
    {
        if (layout.atoms.empty() || layout.fileSize < 16)
            return std::nullopt;
        if (layout.fileSize <= UINT32_MAX)
            return ByteWriter {}.u32(static_cast<std::uint32_t>(layout.fileSize)).fourCC("mdat"_cc).toBytes();
        if (layout.atoms.front().type == "mdat"_cc && layout.atoms.front().headerSize < 16)
            return std::nullopt;
        return ByteWriter {}.u32(1).fourCC("mdat"_cc).u64(layout.fileSize).toBytes();
    }

} // namespace

void FlattenPlan::append(Bytes bytes)
{
    if (bytes.empty())
        return;
    const auto size = bytes.size();
    m_segments.push_back({m_size, size, std::move(bytes), nullptr, 0});
    m_size += size;
}

void FlattenPlan::append(std::shared_ptr<StorageFile> file, std::uint64_t fileOffset, std::uint64_t size)
{
    if (size == 0)
        return;
    if (!m_segments.empty()) {
        auto& last = m_segments.back();
        if (last.file == file && last.fileOffset + last.size == fileOffset) {
            last.size += size;
            m_size += size;
            return;
        }
    }
    m_segments.push_back({m_size, size, {}, std::move(file), fileOffset});
    m_size += size;
}

Result<FlattenPlan> FlattenPlan::make(const QTMovie& movie, UnusedBytes unused)
{
    const auto& own = movie.file();
    if (own && movie.isFragmented())
        if (const auto hindrance = hindranceToFlattening(movie.header(), *own))
            return failure(MovieError::Code::Refused, own->path, *hindrance);
    FlattenPlan plan;
    RW_TRY(auto offsets, MediaOffsets::collect(movie));
    FileAccount account;
    if (own && own->headerAtom()) {
        RW_TRY(account, FileAccount::of(movie));
        if (!account.otherHeaders().empty() && unused == UnusedBytes::Keep)
            return failure(MovieError::Code::Refused, own->path,
                "the file holds the header of another movie too, which would be lost when it is written "
                "anew; "
                "save the movie as a new file",
                account.otherHeaders().front().offset);
        for (const auto& header : account.otherHeaders())
            plan.m_bytesLeftOut += header.size;
    }
    std::ranges::sort(offsets.positions, {}, &FileStretch::offset);
    RW_TRY(const auto around, surroundingsOf(own.get(), account, offsets.positions));
    auto extents = offsets.extents;
    for (const auto& record : offsets.positions)
        if (!isAmong(around, record))
            extents.push_back({0, record.offset, record.end - record.offset, 0});
    for (const auto& extent : unusedMedia(movie, offsets)) {
        if (unused == UnusedBytes::Keep)
            extents.push_back(extent);
        else
            plan.m_bytesLeftOut += extent.size;
    }
    const auto pieces = arrange(extents);
    std::uint64_t mediaSize = 0;
    for (const auto& piece : pieces)
        mediaSize += piece.size;
    const auto largest = std::ranges::max_element(pieces, {},
        [](const Placed& piece) { return piece.source == MediaExtent::kMemorySource ? 0 : piece.size; });
    const std::uint64_t mediaHeaderSize = mediaSize > UINT32_MAX - 8 ? 16 : 8;

    // Everything moves with the size of the header, which only depends on how wide its offsets must be: it
    // can grow, at most once a track, and then stays.
    Cow<Atom> header;
    std::uint64_t headerSize = 0;
    std::uint32_t padding = 0;
    for (;;) {
        PlaceMap places;
        auto target = around.fileType.size() + headerSize + kHeaderPadding;
        padding = kHeaderPadding;
        if (largest != pieces.end() && largest->source != MediaExtent::kMemorySource
            && largest->size >= kBlock) {
            auto place = target + mediaHeaderSize + largest->target;
            for (const auto& atom : around.before)
                place += atom.size;
            const auto shift = static_cast<std::uint32_t>((largest->offset - place) % kBlock);
            target += shift;
            padding += shift;
        }
        for (const auto& atom : around.before) {
            places.add(0, atom.offset, atom.size, target);
            target += atom.size;
        }
        const auto mediaStart = target + mediaHeaderSize;
        for (const auto& piece : pieces)
            places.add(piece.source, piece.offset, piece.size, mediaStart + piece.target);
        target = mediaStart + mediaSize;
        for (const auto& atom : around.behind) {
            places.add(0, atom.offset, atom.size, target);
            target += atom.size;
        }
        places.sort();
        RW_TRY(
            header, offsets.rewrite(movie, [&](auto source, auto offset) { return places(source, offset); }));
        header.edit().sizeForm = SizeForm::Compact;
        if (header->size() == headerSize)
            break;
        headerSize = header->size();
    }
    if (headerSize > MovieFile::kMaxHeaderSize)
        return failure(
            MovieError::Code::Unsupported, movie.fileName(), "the movie header is too large to be written");

    plan.append(around.fileType);
    plan.m_header = header->toBytes();
    plan.append(plan.m_header);
    plan.append(ByteWriter {}.u32(padding).fourCC("free"_cc).zeros(padding - 8).toBytes());
    for (const auto& atom : around.before)
        plan.append(own->file, atom.offset, atom.size);
    ByteWriter mediaHeader;
    if (mediaHeaderSize == 16)
        mediaHeader.u32(1).fourCC("mdat"_cc).u64(mediaSize + 16);
    else
        mediaHeader.u32(static_cast<std::uint32_t>(mediaSize + 8)).fourCC("mdat"_cc);
    plan.append(mediaHeader.toBytes());
    for (const auto& piece : pieces) {
        if (piece.source != MediaExtent::kMemorySource) {
            plan.append(offsets.sources[piece.source].file, piece.offset, piece.size);
            continue;
        }
        for (std::uint64_t done = 0; done < piece.size;) {
            auto bytes = movie.sources().memory(piece.offset + done, piece.size - done);
            if (bytes.empty())
                return failure(MovieError::Code::Corrupt, movie.fileName(), "media in memory are not whole");
            done += bytes.size();
            plan.append(std::move(bytes));
        }
    }
    for (const auto& atom : around.behind)
        plan.append(own->file, atom.offset, atom.size);
    return plan;
}

Result<MovieStream> MovieStream::open(const QTMovie& movie)
{
    // Another movie's header in the file hinders a save, which would lose it; reading loses nothing.
    auto plan = FlattenPlan::make(movie, UnusedBytes::Keep);
    if (!plan)
        plan = FlattenPlan::make(movie, UnusedBytes::LeaveOut);
    if (!plan)
        return tl::unexpected<MovieError>(std::move(plan).error());
    return MovieStream {std::move(*plan)};
}

Result<MovieStream> MovieStream::openForPlaying(const QTMovie& movie)
{
    const auto* own = movie.file().get();
    const auto cover = own && own->headerAtom() ? coverOf(own->layout) : std::nullopt;
    if (!cover || !isSelfContained(movie))
        return open(movie);

    FlattenPlan plan;
    plan.append(*cover);
    plan.append(own->file, cover->size(), own->layout.fileSize - cover->size());

    std::vector<Bytes> blocks;
    std::map<std::uint64_t, std::uint64_t> places;
    auto target = own->layout.fileSize + 16;
    for (const auto& extent : MediaOffsets::memoryExtents(movie)) {
        if (!places.emplace(extent.offset, target).second)
            continue;
        for (std::uint64_t done = 0; done < extent.size;) {
            auto bytes = movie.sources().memory(extent.offset + done, extent.size - done);
            if (bytes.empty())
                return failure(MovieError::Code::Corrupt, movie.fileName(), "media in memory are not whole");
            done += bytes.size();
            target += bytes.size();
            blocks.push_back(std::move(bytes));
        }
    }
    RW_TRY(auto header, MediaOffsets::placeMemory(movie, [&](std::size_t, std::uint64_t offset) {
        const auto place = places.find(offset);
        return place == places.end() ? std::nullopt : std::optional {place->second};
    }));
    plan.append(ByteWriter {}.u32(1).fourCC("mdat"_cc).u64(target - own->layout.fileSize).toBytes());
    for (auto& block : blocks)
        plan.append(std::move(block));

    for (const auto& atom : own->layout.atoms)
        if (atom.type == "ftyp"_cc && atom.sizeForm != SizeForm::ToEnd && atom.end() <= own->layout.end) {
            RW_TRY(auto fileType, readExactly(*own->file, atom.offset, atom.size, own->path));
            plan.append(std::move(fileType));
            break;
        }
    header.edit().sizeForm = SizeForm::Compact;
    if (header->size() > MovieFile::kMaxHeaderSize)
        return failure(
            MovieError::Code::Unsupported, movie.fileName(), "the movie header is too large to be written");
    plan.append(header->toBytes());
    return MovieStream {std::move(plan)};
}

Result<std::size_t> MovieStream::readAt(std::uint64_t offset, std::span<std::byte> out) const
{
    const auto& segments = m_plan.segments();
    auto segment = std::upper_bound(segments.begin(), segments.end(), offset,
        [](std::uint64_t value, const FlattenPlan::Segment& s) { return value < s.offset; });
    std::size_t done = 0;
    if (segment != segments.begin())
        --segment;
    for (; segment != segments.end() && done < out.size(); ++segment) {
        const auto within = offset + done - segment->offset;
        if (within >= segment->size)
            break;
        const auto count
            = static_cast<std::size_t>(std::min<std::uint64_t>(segment->size - within, out.size() - done));
        const auto part = out.subspan(done, count);
        if (!segment->file) {
            const auto bytes = segment->bytes.span().subspan(static_cast<std::size_t>(within), count);
            std::copy(bytes.begin(), bytes.end(), part.begin());
        } else {
            RW_TRY(const auto got, segment->file->readAt(segment->fileOffset + within, part));
            if (got < count)
                return failure(MovieError::Code::Truncated, {},
                    "the media became shorter while they were read", segment->fileOffset + within + got);
        }
        done += count;
    }
    return done;
}

} // namespace reelwright

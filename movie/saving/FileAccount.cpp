#include "movie/saving/FileAccount.h"

#include "movie/QTTrack.h"
#include "movie/files/HeaderReader.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/MediaOffsets.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace reelwright {
namespace {

    constexpr std::size_t kMostHeaders = 100;

    using Stretches = std::vector<FileStretch>;

    /// Sorted, and none touches another.
    Stretches merged(Stretches stretches)
    {
        std::ranges::sort(stretches, {}, &FileStretch::offset);
        Stretches result;
        for (const auto& stretch : stretches)
            if (result.empty() || stretch.offset > result.back().end)
                result.push_back(stretch);
            else
                result.back().end = std::max(result.back().end, stretch.end);
        return result;
    }

    /// The first of merged stretches that has a byte of [begin, end), or null.
    const FileStretch* findIn(const Stretches& stretches, std::uint64_t begin, std::uint64_t end)
    {
        const auto first = std::ranges::upper_bound(stretches, begin, {}, &FileStretch::end);
        return begin < end && first != stretches.end() && first->offset < end ? &*first : nullptr;
    }

    /// Gathers the references that reach into areas of the file (sorted by their ends).
    class ReferenceFilter
    {
    public:
        explicit ReferenceFilter(Stretches areas)
            : m_areas(std::move(areas))
        {
        }

        void note(std::uint64_t offset, std::uint64_t size, Stretches& found) const
        {
            if (offset >= MediaSources::kMemoryBase || (offset == 0 && size == 0))
                return; // in no file yet; nowhere
            const auto area = std::ranges::upper_bound(m_areas, offset, {}, &FileStretch::end);
            if (area == m_areas.end())
                return;
            const auto end = size == MediaOffsets::kUnknownSize
                ? area->end
                : offset + std::clamp<std::uint64_t>(size, 1, UINT64_MAX - offset);
            if (area->offset >= end || (size == MediaOffsets::kUnknownSize && area->offset > offset))
                return;
            if (!found.empty() && offset >= found.back().offset && offset <= found.back().end)
                found.back().end = std::max(found.back().end, end);
            else
                found.push_back({offset, end});
        }

        [[nodiscard]] Stretches of(const QTMovie& version)
        {
            Stretches found;
            const auto into = [&](Stretches& stretches) {
                return [&](std::uint64_t offset, std::uint64_t size) { note(offset, size, stretches); };
            };
            for (const auto& track : version.tracks()) {
                const auto [known, isNew] = m_ofMedia.try_emplace(track.atom().find({"mdia"_cc, "minf"_cc}));
                if (isNew)
                    MediaOffsets::forEachOwnChunk(track, into(known->second));
                std::ranges::copy(known->second, std::back_inserter(found));
            }
            MediaOffsets::forEachOther(version, into(found));
            return found;
        }

    private:
        Stretches m_areas;
        /// Versions of a movie share what no edit changed, and few edits change tables.
        std::map<const Atom*, Stretches> m_ofMedia;
    };

    bool isWhole(const TopLevelAtom& atom, const FileLayout& layout)
    {
        return atom.end() <= layout.end && atom.sizeForm != SizeForm::ToEnd;
    }

    bool isSmallMedia(const TopLevelAtom& atom, const FileLayout& layout)
    {
        return atom.type == "mdat"_cc && atom.sizeForm == SizeForm::Compact && isWhole(atom, layout)
            && atom.size > atom.headerSize && atom.size <= FileAccount::kMostReclaimed;
    }

    /// Where an update may write or cut.
    Stretches openAreas(const FileLayout& layout)
    {
        Stretches areas;
        for (const auto& atom : layout.atoms)
            if (atom.type == "free"_cc || atom.type == "skip"_cc || atom.type == "moov"_cc
                || isSmallMedia(atom, layout))
                areas.push_back({atom.offset, atom.end()});
        areas.push_back({layout.end, UINT64_MAX});
        return areas;
    }

    Result<bool> isZero(StorageFile& file, std::uint64_t offset, std::uint64_t end)
    {
        std::vector<std::byte> buffer(256U << 10U);
        for (;;) {
            RW_TRY(offset, file.nextData(offset));
            if (offset >= end)
                return true;
            const auto wanted
                = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), end - offset));
            RW_TRY(const auto count, file.readAt(offset, std::span {buffer}.first(wanted)));
            if (std::any_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count),
                    [](std::byte b) { return b != std::byte {}; }))
                return false;
            if (count < wanted)
                return true;
            offset += count;
        }
    }

    /// Do they have a track in common whose samples lie at the same places?
    bool sharesTables(const QTMovie& a, const QTMovie& b)
    {
        const auto tableOf = [](const QTTrack& track) {
            return track.atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        };
        const auto isSame = [](const Atom& one, const Atom& other, FourCC type) {
            const auto* mine = one.find(type);
            const auto* theirs = other.find(type);
            return mine && theirs ? mine->head == theirs->head : mine == theirs;
        };
        std::map<std::uint32_t, const Atom*> tables;
        for (const auto& track : a.tracks())
            if (const auto* stbl = tableOf(track); stbl && track.media().sampleTable().chunkCount() > 0)
                tables.emplace(track.trackID(), stbl);
        for (const auto& track : b.tracks()) {
            const auto known = tables.find(track.trackID());
            const auto* stbl = tableOf(track);
            constexpr FourCC kPlaces[] = {"stco"_cc, "co64"_cc, "stsc"_cc, "stsz"_cc, "stz2"_cc};
            if (known != tables.end() && stbl && std::ranges::all_of(kPlaces, [&](FourCC type) {
                    return isSame(*known->second, *stbl, type);
                }))
                return true;
        }
        return false;
    }

    /// Is the other header, the only other one of the file, a half of a save that was interrupted? Then both
    /// tell of the same media. Where two movies were put into one file, media are left over that neither
    /// leads to, since the second one's places count from the start of a file that it had for itself.
    bool isOtherHalf(const QTMovie& movie, const QTMovie& other, bool sameBytes)
    {
        const auto& atoms = movie.file()->layout.atoms;
        if (std::ranges::count(atoms, "moov"_cc, &TopLevelAtom::type) != 2
            || std::ranges::count(atoms, "ftyp"_cc, &TopLevelAtom::type) > 1
            || (!sameBytes && !sharesTables(movie, other)))
            return false;
        Stretches media;
        for (const auto& atom : atoms)
            if (atom.type == "mdat"_cc)
                media.push_back({atom.offset, atom.end()});
        ReferenceFilter filter {media};
        auto both = filter.of(other);
        std::uint64_t referred = 0;
        for (const auto& stretch : merged(both))
            referred += stretch.end - stretch.offset;
        std::ranges::copy(filter.of(movie), std::back_inserter(both));
        both = merged(std::move(both));
        std::uint64_t leftOver = 0;
        for (const auto& stretch : media)
            if (!findIn(both, stretch.offset, stretch.end))
                leftOver += stretch.end - stretch.offset;
        return leftOver == 0 || leftOver < referred;
    }

    tl::unexpected<MovieError> refusal(const MovieFile& file, const char* why)
    {
        return failure(MovieError::Code::Refused, file.path, why, file.layout.end);
    }

} // namespace

Result<FileAccount> FileAccount::of(const QTMovie& movie)
{
    FileAccount account;
    const auto& file = *movie.file();
    const auto& layout = file.layout;
    const auto saved = movie.asSaved();
    ReferenceFilter filter {openAreas(layout)};

    auto old = filter.of(saved);
    auto present = filter.of(movie);
    std::uint64_t bytesRead = 0;
    for (std::size_t i = 0; i < layout.atoms.size(); ++i) {
        const auto& atom = layout.atoms[i];
        if (atom.type == "skip"_cc && isWhole(atom, layout)) {
            RW_TRY(const bool zero, isZero(*file.file, atom.offset + atom.headerSize, atom.end()));
            if (!zero) {
                account.m_skipsWithContent.push_back(atom.offset);
                account.m_inUse.push_back({atom.offset, atom.end()});
            }
        } else if (atom.type == "meta"_cc && isWhole(atom, layout)) {
            if (atom.size > MovieFile::kMaxHeaderSize)
                continue;
            RW_TRY(const auto bytes, readExactly(*file.file, atom.offset, atom.size, file.path));
            if (const auto meta = Atom::parse(bytes, atom.offset))
                MediaOffsets::forEachItem(*meta,
                    [&](std::uint64_t offset, std::uint64_t size) { filter.note(offset, size, present); });
        } else if (atom.type == "moov"_cc && i != file.headerIndex && isWhole(atom, layout)) {
            bytesRead += atom.size;
            if (account.m_otherHeaders.size() == kMostHeaders || bytesRead > MovieFile::kMaxHeaderSize)
                return failure(MovieError::Code::Refused, file.path,
                    "the file has too many movie headers to tell what belongs to which", atom.offset);
            account.m_otherHeaders.push_back(atom);
            RW_TRY(const auto bytes, readExactly(*file.file, atom.offset, atom.size, file.path));
            std::vector<MovieWarning> warnings;
            auto header = parseMovieHeader(bytes, atom.offset, warnings);
            if (!header)
                continue;
            auto other = saved;
            other.m_header = Cow<Atom>(std::move(*header));
            const auto references = filter.of(other);
            if (isOtherHalf(saved, other, bytes == file.header)) {
                account.m_otherHalves.push_back(atom.offset);
                account.m_otherHeaders.pop_back();
                std::ranges::copy(references, std::back_inserter(old));
            } else {
                std::ranges::copy(references, std::back_inserter(present));
                if (i > file.headerIndex)
                    account.m_headerLimit = std::min(account.m_headerLimit, atom.offset);
            }
        }
    }
    old = merged(std::move(old));
    present = merged(std::move(present));

    for (const auto& atom : layout.atoms)
        if (isSmallMedia(atom, layout) && !findIn(present, atom.offset, atom.end())) {
            const auto* cover = findIn(old, atom.offset, atom.end());
            if (cover && cover->offset <= atom.offset + atom.headerSize && cover->end >= atom.end())
                account.m_deadMedia.push_back(atom.offset);
        }
    for (const auto& past : movie.sources().madeFree()) {
        account.m_inUse.push_back(past);
        if (findIn(present, past.offset, past.end))
            account.m_revivedMedia.push_back(past.offset);
    }
    std::ranges::copy(old, std::back_inserter(account.m_inUse));
    std::ranges::copy(present, std::back_inserter(account.m_inUse));
    account.m_inUse = merged(std::move(account.m_inUse));
    return account;
}

bool FileAccount::hasContent(const TopLevelAtom& skip) const
{
    return std::ranges::binary_search(m_skipsWithContent, skip.offset);
}

Result<bool> FileAccount::endsInZeros(const MovieFile& file)
{
    return isZero(*file.file, file.layout.end, file.layout.fileSize);
}

Result<void> FileAccount::checkEnd(const QTMovie& movie)
{
    const auto& file = *movie.file();
    const auto& layout = file.layout;
    using Ending = FileLayout::Ending;
    if (layout.ending != Ending::Zeros && layout.ending != Ending::CutFree)
        return {};
    // A recording or a copy that was cut short can leave its media outside of every whole atom.
    const auto behind = merged(ReferenceFilter {{{layout.end, UINT64_MAX}}}.of(movie));
    if (findIn(behind, layout.end, layout.fileSize))
        return refusal(file, "media lie behind the last atom of the file; it has to be flattened");
    if (layout.ending == Ending::Zeros) {
        RW_TRY(const bool zeros, endsInZeros(file));
        if (!zeros)
            return refusal(file, "the file ends in bytes that are no atom; it has to be flattened");
    }
    return {};
}

} // namespace reelwright

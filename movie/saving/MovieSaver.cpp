#include "movie/saving/MovieSaver.h"

#include "movie/QTTrack.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/InPlaceUpdate.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <vector>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> changedByOthers(const std::string& path)
    {
        return failure(MovieError::Code::Refused, path,
            "another program changed the file since it was opened; open it again to see its present state");
    }

    /// Is the file behind that handle still what was opened?
    Result<void> checkUnchanged(StorageFile& file, const MovieFile& opened)
    {
        RW_TRY(const auto now, file.state());
        if (!(now == opened.state))
            return changedByOthers(opened.path);
        return {};
    }

    /// Does the file have those bytes at `offset`?
    Result<bool> holds(StorageFile& file, std::uint64_t offset, ByteSpan bytes)
    {
        std::vector<std::byte> window(std::min<std::size_t>(bytes.size(), 256 << 10U));
        while (!bytes.empty()) {
            const auto part = std::span {window}.first(std::min(window.size(), bytes.size()));
            RW_TRY(const auto count, file.readAt(offset, part));
            if (count < part.size() || std::memcmp(part.data(), bytes.data(), count) != 0)
                return false;
            bytes = bytes.subspan(count);
            offset += count;
        }
        return true;
    }

    /// The same by its name: a file renamed over it is another one.
    Result<std::shared_ptr<StorageFile>> openForUpdate(const MovieFile& opened)
    {
        RW_TRY(auto file, opened.storage->open(opened.path, Storage::Access::ReadWrite));
        RW_CHECK(file->lock());
        RW_CHECK(checkUnchanged(*file, opened));
        // Times can be set back; the header's own bytes cannot lie.
        RW_TRY(const bool same, holds(*file, opened.headerAtom()->offset, opened.header.span()));
        if (!same)
            return changedByOthers(opened.path);
        return file;
    }

    /// Other movie headers of the file: an interrupted save left them.
    std::vector<std::uint64_t> spareHeaders(const MovieFile& file)
    {
        std::vector<std::uint64_t> offsets;
        for (std::size_t i = 0; i < file.layout.atoms.size(); ++i) {
            const auto& atom = file.layout.atoms[i];
            if (atom.type == "moov"_cc && i != file.headerIndex && atom.end() <= file.layout.end)
                offsets.push_back(atom.offset);
        }
        return offsets;
    }

    /// Where media lie that wait in memory (as memory offsets), and where in the file.
    using MediaPlaces = std::map<std::uint64_t, std::uint64_t>;

    /// One media atom of all media that wait in memory. `places` receives where each of them lies in it.
    Result<std::vector<std::byte>> mediaAtom(
        const QTMovie& movie, const std::vector<MediaExtent>& extents, MediaPlaces& places)
    {
        ByteWriter out;
        out.u32(0).fourCC("mdat"_cc);
        for (const auto& extent : extents) {
            places.emplace(extent.offset, out.size());
            const auto bytes = movie.sources().memory(extent.offset, extent.size);
            if (bytes.size() < extent.size)
                return failure(MovieError::Code::Corrupt, movie.fileName(), "media in memory are not whole");
            out.bytes(bytes.span());
        }
        auto atom = out.take();
        if (atom.size() > UINT32_MAX - 64)
            return failure(MovieError::Code::Unsupported, movie.fileName(),
                "more than four gigabytes of new media cannot be added in place; save the movie as a new "
                "file");
        const auto size = ByteWriter {}.u32(static_cast<std::uint32_t>(atom.size())).take();
        std::copy(size.begin(), size.end(), atom.begin());
        return atom;
    }

    /// What an update brings into a file, all of it made before the first write.
    struct NewContents
    {
        std::vector<std::byte> media; ///< an atom; empty when there are no new ones
        std::uint64_t mediaOffset = 0;
        Cow<Atom> header;
        Bytes headerBytes; ///< the file's own when the movie was not changed
    };

    /// Makes it while the update is gone through on paper: where the media go decides what the header says,
    /// and that where the header goes. `header` is the movie's.
    Result<NewContents> prepare(InPlaceUpdate paper, const QTMovie& movie, const Cow<Atom>& header,
        const std::vector<std::uint64_t>& spares)
    {
        for (const auto spare : spares)
            RW_CHECK(paper.retire(spare));
        NewContents contents {{}, 0, header, movie.file()->header};
        if (!movie.isChanged())
            return contents;
        if (const auto waiting = MediaOffsets::memoryExtents(movie); !waiting.empty()) {
            MediaPlaces places;
            RW_TRY(contents.media, mediaAtom(movie, waiting, places));
            RW_TRY(contents.mediaOffset, paper.place(contents.media, InPlaceUpdate::Place::BehindMedia));
            RW_TRY(contents.header, MediaOffsets::placeMemory(movie, [&](std::size_t, std::uint64_t offset) {
                const auto place = places.find(offset);
                return place == places.end() ? std::nullopt
                                             : std::optional(contents.mediaOffset + place->second);
            }));
        }
        contents.header.edit().sizeForm = SizeForm::Compact;
        if (contents.header->size() > MovieFile::kMaxHeaderSize)
            return failure(MovieError::Code::Unsupported, movie.fileName(),
                "the movie header is too large to be written");
        contents.headerBytes = contents.header->toBytes();
        RW_CHECK(paper.replaceHeader(movie.file()->headerAtom()->offset, contents.headerBytes.span()));
        return contents;
    }

    /// The movie file as it is after a write to it, with `header` alive.
    Result<std::shared_ptr<const MovieFile>> presentFile(
        StorageFile& file, const MovieFile& opened, const Bytes& header)
    {
        auto present = std::make_shared<MovieFile>(opened);
        RW_TRY(present->state, file.state());
        RW_TRY(present->layout, FileLayout::scan(file, present->path));
        const auto& atoms = present->layout.atoms;
        const auto live = std::find_if(
            atoms.begin(), atoms.end(), [](const TopLevelAtom& atom) { return atom.type == "moov"_cc; });
        if (live == atoms.end())
            return failure(MovieError::Code::Corrupt, opened.path, "the movie header cannot be found again");
        present->headerIndex = static_cast<std::size_t>(live - atoms.begin());
        present->header = header;
        return present;
    }

    /// The files that tracks of the movie refer to beside its own.
    std::set<std::vector<std::string>> otherFiles(const QTMovie& movie)
    {
        std::set<std::vector<std::string>> files;
        for (const auto& track : movie.tracks())
            for (const auto& reference : track.media().dataReferences())
                if (!reference.isSelf)
                    files.insert(reference.candidates);
        return files;
    }

    /// Did edits add media of other files? The movie would depend on them if only its header were saved.
    bool hasAddedMedia(const QTMovie& movie)
    {
        if (!movie.isChanged())
            return false;
        const auto now = otherFiles(movie);
        const auto before = now.empty() ? now : otherFiles(movie.asSaved());
        return !std::ranges::includes(before, now);
    }

} // namespace

Result<void> MovieSaver::canUpdateMovieFile(const QTMovie& movie, VolumeRule volumes)
{
    const auto& file = movie.file();
    const auto refuse = [&](std::string why) {
        return failure(MovieError::Code::Refused, movie.fileName(), std::move(why));
    };
    if (!file)
        return refuse("the movie has no file yet");
    if (!file->headerAtom())
        return refuse("the file is no movie file but was opened as one; it can be saved as a movie");
    if (movie.isFragmented())
        return refuse("the file is fragmented; it has to be flattened");
    if (hasAddedMedia(movie))
        return refuse("media of other files were added, which have to be copied into this one");
    switch (file->layout.ending) {
    case FileLayout::Ending::ToEnd:
        return refuse("the file ends in an atom without a size; it has to be flattened");
    case FileLayout::Ending::Truncated:
        return refuse("the file ends in an atom that is cut short; it has to be flattened");
    case FileLayout::Ending::Garbage:
        return refuse("the file ends in bytes that are no atom; it has to be flattened");
    case FileLayout::Ending::Zeros:
        // A recording that was cut short can leave its media outside of every atom.
        if (std::ranges::any_of(MediaOffsets::outsideMedia({&movie}), [&](const auto& stretch) {
                return stretch.offset < file->layout.fileSize && stretch.end > file->layout.end;
            }))
            return refuse("media lie behind the last atom of the file; it has to be flattened");
        break;
    case FileLayout::Ending::Clean:
    case FileLayout::Ending::CutFree:
        break;
    }
    if (volumes == VolumeRule::JournalledOnly)
        if (const auto type = file->storage->volumeType(file->path); !volumeAllowsInPlaceUpdate(type))
            return refuse(
                fmt::format("the file lies on a {} volume, on which files are not updated in place", type));
    RW_TRY(const auto current, file->storage->open(file->path, Storage::Access::Read));
    return checkUnchanged(*current, *file);
}

Result<SaveReport> MovieSaver::updateMovieFile(QTMovie& movie, const SaveOptions& options)
{
    RW_CHECK(canUpdateMovieFile(movie, options.volumes));
    const auto opened = movie.file();
    if (movie.isOutline())
        return failure(
            MovieError::Code::Refused, opened->path, "only the outline of the movie was read, not all of it");
    const auto spares = spareHeaders(*opened);
    if (!movie.isChanged() && spares.empty())
        return SaveReport {};
    if (options.progress && !options.progress(0))
        return failure(MovieError::Code::Cancelled, opened->path, "the save was cancelled");

    RW_TRY(const auto file, openForUpdate(*opened));
    // What the old header refers to counts too: a crash can leave that one alive.
    QTMovie before = movie;
    before.m_header = movie.m_savedHeader;
    auto inUse = MediaOffsets::outsideMedia({&before, &movie});
    RW_TRY(const auto contents, prepare({nullptr, opened->layout, inUse}, movie, movie.m_header, spares));

    InPlaceUpdate update {file.get(), opened->layout, std::move(inUse)};
    const auto write = [&]() -> Result<void> {
        for (const auto spare : spares)
            RW_CHECK(update.retire(spare));
        if (!movie.isChanged())
            return {};
        if (!contents.media.empty()) {
            RW_TRY([[maybe_unused]] const auto offset,
                update.place(contents.media, InPlaceUpdate::Place::BehindMedia));
            RW_ASSERT(offset == contents.mediaOffset);
        }
        auto replaced = update.replaceHeader(opened->headerAtom()->offset, contents.headerBytes.span());
        // Media that no header came to refer to are let go again.
        if (!replaced && !contents.media.empty() && !update.mayHaveReplacedHeader())
            static_cast<void>(update.retire(contents.mediaOffset));
        return replaced;
    };
    if (const auto written = write(); !written) {
        // What an update left half done is this movie's own doing: it can still be saved, in place or not.
        for (const auto& live : {opened->header, contents.headerBytes})
            if (auto present = presentFile(*file, *opened, live))
                if (holds(*file, (*present)->headerAtom()->offset, live.span()).value_or(false))
                    movie.m_file = std::move(*present);
        return tl::unexpected<MovieError>(written.error());
    }
    RW_TRY(movie.m_file, presentFile(*file, *opened, contents.headerBytes));
    movie.m_header = contents.header;
    movie.m_savedHeader = contents.header;
    movie.m_sources->setOwn(movie.m_file);
    if (options.progress)
        options.progress(1);
    return SaveReport {update.bytesWritten(), update.headerLeftTheFront()};
}

Result<SaveReport> MovieSaver::writeToFile(
    const QTMovie& movie, const std::string& path, const SaveOptions& options)
{
    const auto& source = movie.file();
    const auto storage = source ? source->storage : Storage::posix();
    const auto target = storage->resolve(path);
    if (source)
        RW_CHECK(checkUnchanged(*source->file, *source));
    RW_TRY(const auto plan, FlattenPlan::make(movie));

    const bool replaces = storage->exists(target);
    std::shared_ptr<StorageFile> replaced; // holds the lock while its name is taken over
    if (replaces) {
        RW_TRY(replaced, storage->open(target, Storage::Access::Read));
        RW_CHECK(replaced->lock());
    }
    std::string hidden;
    RW_TRY(auto file, storage->createSibling(target, hidden));
    const auto writeAll = [&]() -> Result<void> {
        // Copied step by step, so that progress shows and a cancel is heard within a long stretch.
        constexpr std::uint64_t kStep = 64U << 20U;
        std::uint64_t done = 0;
        for (const auto& segment : plan.segments()) {
            if (!segment.file)
                RW_CHECK(file->writeAt(segment.offset, segment.bytes.span()));
            for (std::uint64_t at = 0; at < segment.size; at += kStep) {
                const auto part = std::min(kStep, segment.size - at);
                if (options.progress
                    && !options.progress(static_cast<double>(done) / static_cast<double>(plan.size())))
                    return failure(MovieError::Code::Cancelled, path, "the save was cancelled");
                if (segment.file)
                    RW_CHECK(
                        file->copyFrom(*segment.file, segment.fileOffset + at, segment.offset + at, part));
                done += part;
            }
        }
        RW_CHECK(file->flush());
        // The source may have lost its name meanwhile; its bytes are still there.
        const auto model = replaces ? target : source ? source->path : std::string {};
        if (!model.empty() && storage->exists(model))
            RW_CHECK(storage->copyAttributes(model, hidden));
        // The sources must have held still while they were copied.
        if (source)
            RW_CHECK(checkUnchanged(*source->file, *source));
        return storage->rename(hidden, target);
    };
    if (auto written = writeAll(); !written) {
        static_cast<void>(storage->remove(hidden));
        return tl::unexpected<MovieError>(std::move(written).error());
    }
    RW_CHECK(storage->flushFolder(target));
    if (options.progress)
        options.progress(1);
    return SaveReport {plan.size(), false};
}

} // namespace reelwright

#include "movie/saving/MovieSaver.h"

#include "movie/QTTrack.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/FileAccount.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/InPlaceUpdate.h"
#include "movie/saving/WatchedFile.h"

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
        return failure(MovieError::Code::Changed, path,
            "another program changed the file since it was opened; open it again to see its present state");
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

    /// Is the file behind that handle still what was opened? Dates can be new, and can be set back; the
    /// header's own bytes cannot lie.
    Result<void> checkUnchanged(StorageFile& file, const MovieFile& opened)
    {
        RW_TRY(const auto now, file.state());
        if (!now.isAlike(opened.state))
            return changedByOthers(opened.path);
        if (const auto* header = opened.headerAtom()) {
            RW_TRY(const bool same, holds(file, header->offset, opened.header.span()));
            if (!same)
                return changedByOthers(opened.path);
        }
        return {};
    }

    /// Does that name lead to the open file? Another one can have been renamed over it.
    Result<void> checkNamed(Storage& storage, const std::string& path, StorageFile& file)
    {
        RW_TRY(const auto mine, file.state());
        RW_TRY(const auto named, storage.open(path, Storage::Access::Read));
        RW_TRY(const auto found, named->state());
        if (!found.isSameFile(mine))
            return changedByOthers(path);
        return {};
    }

    Result<std::shared_ptr<StorageFile>> openForUpdate(const MovieFile& opened)
    {
        RW_TRY(auto file, opened.storage->open(opened.path, Storage::Access::ReadWrite));
        RW_CHECK(file->lock());
        RW_CHECK(checkNamed(*opened.storage, opened.path, *file)); // before the lock others may write
        RW_CHECK(checkUnchanged(*file, opened));
        return file;
    }

    /// The files that a copy reads, to be watched while it does.
    class CopiedFiles
    {
    public:
        /// Refuses media that lie behind the end of their file.
        static Result<CopiedFiles> of(const FlattenPlan& plan, const std::string& path)
        {
            CopiedFiles files;
            for (const auto& segment : plan.segments()) {
                if (!segment.file)
                    continue;
                auto known = files.m_states.find(segment.file);
                if (known == files.m_states.end()) {
                    RW_TRY(const auto state, segment.file->state());
                    known = files.m_states.emplace(segment.file, state).first;
                }
                const auto size = known->second.size;
                if (segment.fileOffset > size || segment.size > size - segment.fileOffset)
                    return failure(MovieError::Code::Truncated, path,
                        "media of the movie are missing: they would lie behind the end of their file",
                        segment.fileOffset);
            }
            return files;
        }

        Result<void> checkStill(const std::string& path) const
        {
            for (const auto& [file, before] : m_states) {
                RW_TRY(const auto now, file->state());
                if (now != before)
                    return failure(MovieError::Code::Changed, path,
                        "another program wrote to the media while they were copied; try again when it is "
                        "done");
            }
            return {};
        }

    private:
        std::map<std::shared_ptr<StorageFile>, FileState> m_states;
    };

    /// The file that a copy replaces, locked, and what it is; nothing where there is none.
    struct Replaced
    {
        std::shared_ptr<StorageFile> file;
        FileState state;
    };

    /// Is the file what the plan makes? It is after a save whose very last step failed, and can be written
    /// again.
    Result<bool> isMade(StorageFile& file, const FileState& state, const FlattenPlan& plan)
    {
        if (state.size != plan.size())
            return false;
        for (const auto& segment : plan.segments())
            if (!segment.file) {
                RW_TRY(const bool same, holds(file, segment.offset, segment.bytes.span()));
                if (!same)
                    return false;
            }
        return true;
    }

    Result<std::optional<Replaced>> openReplaced(Storage& storage, const std::string& target,
        const MovieFile* source, const FlattenPlan& plan, const SaveOptions& options)
    {
        if (!storage.exists(target))
            return std::nullopt;
        Replaced replaced;
        RW_TRY(replaced.file, storage.open(target, Storage::Access::Read));
        RW_CHECK(replaced.file->lock());
        RW_CHECK(checkNamed(storage, target, *replaced.file));
        RW_TRY(replaced.state, replaced.file->state());
        if (source && replaced.state.isSameFile(source->state)) {
            RW_CHECK(checkUnchanged(*replaced.file, *source));
            return replaced;
        }
        // A movie can come from a file that this very document has replaced since: then it says what to
        // expect.
        const bool isExpected = options.expected ? replaced.state.isAlike(*options.expected)
                                                 : !source || storage.resolve(source->path) != target;
        if (!isExpected) {
            RW_TRY(const bool made, isMade(*replaced.file, replaced.state, plan));
            return made ? Result<std::optional<Replaced>> {replaced} : changedByOthers(target);
        }
        if (!options.overwrite)
            return failure(MovieError::Code::Refused, target, "there is a file of that name already");
        return replaced;
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
        FileAccount account;
        std::vector<std::byte> media; ///< an atom; empty when there are no new ones
        std::uint64_t mediaOffset = 0;
        Cow<Atom> header; ///< where it comes to lie
        Bytes headerBytes; ///< the file's own when the movie was not changed
        SaveReport report;
        bool placesHeader = false;
        std::vector<Bytes> announced; ///< every header that is alive at some moment, where that is asked for

        /// The header before it has its place; its size is known.
        Cow<Atom> unplaced;
        InPlaceUpdate::HeaderAt headerAt;
    };

    bool hasWork(const QTMovie& movie, const FileAccount& account)
    {
        return movie.isChanged() || !account.otherHalves().empty();
    }

    Result<void> tidyBefore(InPlaceUpdate& update, const FileAccount& account)
    {
        RW_CHECK(update.close());
        for (const auto half : account.otherHalves())
            RW_CHECK(update.retire(half));
        for (const auto media : account.revivedMedia())
            RW_CHECK(update.retype(media, "mdat"_cc));
        return {};
    }

    Result<void> tidyBehind(InPlaceUpdate& update, const QTMovie& movie, const FileAccount& account)
    {
        for (const auto media : account.deadMedia()) {
            const auto& atoms = update.layout().atoms;
            const auto atom = std::ranges::lower_bound(atoms, media, {}, &TopLevelAtom::offset);
            movie.sources().noteMadeFree({atom->offset, atom->end()});
            RW_CHECK(update.retype(media, "free"_cc));
        }
        return {};
    }

    /// Makes it while the update is gone through on paper: where the media go decides what the header says,
    /// and that where the header goes. `header` is the movie's.
    Result<NewContents> prepare(const QTMovie& movie, const Cow<Atom>& header, const SaveOptions& options)
    {
        const auto& file = *movie.file();
        NewContents contents;
        RW_TRY(contents.account, FileAccount::of(movie));
        contents.header = contents.unplaced = header;
        contents.headerBytes = file.header;
        if (!hasWork(movie, contents.account) && !options.finishesInterrupted)
            return contents;
        InPlaceUpdate paper {nullptr, file.layout, contents.account.inUse()};
        if (hasWork(movie, contents.account))
            RW_CHECK(tidyBefore(paper, contents.account));
        contents.placesHeader = movie.isChanged()
            || (options.finishesInterrupted
                && paper.frontHasRoom(file.headerAtom()->offset, file.header.size()));
        if (!contents.placesHeader) {
            contents.report = {paper.bytesWritten(), false, 0, false};
            return contents;
        }
        if (const auto waiting = MediaOffsets::memoryExtents(movie); !waiting.empty()) {
            MediaPlaces places;
            RW_TRY(contents.media, mediaAtom(movie, waiting, places));
            RW_TRY(contents.mediaOffset, paper.place(contents.media, InPlaceUpdate::Place::BehindMedia));
            RW_TRY(
                contents.unplaced, MediaOffsets::placeMemory(movie, [&](std::size_t, std::uint64_t offset) {
                    const auto place = places.find(offset);
                    return place == places.end() ? std::nullopt
                                                 : std::optional(contents.mediaOffset + place->second);
                }));
        }
        contents.unplaced.edit().sizeForm = SizeForm::Compact;
        const auto size = contents.unplaced->size();
        if (size > MovieFile::kMaxHeaderSize)
            return failure(MovieError::Code::Unsupported, movie.fileName(),
                "the movie header is too large to be written");
        contents.headerAt = [&movie, unplaced = contents.unplaced](std::uint64_t offset) -> Result<Bytes> {
            RW_TRY(const auto placed, MediaOffsets::headerAt(movie, unplaced, offset));
            return placed->toBytes();
        };
        RW_CHECK(
            paper.replaceHeader(file.headerAtom()->offset, size, [&](std::uint64_t offset) -> Result<Bytes> {
                RW_TRY(auto placed, contents.headerAt(offset));
                auto& announced = contents.announced;
                if (options.announce && (announced.empty() || announced.back() != placed))
                    announced.push_back(placed);
                return placed;
            }));
        if (paper.furthestHeaderOffset() >= contents.account.headerLimit())
            return failure(MovieError::Code::Refused, movie.fileName(),
                "the file holds the header of another movie too, and in front of it there is no room for the "
                "changed one; save the movie as a new file",
                contents.account.headerLimit());
        RW_TRY(contents.header, MediaOffsets::headerAt(movie, contents.unplaced, paper.headerOffset()));
        contents.headerBytes = contents.header->toBytes();
        RW_CHECK(file.storage->checkLength(movie.fileName(), paper.longestSize()));
        contents.report = {paper.bytesWritten(), paper.headerLeftTheFront(), 0, false};
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
        for (std::size_t i = 0; i < atoms.size(); ++i) {
            if (atoms[i].type != "moov"_cc || atoms[i].size != header.size())
                continue;
            RW_TRY(const bool same, holds(file, atoms[i].offset, header.span()));
            if (!same)
                continue;
            present->headerIndex = i;
            present->header = header;
            return present;
        }
        return failure(MovieError::Code::Corrupt, opened.path, "the movie header cannot be found again");
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
        if (!InPlaceUpdate::canClose(file->layout))
            return refuse("the file ends in an atom without a size; it has to be flattened");
        break;
    case FileLayout::Ending::Truncated:
        return refuse("the file ends in an atom that is cut short; it has to be flattened");
    case FileLayout::Ending::Garbage:
        return refuse("the file ends in bytes that are no atom; it has to be flattened");
    case FileLayout::Ending::Zeros:
    case FileLayout::Ending::Clean:
    case FileLayout::Ending::CutFree:
        break;
    }
    RW_CHECK(FileAccount::checkEnd(movie));
    if (volumes == VolumeRule::JournalledOnly)
        if (const auto type = file->storage->volumeType(file->path); !volumeAllowsInPlaceUpdate(type))
            return refuse(
                fmt::format("the file lies on a {} volume, on which files are not updated in place", type));
    return checkUnchanged(movie);
}

Result<void> MovieSaver::checkUnchanged(const QTMovie& movie)
{
    const auto& file = movie.file();
    if (!file)
        return {};
    RW_TRY(const auto current, file->storage->open(file->path, Storage::Access::Read));
    RW_TRY(const auto state, current->state());
    return state == file->state ? Result<void> {} : reelwright::checkUnchanged(*current, *file);
}

Result<SaveReport> MovieSaver::updateMovieFile(QTMovie& movie, const SaveOptions& options)
{
    RW_CHECK(canUpdateMovieFile(movie, options.volumes));
    const auto opened = movie.file();
    if (movie.isOutline())
        return failure(
            MovieError::Code::Refused, opened->path, "only the outline of the movie was read, not all of it");
    RW_TRY(const auto contents, prepare(movie, movie.m_header, options));
    const auto& account = contents.account;
    if (!hasWork(movie, account) && !contents.placesHeader)
        return SaveReport {};
    if (options.progress && !options.progress(0))
        return failure(MovieError::Code::Cancelled, opened->path, "the save was cancelled");

    RW_TRY(const auto file, openForUpdate(*opened));
    if (options.rehearse)
        return contents.report;
    for (const auto& header : contents.announced)
        RW_CHECK(options.announce(header.span()));
    WatchedFile watched {file, opened->layout.fileSize, opened->path};
    InPlaceUpdate update {&watched, opened->layout, account.inUse()};
    const auto write = [&]() -> Result<void> {
        if (hasWork(movie, account))
            RW_CHECK(tidyBefore(update, account));
        if (!contents.placesHeader)
            return {};
        if (!contents.media.empty()) {
            RW_TRY([[maybe_unused]] const auto offset,
                update.place(contents.media, InPlaceUpdate::Place::BehindMedia));
            RW_ASSERT(offset == contents.mediaOffset);
        }
        auto replaced = update.replaceHeader(
            opened->headerAtom()->offset, contents.headerBytes.size(), contents.headerAt);
        // Media that no header came to refer to are let go again.
        if (!replaced && !contents.media.empty() && !update.mayHaveReplacedHeader())
            static_cast<void>(update.retire(contents.mediaOffset));
        RW_CHECK(replaced);
        return tidyBehind(update, movie, account);
    };
    if (const auto written = write(); !written) {
        // What an update left half done is this movie's own doing: it can still be saved, in place or not.
        std::vector<Bytes> headers {opened->header, contents.headerBytes};
        if (contents.headerAt && update.headerOffset() != 0)
            if (auto interim = contents.headerAt(update.headerOffset()))
                headers.push_back(*interim);
        for (const auto& live : headers)
            if (auto present = presentFile(*file, *opened, live))
                movie.m_file = std::move(*present);
        return tl::unexpected<MovieError>(written.error());
    }
    RW_TRY(movie.m_file, presentFile(*file, *opened, contents.headerBytes));
    movie.m_header = contents.header;
    movie.m_savedHeader = contents.header;
    movie.m_truePlace = {contents.header, movie.m_file->headerAtom()->offset};
    movie.m_sources->setOwn(movie.m_file);
    if (!checkNamed(*opened->storage, opened->path, *file))
        return failure(MovieError::Code::Changed, opened->path,
            "another program put a file in the place of this one while it was saved; that one is left alone, "
            "and has none of the changes");
    if (options.progress)
        options.progress(1);
    return SaveReport {update.bytesWritten(), update.headerLeftTheFront(), 0, false};
}

Result<SaveReport> MovieSaver::plan(const QTMovie& movie, SaveWay way, const SaveOptions& options)
{
    if (way == SaveWay::Flattened) {
        RW_TRY(const auto plan, FlattenPlan::make(movie, options.unused));
        return SaveReport {plan.size(), false, plan.bytesLeftOut(), false};
    }
    RW_CHECK(canUpdateMovieFile(movie, options.volumes));
    if (movie.isOutline())
        return failure(MovieError::Code::Refused, movie.fileName(),
            "only the outline of the movie was read, not all of it");
    RW_TRY(const auto contents, prepare(movie, movie.m_header, options));
    return contents.report;
}

Result<SaveReport> MovieSaver::writeToFile(
    const QTMovie& movie, const std::string& path, const SaveOptions& options)
{
    const auto& source = movie.file();
    const auto storage = source ? source->storage : Storage::posix();
    const auto target = storage->resolve(path);
    RW_TRY(const auto plan, FlattenPlan::make(movie, options.unused));
    RW_TRY(const auto copied, CopiedFiles::of(plan, path));
    RW_CHECK(storage->checkPlace(target, plan.size()));
    // Holds the lock while its name is taken over.
    RW_TRY(const auto replaced, openReplaced(*storage, target, source.get(), plan, options));
    const SaveReport report {plan.size(), false, plan.bytesLeftOut(),
        source && !reelwright::checkUnchanged(*source->file, *source)};
    if (options.rehearse)
        return report;

    // The source may have lost its name meanwhile; its bytes are still there.
    const auto model = replaced                   ? target
        : source && storage->exists(source->path) ? source->path
                                                  : std::string {};
    const auto likeness = replaced ? Storage::Likeness::Replacement : Storage::Likeness::Copy;
    if (options.announce)
        RW_CHECK(options.announce(plan.header().span()));
    std::string hidden;
    RW_TRY(auto file, storage->createSibling(target, hidden));
    const auto& events = options.wholeFile;
    if (events.begun)
        events.begun(hidden);
    const auto writeAll = [&]() -> Result<void> {
        // A file that could not stay its owner's is refused before the work.
        if (!model.empty())
            RW_CHECK(storage->copyAttributes(model, hidden, likeness));
        // Copied step by step, so that progress shows and a cancel is heard within a long stretch.
        constexpr std::uint64_t kStep = 64U << 20U;
        std::uint64_t done = 0;
        for (const auto& segment : plan.segments()) {
            if (!segment.file)
                RW_CHECK(file->writeAt(segment.offset, segment.bytes.span()));
            std::uint64_t part = 0;
            for (std::uint64_t at = 0; at < segment.size; at += part) {
                // Steps end where blocks do, so that blocks which can be shared are.
                part = std::min(
                    kStep - (segment.file ? (segment.fileOffset + at) % kStep : 0), segment.size - at);
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
        RW_CHECK(copied.checkStill(path));
        RW_CHECK(storage->copyPermissions(model, hidden, likeness));
        if (events.complete)
            events.complete(hidden, target, replaced.has_value());
        return storage->rename(
            hidden, target, replaced ? std::optional(replaced->state) : std::nullopt, events.dispose);
    };
    if (auto written = writeAll(); !written) {
        // Where names were exchanged and could not be changed back, another file has that name now.
        if (checkNamed(*storage, hidden, *file))
            static_cast<void>(storage->remove(hidden));
        return tl::unexpected<MovieError>(std::move(written).error());
    }
    RW_CHECK(storage->flushFolder(target));
    if (options.progress)
        options.progress(1);
    return report;
}

} // namespace reelwright

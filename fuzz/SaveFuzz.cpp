// Opens any bytes as a movie, edits it as the input's first bytes say, saves it in place and flattened, and
// opens the results: they open, have the edits, and hold the same media and the same unknown atoms. A save
// that is stopped leaves the old movie or the new one.

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/MemoryStorage.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/FileAccount.h"
#include "movie/saving/MediaOffsets.h"
#include "movie/saving/MovieSaver.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTimeEditing.h"

#include <algorithm>

namespace reelwright::fuzz {
namespace {

    constexpr auto kPath = "/movie.mov";
    constexpr std::size_t kScript = 16;
    constexpr std::uint32_t kSamplesPerTrack = 8;

    // ---- Media ----

    /// Does it lie inside an atom of the outermost level, of whatever type? Media may lie in free space and
    /// in the header itself; what is no atom's inside belongs to nobody.
    bool isInAnAtom(const FileLayout& layout, const SampleTable::Chunk& place)
    {
        return std::ranges::any_of(layout.atoms, [&](const TopLevelAtom& atom) {
            return place.offset >= atom.offset + atom.headerSize && place.offset <= atom.end()
                && place.size <= atom.end() - place.offset;
        });
    }

    /// The first samples of each track, by track ID. Only of IDs that one track has.
    using Samples = std::map<std::uint32_t, std::vector<std::optional<Bytes>>>;

    Samples samplesOf(const QTMovie& movie)
    {
        Samples samples;
        std::map<std::uint32_t, int> owners;
        for (const auto& track : movie.tracks()) {
            ++owners[track.trackID()];
            auto& list = samples[track.trackID()];
            const auto media = track.media();
            const auto table = media.sampleTable();
            for (std::uint32_t sample = 1; sample <= std::min(table.sampleCount(), kSamplesPerTrack);
                 ++sample) {
                const auto place = table.locate(sample, media.soundPacking(1));
                auto& bytes = list.emplace_back();
                // Where nothing lies does not matter.
                if (place && place->size > 0 && isInAnAtom(movie.file()->layout, *place))
                    if (auto data = media.sampleData(sample))
                        bytes = *data;
            }
        }
        std::erase_if(samples, [&](const auto& entry) { return owners[entry.first] > 1; });
        return samples;
    }

    void requireSamples(const Samples& before, const QTMovie& saved)
    {
        const auto after = samplesOf(saved);
        for (const auto& [id, list] : before) {
            const auto found = after.find(id);
            if (found == after.end())
                continue; // a timecode track that was replaced
            for (std::size_t i = 0; i < list.size(); ++i)
                require(!list[i] || (i < found->second.size() && found->second[i] == list[i]),
                    "a sample is what it was before the save");
        }
    }

    // ---- Atoms that no edit knows ----

    constexpr FourCC kEdited[] = {"mvhd"_cc, "tkhd"_cc, "mdhd"_cc, "elst"_cc, "clef"_cc, "prof"_cc, "enof"_cc,
        "stco"_cc, "co64"_cc, "WLOC"_cc, "play"_cc, "clos"_cc, "quit"_cc, "ctyp"_cc, "ptv "_cc, "apmd"_cc,
        "test"_cc, "tmcd"_cc, "chap"_cc,
        // Where they point moves with the header, or with the media.
        "saio"_cc, "gps "_cc};

    /// Leaves of the header that the script below leaves alone, in order. Not those inside timecode tracks,
    /// which it makes, changes and replaces, and not where media are: in the file itself, once it is
    /// flattened.
    void collectUnknown(const Atom& atom, std::vector<Bytes>& unknown)
    {
        for (const auto& child : atom.children) {
            const bool isTimecode
                = child->type == "trak"_cc && child->find({"mdia"_cc, "minf"_cc, "gmhd"_cc});
            if (isTimecode || child->type == "edts"_cc || child->type == "tapt"_cc || child->type == "tref"_cc
                || child->type == "dref"_cc)
                continue;
            if (child->isContainer)
                collectUnknown(*child, unknown);
            else if (std::ranges::find(kEdited, child->type) == std::end(kEdited))
                unknown.push_back(child->toBytes());
        }
    }

    std::vector<Bytes> unknownAtoms(const QTMovie& movie)
    {
        std::vector<Bytes> unknown;
        collectUnknown(movie.header(), unknown);
        return unknown;
    }

    void requireUnknown(const std::vector<Bytes>& before, const QTMovie& movie)
    {
        const auto after = unknownAtoms(movie);
        auto at = after.begin();
        for (const auto& atom : before) {
            at = std::find(at, after.end(), atom);
            require(at != after.end(), "an atom that no edit knows is kept");
            ++at;
        }
    }

    // ---- The edits ----

    void setRange(const QTTrack& track, int value)
    {
        const QTTimeRange wanted {{value * 7, 600}, {value * 100, 600}};
        if (!track.setRange(wanted))
            return;
        const auto got = track.range();
        const auto scale = track.timeScale();
        require(got.time.value == atScale(wanted.time, scale).value
                && got.duration.value == atScale(wanted.duration, scale).value,
            "a range that was set is the range that is read");
    }

    void setTimecode(QTMovie& movie, int value)
    {
        const auto part
            = [&](int divisor) { return static_cast<KWTimecodeController::Byte>(value % divisor); };
        const auto old = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        const auto reel = value % 2 == 0 ? std::nullopt
                                         : std::optional {std::string(static_cast<std::size_t>(value), 'r')};
        if (old.empty())
            KWTimecodeController::insertTimecodeTrack(part(24), part(60), part(60), part(24), movie);
        else if (value % 5 == 0)
            KWTimecodeController::replaceTimecodeTrack(old.front(), movie);
        else
            KWTimecodeController::modifyTimecode(part(24), part(60), part(60), part(24), reel, old.front(),
                movie, value % 3 == 0, value % 7 == 0, value % 11 == 0, value % 13 == 0);
    }

    void edit(QTMovie& movie, ByteSpan script)
    {
        for (std::size_t i = 0; i + 1 < script.size(); i += 2) {
            const auto value = std::to_integer<int>(script[i + 1]);
            const auto tracks = movie.tracks();
            const auto* track
                = tracks.empty() ? nullptr : &tracks[static_cast<std::size_t>(value) % tracks.size()];
            switch (std::to_integer<int>(script[i]) % 12) {
            case 0:
                KWQuickTimeEditing::setAutoPlay(value % 2 == 1, movie);
                break;
            case 1: {
                const EditableScope scope {movie};
                static_cast<void>(movie.setUserDataItem(
                    "test"_cc, Bytes::copyOf(std::string(static_cast<std::size_t>(value) * 3, 'x'))));
                break;
            }
            case 2:
                KWQuickTimeEditing::setApertureMode(value % 2 == 0 ? "clas"_cc : "prod"_cc, movie);
                break;
            case 3:
                if (const EditableScope scope {movie}; track)
                    static_cast<void>(track->setEnabled(!track->isEnabled()));
                break;
            case 4:
                KWQuickTimeEditing::rotateMovieRight(movie);
                break;
            case 5:
                if (const EditableScope scope {movie}; track)
                    setRange(*track, value);
                break;
            case 6:
                setTimecode(movie, value);
                break;
            case 7: {
                const EditableScope scope {movie};
                static_cast<void>(movie.removeUserDataItem("test"_cc));
                break;
            }
            case 8: {
                const EditableScope scope {movie};
                static_cast<void>(movie.raiseTimeScale(value * 1001));
                break;
            }
            case 9:
                if (const EditableScope scope {movie}; track)
                    static_cast<void>(track->addReference("chap"_cc, static_cast<std::uint32_t>(value)));
                break;
            case 10:
                KWQuickTimeEditing::flopMovie(movie);
                break;
            default:
                KWQuickTimeEditing::setMovieControllerNone(movie);
            }
        }
    }

    // ---- The saves ----

    void flatten(const QTMovie& movie, const Samples& samples, const std::shared_ptr<MemoryStorage>& storage)
    {
        if (!MovieSaver::writeToFile(movie, "/flat.mov"))
            return;
        const auto flat = QTMovie::open("/flat.mov", storage);
        require(flat.has_value(), "a flattened movie opens");
        require(flat->tracks().size() == movie.tracks().size(), "a flattened movie has all tracks");
        require(!movie.file()->headerAtom() || flat->file()->layout.atoms.front().type == "moov"_cc
                || flat->file()->layout.atoms.front().type == "ftyp"_cc,
            "the header of a flattened movie stands in front");
        requireSamples(samples, *flat);
        if (movie.file()->headerAtom())
            requireUnknown(unknownAtoms(movie), *flat);
    }

    bool refersInto(const QTMovie& movie, const TopLevelAtom& atom)
    {
        bool refers = false;
        const auto note = [&](std::uint64_t offset, std::uint64_t size) {
            refers = refers
                || (offset < atom.end()
                    && (offset >= atom.offset || size == MediaOffsets::kUnknownSize
                        || size > atom.offset - offset));
        };
        for (const auto& track : movie.tracks())
            MediaOffsets::forEachOwnChunk(track, note);
        MediaOffsets::forEachOther(movie, note);
        return refers;
    }

    /// What lies in the file besides headers and free space lies there still. A small atom of media may
    /// become free when an edit took away all that it was for, and the last atom may get its size.
    void requireFileKept(const QTMovie& before, const QTMovie& after, const std::vector<std::byte>& old,
        const std::vector<std::byte>& now)
    {
        for (const auto& atom : before.file()->layout.atoms) {
            if (atom.type == "moov"_cc || atom.type == "free"_cc || atom.type == "skip"_cc
                || atom.end() > old.size())
                continue;
            if (atom.type == "mdat"_cc && atom.size <= FileAccount::kMostReclaimed && refersInto(before, atom)
                && !refersInto(after, atom))
                continue;
            const auto begin = atom.offset + (atom.sizeForm == SizeForm::ToEnd ? 4 : 0);
            require(atom.end() <= now.size()
                    && std::equal(old.begin() + static_cast<std::ptrdiff_t>(begin),
                        old.begin() + static_cast<std::ptrdiff_t>(atom.end()),
                        now.begin() + static_cast<std::ptrdiff_t>(begin)),
                "a save in place leaves the other atoms of the file alone");
        }
    }

    void interrupt(QTMovie movie, std::size_t changes, const Bytes& oldHeader, const Bytes& newHeader,
        const Samples& samples, const std::shared_ptr<MemoryStorage>& storage)
    {
        const auto old = *storage->files[kPath];
        storage->changesLeft = changes;
        const bool saved = MovieSaver::updateMovieFile(movie).has_value();
        storage->changesLeft = MemoryStorage::kNever;
        const auto left = QTMovie::open(kPath, storage);
        require(left.has_value(), "a save that is stopped leaves a movie");
        const auto header = left->header().toBytes();
        require(header == newHeader || (!saved && header == oldHeader),
            "a save that is stopped leaves the old movie or the new one");
        requireSamples(samples, *left);
        storage->put(kPath, old);
    }

} // namespace

void saveMovie(ByteSpan input)
{
    if (input.size() < kScript)
        return;
    const auto script = input.first(kScript);
    const auto content = input.subspan(kScript);
    const auto storage = std::make_shared<MemoryStorage>();
    storage->put(kPath, content);
    auto movie = QTMovie::open(kPath, storage);
    if (!movie)
        return;
    const auto original = *movie;
    const auto samples = samplesOf(*movie);
    const auto unknown = unknownAtoms(*movie);
    edit(*movie, script.subspan(2));
    requireUnknown(unknown, *movie);
    flatten(*movie, samples, storage);

    const bool addsMedia = movie->tracksOfMediaType(QTMediaTypeTimeCode).size()
        != original.tracksOfMediaType(QTMediaTypeTimeCode).size();
    const auto before = *storage->files[kPath];
    const auto edited = *movie;
    if (!MovieSaver::updateMovieFile(*movie))
        return;
    const auto newHeader = movie->header().toBytes();
    const auto again = QTMovie::open(kPath, storage);
    require(again.has_value(), "a movie saved in place opens");
    require(again->header().toBytes() == newHeader, "a movie saved in place has the header that was saved");
    requireSamples(samples, *again);
    requireFileKept(original, *again, before, *storage->files[kPath]);

    // New media may come to lie elsewhere after an interrupted save, and the header then differs.
    if (addsMedia || !edited.isChanged())
        return;
    const auto after = *storage->files[kPath];
    storage->put(kPath, before);
    interrupt(edited, std::to_integer<std::size_t>(script[0]) % 16, original.header().toBytes(), newHeader,
        samples, storage);
    storage->put(kPath, after);
    edit(*movie, script.subspan(4));
    if (MovieSaver::updateMovieFile(*movie)) {
        const auto twice = QTMovie::open(kPath, storage);
        require(twice && twice->header().toBytes() == movie->header().toBytes(),
            "a saved movie can be saved again");
        requireSamples(samples, *twice);
    }
}

} // namespace reelwright::fuzz

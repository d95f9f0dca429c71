#include "movie/QTMovie.h"

#include "movie/Apertures.h"
#include "movie/QTTrack.h"
#include "movie/TrackBuilder.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"
#include "movie/files/Fragments.h"
#include "movie/files/HeaderChoice.h"
#include "movie/files/Importer.h"
#include "movie/files/MediaSources.h"
#include "movie/files/TrackDamage.h"

#include <algorithm>
#include <numeric>
#include <set>

namespace reelwright {
namespace {

    Result<FourCC> readMajorBrand(const MovieFile& file)
    {
        for (const auto& atom : file.layout.atoms)
            if (atom.type == "ftyp"_cc && atom.size >= atom.headerSize + 4) {
                RW_TRY(
                    const auto brand, readExactly(*file.file, atom.offset + atom.headerSize, 4, file.path));
                return ByteReader {brand.span()}.fourCC();
            }
        return FourCC {};
    }

    /// Payload of a new `mvhd`.
    Bytes newMovieHeader()
    {
        MovieHeader header;
        header.nextTrackID = 1;
        return header.write();
    }

} // namespace

QTMovie::QTMovie()
    : m_warnings(std::make_shared<std::vector<MovieWarning>>())
    , m_sources(std::make_shared<MediaSources>(nullptr))
{
    auto& moov = m_header.edit();
    moov = Atom::container("moov"_cc);
    moov.append(Atom {"mvhd"_cc, newMovieHeader()});
    m_savedHeader = m_header;
}

Result<QTMovie> QTMovie::open(
    const std::string& path, std::shared_ptr<Storage> storage, HeaderReading reading)
{
    auto file = std::make_shared<MovieFile>();
    file->storage = std::move(storage);
    file->path = path;
    file->folder = file->storage->resolve(path);
    const auto slash = file->folder.rfind('/');
    file->folder.resize(slash == std::string::npos ? 0 : std::max<std::size_t>(slash, 1));
    RW_TRY(file->file, file->storage->open(path, Storage::Access::Read));
    RW_TRY(file->state, file->file->state());

    std::vector<MovieWarning> warnings;
    QTMovie movie;
    RW_TRY(auto imported, importMediaFile(*file->file, path));
    if (imported) {
        file->layout.fileSize = file->state.size;
        movie.m_header = Cow<Atom>(std::move(*imported));
    } else {
        RW_TRY(file->layout, FileLayout::scan(*file->file, path));
        RW_TRY(file->majorBrand, readMajorBrand(*file));
        movie.m_fragmented = reelwright::isFragmented(file->layout);
        if (movie.m_fragmented) // its tables are continued
            reading = HeaderReading::Whole;
        movie.m_outline = reading == HeaderReading::Outline;
        RW_TRY(auto moov, chooseHeader(*file, reading, warnings));
        if (movie.m_fragmented) {
            RW_CHECK(gatherFragments(moov, *file, warnings));
        }
        movie.m_header = Cow<Atom>(std::move(moov));
    }
    movie.m_savedHeader = movie.m_header;
    if (const auto* headerAtom = file->headerAtom())
        movie.m_truePlace = {movie.m_header, headerAtom->offset};
    movie.m_file = file;
    movie.m_sources = std::make_shared<MediaSources>(file);
    noteTrackDamage(movie, warnings);
    movie.m_warnings = std::make_shared<const std::vector<MovieWarning>>(std::move(warnings));
    movie.gotoBeginning();
    return movie;
}

bool QTMovie::canOpen(const std::string& path, Storage& storage)
{
    const auto file = storage.open(path, Storage::Access::Read);
    if (!file)
        return false;
    if (const auto imported = importMediaFile(**file, path); !imported || *imported)
        return true; // of such a kind; opening it says what is wrong with it
    const auto layout = FileLayout::scan(**file, path);
    return layout && std::any_of(layout->atoms.begin(), layout->atoms.end(), [](const TopLevelAtom& atom) {
        return atom.type == "moov"_cc;
    });
}

std::string QTMovie::fileName() const
{
    return m_file ? m_file->path : std::string {};
}

Atom& QTMovie::editHeader()
{
    RW_ASSERT(m_editable);
    return m_header.edit();
}

bool QTMovie::isChanged() const
{
    return !m_header->writesSameAs(*m_savedHeader);
}

void QTMovie::adoptSave(const QTMovie& before, const QTMovie& saved)
{
    if (&*m_header == &*before.m_header) {
        m_header = saved.m_header;
        m_truePlace = saved.m_truePlace;
    }
    m_savedHeader = saved.m_header;
    m_file = saved.m_file;
    m_sources = saved.m_sources;
}

QTMovie QTMovie::overFileOf(const QTMovie& saved) const
{
    auto result = saved;
    result.m_header = m_header;
    result.m_truePlace = m_truePlace;
    return result;
}

MovieHeader QTMovie::movieHeader() const
{
    const auto* atom = m_header->find("mvhd"_cc);
    auto header = atom ? MovieHeader::parse(atom->head) : Result<MovieHeader> {};
    return header ? std::move(*header) : MovieHeader {};
}

std::int32_t QTMovie::timeScale() const
{
    const auto scale = movieHeader().timeScale;
    return scale > INT32_MAX ? 0 : static_cast<std::int32_t>(scale);
}

std::optional<std::chrono::sys_seconds> QTMovie::creationTime() const
{
    const auto time = movieHeader().creationTime; // since 1904
    constexpr std::uint64_t kMost = 1ULL << 40U; // damaged headers have more
    if (time == 0 || time > kMost)
        return std::nullopt;
    return std::chrono::sys_seconds {
        std::chrono::seconds {static_cast<std::int64_t>(time) - kSecondsFrom1904To1970}};
}

QTTime QTMovie::duration() const
{
    const auto header = movieHeader();
    if (header.duration <= INT64_MAX && !m_isDurationStale)
        return {static_cast<std::int64_t>(header.duration), timeScale()};
    return longestTrack(); // unknown in the header
}

QTTime QTMovie::longestTrack() const
{
    QTTime longest {0, timeScale()};
    for (const auto& track : tracks()) {
        const auto range = track.range();
        longest = std::max(longest, range.time + range.duration);
    }
    return longest;
}

QTSize QTMovie::naturalSize() const
{
    std::optional<QTRect> all;
    for (const auto& track : tracks()) {
        const auto type = track.mediaType();
        if (!track.isEnabled()
            || (type != QTMediaTypeVideo && type != QTMediaTypeText && type != QTMediaTypeSprite))
            continue;
        const auto box = track.bounds();
        if (!all)
            all = box;
        *all = {std::min(all->left, box.left), std::min(all->top, box.top), std::max(all->right, box.right),
            std::max(all->bottom, box.bottom)};
    }
    return all ? QTSize {all->width(), all->height()} : QTSize {};
}

QTMovie QTMovie::asSaved() const
{
    auto saved = *this;
    saved.m_header = m_savedHeader;
    return saved;
}

std::vector<QTTrack> QTMovie::tracks() const
{
    std::vector<QTTrack> result;
    for (std::size_t i = 0; i < m_header->children.size(); ++i)
        if (const auto& child = m_header->children[i]; child->type == "trak"_cc)
            result.emplace_back(*this, child->id, i);
    return result;
}

std::vector<QTTrack> QTMovie::tracksOfMediaType(FourCC mediaType) const
{
    auto result = tracks();
    std::erase_if(result, [&](const QTTrack& track) { return track.mediaType() != mediaType; });
    return result;
}

std::optional<QTTrack> QTMovie::firstTrackOfMediaType(FourCC mediaType) const
{
    for (std::size_t i = 0; i < m_header->children.size(); ++i)
        if (const auto& child = m_header->children[i]; child->type == "trak"_cc)
            if (QTTrack track {*this, child->id, i}; track.mediaType() == mediaType)
                return track;
    return std::nullopt;
}

Result<void> QTMovie::checkEditable() const
{
    if (!m_editable)
        return failure(MovieError::Code::Refused, fileName(), "the movie is not editable");
    return {};
}

Result<QTTrack> QTMovie::addTrack(Atom trak)
{
    RW_CHECK(checkEditable());
    auto* atom = trak.edit("tkhd"_cc);
    RW_ASSERT(atom);
    RW_TRY(auto header, TrackHeader::parse(atom->head));
    auto movie = movieHeader();
    std::uint32_t highest = 0;
    for (const auto& track : tracks())
        highest = std::max(highest, track.trackID());
    // The header's next ID is wrong in many files; all ones mean "search".
    const auto next = movie.nextTrackID == UINT32_MAX ? 0 : movie.nextTrackID;
    header.trackID = std::max({next, highest < UINT32_MAX ? highest + 1 : highest, 1U});
    atom->head = header.write();
    movie.nextTrackID = header.trackID + 1;

    auto& moov = m_header.edit();
    moov.setLeaf("mvhd"_cc, movie.write());
    const auto last = std::find_if(moov.children.rbegin(), moov.children.rend(),
        [](const auto& child) { return child->type == "trak"_cc; });
    const auto place = last == moov.children.rend() ? std::find_if(moov.children.begin(), moov.children.end(),
                           [](const auto& child) { return child->type == "mvhd"_cc; })
                                                    : last.base() - 1;
    const auto id = trak.id;
    moov.children.insert(place == moov.children.end() ? place : place + 1, Cow<Atom>(std::move(trak)));
    updateDuration();
    return QTTrack {*this, id};
}

Result<void> QTMovie::removeTrack(const QTTrack& track)
{
    return removeTracks({&track, 1});
}

Result<void> QTMovie::removeTracks(std::span<const QTTrack> tracks)
{
    RW_CHECK(checkEditable());
    if (tracks.empty()) // what changes nothing leaves the header shared
        return {};
    std::set<std::uint32_t> removed;
    std::set<std::uint64_t> identities;
    for (const auto& track : tracks) {
        removed.insert(track.trackID());
        identities.insert(track.atom().id);
    }
    std::erase_if(
        m_header.edit().children, [&](const auto& child) { return identities.contains(child->id); });
    const auto left = this->tracks();
    // Of two tracks with one ID the other one is what references mean now.
    for (const auto& other : left)
        removed.erase(other.trackID());
    for (const auto& other : left)
        RW_CHECK(other.removeReferencesTo(removed));
    updateDuration();
    return {};
}

Result<bool> QTMovie::raiseTimeScale(std::int32_t unit)
{
    RW_CHECK(checkEditable());
    const auto scale = timeScale();
    if (scale <= 0 || unit <= 0 || scale % unit == 0)
        return scale > 0 && unit > 0;
    const auto raised = std::lcm<std::int64_t>(scale, unit);
    const auto factor = static_cast<std::uint64_t>(raised / scale);
    if (raised > INT32_MAX)
        return false;
    // Compact times only: a longer one would change the version of its atom, which old readers do not know.
    const auto fits
        = [&](std::uint64_t time) { return time == kUnknownDuration || time < UINT32_MAX / factor; };
    auto movie = movieHeader();
    if (!fits(movie.duration))
        return false;
    struct Raised
    {
        QTTrack track;
        TrackHeader header;
        std::optional<EditList> edits;
    };
    std::vector<Raised> raisedTracks;
    for (const auto& track : tracks()) {
        Raised row {track, track.header(), std::nullopt};
        if (!fits(row.header.duration))
            return false;
        if (row.header.duration != kUnknownDuration)
            row.header.duration *= factor;
        if (track.atom().find({"edts"_cc, "elst"_cc})) {
            auto edits = track.editList();
            if (!edits || std::any_of(edits->edits.begin(), edits->edits.end(), [&](const auto& edit) {
                    return !fits(edit.duration);
                }))
                return false;
            for (auto& edit : edits->edits)
                edit.duration *= factor;
            row.edits = std::move(*edits);
        }
        raisedTracks.push_back(std::move(row));
    }
    movie.timeScale = static_cast<std::uint32_t>(raised);
    if (movie.duration != kUnknownDuration)
        movie.duration *= factor;
    // Preview, poster, selection and current times count in the movie's scale too.
    ByteReader in {movie.preview.span()};
    ByteWriter preview;
    while (in.left() >= 4) {
        const auto time = in.u32();
        preview.u32(fits(time) ? static_cast<std::uint32_t>(time * factor) : time);
    }
    movie.preview = preview.toBytes();
    m_header.edit().setLeaf("mvhd"_cc, movie.write());
    for (const auto& row : raisedTracks) {
        auto* trak = row.track.editAtom();
        if (trak->find("tkhd"_cc))
            trak->setLeaf("tkhd"_cc, row.header.write());
        if (row.edits)
            trak->edit("edts"_cc)->setLeaf("elst"_cc, row.edits->write());
    }
    m_currentTime = atScale(m_currentTime, static_cast<std::int32_t>(raised));
    return true;
}

std::optional<Bytes> QTMovie::userDataItem(FourCC type, std::size_t index) const
{
    return userData::item(*m_header, type, index);
}

Result<void> QTMovie::setUserDataItem(FourCC type, Bytes payload, std::size_t index)
{
    RW_CHECK(checkEditable());
    userData::setItem(m_header.edit(), type, std::move(payload), index);
    return {};
}

Result<void> QTMovie::removeUserDataItem(FourCC type, std::size_t index)
{
    RW_CHECK(checkEditable());
    if (userData::item(*m_header, type, index))
        userData::removeItem(m_header.edit(), type, index);
    return {};
}

Result<void> QTMovie::generateApertureModeDimensions()
{
    RW_CHECK(checkEditable());
    for (const auto& track : tracksOfMediaType(QTMediaTypeVideo)) {
        const bool follows = apertures::hasSizeOfAperture(track);
        RW_CHECK(apertures::generate(track));
        if (follows)
            RW_CHECK(apertures::follow(track));
    }
    return {};
}

Result<void> QTMovie::removeApertureModeDimensions()
{
    RW_CHECK(checkEditable());
    for (const auto& track : tracks())
        RW_CHECK(apertures::remove(track));
    return {};
}

void QTMovie::updateDuration()
{
    m_isDurationStale = m_holdsDuration;
    if (m_holdsDuration)
        return;
    auto header = movieHeader();
    const auto duration = static_cast<std::uint64_t>(std::max<std::int64_t>(longestTrack().value, 0));
    if (header.duration == duration)
        return;
    header.duration = duration;
    m_header.edit().setLeaf("mvhd"_cc, header.write());
}

} // namespace reelwright

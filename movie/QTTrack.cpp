#include "movie/QTTrack.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    /// Movie time units of media that lie behind an edit and could still be shown at its rate.
    std::uint64_t extensible(const EditList::Edit& edit, std::uint64_t mediaDuration, std::int64_t mediaScale,
        std::int64_t movieScale)
    {
        if (edit.isEmpty() || edit.rate == 0)
            return UINT64_MAX; // a gap or a held picture can last for ever
        if (edit.rate < 0 || mediaScale <= 0 || movieScale <= 0 || edit.mediaTime < 0)
            return 0;
        constexpr Wide kOne = 1 << 16;
        // All of the media behind the edit's start, in movie units at the edit's rate.
        const Wide left = static_cast<Wide>(mediaDuration) - edit.mediaTime;
        const Wide showable
            = left <= 0 ? 0 : left * movieScale * kOne / (static_cast<Wide>(mediaScale) * edit.rate);
        const Wide behind = showable - static_cast<Wide>(edit.duration);
        return behind <= 0 ? 0 : behind > INT64_MAX ? INT64_MAX : static_cast<std::uint64_t>(behind);
    }

    /// The first edit behind the empty ones that the list begins with.
    template <class Edits> auto contentOf(Edits& edits)
    {
        return std::find_if(edits.begin(), edits.end(), [](const auto& edit) { return !edit.isEmpty(); });
    }

    /// Sum of durations, saturating.
    template <class Edit> std::uint64_t durationOf(Edit first, Edit last)
    {
        std::uint64_t total = 0;
        for (; first != last; ++first)
            total = first->duration > UINT64_MAX - total ? UINT64_MAX : total + first->duration;
        return total;
    }

    void setStart(EditList& list, std::uint64_t start)
    {
        list.edits.erase(list.edits.begin(), contentOf(list.edits));
        if (start > 0)
            list.edits.insert(list.edits.begin(), EditList::Edit {start, -1, 1 << 16});
    }

    /// Leaves `duration` behind the leading gap, which is less than there is. The first edit there stays,
    /// with a length of 0 if need be: it remembers its place in the media, should the track become longer
    /// again.
    void shorten(EditList& list, std::uint64_t duration)
    {
        auto last = contentOf(list.edits);
        for (; last->duration < duration; ++last)
            duration -= last->duration;
        last->duration = duration;
        list.edits.erase(last + 1, list.edits.end());
    }

} // namespace

QTTrack::QTTrack(const QTMovie& movie, std::uint64_t atomId, std::size_t place)
    : m_movie(const_cast<QTMovie*>(&movie)) // NOLINT: see the class comment
    , m_id(atomId)
    , m_place(place)
{
}

std::size_t QTTrack::findPlace() const
{
    const auto& children = m_movie->header().children;
    if (m_place < children.size() && children[m_place]->id == m_id)
        return m_place;
    for (std::size_t i = 0; i < children.size(); ++i)
        if (children[i]->id == m_id)
            return i;
    return kNowhere;
}

const Atom* QTTrack::find() const
{
    const auto place = findPlace();
    return place == kNowhere ? nullptr : &*m_movie->header().children[place];
}

const Atom& QTTrack::atom() const
{
    const auto* trak = find();
    RW_ASSERT(trak);
    return *trak;
}

Atom* QTTrack::editAtom() const
{
    if (!m_movie->isEditable())
        return nullptr;
    const auto place = findPlace();
    return place == kNowhere ? nullptr : &m_movie->editHeader().children[place].edit();
}

TrackHeader QTTrack::header() const
{
    const auto* trak = find();
    const auto* tkhd = trak ? trak->find("tkhd"_cc) : nullptr;
    auto header = tkhd ? TrackHeader::parse(tkhd->head) : Result<TrackHeader> {};
    return header ? std::move(*header) : TrackHeader {};
}

Result<void> QTTrack::setHeader(const TrackHeader& header) const
{
    auto* trak = editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_movie->fileName(), "the movie is not editable");
    const auto* present = trak->find("tkhd"_cc);
    if (!present || !TrackHeader::parse(present->head)) // what cannot be read is not written over
        return failure(MovieError::Code::Corrupt, "moov/trak",
            "the track has no header (tkhd) that can be read", trak->sourceOffset);
    trak->setLeaf("tkhd"_cc, header.write());
    return {};
}

FourCC QTTrack::mediaType() const
{
    const auto* trak = find();
    const auto* handler = trak ? trak->find({"mdia"_cc, "hdlr"_cc}) : nullptr;
    if (!handler)
        return {};
    ByteReader in {handler->head.span()};
    in.skip(8); // version, flags, component type
    return in.fourCC();
}

QTMedia QTTrack::media() const
{
    return QTMedia {*this};
}

Result<void> QTTrack::setEnabled(bool enabled) const
{
    auto changed = header();
    changed.flags = enabled ? changed.flags | TrackHeader::kEnabled : changed.flags & ~TrackHeader::kEnabled;
    return setHeader(changed);
}

Result<void> QTTrack::setVolume(std::int16_t volume) const
{
    auto changed = header();
    changed.volume = volume;
    return setHeader(changed);
}

Result<void> QTTrack::setLayer(std::int16_t layer) const
{
    auto changed = header();
    changed.layer = layer;
    return setHeader(changed);
}

Result<void> QTTrack::setAlternateGroup(std::int16_t group) const
{
    auto changed = header();
    changed.alternateGroup = group;
    return setHeader(changed);
}

std::uint64_t QTTrack::implicitDuration() const
{
    const auto own = header().duration;
    if (own != 0 && own <= INT64_MAX) // some writers leave it at 0
        return own;
    const auto scaled = atScale(media().duration(), timeScale());
    return static_cast<std::uint64_t>(std::max<std::int64_t>(scaled.value, 0));
}

Result<EditList> QTTrack::editList() const
{
    const auto* trak = find();
    const auto* elst = trak ? trak->find({"edts"_cc, "elst"_cc}) : nullptr;
    if (elst) {
        auto list = EditList::parse(elst->head);
        if (!list) {
            auto error = std::move(list).error();
            error.where = fmt::format("track {}/edts/elst", trackID());
            error.offset += elst->sourceOffset;
            return tl::unexpected<MovieError>(std::move(error));
        }
        if (!list->edits.empty())
            return list;
    }
    EditList whole;
    whole.edits.push_back({implicitDuration(), 0, 1 << 16});
    return whole;
}

Result<void> QTTrack::setEditList(const EditList& list) const
{
    auto changed = header();
    changed.duration = list.duration();
    RW_CHECK(setHeader(changed));
    auto* trak = editAtom();
    if (!trak->find("edts"_cc))
        trak->insertBefore("mdia"_cc, Atom::container("edts"_cc));
    trak->edit("edts"_cc)->setLeaf("elst"_cc, list.write());
    m_movie->updateDuration();
    return {};
}

bool QTTrack::isEmptied(const std::vector<EditList::Edit>& edits) const
{
    return contentOf(edits) == edits.end() && media().sampleCount() == 0;
}

QTTimeRange QTTrack::range() const
{
    const auto scale = timeScale();
    const auto time = [&](std::uint64_t value) {
        return QTTime {static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX)), scale};
    };
    const auto list = editList();
    if (!list) // a list that cannot be understood leaves the track header's word
        return {time(0), time(implicitDuration())};
    const auto& edits = list->edits;
    // A track that was emptied keeps its length as a gap, which is not a late start of something.
    const auto content = isEmptied(edits) ? edits.begin() : contentOf(edits);
    return {time(durationOf(edits.begin(), content)), time(durationOf(content, edits.end()))};
}

Result<void> QTTrack::setRange(const QTTimeRange& wanted) const
{
    if (!m_movie->isEditable())
        return failure(MovieError::Code::Refused, m_movie->fileName(), "the movie is not editable");
    const auto scale = timeScale();
    if (scale == 0)
        return failure(MovieError::Code::Refused, "moov/mvhd", "the movie has no time scale");
    const auto units = [&](const QTTime& time) {
        return static_cast<std::uint64_t>(std::max<std::int64_t>(atScale(time, scale).value, 0));
    };
    const auto start = units(wanted.time);
    const auto duration = units(wanted.duration);
    RW_TRY(auto list, editList());
    auto& edits = list.edits;
    const auto before = edits;
    if (isEmptied(edits))
        edits.insert(edits.begin(), EditList::Edit {0, 0, 1 << 16});
    const auto gap = durationOf(edits.begin(), contentOf(edits));
    const auto present = durationOf(contentOf(edits), edits.end());

    if (duration < present) {
        shorten(list, duration);
    } else if (auto missing = duration - present; missing > 0) {
        // A track that shows only gaps starts over with its media.
        if (contentOf(edits) == edits.end())
            edits.push_back({0, 0, 1 << 16});
        const auto mediaDuration = media().duration();
        const auto available = extensible(edits.back(),
            static_cast<std::uint64_t>(std::max<std::int64_t>(mediaDuration.value, 0)), mediaDuration.scale,
            scale);
        const auto extension = std::min(missing, available);
        edits.back().duration += extension;
        missing -= extension;
        if (missing > 0 && media().sampleCount() == 0)
            edits.push_back({missing, -1, 1 << 16}); // nothing but its gap tells how long it is
        else if (missing > 0)
            return failure(MovieError::Code::Refused, fmt::format("track {}", trackID()),
                fmt::format("its media are not long enough; the longest duration possible is {:.3f} seconds "
                            "({}/{})",
                    static_cast<double>(duration - missing) / scale, duration - missing, scale));
    }
    if (start != gap)
        setStart(list, start);
    if (edits.empty()) // a track that shows nothing still needs an edit to say so
        edits.push_back({0, -1, 1 << 16});
    if (edits == before)
        return {};
    return setEditList(list);
}

QTRect QTTrack::bounds() const
{
    const auto track = header();
    return track.matrix.boxOf(track.width / 65536.0, track.height / 65536.0);
}

Result<void> QTTrack::setMatrix(const Matrix& matrix) const
{
    auto changed = header();
    changed.matrix = matrix;
    return setHeader(changed);
}

QTSize QTTrack::size() const
{
    const auto track = header();
    return {track.width / 65536.0, track.height / 65536.0};
}

Result<void> QTTrack::setSize(const QTSize& size) const
{
    auto changed = header();
    changed.width = fixed16(size.width);
    changed.height = fixed16(size.height);
    return setHeader(changed);
}

std::string QTTrack::name() const
{
    const auto* trak = find();
    const auto item = trak ? userData::item(*trak, "name"_cc) : std::nullopt;
    if (!item)
        return {};
    // Mostly plain text without a terminator; some writers end it with a zero.
    auto text = decodeText(item->span());
    if (const auto zero = text.find('\0'); zero != std::string::npos)
        text.resize(zero);
    return text;
}

Result<void> QTTrack::setName(std::string_view name) const
{
    auto* trak = editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_movie->fileName(), "the movie is not editable");
    if (name.empty()) {
        userData::removeItem(*trak, "name"_cc);
        return {};
    }
    userData::setItem(*trak, "name"_cc, Bytes::copyOf(name));
    return {};
}

std::map<FourCC, std::vector<std::uint32_t>> QTTrack::references() const
{
    std::map<FourCC, std::vector<std::uint32_t>> result;
    const auto* trak = find();
    const auto* tref = trak ? trak->find("tref"_cc) : nullptr;
    if (!tref)
        return result;
    for (const auto& kind : tref->children) {
        auto& ids = result[kind->type];
        for (ByteReader in {kind->head.span()}; in.left() >= 4;)
            ids.push_back(in.u32());
    }
    return result;
}

Result<void> QTTrack::addReference(FourCC kind, std::uint32_t trackID) const
{
    const auto present = references();
    if (const auto ids = present.find(kind); ids != present.end()
        && std::find(ids->second.begin(), ids->second.end(), trackID) != ids->second.end())
        return {};
    auto* trak = editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_movie->fileName(), "the movie is not editable");
    if (!trak->find("tref"_cc))
        trak->insertBefore("mdia"_cc, Atom::container("tref"_cc));
    auto& tref = *trak->edit("tref"_cc);
    const auto* ids = tref.find(kind);
    ByteWriter out;
    if (ids)
        out.bytes(ids->head.span());
    tref.setLeaf(kind, out.u32(trackID).toBytes());
    return {};
}

Result<void> QTTrack::removeReferencesTo(const std::set<std::uint32_t>& trackIDs) const
{
    const auto goes = [&](std::uint32_t id) { return trackIDs.contains(id); };
    for (const auto& [kind, ids] : references()) {
        if (std::ranges::none_of(ids, goes))
            continue;
        auto* trak = editAtom();
        if (!trak)
            return failure(MovieError::Code::Refused, m_movie->fileName(), "the movie is not editable");
        ByteWriter out;
        for (const auto id : ids)
            if (!goes(id))
                out.u32(id);
        auto& tref = *trak->edit("tref"_cc);
        if (out.size() != 0) {
            tref.setLeaf(kind, out.toBytes());
            continue;
        }
        tref.remove(kind);
        if (tref.children.empty())
            trak->remove("tref"_cc);
    }
    return {};
}

const Atom* QTMedia::atom() const
{
    return m_track.isValid() ? m_track.atom().find("mdia"_cc) : nullptr;
}

bool QTMedia::isValid() const
{
    const auto* mdia = atom();
    return mdia && mdia->find("mdhd"_cc);
}

MediaHeader QTMedia::header() const
{
    const auto* mdia = atom();
    const auto* mdhd = mdia ? mdia->find("mdhd"_cc) : nullptr;
    if (mdhd)
        if (auto header = MediaHeader::parse(mdhd->head))
            return std::move(*header);
    MediaHeader none;
    none.timeScale = 0;
    return none;
}

std::int32_t QTMedia::timeScale() const
{
    const auto scale = header().timeScale;
    return scale > INT32_MAX ? 0 : static_cast<std::int32_t>(scale);
}

QTTime QTMedia::duration() const
{
    const auto known = header().duration;
    const auto value = known == kUnknownDuration ? sampleTable().duration() : known;
    return {static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX)), timeScale()};
}

std::optional<std::int16_t> QTMedia::balance() const
{
    const auto* mdia = atom();
    const auto* smhd = mdia ? mdia->find({"minf"_cc, "smhd"_cc}) : nullptr;
    if (!smhd || smhd->head.size() < 6)
        return std::nullopt;
    ByteReader in {smhd->head.span()};
    in.skip(4); // version, flags
    return in.i16();
}

Result<void> QTMedia::setBalance(std::int16_t balance) const
{
    if (!this->balance())
        return failure(MovieError::Code::Refused, fmt::format("track {}", m_track.trackID()),
            "only sound has a balance");
    auto* trak = m_track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_track.movie().fileName(), "the movie is not editable");
    auto* minf = trak->edit({"mdia"_cc, "minf"_cc});
    const auto before = minf->find("smhd"_cc)->head;
    ByteWriter out;
    out.bytes(before.slice(0, 4).span())
        .u16(static_cast<std::uint16_t>(balance))
        .bytes(before.slice(6).span());
    minf->setLeaf("smhd"_cc, out.toBytes());
    return {};
}

Result<void> QTMedia::setLanguage(std::uint16_t language) const
{
    const auto* mdia = atom();
    const auto* mdhd = mdia ? mdia->find("mdhd"_cc) : nullptr;
    auto header = mdhd ? MediaHeader::parse(mdhd->head)
                       : failure(MovieError::Code::Corrupt, fmt::format("track {}", m_track.trackID()),
                           "the track has no media header (mdhd)");
    if (!header)
        return tl::unexpected<MovieError>(std::move(header).error());
    auto* trak = m_track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_track.movie().fileName(), "the movie is not editable");
    header->language = language;
    trak->edit("mdia"_cc)->setLeaf("mdhd"_cc, header->write());
    return {};
}

SampleTable QTMedia::sampleTable() const
{
    const auto* mdia = atom();
    const auto* stbl = mdia ? mdia->find({"minf"_cc, "stbl"_cc}) : nullptr;
    return stbl ? SampleTable::parse(*stbl) : SampleTable {};
}

std::size_t QTMedia::sampleDescriptionCount() const
{
    const auto* mdia = atom();
    const auto* stsd = mdia ? mdia->find({"minf"_cc, "stbl"_cc, "stsd"_cc}) : nullptr;
    return stsd ? stsd->children.size() : 0;
}

std::optional<SampleDescription> QTMedia::sampleDescription(std::size_t index) const
{
    const auto* mdia = atom();
    const auto* stsd = mdia ? mdia->find({"minf"_cc, "stbl"_cc, "stsd"_cc}) : nullptr;
    if (!stsd || index == 0 || index > stsd->children.size())
        return std::nullopt;
    return SampleDescription {*stsd->children[index - 1]};
}

Result<void> QTMedia::setSampleDescription(std::size_t index, Atom entry) const
{
    auto* trak = m_track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, m_track.movie().fileName(), "the movie is not editable");
    auto* stsd = trak->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
    if (!stsd || index == 0 || index > stsd->children.size())
        return failure(MovieError::Code::Corrupt, fmt::format("track {}", m_track.trackID()),
            "the track has no sample description");
    stsd->children[index - 1] = Cow<Atom>(std::move(entry));
    return {};
}

std::vector<DataReference> QTMedia::dataReferences() const
{
    const auto* mdia = atom();
    const auto* dref = mdia ? mdia->find({"minf"_cc, "dinf"_cc, "dref"_cc}) : nullptr;
    if (!dref)
        return {};
    const auto& file = m_track.movie().file();
    return DataReference::parseAll(*dref, file ? file->folder : std::string {});
}

SoundPacking QTMedia::soundPacking(std::size_t descriptionIndex) const
{
    if (m_track.mediaType() != QTMediaTypeSound)
        return {};
    const auto description = sampleDescription(descriptionIndex);
    const auto sound = description ? description->sound() : failure(MovieError::Code::Corrupt, {}, {});
    return sound ? sound->packing : SoundPacking {};
}

/// Where the bytes of a sample are.
struct QTMedia::SamplePlace
{
    DataReference source;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

Result<QTMedia::SamplePlace> QTMedia::placeOf(std::uint32_t sample) const
{
    const auto table = sampleTable();
    const auto where = [&] { return fmt::format("track {}, sample {}", m_track.trackID(), sample); };
    auto place = table.locate(sample);
    if (!place)
        return failure(MovieError::Code::Corrupt, where(), "the sample tables do not hold it");
    if (const auto packing = soundPacking(place->description); packing.frames != 0)
        place = table.locate(sample, packing);
    const auto description = sampleDescription(place->description);
    const auto references = dataReferences();
    const std::size_t index = description ? description->dataReferenceIndex() : 0;
    DataReference self;
    self.isSelf = true;
    // Index 0 and missing references occur in files whose media are their own.
    const auto& reference = index >= 1 && index <= references.size() ? references[index - 1] : self;
    return SamplePlace {reference, place->offset, place->size};
}

Result<Bytes> QTMedia::sampleData(std::uint32_t sample) const
{
    RW_TRY(const auto place, placeOf(sample));
    return m_track.movie().sources().read(place.source, place.offset, place.size);
}

Result<Bytes> QTMedia::sampleStart(std::uint32_t sample, std::uint64_t most) const
{
    RW_TRY(const auto place, placeOf(sample));
    return m_track.movie().sources().readKept(place.source, place.offset, std::min(place.size, most));
}

bool QTMedia::isSampleStartKept(std::uint32_t sample, std::uint64_t most) const
{
    const auto place = placeOf(sample);
    return !place
        || m_track.movie().sources().isKept(place->source, place->offset, std::min(place->size, most));
}

} // namespace reelwright

#include "movie/TimecodeTrack.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright::timecodeMedia {
namespace {

    constexpr std::size_t kEntryHeader = 8;
    constexpr std::size_t kDescriptionSize = 34;
    constexpr std::size_t kFlagsOffset = 20 - kEntryHeader; // of the payload
    constexpr std::size_t kMaxReel = 255;

    /// The reel as a `name` item: length, language 0, text.
    Atom reelItem(const std::string& reel)
    {
        auto size = std::min(reel.size(), kMaxReel);
        while (size > 0 && size < reel.size() && (static_cast<unsigned char>(reel[size]) & 0xC0U) == 0x80U)
            --size;
        ByteWriter out;
        out.u16(static_cast<std::uint16_t>(size)).u16(0).text(std::string_view(reel).substr(0, size));
        return Atom {"name"_cc, out.toBytes()};
    }

    /// Sample tables of one sample of four bytes.
    Result<void> fillTables(QTMovie& movie, Atom& trak, const NewTimecode& timecode)
    {
        if (timecode.duration > UINT32_MAX)
            return failure(MovieError::Code::Refused, movie.fileName(),
                "the movie is too long for one timecode sample at its time scale");
        addSampleDescription(trak, timecode.description);
        SampleTableBuilder tables;
        tables.beginChunk(movie.sources().addMemory(ByteWriter {}.u32(timecode.startFrame).toBytes()), 1);
        RW_CHECK(tables.add({static_cast<std::uint32_t>(timecode.duration), 4, 0, true, 0}));
        tables.write(*editSampleTables(trak));
        return {};
    }

    NewTrack trackFor(const QTMovie& movie, const NewTimecode& timecode)
    {
        NewTrack track;
        track.mediaType = QTMediaTypeTimeCode;
        track.mediaTimeScale = static_cast<std::uint32_t>(timecode.mediaTimeScale);
        track.mediaDuration = timecode.duration;
        track.duration = static_cast<std::uint64_t>(std::max<std::int64_t>(movie.duration().value, 0));
        const auto size = movie.naturalSize();
        track.width = size.width;
        track.height = size.height;
        if (movie.file() && !movie.file()->isQuickTime())
            track.family = NewTrack::Family::Iso;
        const auto header = movie.movieHeader();
        track.time = header.modificationTime;
        return track;
    }

    /// The whole media from the start of the movie on.
    EditList wholeMedia(const QTMovie& movie)
    {
        EditList list;
        list.edits.push_back(
            {static_cast<std::uint64_t>(std::max<std::int64_t>(movie.duration().value, 0)), 0, 1 << 16});
        return list;
    }

} // namespace

Atom makeDescription(const TimecodeDefinition& definition, const std::optional<std::string>& reel)
{
    ByteWriter out;
    out.zeros(6).u16(1).u32(0); // reserved bytes, data reference 1
    out.u32(definition.flags)
        .u32(definition.timeScale)
        .u32(definition.frameDuration)
        .u8(definition.numberOfFrames)
        .u8(0);
    if (!reel)
        out.u32(0);
    else
        reelItem(*reel).write(out);
    return Atom {"tmcd"_cc, out.toBytes()};
}

Atom changeDescription(const Atom& description, std::uint32_t flags, const std::optional<std::string>& reel)
{
    const auto extensions = SampleDescription {description}.extensions(QTMediaTypeTimeCode);
    // The fixed part with its one or three reserved bytes ends where the first extension begins.
    std::size_t fixedSize = kDescriptionSize - kEntryHeader;
    std::size_t extensionsEnd = fixedSize;
    if (!extensions.empty()) {
        fixedSize = static_cast<std::size_t>(extensions.front().sourceOffset - description.sourceOffset)
            - kEntryHeader;
        extensionsEnd = fixedSize;
        for (const auto& extension : extensions)
            extensionsEnd += static_cast<std::size_t>(extension.size());
    }
    ByteWriter out;
    out.bytes(description.head.slice(0, kFlagsOffset).span()).u32(flags);
    out.bytes(description.head.slice(kFlagsOffset + 4, fixedSize - kFlagsOffset - 4).span());
    bool named = false;
    for (const auto& extension : extensions) {
        if (extension.type != "name"_cc || !reel)
            extension.write(out);
        else if (!std::exchange(named, true))
            reelItem(*reel).write(out);
    }
    if (!named && reel)
        reelItem(*reel).write(out);
    out.bytes(description.head.slice(extensionsEnd).span());
    Atom changed {description.type, out.toBytes()};
    return changed;
}

Result<QTTrack> addTrack(QTMovie& movie, const NewTimecode& timecode)
{
    auto trak = makeTrack(trackFor(movie, timecode));
    RW_CHECK(fillTables(movie, trak, timecode));
    RW_TRY(const auto track, movie.addTrack(std::move(trak)));
    RW_CHECK(track.setEditList(wholeMedia(movie)));
    return track;
}

Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewTimecode& timecode)
{
    auto fresh = makeTrack(trackFor(movie, timecode));
    RW_CHECK(fillTables(movie, fresh, timecode));
    RW_CHECK(takeMedia(track, fresh));
    return track.setEditList(wholeMedia(movie));
}

namespace {

    tl::unexpected<MovieError> notEditable(const QTTrack& track)
    {
        return failure(
            MovieError::Code::Refused, fmt::format("track {}", track.trackID()), "the movie is not editable");
    }

    tl::unexpected<MovieError> corrupt(const QTTrack& track, std::string detail)
    {
        return failure(
            MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()), std::move(detail));
    }

    /// A data reference to the movie's own file as the only one, and all descriptions referring to it.
    void referToOwnFile(const QTMovie& movie, Atom& minf, Atom& stbl)
    {
        minf.remove("dinf"_cc);
        minf.append(*makeTrack(trackFor(movie, {})).find({"mdia"_cc, "minf"_cc, "dinf"_cc}));
        auto* list = stbl.edit("stsd"_cc);
        for (std::size_t i = 0; list && i < list->children.size(); ++i) {
            auto& entry = list->children[i].edit();
            constexpr std::size_t kReferenceOffset = 6; // of the payload
            if (entry.head.size() < kReferenceOffset + 2)
                continue;
            ByteWriter out;
            out.bytes(entry.head.slice(0, kReferenceOffset).span()).u16(1);
            out.bytes(entry.head.slice(kReferenceOffset + 2).span());
            entry.head = out.toBytes();
        }
    }

} // namespace

Result<void> setStoredNumbers(QTMovie& movie, const QTTrack& track, const std::vector<std::uint32_t>& numbers)
{
    RW_TRY(const auto samples, storedSamples(track));
    if (samples.size() != numbers.size() || samples.empty())
        return failure(MovieError::Code::Refused, fmt::format("track {}", track.trackID()),
            "the timecode track has another number of samples");
    const auto references = track.media().dataReferences();
    const bool isOwn = std::all_of(references.begin(), references.end(),
        [](const DataReference& reference) { return reference.isSelf; });
    auto* trak = track.editAtom();
    if (!trak)
        return notEditable(track);
    auto* stbl = editSampleTables(*trak);
    if (!stbl)
        return corrupt(track, "the track has no sample tables");
    ByteWriter media;
    for (const auto number : numbers)
        media.u32(number);
    const auto offset = movie.sources().addMemory(media.toBytes());
    SampleTableBuilder tables;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i == 0 || samples[i].descriptionIndex != samples[i - 1].descriptionIndex)
            tables.beginChunk(offset + 4 * i, static_cast<std::uint32_t>(samples[i].descriptionIndex));
        RW_CHECK(tables.add({samples[i].duration, 4, 0, true, 0}));
    }
    tables.write(*stbl);
    if (!isOwn)
        referToOwnFile(movie, *trak->edit({"mdia"_cc, "minf"_cc}), *stbl);
    return {};
}

Result<void> setDescription(const QTTrack& track, std::size_t index, Atom description)
{
    auto* trak = track.editAtom();
    if (!trak)
        return notEditable(track);
    auto* list = trak->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
    if (!list || index == 0 || index > list->children.size())
        return corrupt(track, "the timecode track has no description");
    auto& entry = list->children[index - 1].edit();
    entry.head = description.head;
    entry.children = description.children;
    entry.tail = description.tail;
    entry.isContainer = description.isContainer;
    return {};
}

Result<bool> completeMediaHeader(QTMovie& movie, const QTTrack& track)
{
    auto* trak = track.editAtom();
    if (!trak)
        return notEditable(track);
    auto* minf = trak->edit({"mdia"_cc, "minf"_cc});
    if (!minf)
        return corrupt(track, "the media has no information");
    auto fresh = trackFor(movie, {});
    fresh.family = NewTrack::Family::QuickTime;
    const auto whole = makeTrack(fresh);
    const auto* header = whole.find({"mdia"_cc, "minf"_cc, "gmhd"_cc});
    if (!minf->find("gmhd"_cc)) {
        if (minf->find("nmhd"_cc)) // what ISO files have in its place
            return false;
        const auto first = minf->children.empty() ? "dinf"_cc : minf->children.front()->type;
        minf->insertBefore(first, *header);
        return true;
    }
    const bool hasInformation = minf->find({"gmhd"_cc, "tmcd"_cc, "tcmi"_cc}) != nullptr;
    auto* gmhd = minf->edit("gmhd"_cc);
    if (!gmhd->find("gmin"_cc))
        gmhd->append(*header->find("gmin"_cc));
    else if (hasInformation)
        return false;
    if (!hasInformation) {
        gmhd->remove("tmcd"_cc);
        gmhd->append(*header->find("tmcd"_cc));
    }
    return true;
}

} // namespace reelwright::timecodeMedia

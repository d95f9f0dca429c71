#include "movie/TimecodeTrack.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"
#include "movie/files/MediaSources.h"

#include <fmt/format.h>

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
        if (extension.type != "name"_cc)
            extension.write(out);
        else if (!std::exchange(named, true) && reel)
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
    auto* trak = track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, movie.fileName(), "the movie is not editable");
    auto* mdia = trak->edit("mdia"_cc);
    if (!mdia)
        return failure(
            MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()), "the track has no media");
    // Only what holds the sample changes; names, styles and whatever else stands in the media stay.
    mdia->setLeaf("mdhd"_cc, fresh.find({"mdia"_cc, "mdhd"_cc})->head);
    auto* minf = mdia->edit("minf"_cc);
    if (!minf)
        return failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
            "the media has no information");
    const auto replace = [&](FourCC type) {
        minf->remove(type);
        minf->append(*fresh.find({"mdia"_cc, "minf"_cc, type}));
    };
    replace("dinf"_cc);
    replace("stbl"_cc);
    return track.setEditList(wholeMedia(movie));
}

} // namespace reelwright::timecodeMedia

#include "movie/TrackBuilder.h"

#include "movie/QTTrack.h"

#include <fmt/format.h>

#include <string_view>

namespace reelwright {
namespace {

    using Family = NewTrack::Family;

    std::string_view handlerName(FourCC mediaType)
    {
        switch (mediaType.value) {
        case "vide"_cc.value:
            return "Video Media Handler";
        case "soun"_cc.value:
            return "Sound Media Handler";
        case "tmcd"_cc.value:
            return "Time Code Media Handler";
        case "text"_cc.value:
            return "Text Media Handler";
        default:
            return "Media Handler";
        }
    }

    /// Handler reference: component type and a counted name in QuickTime files, neither in ISO ones.
    Atom handler(Family family, FourCC kind, FourCC type, std::string_view name)
    {
        const bool quickTime = family == Family::QuickTime;
        ByteWriter out;
        out.u32(0).fourCC(quickTime ? kind : FourCC {}).fourCC(type).zeros(12);
        if (quickTime)
            out.u8(static_cast<std::uint8_t>(name.size())).text(name);
        else
            out.text(name).u8(0);
        return Atom {"hdlr"_cc, out.toBytes()};
    }

    /// `gmhd` for media that neither show pictures of their own kind nor sound.
    Atom baseMediaHeader(FourCC mediaType)
    {
        Atom header = Atom::container("gmhd"_cc);
        ByteWriter info;
        info.u32(0).u16(0x40).u16(0x8000).u16(0x8000).u16(0x8000).u32(0); // dither copy, grey, balance 0
        header.append(Atom {"gmin"_cc, info.toBytes()});
        if (mediaType == "text"_cc) {
            ByteWriter matrix;
            Matrix {}.write(matrix);
            header.append(Atom {"text"_cc, matrix.toBytes()});
        } else if (mediaType == "tmcd"_cc) {
            ByteWriter style;
            style.u32(0).u16(0).u16(0).u16(12).u16(0); // font, face, size
            style.u16(0).u16(0).u16(0).u16(0xFFFF).u16(0xFFFF).u16(0xFFFF); // black on white
            constexpr std::string_view kFont = "Helvetica";
            style.u8(static_cast<std::uint8_t>(kFont.size())).text(kFont);
            Atom timecode = Atom::container("tmcd"_cc);
            timecode.append(Atom {"tcmi"_cc, style.toBytes()});
            header.append(std::move(timecode));
        }
        return header;
    }

    Atom mediaInformationHeader(FourCC mediaType, Family family)
    {
        ByteWriter out;
        if (mediaType == "vide"_cc) {
            out.u32(1); // the flag says that this is no file of the first format version
            if (family == Family::QuickTime)
                out.u16(0x40).u16(0x8000).u16(0x8000).u16(0x8000); // dither copy
            else
                out.zeros(8);
            return Atom {"vmhd"_cc, out.toBytes()};
        }
        if (mediaType == "soun"_cc)
            return Atom {"smhd"_cc, out.u32(0).u32(0).toBytes()};
        if (family == Family::Iso && mediaType != "tmcd"_cc && mediaType != "text"_cc)
            return Atom {"nmhd"_cc, out.u32(0).toBytes()};
        return baseMediaHeader(mediaType);
    }

    Bytes listHead(std::size_t count)
    {
        ByteWriter out;
        return out.u32(0).u32(static_cast<std::uint32_t>(count)).toBytes();
    }

    Atom list(FourCC type)
    {
        Atom atom = Atom::container(type);
        atom.head = listHead(0);
        return atom;
    }

    Atom mediaInformation(const NewTrack& track)
    {
        Atom minf = Atom::container("minf"_cc);
        minf.append(mediaInformationHeader(track.mediaType, track.family));
        const bool quickTime = track.family == Family::QuickTime;
        if (quickTime)
            minf.append(handler(track.family, "dhlr"_cc, "alis"_cc, "Data Handler"));
        Atom references = list("dref"_cc);
        references.head = listHead(1);
        ByteWriter self;
        references.append(Atom {quickTime ? "alis"_cc : "url "_cc, self.u32(1).toBytes()});
        minf.append(Atom::container("dinf"_cc)).append(std::move(references));
        Atom& tables = minf.append(Atom::container("stbl"_cc));
        tables.append(list("stsd"_cc));
        SampleTableBuilder {}.write(tables);
        return minf;
    }

} // namespace

Atom makeTrack(const NewTrack& track)
{
    TrackHeader header;
    header.flags = track.flags;
    header.creationTime = header.modificationTime = track.time;
    header.trackID = track.trackID;
    header.duration = track.duration;
    header.volume = track.volume;
    header.width = fixed16(track.width);
    header.height = fixed16(track.height);

    MediaHeader media;
    media.creationTime = media.modificationTime = track.time;
    media.timeScale = track.mediaTimeScale;
    media.duration = track.mediaDuration;
    media.language = track.language;

    Atom trak = Atom::container("trak"_cc);
    trak.append(Atom {"tkhd"_cc, header.write()});
    Atom& mdia = trak.append(Atom::container("mdia"_cc));
    mdia.append(Atom {"mdhd"_cc, media.write()});
    mdia.append(handler(track.family, "mhlr"_cc, track.mediaType, handlerName(track.mediaType)));
    mdia.append(mediaInformation(track));
    return trak;
}

Atom makeMovie(std::uint32_t timeScale, Atom trak, std::uint64_t time)
{
    MovieHeader header;
    header.creationTime = header.modificationTime = time;
    header.timeScale = timeScale;
    if (const auto track = TrackHeader::parse(trak.find("tkhd"_cc)->head)) {
        header.duration = track->duration;
        header.nextTrackID = track->trackID + 1;
    }
    Atom moov = Atom::container("moov"_cc);
    moov.append(Atom {"mvhd"_cc, header.write()});
    moov.append(std::move(trak));
    return moov;
}

Atom* editSampleTables(Atom& trak)
{
    return trak.edit({"mdia"_cc, "minf"_cc, "stbl"_cc});
}

std::uint32_t addSampleDescription(Atom& trak, Atom entry)
{
    auto* tables = editSampleTables(trak);
    RW_ASSERT(tables);
    auto& descriptions = tables->ensure("stsd"_cc);
    descriptions.append(std::move(entry));
    descriptions.isContainer = true;
    descriptions.head = listHead(descriptions.children.size());
    return static_cast<std::uint32_t>(descriptions.children.size());
}

Result<void> takeMedia(const QTTrack& track, const Atom& fresh)
{
    const auto where = fmt::format("track {}", track.trackID());
    auto* trak = track.editAtom();
    if (!trak)
        return failure(MovieError::Code::Refused, where, "the movie is not editable");
    auto* mdia = trak->edit("mdia"_cc);
    auto* minf = mdia ? mdia->edit("minf"_cc) : nullptr;
    if (!minf)
        return failure(MovieError::Code::Corrupt, where, "the track has no media");
    mdia->setLeaf("mdhd"_cc, fresh.find({"mdia"_cc, "mdhd"_cc})->head);
    for (const auto type : {"dinf"_cc, "stbl"_cc}) {
        minf->remove(type);
        minf->append(*fresh.find({"mdia"_cc, "minf"_cc, type}));
    }
    return {};
}

} // namespace reelwright

#include "tests/helpers/TestMovie.h"

#include "movie/MediaSources.h"

#include <gtest/gtest.h>

namespace reelwright::test {
namespace {

    Atom leaf(FourCC type, ByteWriter& payload)
    {
        return Atom {type, payload.toBytes()};
    }

    Atom plainDescription(const TestTrack& track)
    {
        if (track.mediaType == QTMediaTypeVideo)
            return videoDescription(
                static_cast<std::uint16_t>(track.width), static_cast<std::uint16_t>(track.height));
        if (track.mediaType == QTMediaTypeSound)
            return soundDescription(2);
        ByteWriter out;
        out.zeros(6).u16(1);
        return leaf(track.mediaType, out);
    }

    /// One chunk of all samples, in memory.
    Atom sampleTable(QTMovie& movie, const TestTrack& track)
    {
        std::uint32_t count = 0;
        ByteWriter stts;
        stts.u32(0).u32(static_cast<std::uint32_t>(track.times.size()));
        for (const auto& run : track.times) {
            count += run.count;
            stts.u32(run.count).u32(run.duration);
        }
        ByteWriter media;
        for (const auto sample : track.samples)
            media.u32(sample);
        ByteWriter stsc;
        stsc.u32(0).u32(1).u32(1).u32(count).u32(1);
        ByteWriter stsz;
        stsz.u32(0).u32(4).u32(count);
        ByteWriter co64;
        co64.u32(0).u32(1).u64(movie.sources().addMemory(media.toBytes()));

        auto descriptions = track.descriptions;
        if (descriptions.empty())
            descriptions.push_back(plainDescription(track));
        auto stsd = Atom::container("stsd"_cc);
        stsd.head = ByteWriter {}.u32(0).u32(static_cast<std::uint32_t>(descriptions.size())).toBytes();
        for (const auto& description : descriptions)
            stsd.append(description);

        auto stbl = Atom::container("stbl"_cc);
        stbl.append(stsd);
        stbl.append(leaf("stts"_cc, stts));
        stbl.append(leaf("stsc"_cc, stsc));
        stbl.append(leaf("stsz"_cc, stsz));
        stbl.append(leaf("co64"_cc, co64));
        return stbl;
    }

    std::uint64_t durationOf(const std::vector<SampleTable::TimeRun>& times)
    {
        std::uint64_t total = 0;
        for (const auto& run : times)
            total += std::uint64_t {run.count} * run.duration;
        return total;
    }

    Atom mediaOf(QTMovie& movie, const TestTrack& track)
    {
        MediaHeader header;
        header.timeScale = track.mediaScale;
        header.duration = track.mediaDuration.value_or(durationOf(track.times));
        ByteWriter handler;
        handler.u32(0).text("mhlr").fourCC(track.mediaType).zeros(13);
        auto dref = Atom::container("dref"_cc);
        dref.head = ByteWriter {}.u32(0).u32(1).toBytes();
        dref.append(Atom {"url "_cc, ByteWriter {}.u32(1).toBytes()});
        auto dinf = Atom::container("dinf"_cc);
        dinf.append(dref);
        auto minf = Atom::container("minf"_cc);
        minf.append(dinf);
        minf.append(sampleTable(movie, track));
        auto mdia = Atom::container("mdia"_cc);
        mdia.append(Atom {"mdhd"_cc, header.write()});
        mdia.append(leaf("hdlr"_cc, handler));
        mdia.append(minf);
        return mdia;
    }

    Bytes withExtensions(ByteWriter& out, const std::vector<Atom>& extensions)
    {
        for (const auto& extension : extensions)
            extension.write(out);
        return out.toBytes();
    }

} // namespace

QTMovie emptyMovie(std::uint32_t timeScale)
{
    QTMovie movie;
    auto header = movie.movieHeader();
    header.timeScale = timeScale;
    movie.setEditable(true);
    movie.editHeader().setLeaf("mvhd"_cc, header.write());
    movie.setEditable(false);
    return movie;
}

QTTrack addTrack(QTMovie& movie, const TestTrack& track)
{
    const EditableScope scope {movie};
    TrackHeader header;
    header.flags
        = TrackHeader::kInMovie | TrackHeader::kInPreview | (track.enabled ? TrackHeader::kEnabled : 0);
    header.trackID = track.trackID;
    header.matrix = track.matrix;
    header.width = track.width << 16U;
    header.height = track.height << 16U;
    const auto media = static_cast<std::int64_t>(durationOf(track.times));
    header.duration = track.trackDuration ? *track.trackDuration
        : track.edits                     ? track.edits->duration()
                      : static_cast<std::uint64_t>(rescale(media, movie.timeScale(), track.mediaScale));
    auto trak = Atom::container("trak"_cc);
    trak.append(Atom {"tkhd"_cc, header.write()});
    if (track.edits) {
        auto edts = Atom::container("edts"_cc);
        edts.append(Atom {"elst"_cc, track.edits->write()});
        trak.append(edts);
    }
    trak.append(mediaOf(movie, track));
    movie.editHeader().append(std::move(trak));
    movie.updateDuration();
    return movie.tracks().back();
}

Atom videoDescription(std::uint16_t width, std::uint16_t height, const std::vector<Atom>& extensions)
{
    ByteWriter out;
    out.zeros(6).u16(1); // data reference
    out.zeros(16).u16(width).u16(height);
    out.u32(72U << 16U).u32(72U << 16U).u32(0).u16(1);
    out.zeros(32).u16(24).i16(-1);
    return Atom {"mp4v"_cc, withExtensions(out, extensions)};
}

Atom soundDescription(std::uint16_t channels, const std::vector<Atom>& extensions)
{
    ByteWriter out;
    out.zeros(6).u16(1);
    out.zeros(8).u16(channels).u16(16).u16(0).u16(0).u32(48000U << 16U);
    return Atom {"sowt"_cc, withExtensions(out, extensions)};
}

Atom timecodeDescription(const TimecodeDefinition& definition)
{
    ByteWriter out;
    out.zeros(6).u16(1).u32(0);
    out.u32(definition.flags).u32(definition.timeScale).u32(definition.frameDuration);
    out.u8(definition.numberOfFrames).u8(0);
    return Atom {"tmcd"_cc, out.toBytes()};
}

Atom channelLayout(const std::vector<std::uint32_t>& labels)
{
    ByteWriter out;
    out.u32(0).u32(0).u32(0).u32(static_cast<std::uint32_t>(labels.size()));
    for (const auto label : labels)
        out.u32(label).zeros(16);
    return Atom {"chan"_cc, out.toBytes()};
}

} // namespace reelwright::test

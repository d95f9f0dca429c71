#include "tests/helpers/TestMovie.h"

#include "movie/TrackBuilder.h"
#include "movie/files/MediaSources.h"

#include <gtest/gtest.h>

namespace reelwright::test {
namespace {

    Atom plainDescription(const TestTrack& track)
    {
        if (track.mediaType == QTMediaTypeVideo)
            return videoDescription(
                static_cast<std::uint16_t>(track.width), static_cast<std::uint16_t>(track.height));
        if (track.mediaType == QTMediaTypeSound)
            return soundDescription(2);
        return Atom {track.mediaType, ByteWriter {}.zeros(6).u16(1).toBytes()};
    }

    Bytes withExtensions(ByteWriter& out, const std::vector<Atom>& extensions)
    {
        for (const auto& extension : extensions)
            extension.write(out);
        return out.toBytes();
    }

} // namespace

Atom box(FourCC type, const std::vector<Atom>& children)
{
    auto atom = Atom::container(type);
    for (const auto& child : children)
        atom.append(child);
    return atom;
}

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

TestTrack timecodeTrack(const TimecodeDefinition& definition, std::vector<std::uint32_t> starts,
    std::vector<SampleTable::TimeRun> times, std::uint32_t mediaScale)
{
    TestTrack track;
    track.mediaType = QTMediaTypeTimeCode;
    track.trackID = 9;
    track.mediaScale = mediaScale;
    track.times = std::move(times);
    track.samples = std::move(starts);
    track.descriptions = {timecodeDescription(definition)};
    return track;
}

QTTrack addTrack(QTMovie& movie, const TestTrack& track)
{
    ByteWriter media;
    for (const auto sample : track.samples)
        media.u32(sample);
    SampleTableBuilder tables;
    tables.beginChunk(movie.sources().addMemory(media.toBytes()), 1);
    for (const auto& run : track.times)
        EXPECT_TRUE(tables.add({.duration = run.duration, .size = 4}, run.count));
    const auto duration = track.edits
        ? track.edits->duration()
        : static_cast<std::uint64_t>(
            rescale(static_cast<std::int64_t>(tables.duration()), movie.timeScale(), track.mediaScale));

    auto trak = makeTrack({.trackID = track.trackID,
        .mediaType = track.mediaType,
        .mediaTimeScale = track.mediaScale,
        .mediaDuration = track.mediaDuration.value_or(tables.duration()),
        .duration = track.trackDuration.value_or(duration),
        .width = static_cast<double>(track.width),
        .height = static_cast<double>(track.height)});
    auto header = TrackHeader::parse(trak.find("tkhd"_cc)->head).value();
    header.matrix = track.matrix;
    if (!track.enabled)
        header.flags &= ~TrackHeader::kEnabled;
    trak.setLeaf("tkhd"_cc, header.write());
    if (track.edits)
        trak.insertBefore("mdia"_cc, box("edts"_cc, {Atom {"elst"_cc, track.edits->write()}}));
    tables.write(*editSampleTables(trak));
    for (const auto& description : track.descriptions)
        addSampleDescription(trak, description);
    if (track.descriptions.empty())
        addSampleDescription(trak, plainDescription(track));

    const EditableScope scope {movie};
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

#pragma once

#include "tests/helpers/TestMovie.h"

#include <cmath>

namespace reelwright::test {

/// What to make a movie for conforming of.
struct OffRateMovie
{
    std::uint32_t movieScale = 600;
    std::uint32_t mediaScale = 600;
    double rate = 25;
    unsigned soundTracks = 1;
    bool hasTimecode = false;
    std::uint32_t frames = 50;
};

/// The atoms of the format by which a reader tells a timecode media.
inline void markTimecode(const QTTrack& track)
{
    auto* media = track.editAtom()->edit({"mdia"_cc, "minf"_cc, "gmhd"_cc});
    media->append(box("tmcd"_cc, {Atom {"tcmi"_cc, ByteWriter {}.zeros(25).toBytes()}}));
}

inline QTMovie offRateMovie(const OffRateMovie& wanted)
{
    auto movie = emptyMovie(wanted.movieScale);
    const auto length
        = static_cast<std::uint32_t>(std::max(1L, std::lround(wanted.mediaScale / wanted.rate)));
    TestTrack video;
    video.mediaScale = wanted.mediaScale;
    video.times = {{wanted.frames, length}};
    video.samples.resize(wanted.frames);
    const auto inMovie = static_cast<std::uint64_t>(
        std::llround(double {1} * wanted.frames * length * wanted.movieScale / wanted.mediaScale));
    video.edits = EditList {0, 0, {{inMovie / 2, 0}, {inMovie - inMovie / 2, length}}, {}};
    addTrack(movie, video);
    for (unsigned i = 0; i < wanted.soundTracks; ++i) {
        TestTrack sound;
        sound.mediaType = QTMediaTypeSound;
        sound.trackID = 2 + i;
        sound.mediaScale = 48000;
        sound.times = {{wanted.frames * 1920, 1}};
        addTrack(movie, sound);
    }
    if (wanted.hasTimecode) {
        const auto whole = static_cast<std::uint8_t>(std::ceil(wanted.rate));
        const auto track = timecodeTrack(
            {0, wanted.mediaScale, length, whole}, {86400}, {{1, wanted.frames * length}}, wanted.mediaScale);
        const EditableScope scope {movie};
        const auto added = addTrack(movie, track);
        movie.setEditable(true);
        markTimecode(added);
        EXPECT_TRUE(movie.tracks().front().addReference("tmcd"_cc, added.trackID()));
    }
    return movie;
}

/// A file of that movie's header alone.
inline Bytes headerFile(const QTMovie& movie)
{
    ByteWriter out;
    out.u32(16).fourCC("ftyp"_cc).fourCC("qt  "_cc).u32(0);
    out.bytes(movie.header().toBytes().span());
    return out.toBytes();
}

} // namespace reelwright::test

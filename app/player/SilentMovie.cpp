#include "app/player/SilentMovie.h"

#include "movie/QTTrack.h"
#include "movie/TrackBuilder.h"
#include "movie/files/MediaSources.h"

namespace reelwright {
namespace {

    constexpr std::uint32_t kUsualRate = 48000;
    constexpr std::uint32_t kHighestRate = UINT16_MAX; // the description holds 16 bits of it
    constexpr std::uint32_t kMostChannels = 8;

    /// Of 16-bit samples, in version 0.
    Atom description(std::uint32_t rate, std::uint16_t channels)
    {
        ByteWriter out;
        out.zeros(6).u16(1); // reserved bytes, data reference 1
        out.u32(0).u32(0).u16(channels).u16(16).u32(0).u32(rate << 16U);
        return Atom {"sowt"_cc, out.toBytes()};
    }

} // namespace

QTMovie silentMovie(double sampleRate, std::uint32_t channels)
{
    const auto rate
        = sampleRate >= 1 && sampleRate <= kHighestRate ? static_cast<std::uint32_t>(sampleRate) : kUsualRate;
    const auto width = channels >= 1 && channels <= kMostChannels ? channels : 2U;
    const auto frameSize = 2 * width;

    QTMovie movie;
    const EditableScope scope {movie};
    NewTrack track;
    track.mediaType = QTMediaTypeSound;
    track.mediaTimeScale = rate;
    track.mediaDuration = static_cast<std::uint64_t>(rate) * kSilentMovieSeconds;
    track.duration = static_cast<std::uint64_t>(movie.timeScale()) * kSilentMovieSeconds;
    track.volume = 1 << 8;
    auto trak = makeTrack(track);
    addSampleDescription(trak, description(rate, static_cast<std::uint16_t>(width)));

    // Every chunk is the same second.
    const auto second = movie.sources().addMemory(Bytes::copyOf(std::vector<std::byte>(rate * frameSize)));
    SampleTableBuilder tables;
    for (int i = 0; i < kSilentMovieSeconds; ++i) {
        tables.beginChunk(second, 1);
        const auto added = tables.add({1, frameSize, 0, true, 0}, rate);
        RW_ASSERT(added);
        static_cast<void>(added);
    }
    tables.write(*editSampleTables(trak));
    const auto added = movie.addTrack(std::move(trak));
    RW_ASSERT(added);
    static_cast<void>(added);
    return movie;
}

} // namespace reelwright

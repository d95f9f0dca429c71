// What single engine calls cost, and how that grows. Run: build/release/bin/reelwright_bench (configure with
// -DREELWRIGHT_BUILD_BENCH=ON).

#include "movie/FlattenPlan.h"
#include "movie/MovieSaver.h"
#include "movie/QTTrack.h"
#include "movie/TrackBuilder.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <string>

using namespace reelwright;

namespace {

/// A movie file of one video track with that many samples of different sizes, ten to a chunk; its media are a
/// hole.
class MovieOnDisk
{
public:
    explicit MovieOnDisk(std::uint32_t samples)
        : m_path(
            "/tmp/reelwright-bench-" + std::to_string(::getpid()) + "-" + std::to_string(samples) + ".mov")
    {
        NewTrack track;
        track.mediaType = QTMediaTypeVideo;
        track.trackID = 1;
        track.mediaTimeScale = 30000;
        track.mediaDuration = samples * 1001ULL;
        track.duration = track.mediaDuration / 50;
        auto trak = makeTrack(track);
        addSampleDescription(trak, Atom {"mp4v"_cc, ByteWriter {}.zeros(6).u16(1).zeros(70).toBytes()});
        SampleTableBuilder tables;
        constexpr std::uint64_t kMediaStart = 40;
        std::uint64_t offset = kMediaStart;
        for (std::uint32_t i = 0; i < samples; ++i) {
            if (i % 10 == 0)
                tables.beginChunk(offset, 1);
            const std::uint32_t size = 1000 + i * 7919U % 5000;
            static_cast<void>(tables.add({1001, size, 0, i % 12 == 0, 0}));
            offset += size;
        }
        tables.write(*editSampleTables(trak));
        auto moov = Atom::container("moov"_cc);
        moov.append(Atom {"mvhd"_cc, MovieHeader {}.write()});
        moov.append(std::move(trak));

        const auto file = ByteWriter {}.u32(20).text("ftypqt  ").u32(0).text("qt  ").toBytes();
        const auto media = ByteWriter {}.u32(1).text("mdat").u64(offset - kMediaStart + 20).u32(0).toBytes();
        if (auto* out = std::fopen(m_path.c_str(), "wb")) {
            const auto header = moov.toBytes();
            std::fwrite(file.span().data(), 1, file.size(), out);
            std::fwrite(media.span().data(), 1, media.size(), out);
            std::fseek(out, static_cast<long>(offset), SEEK_SET);
            std::fwrite(header.span().data(), 1, header.size(), out);
            std::fclose(out);
        }
    }
    MovieOnDisk(const MovieOnDisk&) = delete;
    MovieOnDisk& operator=(const MovieOnDisk&) = delete;
    ~MovieOnDisk() { ::unlink(m_path.c_str()); }

    [[nodiscard]] QTMovie open() const
    {
        auto movie = QTMovie::open(m_path, Storage::posix(Storage::Sync::Off));
        if (!movie) {
            std::fprintf(stderr, "%s\n", movie.error().message().c_str());
            std::abort();
        }
        return std::move(*movie);
    }

private:
    std::string m_path;
};

void openMovie(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(file.open());
}
BENCHMARK(openMovie)->RangeMultiplier(10)->Range(1000, 10'000'000)->Unit(benchmark::kMicrosecond);

void copyAndEditMovie(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    const auto movie = file.open();
    for (auto _ : state) {
        auto copy = movie;
        const EditableScope scope {copy};
        benchmark::DoNotOptimize(copy.tracks().front().setEnabled(false));
    }
}
BENCHMARK(copyAndEditMovie)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void walkChunks(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    const auto movie = file.open();
    const auto table = movie.tracks().front().media().sampleTable();
    for (auto _ : state) {
        std::uint64_t bytes = 0;
        table.forEachChunk([&](std::uint32_t, const SampleTable::Chunk& chunk) {
            bytes += chunk.size;
            return true;
        });
        benchmark::DoNotOptimize(bytes);
    }
}
BENCHMARK(walkChunks)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void planFlattening(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    const auto movie = file.open();
    for (auto _ : state)
        benchmark::DoNotOptimize(FlattenPlan::make(movie));
}
BENCHMARK(planFlattening)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void saveInPlace(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    auto movie = file.open();
    bool enabled = false;
    for (auto _ : state) {
        {
            const EditableScope scope {movie};
            benchmark::DoNotOptimize(movie.tracks().front().setEnabled(enabled));
        }
        enabled = !enabled;
        if (!MovieSaver::updateMovieFile(movie))
            state.SkipWithError("the save failed");
    }
}
BENCHMARK(saveInPlace)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();

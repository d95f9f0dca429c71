// What single engine calls cost, and how that grows with the number of samples. bench/README.md says how to
// run it.

#include "movie/QTTrack.h"
#include "movie/TrackBuilder.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/MovieSaver.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

using namespace reelwright;

namespace {

/// A movie file of one video track with that many samples of different sizes, ten to a chunk; its media are a
/// hole.
class MovieOnDisk
{
public:
    explicit MovieOnDisk(std::uint32_t samples)
        : m_path(std::filesystem::temp_directory_path()
            / ("reelwright-bench-" + std::to_string(::getpid()) + "-" + std::to_string(samples) + ".mov"))
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

    [[nodiscard]] QTMovie open(HeaderReading reading = HeaderReading::Whole) const
    {
        auto movie = QTMovie::open(m_path, Storage::posix(Storage::Sync::Off), reading);
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

void openOutline(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(file.open(HeaderReading::Outline));
}
BENCHMARK(openOutline)->RangeMultiplier(10)->Range(1000, 10'000'000)->Unit(benchmark::kMicrosecond);

void parseHeader(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    const auto bytes = file.open().header().toBytes();
    for (auto _ : state)
        benchmark::DoNotOptimize(Atom::parse(bytes, 0));
}
BENCHMARK(parseHeader)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void writeHeader(benchmark::State& state)
{
    const MovieOnDisk file(static_cast<std::uint32_t>(state.range(0)));
    const auto movie = file.open();
    for (auto _ : state)
        benchmark::DoNotOptimize(movie.header().toBytes());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(movie.header().size()));
}
BENCHMARK(writeHeader)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void copyMovie(benchmark::State& state)
{
    const MovieOnDisk file(1'000'000);
    const auto movie = file.open();
    for (auto _ : state) {
        auto copy = movie;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copyMovie);

void setRange(benchmark::State& state)
{
    const MovieOnDisk file(1'000'000);
    auto movie = file.open();
    const EditableScope scope {movie};
    const auto track = movie.tracks().front();
    std::int64_t start = 0;
    for (auto _ : state) {
        start = start == 0 ? 600 : 0;
        benchmark::DoNotOptimize(track.setRange({{start, 600}, {6000 + start, 600}}));
    }
}
BENCHMARK(setRange)->Unit(benchmark::kMicrosecond);

void findSample(benchmark::State& state)
{
    const MovieOnDisk file(1'000'000);
    const auto movie = file.open();
    const auto table = movie.tracks().front().media().sampleTable();
    std::mt19937 random {1};
    std::uniform_int_distribution<std::uint32_t> anySample {1, 1'000'000};
    for (auto _ : state)
        benchmark::DoNotOptimize(table.locate(anySample(random)));
}
BENCHMARK(findSample);

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

void readStream(benchmark::State& state)
{
    const MovieOnDisk file(1'000'000);
    const auto stream = MovieStream::open(file.open());
    if (!stream) {
        state.SkipWithError("there is no stream");
        return;
    }
    std::vector<std::byte> buffer(static_cast<std::size_t>(state.range(0)));
    std::mt19937_64 random {1};
    for (auto _ : state)
        benchmark::DoNotOptimize(stream->readAt(random() % (stream->size() - buffer.size()), buffer));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(readStream)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);

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
        // Not flushed: what is measured is the work, not the disk.
        if (!MovieSaver::updateMovieFile(movie))
            state.SkipWithError("the save failed");
    }
}
BENCHMARK(saveInPlace)->Arg(1000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();

// Opens any bytes as a movie and asks for everything that a report or a player asks for.

#include "fuzz/MemoryStorage.h"
#include "movie/DataReference.h"
#include "movie/FlattenPlan.h"
#include "movie/QTTrack.h"
#include "movie/TimecodeMedia.h"

#include <algorithm>

using namespace reelwright;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto storage = std::make_shared<MemoryStorage>();
    const auto bytes = std::as_bytes(std::span {data, size});
    storage->files["/movie"] = std::make_shared<std::vector<std::byte>>(bytes.begin(), bytes.end());
    const auto movie = QTMovie::open("/movie", storage);
    if (!movie)
        return 0;
    movie->duration();
    movie->naturalSize();
    for (const auto& track : movie->tracks()) {
        track.range();
        track.name();
        track.references();
        const auto media = track.media();
        media.dataReferences();
        for (std::size_t i = 1; i <= std::min<std::size_t>(media.sampleDescriptionCount(), 8); ++i) {
            const auto description = media.sampleDescription(i);
            description->video();
            description->sound();
            description->timecode();
            description->extensions(track.mediaType());
        }
        const auto table = media.sampleTable();
        const auto count = table.sampleCount();
        for (const auto sample : {1U, 2U, count / 2, count, count + 1}) {
            if (const auto place = table.locate(sample); place && place->size > size)
                continue; // more than the file holds: reading it would say so, after looking at the size
            media.sampleData(sample);
        }
        std::uint64_t chunks = 0;
        table.forEachChunk([&](std::uint32_t, const SampleTable::Chunk&) { return ++chunks < 10'000; },
            media.soundPacking(1));
        timecodeMedia::atMediaTime(track, 12345);
    }
    // The header as it is written back must be the header that was read.
    if (movie->file()->headerAtom() && !movie->isFragmented() && !movie->header().find("cmov"_cc)
        && movie->header().sourceOffset != 0 && !(movie->header().toBytes() == movie->file()->header))
        std::abort();
    if (const auto stream = MovieStream::open(*movie)) {
        std::array<std::byte, 512> buffer {};
        for (std::uint64_t at = 0; at < stream->size(); at += std::max<std::uint64_t>(stream->size() / 16, 1))
            stream->readAt(at, buffer);
    }
    return 0;
}

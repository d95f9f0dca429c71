// Opens any bytes as a sound or DV file: the header made for it refers to bytes that are there.

#include "fuzz/FuzzTarget.h"
#include "fuzz/MemoryStorage.h"
#include "movie/QTTrack.h"
#include "movie/files/Importer.h"
#include "movie/saving/MovieSaver.h"

#include <algorithm>

namespace reelwright::fuzz {

void importMedia(ByteSpan input)
{
    const auto storage = std::make_shared<MemoryStorage>();
    storage->put("/media", input);
    const auto file = storage->open("/media", Storage::Access::Read);
    const auto header = importMediaFile(**file, "/media");
    if (!header || !*header)
        return;
    const auto movie = QTMovie::open("/media", storage);
    require(movie.has_value(), "what can be imported opens");
    require(!MovieSaver::canUpdateMovieFile(*movie), "files that are no movies are never written into");
    std::vector<std::optional<Bytes>> samples;
    for (const auto& track : movie->tracks()) {
        const auto media = track.media();
        const auto packing = media.soundPacking(1);
        media.sampleTable().forEachChunk(
            [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                require(chunk.size <= input.size() && chunk.offset <= input.size() - chunk.size,
                    "imported media lie in their file");
                return true;
            },
            packing);
        const auto count = media.sampleCount();
        for (const auto sample : {1U, count / 2 + 1, count}) {
            const auto data = media.sampleData(sample);
            samples.push_back(data ? std::optional {*data} : std::nullopt);
            require(count == 0 || data.has_value(), "imported samples can be read");
        }
    }
    require(MovieSaver::writeToFile(*movie, "/movie").has_value(), "an imported movie can be saved");
    const auto saved = QTMovie::open("/movie", storage);
    require(saved && saved->file()->headerAtom(), "and is a movie file then");
    std::size_t next = 0;
    for (const auto& track : saved->tracks()) {
        const auto count = track.media().sampleCount();
        for (const auto sample : {1U, count / 2 + 1, count}) {
            const auto data = track.media().sampleData(sample);
            require((data ? std::optional {*data} : std::nullopt) == samples[next++],
                "an imported movie keeps its media when it is saved");
        }
    }
}

} // namespace reelwright::fuzz

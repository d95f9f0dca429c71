// Opens any bytes as a movie and asks for everything that a report or a player asks for.

#include "fuzz/FuzzTarget.h"
#include "fuzz/MemoryStorage.h"
#include "movie/QTTrack.h"
#include "movie/files/DataReference.h"
#include "movie/samples/TimecodeMedia.h"
#include "movie/saving/FlattenPlan.h"

#include <algorithm>
#include <array>

namespace reelwright::fuzz {
namespace {

    void readTrack(const QTTrack& track, std::size_t fileSize)
    {
        static_cast<void>(track.range());
        static_cast<void>(track.name());
        static_cast<void>(track.references());
        static_cast<void>(track.bounds());
        const auto media = track.media();
        static_cast<void>(media.dataReferences());
        for (std::size_t i = 1; i <= std::min<std::size_t>(media.sampleDescriptionCount(), 8); ++i) {
            const auto description = media.sampleDescription(i);
            static_cast<void>(description->video());
            static_cast<void>(description->sound());
            static_cast<void>(description->timecode());
            static_cast<void>(description->extensions(track.mediaType()));
        }
        const auto table = media.sampleTable();
        const auto count = table.sampleCount();
        for (const auto sample : {1U, 2U, count / 2, count, count + 1}) {
            if (const auto place = table.locate(sample); place && place->size > fileSize)
                continue; // more than the file holds: reading it would say so, after looking at the size
            static_cast<void>(media.sampleData(sample));
        }
        std::uint64_t chunks = 0;
        table.forEachChunk([&](std::uint32_t, const SampleTable::Chunk&) { return ++chunks < 10'000; },
            media.soundPacking(1));
        for (const auto time : {std::uint64_t {0}, table.duration() / 2, table.duration()}) {
            const auto at = table.sampleAt(time);
            require(at.has_value() || count == 0 || table.duration() == 0,
                "there is a sample at every time of a media that has any");
            require(
                !at || (at->sample >= 1 && at->sample <= count), "samples that do not exist are not shown");
        }
        static_cast<void>(timecodeMedia::atMediaTime(track, 12345));
    }

} // namespace

void openMovie(ByteSpan input)
{
    const auto storage = std::make_shared<MemoryStorage>();
    storage->put("/movie", input);
    const auto movie = QTMovie::open("/movie", storage);
    if (!movie)
        return;
    static_cast<void>(movie->duration());
    static_cast<void>(movie->naturalSize());
    for (const auto& track : movie->tracks())
        readTrack(track, input.size());
    const bool wasRead = movie->file()->headerAtom() && !movie->isFragmented()
        && !movie->header().find("cmov"_cc) && movie->header().sourceOffset != 0;
    require(!wasRead || movie->header().toBytes() == movie->file()->header,
        "a header that nobody changed is written as it was read");
    if (const auto stream = MovieStream::open(*movie)) {
        std::array<std::byte, 512> buffer {};
        for (std::uint64_t at = 0; at < stream->size(); at += std::max<std::uint64_t>(stream->size() / 16, 1))
            static_cast<void>(stream->readAt(at, buffer));
    }
}

} // namespace reelwright::fuzz

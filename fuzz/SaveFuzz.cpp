// Opens any bytes as a movie, edits it as the input's first bytes say, saves it in place and flattened, and
// opens the results: they must open, have the edits, and hold the same media and the same unknown atoms.

#include "fuzz/MemoryStorage.h"
#include "movie/MediaSources.h"
#include "movie/MovieSaver.h"
#include "movie/QTTrack.h"

#include <algorithm>
#include <cstdlib>

using namespace reelwright;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isInMedia(const FileLayout& layout, const SampleTable::Chunk& place)
{
    return std::any_of(layout.atoms.begin(), layout.atoms.end(), [&](const TopLevelAtom& atom) {
        return atom.type == "mdat"_cc && place.offset >= atom.offset + atom.headerSize
            && place.offset <= atom.end() && place.size <= atom.end() - place.offset;
    });
}

/// The first samples of each track, as far as they lie in media data; those of a hostile file may lie in its
/// header.
std::vector<std::optional<Bytes>> samplesOf(const QTMovie& movie)
{
    std::vector<std::optional<Bytes>> samples;
    for (const auto& track : movie.tracks()) {
        const auto media = track.media();
        const auto table = media.sampleTable();
        for (std::uint32_t sample = 1; sample <= std::min(table.sampleCount(), 8U); ++sample) {
            const auto place = table.locate(sample, media.soundPacking(1));
            std::optional<Bytes> bytes;
            if (place && isInMedia(movie.file()->layout, *place))
                if (auto data = media.sampleData(sample))
                    bytes = *data;
            samples.push_back(std::move(bytes));
        }
    }
    return samples;
}

void edit(QTMovie& movie, ByteSpan script)
{
    const EditableScope scope {movie};
    for (std::size_t i = 0; i + 1 < script.size(); i += 2) {
        const auto value = std::to_integer<int>(script[i + 1]);
        const auto tracks = movie.tracks();
        const auto* track
            = tracks.empty() ? nullptr : &tracks[static_cast<std::size_t>(value) % tracks.size()];
        switch (std::to_integer<int>(script[i]) % 6) {
        case 0:
            movie.setUserDataItem("play"_cc, Bytes::copyOf(script.subspan(i, 1)));
            break;
        case 1:
            movie.setUserDataItem(
                "test"_cc, Bytes::copyOf(std::string(static_cast<std::size_t>(value) * 3, 'x')));
            break;
        case 2:
            movie.generateApertureModeDimensions();
            break;
        case 3:
            if (track)
                track->setEnabled(!track->isEnabled());
            break;
        case 4:
            if (track)
                track->setMatrix(track->matrix().rotated(90));
            break;
        default:
            if (track) {
                const QTTimeRange wanted {{value * 7, 600}, {value * 100, 600}};
                if (track->setRange(wanted)) {
                    const auto got = track->range();
                    const auto scale = track->timeScale();
                    require(got.time.value == atScale(wanted.time, scale).value
                        && got.duration.value == atScale(wanted.duration, scale).value);
                }
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kScript = 16;
    if (size < kScript)
        return 0;
    const auto bytes = std::as_bytes(std::span {data, size});
    auto storage = std::make_shared<MemoryStorage>();
    const auto content = bytes.subspan(kScript);
    storage->files["/movie"] = std::make_shared<std::vector<std::byte>>(content.begin(), content.end());
    auto movie = QTMovie::open("/movie", storage);
    if (!movie)
        return 0;
    const auto before = samplesOf(*movie);
    edit(*movie, bytes.first(kScript));

    if (auto copy = *movie; MovieSaver::writeToFile(copy, "/flat")) {
        const auto flat = QTMovie::open("/flat", storage);
        require(flat.has_value());
        require(flat->tracks().size() == movie->tracks().size());
        const auto after = samplesOf(*flat);
        for (std::size_t i = 0; i < before.size() && i < after.size(); ++i)
            require(!before[i] || after[i] == before[i]);
    }
    if (MovieSaver::updateMovieFile(*movie)) {
        const auto again = QTMovie::open("/movie", storage);
        require(again.has_value());
        require(again->header().toBytes() == movie->header().toBytes());
        const auto after = samplesOf(*again);
        require(after.size() == before.size());
        for (std::size_t i = 0; i < before.size(); ++i)
            require(!before[i] || after[i] == before[i]);
    }
    return 0;
}

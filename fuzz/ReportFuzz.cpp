// Opens any bytes, makes every report of the command-line tool, and opens the movie's stream, as a player
// would see it: the same movie.

#include "fuzz/FuzzTarget.h"
#include "fuzz/MemoryStorage.h"
#include "movie/QTTrack.h"
#include "movie/saving/FlattenPlan.h"
#include "report/AtomTree.h"
#include "report/FactsJson.h"
#include "report/InfoReport.h"

#include <algorithm>

namespace reelwright::fuzz {
namespace {

    void checkOutline(const QTMovie& movie, const std::shared_ptr<MemoryStorage>& storage)
    {
        const auto outline = QTMovie::open("/movie", storage, HeaderReading::Outline);
        require(outline.has_value(), "what opens, opens as an outline");
        const auto ours = movie.tracks();
        const auto theirs = outline->tracks();
        require(ours.size() == theirs.size(), "an outline has all tracks");
        for (std::size_t i = 0; i < ours.size(); ++i) {
            const auto all = ours[i].media();
            const auto some = theirs[i].media();
            require(all.sampleCount() == some.sampleCount(), "an outline knows the number of samples");
            require(all.sampleTable().duration() == some.sampleTable().duration(),
                "an outline knows how long samples last");
        }
        static_cast<void>(factsJson(MovieFacts::of(*outline)));
    }

    void checkStream(const QTMovie& movie)
    {
        const auto stream = MovieStream::open(movie);
        constexpr std::uint64_t kMaxStream = 8U << 20U; // overlapping media can make many times the input
        if (!stream || stream->size() > kMaxStream)
            return;
        std::vector<std::byte> all(static_cast<std::size_t>(stream->size()));
        constexpr std::size_t kStep = 4093; // not in step with anything
        for (std::size_t at = 0; at < all.size(); at += kStep) {
            const auto wanted = std::min(kStep, all.size() - at);
            const auto count = stream->readAt(at, std::span {all}.subspan(at, wanted));
            require(count && *count == wanted, "a stream that opens can be read to its end");
        }
        const auto storage = std::make_shared<MemoryStorage>();
        storage->put("/movie", all);
        const auto again = QTMovie::open("/movie", storage);
        require(again.has_value(), "a movie's stream is a movie");
        const auto before = movie.tracks();
        const auto after = again->tracks();
        require(before.size() == after.size(), "the stream has the movie's tracks");
        for (std::size_t i = 0; i < before.size(); ++i) {
            require(before[i].range() == after[i].range(), "the stream's tracks have the movie's times");
            require(before[i].media().sampleCount() == after[i].media().sampleCount(),
                "the stream's tracks have the movie's samples");
        }
    }

    void checkAtoms(const std::vector<AtomNode>& atoms, std::size_t fileSize,
        const std::shared_ptr<MemoryStorage>& storage)
    {
        for (const auto& atom : atoms) {
            require(
                atom.size <= fileSize && atom.offset <= fileSize - atom.size, "atoms lie within their file");
            const auto detail = AtomDetail::read("/movie", atom, 4096, storage);
            require(detail.has_value(), "an atom of a tree can be read");
            for (const auto& field : detail->fields)
                require(
                    field.offset <= detail->bytes.size() && field.size <= detail->bytes.size() - field.offset,
                    "fields lie within their atom");
            checkAtoms(atom.children, fileSize, storage);
        }
    }

} // namespace

void reportMovie(ByteSpan input)
{
    const auto storage = std::make_shared<MemoryStorage>();
    storage->put("/movie", input);
    if (const auto tree = AtomTree::read("/movie", {}, storage))
        checkAtoms(tree->atoms, input.size(), storage);
    const auto movie = QTMovie::open("/movie", storage);
    if (!movie)
        return;
    const auto facts = MovieFacts::of(*movie);
    static_cast<void>(infoReport(facts));
    static_cast<void>(trackTable(facts));
    static_cast<void>(toText(factsJson(facts), JsonStyle::OneLine));
    checkOutline(*movie, storage);
    checkStream(*movie);
}

} // namespace reelwright::fuzz

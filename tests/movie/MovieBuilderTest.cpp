#include "tests/helpers/MovieBuilder.h"

#include "movie/QTTrack.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using testing::SizeIs;

    struct ShapeFact
    {
        const char* why;
        MovieBuilder movie;
        std::vector<std::string> layout; ///< types of the outermost atoms
    };

    std::vector<ShapeFact> shapes()
    {
        using Place = MovieBuilder::HeaderPlace;
        std::vector<ShapeFact> facts {
            {"as it comes", {}, {"ftyp", "moov", "mdat"}},
            {"header last, free space round it",
                {.headerPlace = Place::Last, .freeBefore = 8, .freeAfter = 100},
                {"ftyp", "mdat", "free", "moov", "free"}},
            {"header between media, wide sizes and offsets",
                {.headerPlace = Place::BetweenMedia, .hasWideMediaSize = true, .hasWideOffsets = true},
                {"ftyp", "mdat", "moov", "mdat"}},
            {"unknown atoms, terminated user data, no brand",
                {.brand = "", .hasUnknownAtoms = true, .isUserDataTerminated = true, .commentSize = 50},
                {"qZx7", "moov", "mdat", "qZx7"}},
            {"another brand, edits, a last chunk that is not full",
                {.brand = "mp42",
                    .tracks
                    = {{.samples = 10, .edits = {{100, -1}, {120, 24}}}, {"soun"_cc, 7, 3}, {.samples = 1}}},
                {"ftyp", "moov", "mdat"}},
        };
        return facts;
    }

    TEST(MovieBuilder, EngineReadsEverySampleBack)
    {
        for (const auto& fact : shapes()) {
            SCOPED_TRACE(fact.why);
            const auto storage = std::make_shared<SimulatedStorage>();
            storage->put("/m/a.mov", fact.movie.build());
            const auto movie = QTMovie::open("/m/a.mov", storage);
            ASSERT_TRUE(movie) << movie.error().message();
            EXPECT_THAT(movie->warnings(), SizeIs(0));
            EXPECT_TRUE(holdsSamplesOf(*movie, fact.movie));
            std::vector<std::string> layout;
            for (const auto& atom : movie->file()->layout.atoms)
                layout.push_back(atom.type.text());
            EXPECT_EQ(layout, fact.layout);
        }
    }

    TEST(MovieBuilder, AnotherReaderSeesTheSamePackets)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        const TempFolder folder;
        for (const auto& fact : shapes()) {
            SCOPED_TRACE(fact.why);
            writeFile(folder.file("a.mov"), fact.movie.build());
            const auto packets = packetChecksums(folder.file("a.mov"));
            ASSERT_THAT(packets, SizeIs(fact.movie.tracks.size()));
            for (const auto& [stream, list] : packets) {
                const auto& track = fact.movie.tracks[static_cast<std::size_t>(stream)];
                std::uint64_t sum = 0;
                for (std::size_t i = 0; i < list.size(); ++i) {
                    sum += list[i].size;
                    if (track.isVideo()) {
                        EXPECT_EQ(list[i].size, track.sampleSize(static_cast<std::uint32_t>(i + 1)));
                    }
                }
                EXPECT_EQ(sum, MovieBuilder::media(track, 1).size());
            }
        }
    }

} // namespace
} // namespace reelwright::test

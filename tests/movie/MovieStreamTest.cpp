#include "movie/QTTrack.h"
#include "movie/TimecodeTrack.h"
#include "movie/files/MediaSources.h"
#include "movie/saving/FlattenPlan.h"
#include "movie/saving/SavePreview.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/PacketChecksums.h"
#include "tests/helpers/SimulatedStorage.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright::test {
namespace {

    /// All bytes of a stream, read in pieces that fit nothing.
    std::vector<std::byte> contentOf(const MovieStream& stream)
    {
        std::vector<std::byte> all;
        for (;;) {
            std::vector<std::byte> piece(4099);
            const auto got = stream.readAt(all.size(), piece);
            EXPECT_TRUE(got) << got.error().message();
            if (!got || *got == 0)
                return all;
            all.insert(all.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(*got));
        }
    }

    QTMovie openOn(const std::shared_ptr<SimulatedStorage>& storage, const std::string& path)
    {
        auto movie = QTMovie::open(path, storage);
        EXPECT_TRUE(movie) << movie.error().message();
        return std::move(*movie);
    }

    /// What a player gets of the movie.
    QTMovie played(const QTMovie& movie)
    {
        const auto stream = MovieStream::openForPlaying(movie);
        EXPECT_TRUE(stream) << stream.error().message();
        const auto bytes = contentOf(*stream);
        EXPECT_EQ(bytes.size(), stream->size());
        const auto storage = std::make_shared<SimulatedStorage>();
        storage->put("/m/stream.mov", bytes);
        return openOn(storage, "/m/stream.mov");
    }

    QTMovie openBuilt(const std::vector<std::byte>& bytes)
    {
        const auto storage = std::make_shared<SimulatedStorage>();
        storage->put("/m/a.mov", bytes);
        return openOn(storage, "/m/a.mov");
    }

    TEST(MovieStream, ForPlayingHoldsEverySampleWhereverTheHeaderStood)
    {
        using Place = MovieBuilder::HeaderPlace;
        const MovieBuilder kShapes[] = {
            {},
            {.headerPlace = Place::Last},
            {.headerPlace = Place::Last, .freeBefore = 8, .brand = "mp42"},
            {.headerPlace = Place::Last, .brand = ""}, // the media lie 8 bytes from the start
            {.headerPlace = Place::BetweenMedia, .hasWideMediaSize = true, .hasWideOffsets = true},
        };
        for (const auto& shape : kShapes) {
            auto movie = openBuilt(shape.build());
            {
                const EditableScope scope {movie};
                ASSERT_TRUE(movie.tracks().front().setEnabled(false));
            }
            const auto shown = played(movie);
            EXPECT_THAT(shown.warnings(), testing::IsEmpty());
            EXPECT_TRUE(holdsSamplesOf(shown, shape));
            EXPECT_EQ(shown.file()->majorBrand, movie.file()->majorBrand);
            EXPECT_FALSE(shown.tracks().front().isEnabled()) << "the edit is not to be seen";
        }
    }

    TEST(MovieStream, ForPlayingTakesMediaFromMemory)
    {
        const MovieBuilder shape;
        auto movie = openBuilt(shape.build());
        {
            const EditableScope scope {movie};
            const timecodeMedia::NewTimecode timecode {
                timecodeMedia::makeDescription({0, 600, 24, 25}, "A001"), 90000, 600, 288};
            ASSERT_TRUE(timecodeMedia::addTrack(movie, timecode));
        }
        const auto shown = played(movie);
        EXPECT_TRUE(holdsSamplesOf(shown, shape));
        const auto sample = shown.tracksOfMediaType(QTMediaTypeTimeCode).front().media().sampleData(1);
        ASSERT_TRUE(sample) << sample.error().message();
        EXPECT_EQ(readBigEndian(sample->span().data(), 4), 90000U);
    }

    TEST(MovieStream, ForPlayingTakesAFileThatWasCutShort)
    {
        auto bytes = MovieBuilder {}.build();
        bytes.erase(bytes.end() - 100, bytes.end());
        const auto movie = openBuilt(bytes);
        EXPECT_FALSE(MovieStream::open(movie)) << "a flattened movie must be whole";
        const auto sample = played(movie).tracks().front().media().sampleData(1);
        ASSERT_TRUE(sample) << sample.error().message();
        EXPECT_EQ(sample->toVector(), MovieBuilder {}.sample(1, 1));
    }

    TEST(MovieStream, HeadersOfOtherMoviesInTheFileHinderNoReading)
    {
        const auto one = MovieBuilder {}.build();
        auto both = one;
        both.insert(both.end(), one.begin(), one.end());
        const auto movie = openBuilt(both);
        const auto stream = MovieStream::open(movie);
        ASSERT_TRUE(stream) << stream.error().message();
        const auto read = openBuilt(contentOf(*stream)).tracks().front().media().sampleData(1);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->toVector(), MovieBuilder {}.sample(1, 1));
    }

    TEST(MovieStream, APreviewReadsTheHeaderThatTheEngineChose)
    {
        MovieBuilder built;
        built.freeBefore = 300;
        auto bytes = built.build();
        const auto place = [&](std::string_view type) {
            return std::ranges::search(bytes, type, {}, {}, [](char c) { return static_cast<std::byte>(c); })
                       .begin()
                - 4;
        };
        // In the free atom in front, a header that has no track.
        constexpr std::ptrdiff_t kMovieHeader = 108;
        const auto free = place("free");
        const auto header = place("mvhd");
        ASSERT_LT(free, header);
        const auto start = ByteWriter {}.u32(8 + kMovieHeader).fourCC("moov"_cc).toBytes();
        const auto rest = ByteWriter {}.u32(300 - 8 - kMovieHeader).fourCC("free"_cc).toBytes();
        std::ranges::copy(start.span(), free);
        std::copy_n(header, kMovieHeader, free + 8);
        std::ranges::copy(rest.span(), free + 8 + kMovieHeader);
        auto movie = openBuilt(bytes);
        ASSERT_EQ(movie.tracks().size(), built.tracks.size());
        {
            const EditableScope scope {movie};
            ASSERT_TRUE(movie.setUserDataItem("test"_cc, Bytes::copyOf("x")));
        }
        for (const auto& edited : {movie.asSaved(), movie}) {
            const auto preview = SavePreview::make(edited, SavePreview::Mode::InPlace);
            ASSERT_TRUE(preview) << preview.error().message();
            EXPECT_TRUE((*preview)->header().find("trak"_cc));
        }
    }

    TEST(MovieStream, AnotherProgramFindsTheSamePacketsInSamplesForPlaying)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        const TempFolder folder;
        for (const auto& entry :
            std::filesystem::directory_iterator(std::string(REELWRIGHT_SOURCE_DIR) + "/samples")) {
            const auto path = entry.path().string();
            if (!path.ends_with(".mov") && !path.ends_with(".mp4"))
                continue;
            SCOPED_TRACE(path);
            const auto movie = QTMovie::open(path);
            ASSERT_TRUE(movie) << movie.error().message();
            const auto stream = MovieStream::openForPlaying(*movie);
            ASSERT_TRUE(stream) << stream.error().message();
            const auto copy = folder.file("stream.mov");
            writeFile(copy, contentOf(*stream));
            EXPECT_EQ(packetChecksums(copy), packetChecksums(path));
        }
    }

} // namespace
} // namespace reelwright::test

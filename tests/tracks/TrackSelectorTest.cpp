#include "tracks/TrackSelector.h"

#include "movie/TrackBuilder.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using ::testing::ElementsAre;
    using ::testing::IsEmpty;

    /// IDs: 1 video, 2 and 3 sound, 4 video.
    QTMovie movieOfFourTracks()
    {
        const test::BuiltTrack video;
        const test::BuiltTrack sound {"soun"_cc, 600, 200};
        test::MovieBuilder builder;
        builder.tracks = {video, sound, sound, video};
        const test::TempFolder folder;
        test::writeFile(folder.file("m.mov"), builder.build());
        return QTMovie::open(folder.file("m.mov")).value();
    }

    std::vector<std::uint32_t> selected(const QTMovie& movie, const char* text)
    {
        std::vector<std::uint32_t> ids;
        const auto tracks = TrackSelector::parse(text).value().select(movie);
        EXPECT_TRUE(tracks.has_value()) << text;
        for (const auto& track : tracks.value_or(std::vector<QTTrack> {}))
            ids.push_back(track.trackID());
        return ids;
    }

    TEST(TrackSelector, NamesTracksByIdByPlaceAndByKind)
    {
        const auto movie = movieOfFourTracks();
        EXPECT_THAT(selected(movie, "3"), ElementsAre(3));
        EXPECT_THAT(selected(movie, "v1"), ElementsAre(1));
        EXPECT_THAT(selected(movie, "v2"), ElementsAre(4));
        EXPECT_THAT(selected(movie, "a2"), ElementsAre(3));
        EXPECT_THAT(selected(movie, "a*"), ElementsAre(2, 3));
        EXPECT_THAT(selected(movie, "*"), ElementsAre(1, 2, 3, 4));
    }

    TEST(TrackSelector, NamingAllOfAKindThatIsNotThereIsNoErrorNamingOneIs)
    {
        const auto movie = movieOfFourTracks();
        EXPECT_THAT(selected(movie, "tc*"), IsEmpty());
        for (const auto* text : {"tc1", "a3", "9"}) {
            const auto tracks = TrackSelector::parse(text)->select(movie);
            ASSERT_FALSE(tracks.has_value()) << text;
            EXPECT_EQ(tracks.error().code, MovieError::Code::Refused);
            EXPECT_THAT(tracks.error().detail, ::testing::HasSubstr(text));
        }
    }

    TEST(TrackSelector, TracksArePlacedInTheOrderOfTheirIds)
    {
        auto movie = movieOfFourTracks();
        const EditableScope scope {movie};
        auto& tracks = movie.editHeader().children;
        const auto isTrack = [](const auto& atom) { return atom->type == "trak"_cc; };
        const auto first = std::find_if(tracks.begin(), tracks.end(), isTrack);
        std::reverse(first, std::find_if_not(first, tracks.end(), isTrack));
        EXPECT_EQ(movie.tracks().front().trackID(), 4U);
        EXPECT_THAT(selected(movie, "v1"), ElementsAre(1));
    }

    TEST(TrackSelector, PlacesAreThoseOfTheOpenedMovieWhateverTheEditsRemoveAndAdd)
    {
        auto movie = movieOfFourTracks();
        const EditableScope scope {movie};
        ASSERT_TRUE(movie.removeTrack(movie.tracks()[1])); // a1
        NewTrack added;
        added.mediaType = QTMediaTypeSound;
        ASSERT_TRUE(movie.addTrack(makeTrack(added))); // a3
        EXPECT_FALSE(TrackSelector::parse("a1")->select(movie));
        EXPECT_THAT(selected(movie, "a2"), ElementsAre(3));
        EXPECT_EQ(selected(movie, "a3").size(), 1U);
        EXPECT_NE(selected(movie, "a3"), selected(movie, "a2"));
    }

    TEST(TrackSelector, OtherTextsAreNoSelectors)
    {
        for (const auto* text :
            {"", "v", "v0", "x1", "1v", "v1x", "-1", "a**", "**", "a 1", "99999999999", "V1"})
            EXPECT_FALSE(TrackSelector::parse(text).has_value()) << text;
    }

} // namespace
} // namespace reelwright

#include "timecode/KWTimecodeController.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace reelwright {
namespace {

    using test::TempFolder;

    constexpr auto kDrop = TimecodeDefinition::kDropFrame;

    /// A second of pictures of that rate, in a movie that counts thousandths.
    QTMovie clipOf(std::uint32_t mediaScale, std::uint32_t frameDuration)
    {
        auto movie = test::emptyMovie(1000);
        test::TestTrack video;
        video.mediaScale = mediaScale;
        video.times = {{mediaScale / frameDuration + 1, frameDuration}};
        video.samples.resize(video.times[0].count);
        test::addTrack(movie, video);
        return movie;
    }

    /// The only timecode track of a movie.
    QTTrack timecodeTrack(const QTMovie& movie)
    {
        const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        EXPECT_EQ(tracks.size(), 1U);
        return tracks.at(0);
    }

    TEST(TimecodeController, TenHoursOfFramesInThousandthsHaveEachTheirLabel)
    {
        auto movie = test::emptyMovie(1000);
        test::TestTrack video;
        video.mediaScale = 60000;
        video.times = {{2'160'000, 1001}}; // ten hours and more
        video.edits.emplace().edits = {{36'036'000, 0, 1 << 16}};
        test::addTrack(movie, video);
        ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(0, 0, 0, 0, kDrop, std::nullopt, movie));
        EXPECT_EQ(movie.timeScale(), 60000);
        const auto track = timecodeTrack(movie);
        const auto labelAt = [&](std::int64_t units) {
            const auto reading = timecodeMedia::atMovieTime(track, {units, 60000});
            return reading && *reading ? (*reading)->text : "none";
        };
        constexpr std::int64_t kHour = 215'784; // frames of drop frame at 60
        for (const std::int64_t hours : {1, 10}) {
            const auto begin = hours * kHour * 1001;
            EXPECT_EQ(labelAt(begin - 1001), fmt::format("{:02}:59:59;59", hours - 1));
            EXPECT_EQ(labelAt(begin - 1), fmt::format("{:02}:59:59;59", hours - 1));
            EXPECT_EQ(labelAt(begin), fmt::format("{:02}:00:00;00", hours));
            EXPECT_EQ(labelAt(begin + 1001), fmt::format("{:02}:00:00;01", hours));
        }
        EXPECT_EQ(labelAt(2'160'000LL * 1001), "none") << "the end";
    }

    struct TableFact
    {
        std::uint32_t mediaScale;
        std::vector<SampleTable::TimeRun> times;
        std::uint32_t movieScale; ///< before
        std::int64_t num; ///< of the rate of the definition
        std::int64_t den;
        int frames;
        const char* why;
    };

    TEST(TimecodeController, ARateThatTheSampleTimesOnlyRoundIsWrittenExactly)
    {
        const TableFact facts[] = {
            {600, {{49, 20}, {1, 21}}, 600, 30000, 1001, 30, "29.97 in 600ths: a frame in fifty is longer"},
            {600, {{2450, 20}, {50, 21}}, 1000, 30000, 1001, 30, "the same for longer"},
            {1000, {{20, 16}, {40, 17}}, 1000, 60, 1, 60, "60 in thousandths"},
            {1000, {{567, 42}, {234, 41}}, 1000, 24000, 1001, 24, "23.976 in thousandths"},
            {600, {{100, 20}}, 600, 30, 1, 30, "plain 30"},
            {90000, {{60, 1500}, {60, 3000}}, 1000, 40, 1, 40, "two rates: their average"},
            {2997, {{100, 100}}, 600, 2997, 100, 30, "29.97 written in hundredths, and meant so"},
            {2398, {{200, 100}}, 1000, 2398, 100, 24, "23.98 likewise: all frames last the same"},
            {25, {{100, 1}}, 600, 25, 1, 25, "plain 25"},
            {2500, {{99, 100}, {1, 40}}, 2500, 25, 1, 25, "25 with a last frame cut short"},
            {30000, {{99, 1001}, {1, 2002}}, 30000, 30000, 1001, 30, "29.97 with a last frame held"},
            {1000, {{10, 80}}, 1000, 25, 2, 13, "12.5: a whole length, and 13 however it is rounded"},
            {1000, {{10, 37}}, 1000, 28, 1, 28, "27.03, which some readers would round to 27"},
            {600, {{40, 20}, {50, 19}}, 600, 31, 1, 31, "30.86 of a recorded screen"},
            {600, {{3, 9000}}, 600, 1, 1, 1, "a picture every 15 seconds"},
        };
        for (const auto& fact : facts) {
            SCOPED_TRACE(fact.why);
            auto movie = test::emptyMovie(fact.movieScale);
            test::TestTrack video;
            video.mediaScale = fact.mediaScale;
            video.times = fact.times;
            test::addTrack(movie, video);
            ASSERT_TRUE(KWTimecodeController::insertBlankTimecodeTrack(movie));
            TimecodeDefinition definition;
            KWTimecodeController::timecodeForTrack(timecodeTrack(movie), &definition);
            EXPECT_EQ(definition.timeScale * fact.den, definition.frameDuration * fact.num);
            EXPECT_EQ(definition.numberOfFrames, fact.frames);
            EXPECT_EQ(static_cast<std::uint32_t>(movie.timeScale()), definition.timeScale);
        }
    }

    TEST(TimecodeController, WithoutAPictureThirtyFramesASecondHaveAWholeLength)
    {
        auto movie = test::emptyMovie(1000);
        test::TestTrack sound;
        sound.mediaType = QTMediaTypeSound;
        sound.mediaScale = 48000;
        sound.times = {{48000, 1}};
        const auto track = test::addTrack(movie, sound);
        ASSERT_TRUE(KWTimecodeController::insertBlankTimecodeTrack(movie));
        TimecodeDefinition definition;
        KWTimecodeController::timecodeForTrack(timecodeTrack(movie), &definition);
        EXPECT_EQ(definition, (TimecodeDefinition {0, 3000, 100, 30}));
        EXPECT_EQ(track.references().at("tmcd"_cc).front(), timecodeTrack(movie).trackID());
    }

    TEST(TimecodeController, ModifyingKeepsTheDefinitionAndTheTrack)
    {
        auto movie = clipOf(30000, 1001);
        ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(1, 0, 0, 0, 0, "one", movie));
        const auto track = timecodeTrack(movie);
        const auto id = track.trackID();
        TimecodeDefinition before;
        KWTimecodeController::timecodeForTrack(track, &before);

        struct Change
        {
            bool drop;
            bool negative;
            bool limit;
            bool counter;
            std::uint32_t flags;
            const char* text;
        };
        constexpr Change kChanges[] = {
            {true, false, false, false, 1, "10:11:12;13"}, {false, true, true, false, 6, "10:11:12:13"},
            {true, true, true, true, 8,
                "13"}, // a counter drops all other flags and has the frames as its value
        };
        for (const auto& change : kChanges) {
            ASSERT_TRUE(KWTimecodeController::modifyTimecode(10, 11, 12, 13, "two", track, movie, change.drop,
                change.negative, change.limit, change.counter));
            TimecodeDefinition after;
            std::string reel;
            EXPECT_EQ(KWTimecodeController::timecodeForTrack(track, &after, &reel), change.text);
            EXPECT_EQ(reel, "two");
            EXPECT_EQ(after.flags, change.flags);
            after.flags = before.flags;
            EXPECT_EQ(after, before);
        }
        EXPECT_EQ(track.trackID(), id);
        EXPECT_EQ(movie.tracksOfMediaType(QTMediaTypeVideo).at(0).references().at("tmcd"_cc),
            std::vector<std::uint32_t> {id});

        // No reel is stored as an empty text; and all of it survives the save.
        ASSERT_TRUE(KWTimecodeController::modifyTimecode(0, 0, 1, 0, track, movie));
        const TempFolder folder;
        ASSERT_TRUE(MovieSaver::writeToFile(movie, folder.file("clip.mov")));
        const auto again = QTMovie::open(folder.file("clip.mov"));
        ASSERT_TRUE(again);
        std::string reel = "not read";
        EXPECT_EQ(
            KWTimecodeController::timecodeForTrack(timecodeTrack(*again), nullptr, &reel), "00:00:01:00");
        EXPECT_EQ(reel, "");
        EXPECT_TRUE(
            timecodeTrack(*again).media().sampleDescription(1)->extension(QTMediaTypeTimeCode, "name"_cc));
    }

    TEST(TimecodeController, ReplacingAndUpdatingMakeOneTrackOfIt)
    {
        QTMovie empty;
        EXPECT_FALSE(KWTimecodeController::insertBlankTimecodeTrack(empty)) << "there is no track to label";
        auto movie = clipOf(25, 1);
        KWTimecodeController::updateTimecode("nonsense", std::nullopt, movie, false, false, false);
        EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecodeTrack(movie)), "01:00:00:00");
        KWTimecodeController::updateTimecode("02:00:00:24", "R1", movie, false, false, false);
        EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecodeTrack(movie)), "02:00:00:24");
        ASSERT_TRUE(KWTimecodeController::replaceTimecodeTrack(timecodeTrack(movie), movie));
        std::string reel;
        EXPECT_EQ(
            KWTimecodeController::timecodeForTrack(timecodeTrack(movie), nullptr, &reel), "02:00:00:24");
        EXPECT_EQ(reel, "R1");
        // The removed track's ID is not referred to any more.
        EXPECT_EQ(movie.tracksOfMediaType(QTMediaTypeVideo).at(0).references().at("tmcd"_cc),
            std::vector<std::uint32_t> {timecodeTrack(movie).trackID()});
        KWTimecodeController::updateCounter(255, std::nullopt, movie);
        EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecodeTrack(movie)), "255");
        EXPECT_FALSE(
            KWTimecodeController::replaceTimecodeTrack(timecodeTrack(movie), movie)); // no four fields
    }

    TEST(TimecodeController, AReelIsCutAtACharacterAfter255Bytes)
    {
        struct ReelFact
        {
            std::string given;
            std::string stored;
        };
        std::string letters;
        for (int i = 0; i < 128; ++i)
            letters += "\u00E4"; // two bytes each
        const ReelFact facts[] = {
            {std::string(255, 'A'), std::string(255, 'A')},
            {std::string(256, 'A'), std::string(255, 'A')},
            {letters, letters.substr(0, 254)},
            {"--\u00C4rger 7!\u2014", "\u00C4rger 7"},
            {"!?", ""},
        };
        for (const auto& fact : facts) {
            auto movie = clipOf(25, 1);
            ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(0, 0, 0, 0, 0, fact.given, movie));
            std::string reel;
            KWTimecodeController::timecodeForTrack(timecodeTrack(movie), nullptr, &reel);
            EXPECT_EQ(reel, fact.stored);
        }
    }

} // namespace
} // namespace reelwright

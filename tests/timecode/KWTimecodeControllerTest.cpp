#include "timecode/KWTimecodeController.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

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

    struct LongMovie
    {
        std::uint32_t movieScale;
        std::uint32_t mediaScale;
        std::uint32_t hours;
        QTTime frame;
    };

    TEST(TimecodeController, WhereTheTimeScaleCannotBeRaisedTheDefinitionCountsInThePictures)
    {
        const LongMovie facts[] = {
            {90000, 24000, 4, {1001, 24000}}, {48000, 30000, 5, {1001, 30000}},
            {90000, 600, 10, {1001, 30000}}, // whose own times only round the rate
        };
        for (const auto& fact : facts) {
            auto movie = test::emptyMovie(fact.movieScale);
            test::TestTrack video;
            video.mediaScale = fact.mediaScale;
            const auto frames
                = static_cast<std::uint32_t>(std::int64_t {fact.hours} * 3600 * fact.frame.scale / 1001);
            if (fact.mediaScale == 600)
                video.times = {{frames / 50 * 49, 20}, {frames / 50, 21}};
            else
                video.times = {{frames, 1001}};
            test::addTrack(movie, video);
            ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(0, 0, 0, 0, 0, std::nullopt, movie));
            EXPECT_EQ(movie.timeScale(), static_cast<std::int32_t>(fact.movieScale)) << "it has no room";
            const auto track = timecodeTrack(movie);
            for (const auto frame : {std::int64_t {1}, std::int64_t {1000}, std::int64_t {frames} - 100}) {
                const auto reading
                    = timecodeMedia::atMovieTime(track, {frame * fact.frame.value, fact.frame.scale});
                ASSERT_TRUE(reading && *reading);
                EXPECT_EQ((*reading)->frame, frame) << fact.mediaScale;
            }
        }
    }

    /// A clip of that rate whose timecode track has these samples, a unit of 25 apart, behind a gap.
    QTMovie labelled(const TimecodeDefinition& definition, const std::vector<std::uint32_t>& starts)
    {
        auto movie = clipOf(25, 1);
        auto track
            = test::timecodeTrack(definition, starts, {{static_cast<std::uint32_t>(starts.size()), 5}}, 25);
        track.trackID = 2;
        track.descriptions = {timecodeMedia::makeDescription(definition, "OLD")};
        track.edits.emplace().edits = {{200, -1, 1 << 16}, {400, 1, 1 << 16}};
        test::addTrack(movie, track);
        return movie;
    }

    struct PartFact
    {
        const char* why;
        TimecodeDefinition definition;
        std::vector<std::uint32_t> stored;
        TimecodeChange change;
        std::uint32_t flags; ///< afterwards
        std::vector<std::uint32_t> after;
    };

    TEST(TimecodeController, WhatAChangeDoesNotNameStays)
    {
        const auto changed = [](auto set) {
            TimecodeChange change;
            set(change);
            return change;
        };
        const auto reel = changed([](auto& change) { change.reel = "NEW"; });
        const auto counter = [&](bool on) { return changed([on](auto& change) { change.counter = on; }); };
        const auto drop = [&](bool on) { return changed([on](auto& change) { change.dropFrame = on; }); };
        const auto moved
            = [&](TimecodeRecord by) { return changed([by](auto& change) { change.offset = by; }); };
        constexpr TimecodeDefinition k25 {0, 25, 1, 25};
        constexpr TimecodeDefinition k30 {0, 30000, 1001, 30};
        const PartFact facts[] = {
            {"a reel, with breaks", k25, {90000, 5, 77}, reel, 0, {90000, 5, 77}},
            {"a reel, below zero", {4, 25, 1, 25}, {0xFFFFFFFB}, reel, 4, {0xFFFFFFFB}},
            {"a reel of a counter", {8, 25, 1, 25}, {100000}, reel, 8, {100000}},
            {"a reel where the flags are odd", {1 | 0x100, 25, 1, 25}, {3}, reel, 0x101, {3}},
            {"timecode to counter", k30, {108000, 7}, counter(true), 8, {108000, 7}},
            {"and back", {8, 30000, 1001, 30}, {108000, 7}, counter(false), 0, {108000, 7}},
            {"labels stay where drop frame begins", k30, {108000, 1802}, drop(true), 1, {107892, 1800}},
            {"and ends", {1, 30000, 1001, 30}, {107892, 1800}, drop(false), 0, {108000, 1802}},
            {"an hour on", k25, {90000, 5}, moved({false, 1, 0, 0, 0}), 0, {180000, 90005}},
            {"an hour on in drop frame", {1, 2997, 100, 30}, {107892}, moved({false, 1, 0, 0, 0}), 1,
                {215784}},
            {"behind midnight", k25, {2159999}, moved({false, 0, 0, 0, 1}), 0, {0}},
            {"before midnight", k25, {5}, moved({true, 0, 0, 0, 10}), 0, {2159995}},
            {"below zero", {4, 25, 1, 25}, {5}, moved({true, 0, 0, 0, 10}), 4, {0xFFFFFFFB}},
            {"negative times end", {4, 25, 1, 25}, {0xFFFFFFFB},
                changed([](auto& change) { change.negativeTimes = false; }), 0, {2159995}},
        };
        for (const auto& fact : facts) {
            SCOPED_TRACE(fact.why);
            auto movie = labelled(fact.definition, fact.stored);
            const auto track = timecodeTrack(movie);
            const auto edits = track.editList()->edits;
            const auto before = track.media().atom()->find({"minf"_cc, "stbl"_cc})->toBytes();
            const auto answer = KWTimecodeController::changeTimecode(fact.change, track, movie);
            ASSERT_TRUE(answer) << answer.error().message();
            const auto samples = timecodeMedia::storedSamples(track);
            ASSERT_TRUE(samples);
            std::vector<std::uint32_t> stored;
            for (const auto& sample : *samples) {
                stored.push_back(sample.stored);
                EXPECT_EQ(sample.duration, 5U);
                EXPECT_EQ(sample.description.definition.flags, fact.flags);
                EXPECT_EQ(sample.description.reel, fact.change.reel ? "NEW" : "OLD");
            }
            EXPECT_EQ(stored, fact.after);
            EXPECT_EQ(track.editList()->edits, edits);
            EXPECT_EQ(movie.timeScale(), 1000);
            // The same once more changes nothing, and a reel nothing but its description.
            if (fact.change.reel) {
                auto back = fact.change;
                back.reel = "OLD";
                ASSERT_TRUE(KWTimecodeController::changeTimecode(back, track, movie));
                EXPECT_TRUE(track.media().atom()->find({"minf"_cc, "stbl"_cc})->toBytes() == before);
            }
        }
    }

    struct RefusedChange
    {
        TimecodeDefinition definition;
        TimecodeChange change;
        const char* sentence;
    };

    TEST(TimecodeController, WhatARateOrACounterHasNotIsRefusedInWordsOrLeftOut)
    {
        const auto started = [](TimecodeRecord start, std::optional<bool> drop = {}) {
            TimecodeChange change;
            change.start = start;
            change.dropFrame = drop;
            return change;
        };
        TimecodeChange drop;
        drop.dropFrame = true;
        TimecodeChange moved;
        moved.offset = TimecodeRecord {false, 1, 0, 0, 0};
        const RefusedChange facts[] = {
            {{0, 25, 1, 25}, drop, "drop frame is for 29.97 and 59.94"},
            {{0, 30, 1, 30}, drop, "has 30 frames a second"},
            {{8, 25, 1, 25}, drop, "a counter has no drop frame"},
            {{8, 25, 1, 25}, moved, "--counter N"},
            {{0, 24, 1, 24}, started({false, 10, 11, 12, 25}), "the nearest is 10:11:13:01"},
            {{0, 25, 1, 25}, started({true, 0, 0, 0, 1}),
                "without negative times; the nearest is 23:59:59:24"},
            {{0, 30000, 1001, 30}, started({false, 0, 1, 0, 0}, true), "the nearest is 00:01:00;02"},
        };
        for (const auto& fact : facts) {
            auto movie = labelled(fact.definition, {5});
            const auto answer
                = KWTimecodeController::changeTimecode(fact.change, timecodeTrack(movie), movie);
            ASSERT_FALSE(answer) << fact.sentence;
            EXPECT_THAT(answer.error().message(), testing::HasSubstr(fact.sentence));
        }
        // The operations of old leave the flag out.
        auto movie = clipOf(25, 1);
        ASSERT_TRUE(KWTimecodeController::insertTimecodeTrack(1, 0, 0, 0, kDrop, std::nullopt, movie));
        EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecodeTrack(movie)), "01:00:00:00");
        ASSERT_TRUE(KWTimecodeController::modifyTimecode(
            2, 0, 0, 0, std::nullopt, timecodeTrack(movie), movie, true, false, false, false));
        ASSERT_TRUE(KWTimecodeController::replaceTimecodeTrack(timecodeTrack(movie), movie));
        EXPECT_EQ(KWTimecodeController::timecodeForTrack(timecodeTrack(movie)), "02:00:00:00");
    }

    TEST(TimecodeController, ATrackThatNobodyRefersToIsLinkedAgain)
    {
        auto movie = labelled({0, 25, 1, 25}, {5});
        const auto track = timecodeTrack(movie);
        const auto picture = movie.tracksOfMediaType(QTMediaTypeVideo).front();
        EXPECT_TRUE(picture.references().empty());
        {
            const EditableScope scope {movie};
            track.editAtom()->edit({"mdia"_cc, "minf"_cc})->remove("gmhd"_cc);
        }
        ASSERT_TRUE(KWTimecodeController::relinkTimecode(track, movie));
        EXPECT_EQ(picture.references().at("tmcd"_cc), std::vector<std::uint32_t> {2});
        EXPECT_TRUE(track.media().atom()->find({"minf"_cc, "gmhd"_cc, "tmcd"_cc, "tcmi"_cc}));
        EXPECT_TRUE(track.media().atom()->find({"minf"_cc, "gmhd"_cc, "gmin"_cc}));
        const auto linked = movie.header().toBytes();
        ASSERT_TRUE(KWTimecodeController::relinkTimecode(track, movie)) << "nothing is missing any more";
        EXPECT_TRUE(movie.header().toBytes() == linked);
    }

    TEST(TimecodeController, AStartFromElsewhereIsCheckedFirst)
    {
        struct TextFact
        {
            const char* text;
            const char* start; ///< null: refused
        };
        const TextFact facts[] = {
            {" 01:02:03:04\n", "01:02:03:04"},
            {"01:02:03;04", "01:02:03:04"},
            {"25:61:61:99", nullptr},
            {"aa:bb:cc:dd", nullptr},
            {"10:11:12:25", nullptr},
            {"-1:00:00:00", nullptr},
            {"10:11:12", nullptr},
        };
        for (const auto& fact : facts) {
            auto movie = clipOf(24, 1);
            const auto added = KWTimecodeController::addTimecodeFromText(fact.text, "the card", movie);
            ASSERT_EQ(added.has_value(), fact.start != nullptr) << fact.text;
            if (added)
                EXPECT_EQ(KWTimecodeController::timecodeForTrack(added->track()), fact.start);
            else
                EXPECT_THAT(added.error().message(), testing::HasSubstr("--timecode"));
        }
    }

} // namespace
} // namespace reelwright

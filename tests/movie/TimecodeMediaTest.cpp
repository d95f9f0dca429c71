#include "movie/samples/TimecodeMedia.h"

#include "movie/FrameRate.h"
#include "movie/TimecodeTrack.h"
#include "movie/TrackBuilder.h"
#include "movie/files/MediaSources.h"
#include "tests/helpers/TestMovie.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using test::timecodeTrack;

    constexpr auto kDrop = TimecodeDefinition::kDropFrame;
    constexpr auto kWraps = TimecodeDefinition::k24HourMax;
    constexpr auto kSigned = TimecodeDefinition::kNegativeTimesOK;
    constexpr auto kCounter = TimecodeDefinition::kCounter;

    constexpr TimecodeDefinition definition(std::uint32_t flags, std::uint8_t numberOfFrames)
    {
        return {flags, numberOfFrames * 1000U, (flags & kDrop) != 0 ? 1001U : 1000U, numberOfFrames};
    }

    struct LabelFact
    {
        std::uint32_t flags;
        std::uint8_t rate;
        std::int64_t frame;
        const char* label;
        const char* why;
    };

    constexpr LabelFact kLabels[] = {
        {kDrop, 30, 0, "00:00:00;00", "the beginning"},
        {kDrop, 30, 1799, "00:00:59;29", "the last label before the first drop"},
        {kDrop, 30, 1800, "00:01:00;02", ";00 and ;01 are not in minute 1"},
        {kDrop, 30, 3597, "00:01:59;29", "minute 1 is two frames shorter"},
        {kDrop, 30, 3598, "00:02:00;02", "nor in minute 2"},
        {kDrop, 30, 17981, "00:09:59;29", "the end of the ninth minute"},
        {kDrop, 30, 17982, "00:10:00;00", "tenth minutes keep all labels"},
        {kDrop, 30, 17983, "00:10:00;01", "and the second of them"},
        {kDrop, 30, 19782, "00:11:00;02", "minute 11"},
        {kDrop, 30, 107892, "01:00:00;00", "an hour"},
        {kDrop, 30, 2589407, "23:59:59;29", "the last of the day"},
        {kDrop, 60, 3599, "00:00:59;59", "the last label before the first drop at 60"},
        {kDrop, 60, 3600, "00:01:00;04", "four labels go at 60"},
        {kDrop, 60, 7195, "00:01:59;59", "minute 1 is four frames shorter"},
        {kDrop, 60, 7196, "00:02:00;04", "minute 2"},
        {kDrop, 60, 35964, "00:10:00;00", "tenth minutes keep all labels"},
        {kDrop, 60, 215784, "01:00:00;00", "an hour"},
        {0, 30, 1800, "00:01:00:00", "without drop frame every label is there"},
        {0, 30, 108000, "01:00:00:00", "an hour of plain 30"},
        {0, 24, 86399, "00:59:59:23", "24"},
        {0, 24, 86400, "01:00:00:00", "24"},
        {0, 25, 90000, "01:00:00:00", "25"},
        {0, 50, 179999, "00:59:59:49", "50"},
        {0, 100, 100, "00:00:01:00", "frames beyond 99 have no third digit to fill"},
        {0, 120, 119, "00:00:00:119", "but show when there are"},
        {kDrop, 25, 1500, "00:01:00;00", "25 has no labels to leave out, whatever the flag says"},
        {0, 25, 2160000, "24:00:00:00", "without a day's limit hours go on"},
        {kWraps, 25, 2160000, "00:00:00:00", "with it they start again"},
        {kWraps, 25, 2160001 + 5 * 2160000, "00:00:00:01", "days later too"},
        {kWraps | kDrop, 30, 2589408, "00:00:00;00", "a day of drop frame is shorter"},
        {kWraps | kDrop, 60, 5178816, "00:00:00;00", "at 60 it has twice the frames"},
        {kSigned, 25, -1, "-00:00:00:01", "a negative time"},
        {kSigned, 25, -90000, "-01:00:00:00", "an hour below zero"},
        {kSigned | kDrop, 30, -1800, "-00:01:00;02", "labels go below zero as above"},
        {kSigned | kWraps, 25, -2160001, "-00:00:00:01", "a day and a frame below zero"},
        {0, 25, -1, "23:59:59:24", "where times are positive, before zero is the day before"},
        {0, 25, -2160000, "00:00:00:00", "a whole day before zero is midnight"},
        {0, 25, -2 * 2160000 - 1, "23:59:59:24", "two days and a frame"},
        {kWraps | kDrop, 30, -1, "23:59:59;29", "the day before in drop frame"},
        {kWraps | kDrop, 30, -2589408, "00:00:00;00", "a whole day before"},
        {kCounter, 30, 12345, "12345", "a counter is its number"},
        {kCounter | kSigned, 30, -5, "-5", "also below zero"},
        {0, 0, 77, "77", "without a rate there is nothing but the number"},
    };

    TEST(TimecodeMedia, LabelsAreThoseOfTheBroadcastRule)
    {
        for (const auto& fact : kLabels)
            EXPECT_EQ(timecodeMedia::label(fact.frame, definition(fact.flags, fact.rate)), fact.label)
                << fact.why;
    }

    TEST(TimecodeMedia, FrameNumberIsTheInverseOfTheRecordThroughAWholeDay)
    {
        constexpr TimecodeDefinition kDefinitions[] = {definition(0, 24), definition(0, 25),
            definition(0, 50), definition(kDrop, 30), definition(kDrop, 60), definition(kSigned, 25),
            definition(kSigned | kDrop, 30), definition(kSigned | kCounter, 30)};
        for (const auto& rate : kDefinitions)
            for (std::int64_t frame = (rate.flags & kSigned) != 0 ? -20000 : 0;
                 frame < std::int64_t {86400} * rate.numberOfFrames; ++frame) {
                const auto record = timecodeMedia::record(frame, rate);
                ASSERT_EQ(timecodeMedia::frameNumber(record, rate), frame)
                    << timecodeMedia::text(record, rate) << " at " << int {rate.numberOfFrames};
            }
    }

    /// Counts labels one by one, as a clock does.
    TEST(TimecodeMedia, NoLabelIsUsedTwiceAndNoneButTheDroppedLeftOut)
    {
        for (const int rate : {30, 60}) {
            const auto drop = definition(kDrop, static_cast<std::uint8_t>(rate));
            std::int64_t frame = 0;
            for (int minute = 0; minute < 24 * 60; ++minute)
                for (int second = 0; second < 60; ++second)
                    for (int label = second == 0 && minute % 10 != 0 ? rate / 15 : 0; label < rate; ++label) {
                        const auto record = timecodeMedia::record(frame, drop);
                        ASSERT_TRUE(record.hours == minute / 60 && record.minutes == minute % 60
                            && record.seconds == second && record.frames == label)
                            << "frame " << frame << " is " << timecodeMedia::text(record, drop);
                        ++frame;
                    }
        }
    }

    TEST(TimecodeMedia, DroppedLabelsCountAsTheNextThereIs)
    {
        constexpr auto kDrop30 = definition(kDrop, 30);
        const auto frameOf = [&](std::int64_t minutes, std::int64_t frames) {
            return timecodeMedia::frameNumber({false, 0, minutes, 0, frames}, kDrop30);
        };
        EXPECT_EQ(frameOf(1, 0), 1800);
        EXPECT_EQ(frameOf(1, 1), 1800);
        EXPECT_EQ(frameOf(1, 2), 1800);
        EXPECT_EQ(frameOf(1, 3), 1801);
        EXPECT_EQ(frameOf(10, 0), 17982);
        EXPECT_EQ(frameOf(10, 1), 17983);
    }

    TEST(TimecodeMedia, RatesThatCamerasRoundedDownCountAsTheyMeant)
    {
        struct RoundedFact
        {
            TimecodeDefinition definition;
            const char* label = nullptr; ///< of frame 1800
            const char* why = nullptr;
        };
        constexpr RoundedFact kFacts[] = {
            {{0, 90000, 3003, 29}, "00:01:00:00", "29 for 29.97"},
            {{kDrop, 30000, 1001, 29}, "00:01:00;02", "in drop frame"},
            {{0, 24000, 1001, 23}, "00:01:15:00", "23 for 23.976"},
            {{0, 60000, 1001, 59}, "00:00:30:00", "59 for 59.94"},
            {{0, 25, 1, 24}, "00:01:15:00", "24 labels a second played at 25 are meant"},
            {{0, 30000, 1000, 29}, "00:01:02:02", "so are 29 at a whole rate"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(timecodeMedia::label(1800, fact.definition), fact.label) << fact.why;
            const auto record = timecodeMedia::record(1800, fact.definition);
            EXPECT_EQ(timecodeMedia::frameNumber(record, fact.definition), 1800) << fact.why;
        }
    }

    struct ReadingFact
    {
        std::int64_t mediaTime;
        std::int64_t frame;
        const char* why;
    };

    TEST(TimecodeMedia, TimeCountsOnFromTheSampleThatHoldsIt)
    {
        constexpr TimecodeDefinition kRate {kDrop, 30000, 1001, 30};
        auto movie = test::emptyMovie(30000);
        const auto track
            = test::addTrack(movie, timecodeTrack(kRate, {1800, 50000}, {{1, 10010}, {1, 20020}}));
        constexpr ReadingFact kFacts[] = {
            {0, 1800, "the first frame"},
            {1000, 1800, "still the first"},
            {1001, 1801, "the second"},
            {10009, 1809, "the last of the first sample"},
            {10010, 50000, "the second sample"},
            {12012, 50002, "two frames on"},
            {30030, 50020, "past the end the last sample counts on"},
            {-1, 1799, "before the beginning"},
            {-1001, 1799, "a whole frame before"},
            {-1002, 1798, "more than a frame before"},
        };
        for (const auto& fact : kFacts) {
            const auto reading = timecodeMedia::atMediaTime(track, fact.mediaTime);
            ASSERT_TRUE(reading) << reading.error().message();
            EXPECT_EQ(reading->frame, fact.frame) << fact.why;
            EXPECT_EQ(reading->text, timecodeMedia::label(fact.frame, kRate)) << fact.why;
        }
    }

    struct MovieTimeFact
    {
        QTTime time;
        std::optional<std::int64_t> frame; ///< nothing where the track shows nothing
        const char* why;
    };

    TEST(TimecodeMedia, TimesOfTheMovieGoThroughTheEditList)
    {
        // |gap 1 s| media from its second second, 1 s |gap 0.5 s| media from the start, 2 s at half speed |
        constexpr TimecodeDefinition kRate {0, 30000, 1001, 30};
        auto movie = test::emptyMovie(600);
        auto source = timecodeTrack(kRate, {1000, 5000}, {{1, 30030}, {1, 60060}});
        source.edits.emplace();
        source.edits->edits
            = {{600, -1, 1 << 16}, {600, 30030, 1 << 16}, {300, -1, 1 << 16}, {1200, 0, 1 << 15}};
        const auto track = test::addTrack(movie, source);
        const MovieTimeFact facts[] = {
            {{0, 600}, {}, "before the late start"},
            {{599, 600}, {}, "to its last unit"},
            {{600, 600}, 5000, "the second sample is what the first edit shows"},
            {{1, 1}, 5000, "the same instant in another scale"},
            {{30000 + 1000, 30000}, 5000, "between two units of the movie's scale: still the first frame"},
            {{30000 + 1001, 30000}, 5001, "exactly its end"},
            {{620, 600}, 5000, "33.33 ms are less than a frame, too"},
            {{1199, 600}, 5029, "the end of the edit"},
            {{1200, 600}, {}, "the second gap"},
            {{1500, 600}, 1000, "the first sample"},
            {{1500 * 50 + 2 * 1001, 30000}, 1001, "half speed: a frame lasts two"},
            {{1500 * 50 + 2 * 1001 - 1, 30000}, 1000, "to the last unit"},
            {{2699, 600}, 1029, "the end of it all"},
            {{2700, 600}, {}, "past the end"},
            {{INT64_MAX, 1}, {}, "far past the end"},
            {{-1, 600}, {}, "before the movie"},
            {{0, 0}, {}, "no time at all"},
        };
        for (const auto& fact : facts) {
            const auto reading = timecodeMedia::atMovieTime(track, fact.time);
            ASSERT_TRUE(reading) << fact.why << ": " << reading.error().message();
            EXPECT_EQ(*reading ? std::optional((*reading)->frame) : std::nullopt, fact.frame) << fact.why;
        }
    }

    TEST(TimecodeMedia, TimesOfTheMovieBeyondAllMeasureAreSurvived)
    {
        auto movie = test::emptyMovie(INT32_MAX);
        auto source = timecodeTrack({kSigned, UINT32_MAX, UINT32_MAX, 255}, {UINT32_MAX}, {{1, UINT32_MAX}});
        source.mediaScale = INT32_MAX;
        for (const std::int32_t rate : {INT32_MIN, -1, 0, 1, INT32_MAX})
            for (const std::int64_t mediaTime : {INT64_MIN, std::int64_t {-2}, INT64_MAX}) {
                source.edits.emplace();
                source.edits->edits = {{UINT64_MAX / 2, mediaTime, rate}, {UINT64_MAX, -1, rate}};
                source.edits->version = 1;
                const auto track = test::addTrack(movie, source);
                for (const QTTime time : {QTTime {0, 1}, {INT64_MAX, 1}, {INT64_MAX, INT32_MAX}}) {
                    const auto reading = timecodeMedia::atMovieTime(track, time);
                    EXPECT_TRUE(reading || reading.error().code == MovieError::Code::Corrupt);
                }
            }
    }

    TEST(TimecodeMedia, SignBitCountsOnlyWhereNegativeTimesAreAllowed)
    {
        for (const auto& [flags, frame] :
            {std::pair<std::uint32_t, std::int64_t> {kSigned, -2}, {0, 0xFFFFFFFE}, {kCounter, 0xFFFFFFFE}}) {
            auto movie = test::emptyMovie(30000);
            const auto track
                = test::addTrack(movie, timecodeTrack({flags, 30000, 1001, 30}, {0xFFFFFFFE}, {{1, 30000}}));
            EXPECT_EQ(timecodeMedia::atMediaTime(track, 0)->frame, frame);
        }
    }

    TEST(TimecodeMedia, DefinitionsOfAnotherScaleThanTheMediaAreConverted)
    {
        auto movie = test::emptyMovie(600);
        const auto track = test::addTrack(movie, timecodeTrack({0, 2500, 100, 25}, {100}, {{1, 60000}}));
        EXPECT_EQ(timecodeMedia::atMediaTime(track, 1199)->frame, 100);
        EXPECT_EQ(timecodeMedia::atMediaTime(track, 1200)->frame, 101) << "30000 units are 25 frames";
        EXPECT_EQ(timecodeMedia::atMediaTime(track, 30000)->text, "00:00:05:00");
    }

    TEST(TimecodeMedia, ReadingWhatIsNotThereFails)
    {
        struct BadFact
        {
            test::TestTrack track;
            MovieError::Code code = MovieError::Code::Io;
            const char* why = nullptr;
        };
        constexpr TimecodeDefinition kRate {0, 30000, 1001, 30};
        auto video = timecodeTrack(kRate, {0}, {{1, 1001}});
        video.mediaType = QTMediaTypeVideo;
        auto shortDescription = timecodeTrack(kRate, {0}, {{1, 1001}});
        shortDescription.descriptions = {Atom {"tmcd"_cc, Bytes::copyOf("short")}};
        const BadFact facts[] = {
            {video, MovieError::Code::Refused, "a video track"},
            {timecodeTrack(kRate, {}, {}), MovieError::Code::Corrupt, "no samples"},
            {timecodeTrack(kRate, {}, {{1, 1001}}), MovieError::Code::Corrupt, "a sample without bytes"},
            {shortDescription, MovieError::Code::Truncated, "half a description"},
        };
        for (const auto& fact : facts) {
            auto movie = test::emptyMovie(600);
            const auto reading = timecodeMedia::atMediaTime(test::addTrack(movie, fact.track), 0);
            ASSERT_FALSE(reading) << fact.why;
            EXPECT_EQ(reading.error().code, fact.code) << fact.why << ": " << reading.error().message();
        }
    }

    TEST(TimecodeMedia, HostileDefinitionsAndTimesAreSurvived)
    {
        const TimecodeDefinition definitions[]
            = {{0, 0, 0, 0}, {kDrop, UINT32_MAX, 1, 240}, {kSigned, 1, UINT32_MAX, 255},
                {kDrop, UINT32_MAX, 0, 30}, definition(0, 1), definition(kCounter, 1)};
        for (const auto& rate : definitions) {
            for (const auto frame : {INT64_MIN, INT64_MIN + 1, INT64_MAX - 1, INT64_MAX}) {
                const auto record = timecodeMedia::record(frame, rate);
                EXPECT_GE(record.hours, 0);
                EXPECT_GE(record.frames, 0);
            }
            for (const auto mediaTime : {INT64_MIN, std::int64_t {-1}, std::int64_t {0}, INT64_MAX}) {
                auto movie = test::emptyMovie(600);
                auto source = timecodeTrack(rate, {UINT32_MAX}, {{1, UINT32_MAX}});
                source.mediaScale = 1;
                const auto reading = timecodeMedia::atMediaTime(test::addTrack(movie, source), mediaTime);
                ASSERT_TRUE(reading);
                EXPECT_FALSE(reading->text.empty());
            }
        }
    }

    struct RoundedRate
    {
        TimecodeDefinition definition;
        QTTime frame; ///< of the picture
    };

    TEST(TimecodeMedia, RatesWrittenAsRoundedFractionsAreThoseThatTheyMean)
    {
        const RoundedRate facts[] = {
            {{kDrop, 2997, 100, 30}, {1001, 30000}}, {{0, 23976, 1000, 24}, {1001, 24000}},
            {{kDrop, 5994, 100, 60}, {1001, 60000}},
            {{0, 2997, 100, 29}, {1001, 30000}}, // and the number of frames rounded down
        };
        for (const auto& fact : facts) {
            auto movie = test::emptyMovie(static_cast<std::uint32_t>(fact.frame.scale));
            test::addTrack(movie,
                timecodeTrack(
                    fact.definition, {0}, {{1, 3'000'000}}, static_cast<std::uint32_t>(fact.frame.scale)));
            auto exact = fact.definition;
            exact.timeScale = static_cast<std::uint32_t>(fact.frame.scale);
            exact.frameDuration = 1001;
            const auto track = movie.tracks().front();
            for (const std::int64_t frame : {0, 1, 2, 30, 1800, 2900}) {
                const auto reading
                    = timecodeMedia::atMovieTime(track, {frame * fact.frame.value, fact.frame.scale});
                ASSERT_TRUE(reading && *reading) << frame;
                EXPECT_EQ((*reading)->frame, frame);
                EXPECT_EQ((*reading)->text, timecodeMedia::label(frame, exact));
            }
        }
        EXPECT_EQ(FrameRate::meant(2398, 100), (FrameRate {2398, 100})) << "farther off than rounding goes";
        EXPECT_TRUE(FrameRate::meant(2997, 100).hasDropFrame());
        EXPECT_TRUE(FrameRate::meant(120000, 1001).hasDropFrame());
        for (const auto& rate : {FrameRate {30, 1}, FrameRate {25, 1}, FrameRate {24000, 1001}, FrameRate {}})
            EXPECT_FALSE(rate.hasDropFrame()) << rate.num;
    }

    /// Two tapes one after the other, a second each: 25 frames from 10:00:00:00, then 30 from 01:00:00;00.
    QTMovie twoTapes(bool secondIsLost = false)
    {
        auto movie = test::emptyMovie(30000);
        auto tapes = timecodeTrack({0, 25, 1, 25}, {900000, 107892}, {{1, 30000}, {1, 30000}});
        tapes.descriptions = {
            timecodeMedia::makeDescription({0, 25, 1, 25}, "ONE"),
            timecodeMedia::makeDescription({kDrop, 30000, 1001, 30}, "TWO"),
        };
        tapes.edits.emplace().edits = {{15000, -1, 1 << 16}, {60000, 0, 1 << 16}};
        const auto track = test::addTrack(movie, tapes);
        // The second sample lies in a chunk of the second description.
        const EditableScope scope {movie};
        SampleTableBuilder tables;
        const auto media = movie.sources().addMemory(ByteWriter {}.u32(900000).u32(107892).toBytes());
        const auto lost = media + 1'000'000;
        for (const std::uint32_t i : {0U, 1U}) {
            tables.beginChunk(i == 1 && secondIsLost ? lost : media + 4 * i, i + 1);
            EXPECT_TRUE(tables.add({30000, 4, 0, true, 0}));
        }
        tables.write(*editSampleTables(*track.editAtom()));
        return movie;
    }

    TEST(TimecodeMedia, EachSampleCountsByItsOwnDescriptionAndEachLabelHasItsTime)
    {
        const auto movie = twoTapes();
        const auto track = movie.tracks().front();
        const auto readAt = [&](std::int64_t units) {
            const auto reading = timecodeMedia::atMovieTime(track, {units, 30000});
            return reading && *reading ? (*reading)->text + ' ' + (*reading)->description.reel : "none";
        };
        EXPECT_EQ(readAt(0), "none");
        EXPECT_EQ(readAt(15000 + 1200), "10:00:00:01 ONE");
        EXPECT_EQ(readAt(45000 + 1001), "01:00:00;01 TWO");
        struct PlaceFact
        {
            const char* label;
            std::int64_t units; ///< below 0: never shown
        };
        const PlaceFact facts[] = {
            {"10:00:00:00", 15000},
            {"10:00:00:24", 15000 + 24 * 1200},
            {"10:00:01:00", -1},
            {"01:00:00;00", 45000},
            {"01:00:00:10", 45000 + 10 * 1001},
            {"01:00:00;29", 45000 + 29 * 1001},
            {"00:01:00;00", -1},
            {"-01:00:00:00", -1},
            {"12", -1},
        };
        for (const auto& fact : facts) {
            const auto time = timecodeMedia::movieTimeOf(track, fact.label);
            ASSERT_TRUE(time) << fact.label;
            ASSERT_EQ(time->has_value(), fact.units >= 0) << fact.label;
            if (*time) {
                EXPECT_GE(**time, (QTTime {fact.units, 30000})) << fact.label;
                EXPECT_LT(**time, (QTTime {fact.units + 1, 30000})) << fact.label;
            }
        }
    }

    TEST(TimecodeMedia, LabelsOfReadableSamplesAreFoundBesideOneThatCannotBeRead)
    {
        const auto movie = twoTapes(true);
        const auto track = movie.tracks().front();
        const auto first = timecodeMedia::movieTimeOf(track, "10:00:00:05");
        ASSERT_TRUE(first && *first);
        EXPECT_EQ(atScale(**first, 30000).value, 15000 + 5 * 1200);
        EXPECT_FALSE(timecodeMedia::movieTimeOf(track, "01:00:00;00")) << "the lost one may be where it is";
    }

} // namespace
} // namespace reelwright

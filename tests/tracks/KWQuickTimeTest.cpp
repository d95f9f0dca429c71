#include "tracks/KWQuickTime.h"

#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace reelwright {
namespace {

    using test::addTrack;
    using test::emptyMovie;
    using test::TestTrack;

    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double kNtscFilm = 24000.0 * 24 / 24024; // as fpsFromQTTrack computes it

    TestTrack videoTrack(std::uint32_t mediaScale, std::uint32_t frames, std::uint32_t frameDuration)
    {
        TestTrack track;
        track.mediaScale = mediaScale;
        track.times = {{frames, frameDuration}};
        return track;
    }

    QTMovie movieOf(const TestTrack& track, std::uint32_t movieScale = 30000)
    {
        auto movie = emptyMovie(movieScale);
        addTrack(movie, track);
        return movie;
    }

    TestTrack timecodeTrack(
        const TimecodeDefinition& definition, std::uint32_t start, std::uint32_t mediaScale = 30000)
    {
        return test::timecodeTrack(definition, {start}, {{1, 600000}}, mediaScale);
    }

    TEST(KWQuickTime, FrameCountIsRoundedHalvesAwayFromZero)
    {
        struct CountFact
        {
            std::int32_t value;
            std::int32_t scale;
            double rate;
            std::int32_t frames;
            const char* why;
        };
        constexpr CountFact kFacts[] = {
            {1001, 30000, 29.97, 1, "a frame"},
            {15, 30, 1.0, 1, "a half rounds up"},
            {-15, 30, 1.0, -1, "below zero, down"},
            {14, 30, 1.0, 0, "less than a half"},
            {45, 30, 1.0, 2, "one and a half"},
            {0, 600, 25, 0, "the beginning"},
            {600, 600, 0, 0, "no rate"},
            {600, 0, 25, 0, "no scale"},
            {600, 600, kNaN, 0, "no number for a rate"},
            {INT32_MAX, 1, 60, INT32_MAX, "too many to count"},
            {INT32_MIN, 1, 60, INT32_MIN, "too many below zero"},
            {1, 1, kInfinite, INT32_MAX, "a rate without end"},
            {600, -600, 25, -25, "a negative scale"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(KWQuickTime::frameCountForTimeValue(fact.value, fact.scale, fact.rate), fact.frames)
                << fact.why;
    }

    TEST(KWQuickTime, FramesBeginWhereTheirTimeIsRoundedDown)
    {
        struct TimeFact
        {
            std::int32_t frame;
            std::int32_t scale;
            double rate;
            std::int64_t value;
            const char* why;
        };
        constexpr TimeFact kFacts[] = {
            {1, 30000, 29.97, 1001, "1001.001 rounded down"},
            {2, 600, 29.97, 40, "40.04 rounded down"},
            {-1, 600, 29.97, -21, "down below zero too"},
            {10, 600, 25, 240, "a whole number"},
            {3, 24000, kNtscFilm, 3003, "whole but for the rounding of doubles"},
            {11, 600, 30, 220, "the same at 30"},
            {INT32_MAX, INT32_MAX, 1e-9, INT64_MAX, "too long to say"},
            {5, 600, 0, 0, "no rate"},
            {5, 600, kNaN, 0, "no number for a rate"},
            {5, 0, 25, 0, "no scale"},
        };
        for (const auto& fact : kFacts)
            EXPECT_TRUE(sameFields(
                KWQuickTime::qtTimeFromFrame(fact.frame, fact.scale, fact.rate), {fact.value, fact.scale}))
                << fact.why << ": " << KWQuickTime::qtTimeFromFrame(fact.frame, fact.scale, fact.rate).value;
    }

    TEST(KWQuickTime, EveryFrameBeginsAtItsOwnTimeInTheScaleOfItsRate)
    {
        struct RateFact
        {
            std::uint32_t scale;
            std::uint32_t frameDuration;
        };
        constexpr RateFact kRates[]
            = {{24000, 1001}, {30000, 1001}, {60000, 1001}, {600, 24}, {600, 20}, {25, 1}, {12800, 512}};
        for (const auto& rate : kRates) {
            const auto movie = movieOf(videoTrack(rate.scale, 97, rate.frameDuration), rate.scale);
            for (std::int32_t frame = 0; frame < 20000; ++frame) {
                const auto time = KWQuickTime::qtTimeFromFrame(frame, movie);
                ASSERT_EQ(time.value, std::int64_t {frame} * rate.frameDuration)
                    << "frame " << frame << " at " << rate.scale;
                ASSERT_EQ(KWQuickTime::frameCountForQTTime(time, movie), frame);
            }
            EXPECT_EQ(KWQuickTime::frameLengthForMovie(movie), rate.frameDuration);
        }
    }

    TEST(KWQuickTime, RateIsTheAverageOverTheMedia)
    {
        auto uneven = videoTrack(600, 0, 0);
        uneven.times = {{10, 20}, {1, 200}};
        auto movie = emptyMovie();
        const auto track = addTrack(movie, uneven);
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsFromQTTrack(track), 600.0 * 11 / 400);
        EXPECT_EQ(KWQuickTime::frameRateForMedia(track.media()), 16.5F);
        EXPECT_EQ(KWQuickTime::trackFrameDuration(track), 20) << "of the first sample";
        EXPECT_DOUBLE_EQ(KWQuickTime::fpsForMovie(movie), 16.5);
    }

    TEST(KWQuickTime, RateThatIsNotKnownIsZeroOrThirty)
    {
        auto noSamples = videoTrack(600, 0, 0);
        noSamples.mediaDuration = 600;
        auto noDuration = videoTrack(600, 25, 24);
        noDuration.mediaDuration = 0;
        auto noScale = videoTrack(0, 25, 24);
        for (const auto& source : {noSamples, noDuration, noScale}) {
            auto movie = emptyMovie();
            const auto track = addTrack(movie, source);
            EXPECT_EQ(KWQuickTime::fpsFromQTTrack(track), 0.0);
            EXPECT_EQ(KWQuickTime::frameRateForMedia(track.media()), 30.0F);
            EXPECT_EQ(KWQuickTime::frameLengthForMovie(movie), 0);
        }
        auto movie = emptyMovie();
        const auto track = addTrack(movie, noSamples);
        EXPECT_EQ(KWQuickTime::trackFrameDuration(track), 0);
        const EditableScope scope {movie};
        movie.editHeader().edit("trak"_cc)->remove("mdia"_cc);
        EXPECT_EQ(KWQuickTime::fpsFromQTTrack(track), 0.0) << "no media";
        EXPECT_EQ(KWQuickTime::frameRateForMedia(track.media()), 30.0F);
    }

    TEST(KWQuickTime, FirstFrameThatIsTooLongForItsFieldHasNoDuration)
    {
        auto movie = emptyMovie();
        EXPECT_EQ(
            KWQuickTime::trackFrameDuration(addTrack(movie, videoTrack(600, 1, 0x7FFF'FFFF))), INT32_MAX);
        EXPECT_EQ(KWQuickTime::trackFrameDuration(addTrack(movie, videoTrack(600, 1, 0x8000'0000))), 0);
    }

    TEST(KWQuickTime, FrameCountGoesThroughSinglePrecisionAndLow32Bits)
    {
        const auto movie = movieOf(videoTrack(30000, 300, 1001));
        const auto track = movie.tracks().front();
        // Half a millionth of a frame past the half: the single-precision rate falls short of it.
        const QTTime nearHalf {1001 * 110000 + 501, 30000};
        EXPECT_EQ(KWQuickTime::frameCountForTimeValue(
                      1001 * 110000 + 501, 30000, KWQuickTime::fpsFromQTTrack(track)),
            110001);
        EXPECT_EQ(KWQuickTime::frameCountForQTTime(nearHalf, track), 110000);
        EXPECT_EQ(KWQuickTime::frameCountForQTTime(nearHalf, movie), 110000);
        EXPECT_EQ(KWQuickTime::frameCountForQTTime({0x7'0000'0000 + 2002, 30000}, track), 2);
        EXPECT_EQ(KWQuickTime::frameCountForQTTime({0xFFFF'FFFF, 30000}, track), 0) << "the low bits are -1";
        EXPECT_EQ(KWQuickTime::frameCountForQTTime({0x8000'0000, 1}, track), INT32_MIN);
    }

    TEST(KWQuickTime, MovieWithoutPictureHasNoFrames)
    {
        TestTrack sound;
        sound.mediaType = QTMediaTypeSound;
        const auto movie = movieOf(sound, 600);
        EXPECT_EQ(KWQuickTime::fpsForMovie(movie), 0.0);
        EXPECT_EQ(KWQuickTime::frameCountForQTTime({600, 600}, movie), 0);
        EXPECT_TRUE(sameFields(KWQuickTime::qtTimeFromFrame(10, movie), {0, 600}));
        EXPECT_TRUE(sameFields(KWQuickTime::lastFrameTimeForMovie(movie), movie.duration()));
        EXPECT_EQ(KWQuickTime::frameLengthForMovie(movie), 0);
        EXPECT_EQ(KWQuickTime::formattedQTTime({900, 600}, movie), "00:00:01:00");
        EXPECT_EQ(KWQuickTime::formattedQTTime({900, 600}, movie.tracks().front()), "00:00:01:13")
            << "the track has a rate";
        EXPECT_EQ(KWQuickTime::timecodeAtTime({900, 600}, movie), "00:00:00:00");
        EXPECT_TRUE(sameFields(KWQuickTime::qtTimeFromTimecode("00:00:01:00", movie), {0, 600}));
    }

    TEST(KWQuickTime, LastFrameBeginsAFrameBeforeTheEnd)
    {
        const auto ntsc = movieOf(videoTrack(30000, 10, 1001));
        EXPECT_TRUE(sameFields(KWQuickTime::lastFrameTimeForMovie(ntsc), {9009, 30000}));
        const auto coarse = movieOf(videoTrack(30000, 10, 1001), 600);
        EXPECT_TRUE(sameFields(KWQuickTime::lastFrameTimeForMovie(coarse), {180, 600}))
            << "180.18 rounded down";
        EXPECT_EQ(KWQuickTime::frameLengthForMovie(coarse), 20) << "20.02 rounded down";
        const auto one = movieOf(videoTrack(600, 1, 24), 600);
        EXPECT_TRUE(sameFields(KWQuickTime::lastFrameTimeForMovie(one), {0, 600}));
    }

    TEST(KWQuickTime, FormattedTimeIsHoursMinutesSecondsFrames)
    {
        struct FormatFact
        {
            QTTime time;
            double rate;
            const char* text;
            const char* why;
        };
        constexpr FormatFact kFacts[] = {
            {{3000, 600}, 25, "00:00:05:00", "whole seconds"},
            {{3012, 600}, 25, "00:00:05:01", "half a frame rounds up"},
            {{-3024, 600}, 25, "00:00:05:01", "the sign is lost"},
            {{36610 * 600, 600}, 25, "10:10:10:00", "two digits need no zero in front"},
            {{90000 * 600, 600}, 25, "25:00:00:00", "a day becomes hours"},
            {{-90000 * 600, 600}, 25, "25:00:00:00", "days below zero too"},
            {{std::int64_t {100} * 86400 * 600, 600}, 25, "2400:00:00:00", "many days"},
            {{29999, 30000}, 29.97, "00:00:00:30", "frames are not carried into seconds"},
            {{899, 600}, 0, "00:00:01:00", "no rate, no frames"},
            {{899, 600}, kNaN, "00:00:01:00", "no number for a rate"},
            {{5, 0}, 25, "00:00:00:00", "a time without a scale is none"},
            {{0, 600}, 25, "00:00:00:00", "the beginning"},
            {{119, 120}, 120, "00:00:00:119", "three digits of frames"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(KWQuickTime::formattedQTTime(fact.time, fact.rate), fact.text) << fact.why;
        EXPECT_EQ(KWQuickTime::formattedQTTime({INT64_MIN, 1}, 25).substr(0, 8), "51539607")
            << "as many hours as fit";
    }

    TEST(KWQuickTime, FormattedTimeTakesTheRateOfTrackOrMovie)
    {
        auto movie = movieOf(videoTrack(600, 50, 12), 600);
        auto slow = videoTrack(600, 10, 60);
        slow.trackID = 2;
        const auto second = addTrack(movie, slow);
        EXPECT_EQ(KWQuickTime::formattedQTTime({900, 600}, movie), "00:00:01:25")
            << "the first video track's";
        EXPECT_EQ(KWQuickTime::formattedQTTime({900, 600}, second), "00:00:01:05");
    }

    TEST(KWQuickTime, TypedTimeBecomesTheTextOfAMovieTime)
    {
        struct TypedFact
        {
            const char* typed;
            std::int32_t scale;
            std::int64_t frameLength;
            const char* text;
            const char* why;
        };
        constexpr TypedFact kFacts[] = {
            {"25:00:00:10", 30000, 1001, "01:01:00:00.10010/30000", "hours past a day"},
            {"-00:00:01:00", 600, 24, "-00:00:00:01.0/600", "the leading sign counts"},
            {"00:00:-1:00", 600, 24, "-00:00:00:01.0/600", "any negative field does"},
            {"00:00:00:00:-5", 600, 24, "-00:00:00:00.0/600", "even one that is not used"},
            {"01;02;03;04", 600, 24, "00:01:02:03.96/600", "either separator"},
            {"", 600, 24, "00:00:00:00.0/600", "nothing is zero"},
            {"1:2", 600, 24, "00:01:02:00.0/600", "missing fields are zero"},
            {"24:00:00:00", 600, 24, "01:00:00:00.0/600", "a day"},
            {"23:59:59:23", 600, 25, "00:23:59:59.575/600", "the last of a day"},
            {"100:00:00:00", 600, 24, "04:04:00:00.0/600", "days and hours"},
            {"00:00:00:05", 600, 0, "00:00:00:00.500/600", "an unknown frame is 100 long"},
            {"00:99:99:00", 600, 24, "00:00:99:99.0/600", "fields are not checked"},
            {"x:y:z:w", 600, 24, "00:00:00:00.0/600", "what is no number is zero"},
            {"-x", 600, 24, "-00:00:00:00.0/600", "but its sign counts"},
            {"00:00:00:01", 600, 0x1'0000'0005, "00:00:00:00.5/600", "the low 32 bits of a frame's length"},
            {"00:00:00:65536", 600, 65536, "00:00:00:00.0/600", "and of the value"},
            {"-2147483648:0:0:0", 600, 24, "-89478485:08:00:00.0/600", "hours beyond all measure"},
        };
        for (const auto& fact : kFacts) {
            const auto text
                = KWQuickTime::qtTimeStringFromFormatString(fact.typed, fact.scale, fact.frameLength);
            EXPECT_EQ(text, fact.text) << fact.why;
        }
        EXPECT_EQ(QTTimeFromString(KWQuickTime::qtTimeStringFromFormatString("25:00:00:10", 30000, 1001)),
            (QTTime {std::int64_t {25} * 3600 * 30000 + 10010, 30000}))
            << "the text reads back";
    }

    TEST(KWQuickTime, ChannelLabelsHaveTheirNames)
    {
        struct LabelFact
        {
            std::uint32_t label;
            const char* name;
        };
        // The ends of each range of labels, and those beside them.
        constexpr LabelFact kFacts[] = {{0, "Unknown"}, {1, "Left"}, {9, "Center Surround"},
            {18, "Top Back Right"}, {19, "Unknown"}, {32, "Unknown"}, {33, "Rear Surround Left"},
            {39, "Right Total"}, {45, "Haptic"}, {46, "Unknown"}, {300, "Unknown"}, {301, "Headphones Left"},
            {302, "Headphones Right"}, {303, "Unknown"}, {304, "Click Track"}, {305, "Foreign Language"},
            {306, "Unknown"}, {399, "Unknown"}, {400, "Discrete"}, {401, "Unknown"}, {65535, "Unknown"},
            {65536, "Discrete 0"}, {65551, "Discrete 15"}, {65552, "Unknown"}, {UINT32_MAX, "Unknown"}};
        for (const auto& fact : kFacts)
            EXPECT_EQ(KWQuickTime::friendlyAudioChannelLabel(fact.label), fact.name) << fact.label;
        int named = 0;
        for (std::uint32_t label = 0; label < 70000; ++label)
            named += KWQuickTime::friendlyAudioChannelLabel(label) != "Unknown";
        EXPECT_EQ(named, 18 + 13 + 2 + 2 + 1 + 16) << "and no other label has one";
    }

    TEST(KWQuickTime, TimebaseAndNtscFollowTheRate)
    {
        struct TimingFact
        {
            std::uint32_t scale;
            std::uint32_t frameDuration;
            int timebase;
            bool ntsc;
            const char* why;
        };
        constexpr TimingFact kFacts[] = {
            {30000, 1001, 30, true, "29.97"},
            {24000, 1001, 24, true, "23.976"},
            {60000, 1001, 60, true, "59.94"},
            {600, 24, 25, false, "25"},
            {30, 1, 30, false, "30 itself"},
            {29, 1, 29, false, "29 itself is not NTSC"},
            {24, 1, 24, false, "24 itself"},
            {23, 1, 23, false, "23 itself"},
            {60, 1, 60, false, "60 itself"},
            {50, 1, 50, false, "50"},
            {25, 2, 13, false, "12.5 is rounded up"},
            {120000, 1001, 120, false, "119.88 is no NTSC rate here"},
            {2901, 100, 30, true, "29.01 is"},
        };
        for (const auto& fact : kFacts) {
            const auto movie = movieOf(videoTrack(fact.scale, 20, fact.frameDuration));
            int timebase = -1;
            bool ntsc = !fact.ntsc;
            bool dropFrame = true;
            KWQuickTime::getTimingInfoForMovie(movie, &timebase, &ntsc, &dropFrame);
            EXPECT_EQ(timebase, fact.timebase) << fact.why;
            EXPECT_EQ(ntsc, fact.ntsc) << fact.why;
            EXPECT_FALSE(dropFrame) << "never from the rate";
        }
        EXPECT_EQ(KWQuickTime::getTimingInfoForMovie(emptyMovie()).timebase, 0);
        KWQuickTime::getTimingInfoForMovie(emptyMovie(), nullptr, nullptr, nullptr);
    }

    TEST(KWQuickTime, DropFrameIsWhatTheFirstTimecodeTrackSays)
    {
        auto movie = movieOf(videoTrack(30000, 20, 1001));
        addTrack(movie, timecodeTrack({TimecodeDefinition::kDropFrame, 30000, 1001, 30}, 0));
        EXPECT_TRUE(KWQuickTime::getTimingInfoForMovie(movie).dropFrame);
        auto other = movieOf(videoTrack(30000, 20, 1001));
        addTrack(other, timecodeTrack({TimecodeDefinition::k24HourMax, 30000, 1001, 30}, 0));
        addTrack(other, timecodeTrack({TimecodeDefinition::kDropFrame, 30000, 1001, 30}, 0));
        EXPECT_FALSE(KWQuickTime::getTimingInfoForMovie(other).dropFrame);
    }

    TEST(KWQuickTime, TimecodeIsTheTracksWhereThereIsOne)
    {
        constexpr TimecodeDefinition kDrop {TimecodeDefinition::kDropFrame, 30000, 1001, 30};
        auto movie = movieOf(videoTrack(30000, 20000, 1001));
        EXPECT_EQ(KWQuickTime::timecodeAtTime({1001 * 1800, 30000}, movie), "00:01:00:00")
            << "the frame's number";
        addTrack(movie, timecodeTrack(kDrop, 107892));
        EXPECT_EQ(KWQuickTime::timecodeAtTime({0, 30000}, movie), "01:00:00;00");
        EXPECT_EQ(KWQuickTime::timecodeAtTime({1001 * 1799, 30000}, movie), "01:00:59;29")
            << "media count by the broadcast rule";
        EXPECT_EQ(KWQuickTime::timecodeAtTime({1001 * 1800, 30000}, movie), "01:01:00;02");
        EXPECT_EQ(KWQuickTime::timecodeAtTime({2002, 600}, movie), "01:00:00;02")
            << "the value counts, whatever its scale";
    }

    TEST(KWQuickTime, TimecodeTrackThatCannotBeReadLeavesTheFramesNumber)
    {
        auto movie = movieOf(videoTrack(30000, 200, 1001));
        auto broken = timecodeTrack({TimecodeDefinition::kDropFrame, 30000, 1001, 30}, 107892);
        broken.samples = {};
        addTrack(movie, broken);
        EXPECT_EQ(KWQuickTime::timecodeAtTime({1001 * 40, 30000}, movie), "00:00:01;10")
            << "in drop frame still: the description is there";
    }

    TEST(KWQuickTime, TimecodeLeadsBackToItsTime)
    {
        struct BackFact
        {
            TimecodeDefinition definition;
            std::uint32_t start;
            const char* timecode;
            std::int64_t frame;
            const char* why;
        };
        constexpr BackFact kFacts[] = {
            {{0, 25, 1, 25}, 90000, "01:00:00:00", 0, "the first frame"},
            {{0, 25, 1, 25}, 90000, "01:00:02:00", 50, "two seconds on"},
            {{0, 25, 1, 25}, 90000, "01:00:02;00", 50, "with either separator"},
            {{0, 25, 1, 25}, 90000, "00:59:59:24", -1, "before the beginning"},
            {{0, 25, 1, 25}, 0, "00:00:00:07", 7, "from zero"},
            {{0, 25, 1, 25}, 90000, "no timecode", -1, "what cannot be read is frame -1"},
        };
        for (const auto& fact : kFacts) {
            auto movie = movieOf(videoTrack(25, 200, 1), 25);
            addTrack(movie, timecodeTrack(fact.definition, fact.start, 25));
            EXPECT_TRUE(sameFields(KWQuickTime::qtTimeFromTimecode(fact.timecode, movie), {fact.frame, 25}))
                << fact.why << ": " << KWQuickTime::qtTimeFromTimecode(fact.timecode, movie).value;
        }
        auto drop = movieOf(videoTrack(30000, 20000, 1001));
        addTrack(drop, timecodeTrack({TimecodeDefinition::kDropFrame, 30000, 1001, 30}, 107892));
        EXPECT_TRUE(sameFields(KWQuickTime::qtTimeFromTimecode("01:01:00;02", drop), {1'801'800, 30000}));
        const auto plain = movieOf(videoTrack(30000, 20000, 1001));
        EXPECT_TRUE(sameFields(KWQuickTime::qtTimeFromTimecode("00:00:01:00", plain), {30030, 30000}))
            << "without a track from zero";
    }

    /// Rate and timecode of the first video stream as another program reports them: "24000/1001" and text.
    struct Probed
    {
        double rate = 0;
        std::string timecode;
    };

    Probed probe(const std::string& path)
    {
        std::istringstream out {
            test::run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                "stream=avg_frame_rate:stream_tags=timecode", "-of", "default=noprint_wrappers=1", path})};
        Probed result;
        for (std::string line; std::getline(out, line);) {
            const auto value = line.substr(line.find('=') + 1);
            if (line.starts_with("avg_frame_rate=")) {
                const auto slash = value.find('/');
                result.rate = std::stod(value.substr(0, slash)) / std::stod(value.substr(slash + 1));
            } else if (line.starts_with("TAG:timecode=")) {
                result.timecode = value;
            }
        }
        return result;
    }

    void expectTimingAsProbed(const std::string& path)
    {
        SCOPED_TRACE(path);
        const auto movie = QTMovie::open(path);
        ASSERT_TRUE(movie) << movie.error().message();
        const auto probed = probe(path);
        ASSERT_GT(probed.rate, 0);
        EXPECT_NEAR(KWQuickTime::fpsForMovie(*movie), probed.rate, 1e-6);
        const auto timing = KWQuickTime::getTimingInfoForMovie(*movie);
        EXPECT_EQ(timing.timebase, std::ceil(probed.rate - 1e-6));
        EXPECT_EQ(timing.ntsc, std::abs(probed.rate * 1001 - std::round(probed.rate) * 1000) < 1e-3);
        EXPECT_EQ(timing.dropFrame, probed.timecode.find(';') != std::string::npos);
        EXPECT_EQ(KWQuickTime::timecodeAtTime({0, movie->timeScale()}, *movie),
            probed.timecode.empty() ? "00:00:00:00" : probed.timecode);
    }

    TEST(KWQuickTime, TimingOfTheSamplesIsWhatAnotherProgramReports)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const char* name : {"ntsc-2997.mov", "pal-25.mov", "rate-5994.mp4", "timecode-25.mov",
                 "timecode-2997-drop.mov", "header-last.mov", "rotated.mp4", "fragmented.mp4"})
            expectTimingAsProbed(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name);
    }

    TEST(KWQuickTime, TimingOfRealFilesIsWhatAnotherProgramReports)
    {
        REELWRIGHT_NEEDS_CORPUS();
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const char* name :
            {"camera-clip-tmcd-2398-offset.mov", "cineform-tmcd-xmp.mov", "dnxhr-hqx-tmcd.mov",
                "gopro-max-tmcd-gpmd-fdsc.mp4", "h264-twos-tmcd-24.mov", "prores-4444-tmcd-two-mdats.mov",
                "recorder-h264-in24-tmcd50-header-only.mp4", "sony-xavc-rtmd-header-only.mp4",
                "video-tmcd-2997-interlaced.mov", "xdcam-ex-720p30.mov", "old-quickdraw-codec.mov"})
            expectTimingAsProbed(test::corpusFolder() + "/movies/" + name);
    }

} // namespace
} // namespace reelwright

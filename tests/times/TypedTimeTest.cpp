#include "times/TypedTime.h"

#include "movie/samples/TimecodeMedia.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::HasSubstr;

    /// Ten seconds at 25, with a timecode from 01:00:00:00 that begins a second late.
    QTMovie movieAt25()
    {
        auto movie = test::emptyMovie(600);
        test::TestTrack video;
        video.times = {{250, 24}};
        video.samples.resize(250);
        test::addTrack(movie, video);
        auto timecode = test::timecodeTrack({0, 600, 24, 25}, {90000}, {{1, 6000}}, 600);
        timecode.trackID = 2;
        timecode.edits.emplace().edits = {{600, -1, 1 << 16}, {5400, 0, 1 << 16}};
        test::addTrack(movie, timecode);
        return movie;
    }

    struct FormFact
    {
        const char* typed;
        std::int64_t units; ///< of 600 a second; below 0: refused
        const char* normalised;
    };

    TEST(TypedTime, EachFormIsReadAndNothingElse)
    {
        const FormFact facts[] = {
            {"00:00:02:05", 1320, ""},
            {"00:00:02;05", 1320, ""},
            {"205", 1320, ""},
            {"2.", 1200, ""},
            {"1..", 36000, ""},
            {"1.2.3.4", (3723 * 25 + 4) * 24, ""},
            {"00:00:02.500", 1500, ""},
            {"2.5s", 1500, ""},
            {"50f", 1200, ""},
            {"1001/600", 1001, ""},
            {"tc:01:00:00:10", 600 + 240, ""},
            {"+1.", 900, ""},
            {"-100f", 0, ""},
            {"00:00:90:00", 54000, "00:00:90:00 is 00:01:30:00"},
            {"00:00:01:30", 600 + 720, "00:00:01:30 is 00:00:02:05"},
            {"6:31:6:21", -1, ""},
            {"1:0:0:0", -1, ""},
            {"123:00:00:00", -1, ""},
            {"4294967297:0:0:0", -1, ""},
            {"00:00:00:00:00", -1, ""},
            {"aa:bb:cc:dd", -1, ""},
            {"", -1, ""},
            {"-", -1, ""},
            {".", -1, ""},
            {"1/0", -1, ""},
            {"+tc:01:00:00:00", -1, ""},
            {"tc:", -1, ""},
            {"10 s", -1, ""},
        };
        const auto movie = movieAt25();
        for (const auto& fact : facts) {
            const auto typed = TypedTime::parse(fact.typed);
            ASSERT_EQ(typed.has_value(), fact.units >= 0) << fact.typed;
            if (!typed) {
                EXPECT_THAT(typed.error().detail, HasSubstr("00:00:10:00")) << "the accepted forms";
                continue;
            }
            const auto time = typed->inMovieUnits(movie, QTTime {300, 600});
            ASSERT_TRUE(time) << fact.typed << time.error().message();
            EXPECT_TRUE(sameFields(*time, {fact.units, 600})) << fact.typed << " is " << time->value;
            EXPECT_EQ(typed->normalisation(movie), fact.normalised);
        }
        // In a field of the window the digits count, whatever stands between them.
        EXPECT_TRUE(TypedTime::parse(" 1:0:0:0 ", TypedTime::Reading::Field));
        EXPECT_FALSE(TypedTime::parse("ab cd ef gh", TypedTime::Reading::Field));
    }

    TEST(TypedTime, WhatAMovieCannotAnswerIsRefusedWithTheReason)
    {
        const auto movie = movieAt25();
        EXPECT_THAT(
            TypedTime::parse("tc:05:00:00:00")->exactly(movie).error().detail, HasSubstr("never shows"));
        EXPECT_THAT(TypedTime::parse("+5f")->exactly(movie).error().detail, HasSubstr("leave out the sign"));
        EXPECT_THAT(TypedTime::parse("tc:01:00:00:00")->exactly(test::emptyMovie()).error().detail,
            HasSubstr("no timecode track"));
        // In 600ths a frame of 29.97 has no whole length: where it lies exactly is another question than the
        // units of the movie.
        auto ntsc = test::emptyMovie(600);
        test::TestTrack video;
        video.mediaScale = 30000;
        video.times = {{300, 1001}};
        test::addTrack(ntsc, video);
        EXPECT_EQ(TypedTime::parse("29f")->inMovieUnits(ntsc)->value, 29 * 20);
        const auto exact = TypedTime::parse("29f")->exactly(ntsc);
        EXPECT_GE(*exact, (QTTime {29 * 1001, 30000}));
        EXPECT_LT(*exact, (QTTime {29 * 1001 + 1, 30000}));
    }

} // namespace
} // namespace reelwright

#include "times/KWTimecode.h"

#include <gmock/gmock.h>
#include <time.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace reelwright::test {
namespace {

    using namespace std::chrono_literals;

    TEST(KWTimecode, FrameRateIsNtscOnlyForThreeTimebases)
    {
        struct RateFact
        {
            int timebase;
            bool ntsc;
            double rate;
        };
        constexpr RateFact kFacts[]
            = {{24, true, 24000.0 / 1001.0}, {30, true, 30000.0 / 1001.0}, {60, true, 60000.0 / 1001.0},
                {25, true, 0.0}, {0, true, 0.0}, {-30, true, 0.0}, {25, false, 25.0}, {120, false, 120.0},
                {0, false, 0.0}, {INT_MAX, false, 2147483647.0}, {INT_MIN, true, 0.0}};
        for (const auto& fact : kFacts)
            EXPECT_DOUBLE_EQ(KWTimecode::frameRateFromTimebase(fact.timebase, fact.ntsc), fact.rate)
                << fact.timebase;
    }

    struct CountFact
    {
        int frame;
        int timebase;
        bool ntsc;
        bool dropFrame;
        int startFrame;
        const char* timecode;
        const char* why;
    };

    TEST(KWTimecode, FrameCountBecomesText)
    {
        constexpr CountFact kFacts[] = {
            {0, 30, true, true, 0, "00:00:00;00", "the beginning"},
            {1798, 30, true, true, 0, "00:00:59;28", "last frame of the first real-time minute"},
            {1799, 30, true, true, 0, "00:01:00;01", "minutes are counted before the skip is applied"},
            {1800, 30, true, true, 0, "00:01:00;02", "two labels skipped"},
            {17981, 30, true, true, 0, "00:09:59;29", "before the tenth minute"},
            {17982, 30, true, true, 0, "00:10:00;00", "the tenth minute skips none"},
            {107892, 30, true, true, 0, "01:00:00;00", "one hour"},
            {1800, 30, false, true, 0, "00:01:00;02", "drop frame without NTSC"},
            {1799, 30, true, false, 0, "00:00:59:29", "non-drop"},
            {0, 30, true, true, -1, "01:00:00;00", "a negative start is one hour"},
            {0, 25, false, false, -1, "01:11:55:17", "the same number of frames at every timebase"},
            {0, 24, true, false, INT_MIN, "01:14:55:12", "any negative start"},
            {5, 25, false, false, 90000, "01:00:00:05", "the start is added"},
            {1800, 25, true, true, 0, "00:01:12:00", "drop frame is ignored at 25"},
            {1800, 24, true, true, 0, "00:01:15:00", "and at 24"},
            {3599, 60, false, true, 0, "00:00:59;59", "60 before the minute"},
            {3600, 60, false, true, 0, "00:01:00;02", "two labels at 60 as well, not four"},
            {1799, 0, true, true, 0, "00:01:00;01", "timebase 0 is 30"},
            {1799, -25, true, false, 0, "00:00:59:29", "a negative timebase is 30"},
            {-1, 30, false, false, 0, "00:00:-1:-1", "negative fields keep their sign"},
            {-31, 30, false, false, 0, "00:00:-2:-1", "seconds round down, frames toward zero"},
            {-1800, 30, true, true, 0, "00:-1:-1;-2", "negative drop frame"},
            {-90000, 25, false, false, 0, "-1:00:00:00", "a negative hour"},
            {2'592'000, 30, false, false, 0, "00:00:00:00", "24 hours wrap"},
            {2'700'000, 30, false, false, 0, "01:00:00:00", "25 hours"},
            {120, 120, false, false, 0, "00:00:01:00", "frames past 99 per second"},
            {119, 120, false, false, 0, "00:00:00:119", "need three digits"},
            {INT_MAX, 1, false, false, INT_MAX, "03:14:07:00", "saturated, not wrapped"},
            {INT_MIN, 1, false, false, 0, "-3:-14:-8:00", "the smallest count"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(KWTimecode::timecodeFromFrameCount(
                          fact.frame, fact.timebase, fact.ntsc, fact.dropFrame, fact.startFrame),
                fact.timecode)
                << fact.why;
        }
    }

    TEST(KWTimecode, TextBecomesFrameCount)
    {
        constexpr CountFact kFacts[] = {
            {1800, 30, true, true, 0, "00:01:00;02", "first label after a drop"},
            {17982, 30, true, true, 0, "00:10:00;00", "tenth minute"},
            {1797, 30, true, true, 0, "00:00:59;29",
                "minutes are rounded, so the half minute counts already"},
            {899, 30, true, true, 0, "00:00:29;29", "before the half minute"},
            {898, 30, true, true, 0, "00:00:30;00", "halves round away from zero"},
            {3600, 60, false, true, 0, "00:01:00;02", "60"},
            {1799, 30, true, false, 0, "00:00:59;29", "the flag decides, not the separator"},
            {1798, 25, false, true, 0, "00:01:11:23", "no drop frame at 25"},
            {0, 30, true, true, -1, "01:00:00;00", "a negative start is one hour"},
            {-17892, 25, false, false, -1, "01:00:00:00", "of 30 drop frame, at every timebase"},
            {-10, 25, false, false, 10, "00:00:00:00", "the start is subtracted"},
            {1799, 0, false, false, 0, "00:00:59:29", "timebase 0 is 30"},
            {1799, INT_MIN, false, false, 0, "00:00:59:29", "a negative one too"},
            {-1, 25, false, false, 0, "", "empty"},
            {-1, 25, false, false, 0, "01:02:03", "three fields"},
            {-1, 25, false, false, -1, " 12 ", "malformed whatever the start"},
            {30, 25, false, false, 0, " \t00;00:01;05\r\n", "white space round it, any separator anywhere"},
            {30, 25, false, false, 0, "\u00A000:00:01:05\u2028", "white space of Unicode"},
            {30, 25, false, false, 0, "00:00:01:05:99:x", "further fields are ignored"},
            {0, 25, false, false, 0, ":::", "empty fields are 0"},
            {26, 25, false, false, 0, "a:b1:1:1", "what is no number is 0"},
            {26, 25, false, false, 0, " 0: +0:  1x9:1.9", "a number ends at its first other character"},
            {-31, 30, true, true, 0, "00:00:-1:-1", "negative fields"},
            {25, 25, false, false, 0, "00:00:01:- 1", "a sign without digits is 0"},
            {25, 25, false, false, 0, "00:00:01:\xFF\xC3", "bytes that are no text are 0"},
            {(99 * 3600 + 99 * 60 + 99) * 25 + 99, 25, false, false, 0, "99:99:99:99", "no range check"},
            {INT_MAX, 25, false, false, 0, "99999999999999999999:0:0:0", "a field saturates"},
            {INT_MIN, 25, false, false, 0, "-99999999999999999999:0:0:0", "downward too"},
            {INT_MAX, INT_MAX, false, false, INT_MAX, "2147483647:2147483647:2147483647:2147483647",
                "the total too"},
            {0, 1, false, false, INT_MAX, "0:0:0:2147483648", "each field by itself"},
            {INT_MIN, 60, true, true, INT_MAX, "0:-2147483648:0:0", "drop frame"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(KWTimecode::frameCountFromTimecode(
                          fact.timecode, fact.timebase, fact.ntsc, fact.dropFrame, fact.startFrame),
                fact.frame)
                << fact.why;
        }
    }

    TEST(KWTimecode, NonDropTextAndCountAreInverse)
    {
        for (const int timebase : {1, 24, 25, 30, 60, 120}) {
            for (int frame = 0; frame < 24 * 3600 * timebase; frame += 1 + frame % 89) {
                const auto text = KWTimecode::timecodeFromFrameCount(frame, timebase, true, false, 0);
                ASSERT_EQ(KWTimecode::frameCountFromTimecode(text, timebase, true, false, 0), frame) << text;
            }
        }
    }

    TEST(KWTimecode, DropFrameRoundTripIsExactOrTwoFramesEarly)
    {
        // Text counts whole real-time minutes, the way back rounds to the nearest minute: in the second half
        // of nine of ten minutes the result is two frames less.
        int exact = 0;
        int early = 0;
        for (int frame = 0; frame < 107892; ++frame) {
            const auto text = KWTimecode::timecodeFromFrameCount(frame, 30, true, true, 0);
            const int difference = KWTimecode::frameCountFromTimecode(text, 30, true, true, 0) - frame;
            ASSERT_TRUE(difference == 0 || difference == -2) << text;
            ++(difference == 0 ? exact : early);
        }
        EXPECT_EQ(exact, 59'316);
        EXPECT_EQ(early, 48'576);
    }

    TEST(KWTimecode, IncrementCountsFromTheTextsFrame)
    {
        struct IncrementFact
        {
            const char* timecode;
            int increment;
            int timebase;
            bool dropFrame;
            const char* result;
        };
        constexpr IncrementFact kFacts[] = {
            {"01:00:00:00", 1, 25, false, "01:00:00:01"},
            {"01:00:00:00", -1, 25, false, "00:59:59:24"},
            {"23:59:59:24", 1, 25, false, "00:00:00:00"},
            {"00:01:00;02", 16182, 30, true, "00:10:00;00"},
            {"00:00:59;29", 0, 30, true, "00:00:59;27"},
            {"malformed", 0, 30, false, "00:00:-1:-1"},
            {"malformed", 26, 25, false, "00:00:01:00"},
            {"0:0:0:2147483647", INT_MAX, 1, false, "03:14:07:00"},
            {"0:0:0:-2147483648", INT_MIN, 1, false, "-3:-14:-8:00"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(
                KWTimecode::timecode(fact.timecode, fact.increment, fact.timebase, true, fact.dropFrame),
                fact.result)
                << fact.timecode << " + " << fact.increment;
        }
    }

    TEST(KWTimecode, RangeIncludesItsEnds)
    {
        struct RangeFact
        {
            const char* timecode;
            const char* start;
            const char* end;
            bool isInRange;
            const char* why;
        };
        constexpr RangeFact kFacts[] = {
            {"00:00:10:00", "00:00:10:00", "00:00:20:00", true, "the start"},
            {"00:00:20;00", "00:00:10:00", "00:00:20:00", true, "the end, any separator"},
            {"00:00:09:23", "00:00:10:00", "00:00:20:00", false, "a frame before"},
            {"00:00:20:01", "00:00:10:00", "00:00:20:00", false, "a frame after"},
            {"00:00:09:24", "00:00:10:00", "00:00:20:00", true, "counted at 24: frame 24 is the next second"},
            {"x", "x", "00:00:20:00", true, "equal text needs no meaning"},
            {"x", "00:00:10:00", "00:00:20:00", false, "malformed is after every valid one"},
            {"x", "00:00:10:00", "y", true, "malformed end: no upper limit"},
            {"00:00:15:00", "x", "00:00:20:00", false, "malformed start: nothing is later"},
            {"00:00:15:00", "00:00:20:00", "00:00:10:00", false, "an empty range"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(KWTimecode::timecodeInRange(fact.timecode, fact.start, fact.end), fact.isInRange)
                << fact.why;
    }

    TEST(KWTimecode, TypedTextFillsTheTimecodeFromTheRight)
    {
        struct EntryFact
        {
            const char* typed;
            bool dropFrame;
            const char* start;
            const char* result;
            const char* why;
        };
        constexpr EntryFact kFacts[] = {
            {"5", false, "", "00:00:00:05", "one digit"},
            {"12", false, "", "00:00:00:12", "two digits"},
            {"123", false, "", "00:00:01:23", "an odd count gets a zero in front"},
            {"123", true, "", "00:00:01;23", "and the drop-frame separator"},
            {"1234", false, "", "00:00:12:34", "seconds and frames"},
            {"12345", false, "", "00:01:23:45", "five digits"},
            {"123456789", false, "", "23:45:67:89", "the last eight, no range check"},
            {"1.", false, "", "00:00:01:00", "one second"},
            {"1..", false, "", "00:01:00:00", "one minute"},
            {"1...", false, "", "01:00:00:00", "one hour"},
            {"1....", false, "", "00:00:00:00", "the digit is pushed out"},
            {"1,", false, "", "00:00:01:00", "commas do the same"},
            {"2,,", true, "", "00:02:00;00", "one minute and drop frame"},
            {"1,,,", false, "", "01:00:00:00", "one hour"},
            {"1,,,,", false, "", "00:00:00:00", "pushed out"},
            {"1,.", false, "", "00:00:01:00", "an empty part adds nothing"},
            {"1..2", false, "", "00:00:01:02", "marks within the text only separate"},
            {"1:2.3", false, "", "00:00:12:03", "a colon separates nothing"},
            {"1.2.3.4", true, "", "01:02:03;04", "single digits get a zero"},
            {"1;2", false, "", "00:00:00:12", "separators are removed"},
            {".", false, "", "00:00:00:00", "a mark alone"},
            {"", false, "", "00:00:00:00", "nothing typed"},
            {"", true, "", "00:00:00;00", "nothing typed, drop frame"},
            {"", false, "10:11:12:13", "10:11:12:13", "nothing typed: the start"},
            {"15", false, "01:00:00:00", "01:00:00:15", "the rest comes from the start"},
            {"7", true, "01:00:00:00", "01:00:00:07", "the start's own separator stays"},
            {"12", false, "01:00:00;00", "01:00:00;12", "so here"},
            {"1.", true, "02:03:04:05", "02:03:01;00", "with the seconds the separator is new"},
            {"1234", false, "1:2", "12:34", "a shorter start adds nothing"},
            {"01:02:03:04", true, "", "01:02:03:04", "eleven characters are a full timecode"},
            {"hello world", true, "", "hello world", "whatever they are"},
            {"\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9", false, "",
                "\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9",
                "characters, not bytes"},
            {"\u20AC1\u20AC2\u20AC3\u20AC4\u20AC5", false, "", "\u20AC2:\u20AC3:\u20AC4:\u20AC5",
                "never cut within one"},
            {"\xFF", false, "", "00:00:00:0\xFF", "a byte that is no character counts as one"},
            {"1\xE2\x82", false, "", "00:00:01:\xE2\x82", "each byte of a broken one too"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(KWTimecode::timecodeFromUserString(fact.typed, fact.dropFrame, fact.start), fact.result)
                << '"' << fact.typed << "\": " << fact.why;
        }
    }

    TEST(KWTimecode, AFullTimecodeTypedWithoutSeparatorsComesBackWhole)
    {
        for (int frame = 0; frame < 24 * 90000; frame += 997) {
            const auto text = KWTimecode::timecodeFromFrameCount(frame, 25, false, false, 0);
            auto digits = text;
            std::erase(digits, ':');
            ASSERT_EQ(KWTimecode::timecodeFromUserString(digits, false, "10:10:10:10"), text);
        }
    }

    class TimeOfDayTest : public testing::Test
    {
    protected:
        TimeOfDayTest() { setZone("UTC"); }
        ~TimeOfDayTest() override { setZone("UTC"); }
        static void setZone(const char* zone)
        {
            setenv("TZ", zone, 1);
            tzset();
        }
    };

    TEST_F(TimeOfDayTest, FramesAreTheFractionOfTheSecond)
    {
        struct ClockFact
        {
            std::chrono::milliseconds sinceMidnight;
            int timebase;
            bool ntsc;
            bool dropFrame;
            const char* timecode;
            const char* why;
        };
        constexpr auto kTime = 13h + 4min + 5s;
        constexpr ClockFact kFacts[] = {
            {0ms, 25, false, false, "00:00:00:00", "midnight"},
            {kTime + 500ms, 25, false, false, "13:04:05:12", "half of 25, rounded down"},
            {kTime + 999ms, 25, false, false, "13:04:05:24", "99 hundredths"},
            {kTime + 999ms, 30, true, true, "13:04:05;29", "99 hundredths of 29.97"},
            {kTime + 10ms, 100, false, false, "13:04:05:01", "one hundredth"},
            {kTime + 999ms, 200, false, false, "13:04:05:198", "three digits as they come"},
            {kTime + 500ms, 25, false, true, "13:04:05;12", "the separator at any timebase"},
            {kTime + 500ms, 25, true, false, "13:04:05:00", "no such NTSC rate"},
            {-1ms, 25, false, false, "23:59:59:24", "before 1970"},
        };
        for (const auto& fact : kFacts) {
            EXPECT_EQ(KWTimecode::timeOfDayTimecode(fact.timebase, fact.ntsc, fact.dropFrame,
                          std::chrono::system_clock::time_point(fact.sinceMidnight)),
                fact.timecode)
                << fact.why;
        }
        for (const auto extreme :
            {std::chrono::system_clock::time_point::min(), std::chrono::system_clock::time_point::max()})
            EXPECT_GE(KWTimecode::timeOfDayTimecode(INT_MIN, false, false, extreme).size(), 11U);
    }

    TEST_F(TimeOfDayTest, HourIsLocal)
    {
        setZone("XXX-5:30");
        EXPECT_EQ(KWTimecode::timeOfDayTimecode(25, false, false, std::chrono::system_clock::time_point(1h)),
            "06:30:00:00");
    }

    TEST_F(TimeOfDayTest, ClockIsTheSystemsUnlessGiven)
    {
        const auto order = [](const std::string& text) {
            return KWTimecode::frameCountFromTimecode(text, 25, false, false, 0);
        };
        const auto before = std::chrono::system_clock::now();
        const auto text = KWTimecode::timeOfDayTimecode(25, false, false);
        const auto after = std::chrono::system_clock::now();
        const int start = order(KWTimecode::timeOfDayTimecode(25, false, false, before));
        const int end = order(KWTimecode::timeOfDayTimecode(25, false, false, after));
        EXPECT_TRUE((start <= order(text) && order(text) <= end) || end < start /* midnight passed */)
            << text;
    }

} // namespace
} // namespace reelwright::test

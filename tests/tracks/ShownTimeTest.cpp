#include "tracks/ShownTime.h"

#include <gtest/gtest.h>

namespace reelwright {
namespace {

    using Kind = ShownTime::Kind;
    using Style = ShownTime::Style;

    QTMovie sample(const std::string& name)
    {
        return QTMovie::open(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name).value();
    }

    TEST(ShownTimeTest, TheSameTimeInEachStyle)
    {
        const auto movie = sample("timecode-25.mov");
        const QTTime time {30, 25};
        const auto label = ShownTime::text(time, Kind::Place, Style::Timecode, movie);
        EXPECT_EQ(ShownTime::text(time, Kind::Place, Style::Defined, movie), "00:00:01:05");
        EXPECT_NE(label, "00:00:01:05");
        EXPECT_EQ(ShownTime::text(time, Kind::Length, Style::Timecode, movie), "00:00:01:05") << "no place";
        EXPECT_EQ(ShownTime::typedText(time, Kind::Place, Style::Frames, movie), "30f");
        EXPECT_EQ(ShownTime::typedText(time, Kind::Place, Style::Seconds, movie), "1.200s");
        EXPECT_EQ(ShownTime::grouped(-1234567), "-1\u202F234\u202F567");
        for (const auto style : {Style::Defined, Style::Timecode, Style::Frames, Style::Seconds}) {
            EXPECT_EQ(ShownTime::named(ShownTime::name(style)), style);
            const auto typed = ShownTime::typedText(time, Kind::Place, style, movie);
            EXPECT_EQ(ShownTime::read(typed, Kind::Place, style, movie).value(), time) << typed;
            EXPECT_EQ(ShownTime::remark(typed, Kind::Place, style, movie).text, "") << "as it is shown";
        }
    }

    TEST(ShownTimeTest, APlainNumberIsWhatIsShown)
    {
        const auto movie = sample("pal-25.mov");
        struct Row
        {
            const char* typed;
            Style style;
            QTTime time;
        };
        for (const auto& row : {Row {"100", Style::Defined, {1, 1}}, {"100", Style::Frames, {4, 1}},
                 {"1", Style::Seconds, {1, 1}}, {"0.5", Style::Seconds, {1, 2}}, {"+1", Style::Frames, {51, 25}},
                 {"-1", Style::Seconds, {1, 1}}, {"1\u202F000 f", Style::Frames, {40, 1}},
                 {"25f", Style::Seconds, {1, 1}}})
            EXPECT_EQ(ShownTime::read(row.typed, Kind::Place, row.style, movie, QTTime {2, 1}).value(), row.time)
                << row.typed;
        EXPECT_TRUE(ShownTime::remark("soon", Kind::Place, Style::Frames, movie).isError);
        const auto normal = ShownTime::remark("00:00:90:00", Kind::Place, Style::Defined, movie);
        EXPECT_FALSE(normal.isError);
        EXPECT_EQ(normal.text, "00:00:90:00 is 00:01:30:00");
    }

} // namespace
} // namespace reelwright

#include "report/InfoReport.h"

#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <map>

namespace reelwright::test {
namespace {

    std::map<std::string, std::string> rowsOf(const std::vector<ReportRow>& rows)
    {
        std::map<std::string, std::string> values;
        for (const auto& row : rows)
            values[row.name] = row.value;
        return values;
    }

    MovieFacts factsOf(const std::string& name)
    {
        const auto movie = QTMovie::open(REELWRIGHT_SOURCE_DIR "/samples/" + name);
        EXPECT_TRUE(movie) << name;
        return movie ? MovieFacts::of(*movie) : MovieFacts {};
    }

    using testing::Contains;
    using testing::Key;
    using testing::Not;
    using testing::Pair;

    TEST(InfoReport, RowsOfATrackSayWhatItsKindHas)
    {
        const auto facts = factsOf("timecode-25.mov");
        const auto video = rowsOf(trackRows(facts.tracks.at(0)));
        EXPECT_THAT(video, Contains(Pair("Track", "1 (Video v1)")));
        EXPECT_THAT(video, Contains(Pair("Size", "160 x 90")));
        EXPECT_THAT(video, Contains(Pair("Rate", "25 fps")));
        EXPECT_THAT(video, Contains(Pair("Refers to", "tmcd -> 3")));
        EXPECT_THAT(video, Not(Contains(Key("Channels"))));

        const auto sound = rowsOf(trackRows(facts.tracks.at(1)));
        EXPECT_THAT(sound, Contains(Pair("Rate", "16000 Hz")));
        EXPECT_THAT(sound, Contains(Pair("Channels", "mono")));

        const auto timecode = rowsOf(trackRows(facts.tracks.at(2)));
        EXPECT_THAT(timecode, Contains(Pair("Timecode", "starts at 10:00:00:00")));
        EXPECT_THAT(timecode, Contains(Pair("Enabled", "no")));
        EXPECT_THAT(timecode, Not(Contains(Key("Rate")))) << "one sample has no rate";
    }

    TEST(InfoReport, LanguageIsSaidWhereTheMediaHasOne)
    {
        EXPECT_EQ(factsOf("two-audio.mov").tracks.at(1).language, "English") << "Macintosh code 0";
        EXPECT_EQ(factsOf("rotated.mp4").tracks.at(0).language, "") << "undetermined";
    }

    TEST(InfoReport, TheWholeReportHoldsEveryRowOfTheMovie)
    {
        const auto facts = factsOf("ntsc-2997.mov");
        const auto report = infoReport(facts);
        EXPECT_THAT(movieRows(facts), Not(testing::IsEmpty()));
        for (const auto& row : movieRows(facts)) {
            EXPECT_NE(report.find(row.name), std::string::npos) << row.name;
            EXPECT_NE(report.find(row.value), std::string::npos) << row.value;
        }
    }

} // namespace
} // namespace reelwright::test

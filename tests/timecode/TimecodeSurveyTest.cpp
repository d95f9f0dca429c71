#include "timecode/TimecodeSurvey.h"

#include "movie/TimecodeTrack.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::AllOf;
    using testing::Contains;
    using testing::HasSubstr;

    struct OddFact
    {
        const char* why;
        TimecodeDefinition definition;
        std::vector<std::uint32_t> starts;
        const char* warning; ///< null: none but that nobody refers to the track
    };

    TEST(TimecodeSurvey, WhatIsOddAboutATrackIsSaid)
    {
        const OddFact facts[] = {
            {"samples that go on", {0, 25, 1, 25}, {0, 5, 10}, nullptr},
            {"a break", {0, 25, 1, 25}, {0, 5, 100},
                "1 break: at 0.40 s 00:00:04:00 follows where 00:00:00:10 would"},
            {"another rate", {0, 30, 1, 30}, {0}, "it counts at 30 fps, the picture has 25 fps"},
            {"drop frame at 25", {1, 25, 1, 25}, {0}, "drop frame, which does not exist at 25 fps"},
            {"a number beyond a day", {0, 25, 1, 25}, {2160000}, "2160000 is beyond a day"},
        };
        for (const auto& fact : facts) {
            auto movie = test::emptyMovie(600);
            test::TestTrack video;
            video.samples.resize(25);
            test::addTrack(movie, video);
            auto track = test::timecodeTrack(
                fact.definition, fact.starts, {{static_cast<std::uint32_t>(fact.starts.size()), 5}}, 25);
            track.trackID = 2;
            test::addTrack(movie, track);
            const auto survey = TimecodeSurvey::of(movie, TimecodeSurvey::Scope::Header);
            ASSERT_FALSE(survey.places.empty());
            EXPECT_TRUE(survey.places.front().isInUse);
            EXPECT_THAT(survey.warnings, Contains(HasSubstr("no track refers to it")));
            EXPECT_EQ(survey.warnings.size(), fact.warning ? 2U : 1U) << fact.why;
            if (fact.warning) {
                EXPECT_THAT(
                    survey.warnings, Contains(AllOf(HasSubstr("Timecode track 2"), HasSubstr(fact.warning))));
            }
            EXPECT_FALSE(survey.disagrees());
        }
    }

    TEST(TimecodeSurvey, ASampleThatIsNotInTheFileIsSaid)
    {
        auto movie = test::emptyMovie(600);
        auto track = test::timecodeTrack({0, 25, 1, 25}, {}, {{1, 600}}, 600);
        track.samples.clear();
        test::addTrack(movie, track);
        const auto survey = TimecodeSurvey::of(movie, TimecodeSurvey::Scope::Header);
        EXPECT_THAT(survey.warnings, Contains(HasSubstr("cannot be read")));
        EXPECT_EQ(survey.places.front().start, "");
    }

} // namespace
} // namespace reelwright

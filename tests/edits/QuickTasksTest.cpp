#include "edits/QuickTasks.h"

#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

#include <set>

namespace reelwright {
namespace {

    using ::testing::HasSubstr;

    TEST(QuickTasks, EveryTaskIsFoundByItsTagAndItsName)
    {
        std::set<int> tags;
        for (const auto& task : quickTasks()) {
            EXPECT_TRUE(tags.insert(task.tag).second) << task.tag;
            EXPECT_EQ(quickTaskWithTag(task.tag), &task);
            EXPECT_EQ(quickTaskNamed(std::to_string(task.tag)), &task);
            EXPECT_EQ(quickTaskNamed(task.optionName()), &task) << task.name;
            EXPECT_EQ(
                edits::quickTask(task).queueLabel, std::string("Quick Task: ") + task.name);
        }
        EXPECT_EQ(quickTaskNamed("remove-audio-tracks-except-tracks-1-2")->tag, 4);
        EXPECT_EQ(quickTaskNamed("set-timecode-from-thm-file")->tag, 7);
        EXPECT_EQ(tags.size(), 29U);
        EXPECT_EQ(*tags.begin(), 1);
        EXPECT_EQ(*tags.rbegin(), 29);
        for (const auto* none : {"", "0", "30", "-1", "1x", "Remove empty tracks"})
            EXPECT_EQ(quickTaskNamed(none), nullptr) << none;
    }

    struct OptionFact
    {
        const char* value;
        const char* option; ///< of the edit; null for wrong usage
        const char* error;
    };

    TEST(QuickTasks, AnOptionTakesAPathWhereTheTaskDoes)
    {
        const OptionFact facts[] = {
            {"11", "--task remove-all-timecode-tracks", ""},
            {"remove-empty-tracks=x", nullptr, "takes no path"},
            {"23", nullptr, "needs a path"},
            {"23=", nullptr, "needs a path"},
            {"23=a=b", "--task set-timecode-from-quicktime-movie=a=b", ""},
            {"7", "--task import-timecode-from-thm-file", ""},
            {"7=", nullptr, "needs a path"},
            {"nothing", nullptr, "\"nothing\""},
        };
        for (const auto& fact : facts) {
            EditSteps steps;
            const auto parsed = edits::quickTaskKinds().front().parse(fact.value, steps);
            EXPECT_EQ(parsed.has_value(), fact.option != nullptr) << fact.value;
            if (parsed)
                EXPECT_EQ(steps.finish()->edits.front().option, fact.option);
            else
                EXPECT_THAT(parsed.error().detail, HasSubstr(fact.error));
        }
    }

    TEST(QuickTasks, ASourceThatHasNothingIsAFailure)
    {
        for (const int tag : {5, 12, 23, 7}) {
            auto movie = test::emptyMovie();
            test::addTrack(movie, {});
            const auto edit = edits::quickTask(*quickTaskWithTag(tag), "/nowhere");
            const auto applied = edit.apply(movie);
            ASSERT_FALSE(applied) << tag;
            EXPECT_FALSE(applied.error().detail.empty());
            EXPECT_EQ(movie.tracks().size(), 1U);
        }
    }

} // namespace
} // namespace reelwright

#include "document/UndoHistory.h"

#include "document/NotificationCenter.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using testing::ElementsAre;

    TEST(UndoHistory, OnlyTheNewestStepsAreKept)
    {
        UndoHistory history;
        for (std::size_t i = 0; i < UndoHistory::kMaxSteps + 10; ++i)
            history.push("Step", QTMovie {});
        std::size_t steps = 0;
        for (; history.canUndo(); ++steps)
            history.undo(QTMovie {});
        EXPECT_EQ(steps, UndoHistory::kMaxSteps);
        EXPECT_FALSE(history.isAtSavedState()) << "the way back to the file is forgotten";
    }

    TEST(UndoHistory, TheSavedStateIsFoundFromBothSides)
    {
        UndoHistory history;
        history.push("One", QTMovie {});
        const auto saved = history.state();
        history.push("Two", QTMovie {});
        history.markSaved(saved);
        EXPECT_FALSE(history.isAtSavedState());
        history.undo(QTMovie {});
        EXPECT_TRUE(history.isAtSavedState());
        history.undo(QTMovie {});
        EXPECT_FALSE(history.isAtSavedState());
        history.redo(QTMovie {});
        EXPECT_TRUE(history.isAtSavedState());
        history.undo(QTMovie {});
        history.push("Other", QTMovie {});
        EXPECT_FALSE(history.isAtSavedState()) << "another way on does not lead to it";
    }

    TEST(NotificationCenter, TellsThoseWhoStillObserve)
    {
        NotificationCenter center;
        std::vector<int> told;
        auto first = std::make_unique<NotificationCenter::Observation>();
        NotificationCenter::Observation second;
        *first = center.observe("a", [&] { told.push_back(1); });
        second = center.observe("a", [&] { told.push_back(2); });
        const auto other = center.observe("b", [&] { told.push_back(3); });
        center.post("a");
        EXPECT_THAT(told, ElementsAre(1, 2));
        first.reset();
        center.post("a");
        EXPECT_THAT(told, ElementsAre(1, 2, 2));
    }

    TEST(NotificationCenter, AHandlerMayEndOthersAndTheCenter)
    {
        auto center = std::make_unique<NotificationCenter>();
        int told = 0;
        NotificationCenter::Observation second;
        const auto first = center->observe("a", [&] {
            ++told;
            second = {};
            center.reset();
        });
        second = center->observe("a", [&] { told += 10; });
        center->post("a");
        EXPECT_EQ(told, 1);
    }

} // namespace
} // namespace reelwright::test

#include "document/QuickTaskPanel.h"

#include "tests/document/DocumentTest.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;
    using ::testing::IsEmpty;

    class QuickTaskPanelTest : public DocumentTest
    {
    protected:
        std::vector<std::string> perform(Open& open, int tag)
        {
            QuickTaskPanel panel {open.document, open.window,
                {[this] { ++choosers; }, [this](Panel shown) { panels.push_back(shown); }}};
            open.window.alerts.clear();
            panel.performQuickTask(tag);
            std::vector<std::string> titles;
            for (const auto& alert : open.window.alerts)
                titles.push_back(alert.title + ": " + alert.text);
            return titles;
        }

        int choosers = 0;
        std::vector<Panel> panels;
        const std::string complete = "Quick Task complete: The task finished successfully.";
    };

    TEST_F(QuickTaskPanelTest, ATaskIsOneUndoableStepAndEndsWithTheSameMessage)
    {
        const auto open = this->open(sample("two-audio.mov"));
        EXPECT_THAT(perform(*open, 15), ElementsAre(complete));
        EXPECT_EQ(open->document.history().undoName(), "Disable audio tracks except track 1");
        EXPECT_THAT(perform(*open, 3), ElementsAre(complete));
        EXPECT_EQ(open->document.movie().tracksOfMediaType(QTMediaTypeSound).size(), 1U);
        open->document.undo();
        open->document.undo();
        EXPECT_FALSE(open->document.isEdited());
        EXPECT_EQ(open->document.movie().tracksOfMediaType(QTMediaTypeSound).size(), 2U);
    }

    TEST_F(QuickTaskPanelTest, WhatChangesNothingOrIsNoTaskOfAMovieSaysTheSame)
    {
        const auto open = this->open(sample("two-audio.mov"));
        for (const int tag : {0, 1, 11, 22 + 1, 30, 29}) {
            EXPECT_THAT(perform(*open, tag), ElementsAre(complete)) << tag;
            EXPECT_FALSE(open->document.isEdited()) << tag;
        }
        EXPECT_FALSE(QuickTaskPanel::changeQuickTask(23));
        EXPECT_FALSE(QuickTaskPanel::changeQuickTask(0));
        EXPECT_EQ(QuickTaskPanel::changeQuickTask(22), "Removes all audio tracks in the file.");
        EXPECT_THAT(perform(*open, 17), ElementsAre(complete));
        EXPECT_TRUE(open->document.isEdited()) << "enabling marks the document always";
    }

    TEST_F(QuickTaskPanelTest, ATimecodeTrackIsSelectedAndASourceWithoutOneIsTold)
    {
        const auto open = this->open(sample("pal-25.mov"));
        EXPECT_THAT(perform(*open, 12),
            ElementsAre("Unable to add timecode track: No timecode user data field found.", complete));
        EXPECT_FALSE(open->document.isEdited());
        EXPECT_THAT(perform(*open, 6), ElementsAre(complete));
        ASSERT_NE(open->document.selectedTrack(), nullptr);
        EXPECT_EQ(open->document.selectedTrack()->trackType(), KWMovTrack::kTimecode);
    }

    TEST_F(QuickTaskPanelTest, AStillIsLookedForBesideTheMovieAndAskedForOtherwise)
    {
        const auto open = this->open(sample("pal-25.mov"));
        EXPECT_THAT(perform(*open, 7), ElementsAre(complete));
        EXPECT_EQ(choosers, 1);
        writeFile(folder.file("pal-25.THM"), {});
        EXPECT_THAT(perform(*open, 7),
            ElementsAre("Unable to add timecode track: Could not get data from THM file.", complete));
        EXPECT_EQ(choosers, 1);
    }

    TEST_F(QuickTaskPanelTest, APixelAspectRatioShowsTheAttributesOfThePicture)
    {
        const auto open = this->open(sample("pal-25.mov"));
        EXPECT_THAT(perform(*open, 8), ElementsAre(complete));
        EXPECT_TRUE(open->document.isEdited());
        ASSERT_NE(open->document.selectedTrack(), nullptr);
        EXPECT_EQ(open->document.selectedTrack()->trackType(), KWMovTrack::kVideo);
        EXPECT_THAT(panels, ElementsAre(Panel::EncodingAttributes));
    }

    TEST_F(QuickTaskPanelTest, AForecastTellsWhatARunWouldDo)
    {
        const auto movie = *QTMovie::open(sample("two-audio.mov"));
        const auto changes = QuickTaskPanel::forecast(*quickTaskWithTag(15), movie).changes;
        ASSERT_EQ(changes.size(), 1U);
        EXPECT_THAT(changes.front().path, HasSubstr("enabled"));
        EXPECT_THAT(QuickTaskPanel::forecast(*quickTaskWithTag(11), movie).changes, IsEmpty());
        EXPECT_THAT(QuickTaskPanel::forecast(*quickTaskWithTag(12), movie).error, HasSubstr("no timecode"));
    }

} // namespace
} // namespace reelwright::test

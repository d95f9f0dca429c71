#include "tests/document/DocumentTest.h"
#include "tracks/KWQuickTime.h"

namespace reelwright {
namespace {

    using test::DocumentTest;
    using testing::ElementsAre;
    using testing::IsEmpty;
    using Control = MyDocument::TimecodeControl;

    class TimecodePanelTest : public DocumentTest
    {
    protected:
        /// A copy of a sample whose timecode track is selected.
        std::unique_ptr<Open> openTimecode(const std::string& name)
        {
            auto opened = open(sample(name));
            auto& document = opened->document;
            for (std::size_t row = 1; row < document.trackList().rowCount(); ++row)
                if (document.trackList().typeCode(row) == KWMovTrack::kTimecode)
                    document.selectRow(row);
            EXPECT_NE(document.selectedTrack(), nullptr);
            return opened;
        }
        static TimecodeSettings shown(const MyDocument& document)
        {
            const auto* record = document.selectedTrack();
            return record ? MyDocument::loadTimecodeDataForTrack(*record) : TimecodeSettings {};
        }
        static std::string timecodeAt(const MyDocument& document, std::int64_t frame)
        {
            const auto& movie = document.movie();
            return KWQuickTime::timecodeAtTime(
                KWQuickTime::qtTimeFromFrame(static_cast<std::int32_t>(frame), movie), movie);
        }
    };

    TEST_F(TimecodePanelTest, AddedTrackIsSelectedAndCanBeUndone)
    {
        const auto opened = open(sample("pal-25.mov"));
        auto& [window, document] = *opened;
        document.addTimecodeTrack();
        EXPECT_THAT(window.alerts, IsEmpty());
        ASSERT_EQ(document.trackList().rowCount(), 3U);
        EXPECT_EQ(document.selectedRow(), 2U);
        EXPECT_EQ(document.trackList().typeCode(2), KWMovTrack::kTimecode);
        EXPECT_EQ(shown(document).start, "01:00:00:00");
        EXPECT_TRUE(document.isEdited());
        EXPECT_EQ(document.history().undoName(), "Add Timecode Track");
        document.undo();
        EXPECT_EQ(document.trackList().rowCount(), 2U);
        EXPECT_FALSE(document.isEdited());
    }

    TEST_F(TimecodePanelTest, FormatsWithoutTimecodeAreRefusedInWords)
    {
        for (const std::string name : {"clip.mp4", "CLIP.M4V"}) {
            const auto opened = open(sample("rate-5994.mp4", name));
            auto& [window, document] = *opened;
            document.addTimecodeTrack();
            ASSERT_EQ(window.alerts.size(), 1U) << name;
            EXPECT_EQ(window.alerts[0].title, "Unable to add timecode track");
            EXPECT_EQ(window.alerts[0].text, "Timecode tracks are not supported for this file format.");
            EXPECT_FALSE(document.isEdited());
        }
    }

    TEST_F(TimecodePanelTest, ShowsTheTrack)
    {
        const auto drop = openTimecode("timecode-2997-drop.mov");
        const auto settings = shown(drop->document);
        EXPECT_EQ(settings.start, "01:00:58;00");
        EXPECT_TRUE(settings.dropFrame);
        EXPECT_FALSE(settings.isCounter);
    }

    TEST_F(TimecodePanelTest, TypedStartsAreCompletedAndSplit)
    {
        struct Fact
        {
            const char* typed;
            const char* start; ///< of the track afterwards; null: refused
        };
        constexpr Fact kFacts[] = {
            {"5", "00:00:00:05"}, {"12345", "00:01:24:20"}, // frame 45 of 25 a second is the 20th of the next
            {"2..", "00:02:00:00"}, {"23:59:59:24", "23:59:59:24"},
            {"ab cd ef gh", nullptr}, // eleven characters without a separator are taken as they are
        };
        for (const auto& fact : kFacts) {
            const auto opened = openTimecode("timecode-25.mov");
            auto& [window, document] = *opened;
            auto settings = shown(document);
            settings.start = fact.typed;
            document.modifyTimecodeData(settings, Control::StartText, false);
            if (fact.start) {
                EXPECT_THAT(window.alerts, IsEmpty()) << fact.typed;
                EXPECT_EQ(timecodeAt(document, 0), fact.start) << fact.typed;
                EXPECT_EQ(document.history().undoName(), "Timecode");
            } else {
                ASSERT_EQ(window.alerts.size(), 1U) << fact.typed;
                EXPECT_EQ(window.alerts[0].title, "Invalid timecode format");
                EXPECT_EQ(window.alerts[0].text, "Timecode must take the format 00:00:00:00.");
                EXPECT_FALSE(document.isEdited());
            }
            std::filesystem::remove(document.path());
        }
    }

    TEST_F(TimecodePanelTest, FlagsAndReelAreStored)
    {
        const auto opened = openTimecode("timecode-25.mov");
        auto& document = opened->document;
        auto settings = shown(document);
        settings.negativeTimes = true;
        settings.limit24Hours = true;
        settings.reel = " A001 ";
        document.modifyTimecodeData(settings, Control::Other, false);
        settings.reel = "A001";
        EXPECT_EQ(shown(document), settings);
        settings.isCounter = true;
        settings.start = "37";
        document.modifyTimecodeData(settings, Control::Other, false);
        const auto counter = shown(document);
        EXPECT_TRUE(counter.isCounter);
        EXPECT_EQ(counter.start, "37");
        EXPECT_FALSE(counter.negativeTimes || counter.limit24Hours) << "a counter has no other flags";
    }

    TEST_F(TimecodePanelTest, AStartForTheFrameOnShowFallsOnThatFrame)
    {
        struct Fact
        {
            const char* clip;
            std::int32_t frame;
            bool isCounter;
            const char* typed;
            const char* first; ///< the track's start afterwards
        };
        constexpr Fact kFacts[] = {
            {"timecode-25.mov", 30, false, "02:00:00:00", "01:59:58:20"},
            {"timecode-25.mov", 30, false, "00:00:00:10", "23:59:59:05"},
            {"timecode-25.mov", 30, true, "100", "70"},
            {"timecode-25.mov", 30, true, "20", "0"},
            {"timecode-2997-drop.mov", 45, false, "02:00:00;00", "01:59:58;15"},
        };
        for (const auto& fact : kFacts) {
            const auto opened = openTimecode(fact.clip);
            auto& [window, document] = *opened;
            window.time = KWQuickTime::qtTimeFromFrame(fact.frame, document.movie());
            auto settings = shown(document);
            settings.isCounter = fact.isCounter;
            settings.start = fact.typed;
            document.modifyTimecodeData(settings, Control::StartText, true);
            EXPECT_EQ(shown(document).start, fact.first) << fact.typed;
            std::filesystem::remove(document.path());
        }
    }

    TEST_F(TimecodePanelTest, OnlyTheStartsOwnControlsPlaceIt)
    {
        const auto opened = openTimecode("timecode-25.mov");
        auto& [window, document] = *opened;
        window.time = KWQuickTime::qtTimeFromFrame(30, document.movie());
        auto settings = shown(document);
        settings.reel = "B002";
        document.modifyTimecodeData(settings, Control::Other, true);
        EXPECT_EQ(shown(document).start, "10:00:00:00");
        document.modifyTimecodeData(shown(document), Control::StartType, true);
        EXPECT_EQ(shown(document).start, "10:00:00:00") << "the present start is nothing new";
        settings.start = "10:00:02:00";
        document.modifyTimecodeData(settings, Control::Other, true);
        EXPECT_EQ(shown(document).start, "10:00:02:00");
        settings.start = "10:00:04:00";
        document.modifyTimecodeData(settings, Control::StartType, true);
        EXPECT_EQ(shown(document).start, "10:00:02:20");
    }

} // namespace
} // namespace reelwright

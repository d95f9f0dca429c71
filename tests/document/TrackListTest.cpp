#include "document/TrackList.h"

#include "document/PanelTabs.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using testing::ElementsAre;

    /// A movie whose row 1 is its picture, row 2 its sound.
    QTMovie twoTracks()
    {
        auto movie = emptyMovie();
        addTrack(movie, {});
        addTrack(movie, {.mediaType = QTMediaTypeSound, .trackID = 2});
        return movie;
    }

    struct SoundFact
    {
        std::uint32_t channels;
        std::uint32_t label;
        const char* value;
        const char* title;
        const char* why;
    };
    constexpr SoundFact kSounds[] = {
        {0, 0, "2", "Audio", "the number of channels is not known"},
        {1, 42, "2(Mono)", "Audio (Mono)", "one channel with a name"},
        {2, 1, "2(Left)", "Audio (Stereo)", "the first channel's name"},
        {6, 303, "2", "Audio (Multi-Channel)", "a label without a name is left out"},
        {2, 65551, "2(Discrete 15)", "Audio (Stereo)", "numbered channels have names"},
    };

    TEST(TrackList, SoundShowsItsChannels)
    {
        const auto movie = twoTracks();
        TrackList list {movie};
        list.rebuild();
        auto* sound = list.track(2);
        ASSERT_TRUE(sound);
        for (const auto& fact : kSounds) {
            sound->setChannels(fact.channels);
            sound->setAudioChannelDescription({fact.label, 0, {}});
            EXPECT_EQ(list.value(TrackColumn::TrackView, 2), fact.value) << fact.why;
            EXPECT_EQ(list.title(2), fact.title) << fact.why;
        }
        list.track(1)->setChannels(2);
        EXPECT_EQ(list.title(1), "Video") << "only sound has such titles";
    }

    TEST(TrackList, TheMovieRowHasALabelAndNothingElse)
    {
        const auto movie = twoTracks();
        TrackList list {movie};
        list.rebuild();
        EXPECT_EQ(list.value(TrackColumn::TrackView, 0), "0");
        EXPECT_EQ(list.title(0), "Movie");
        for (const auto column : {TrackColumn::In, TrackColumn::Duration, TrackColumn::Enabled}) {
            EXPECT_EQ(list.value(column, 0), std::nullopt) << trackColumnIdentifier(column);
            EXPECT_FALSE(list.isEditable(column, 0)) << trackColumnIdentifier(column);
            EXPECT_TRUE(list.isEditable(column, 1)) << trackColumnIdentifier(column);
            EXPECT_EQ(list.value(column, 3), std::nullopt) << "there is no such row";
        }
        EXPECT_FALSE(list.isEditable(TrackColumn::TrackView, 1));
        EXPECT_EQ(list.rowOf(*list.track(2)), 2U);
    }

    TEST(TrackList, ColumnsAreKnownByTheirIdentifiers)
    {
        EXPECT_EQ(trackColumnIdentifier(TrackColumn::TrackView), "trackView");
        EXPECT_EQ(trackColumnIdentifier(TrackColumn::In), "in");
        EXPECT_EQ(trackColumnWithIdentifier("duration"), TrackColumn::Duration);
        EXPECT_EQ(trackColumnWithIdentifier("enabled"), TrackColumn::Enabled);
        EXPECT_EQ(trackColumnWithIdentifier("name"), std::nullopt);
    }

    struct TabFact
    {
        PanelTabs::Selection selection;
        std::optional<int> typeCode;
        std::vector<std::string> titles;
        const char* selected;
        Panel special; ///< one that has to be there
    };
    const TabFact kTabs[] = {
        {PanelTabs::Selection::Nothing, {}, {"Info", "Quick Tasks"}, "Info", Panel::Information},
        {PanelTabs::Selection::Movie, 0,
            {"Info", "Quick Tasks", "Settings", "Conform", "Chapters", "Metadata"}, "Quick Tasks",
            Panel::MovieSettings},
        {PanelTabs::Selection::Track, 1, {"Info", "Quick Tasks", "Media", "Metadata", "Encoding Attributes"},
            "Media", Panel::EncodingAttributes},
        {PanelTabs::Selection::Track, 2, {"Info", "Quick Tasks", "Media", "Metadata"}, "Media", Panel::Media},
        {PanelTabs::Selection::Track, 3, {"Info", "Quick Tasks", "Settings", "Metadata"}, "Settings",
            Panel::Timecode},
        {PanelTabs::Selection::Track, 4, {"Info", "Quick Tasks", "Media", "Metadata"}, "Media",
            Panel::TextInsertion},
        {PanelTabs::Selection::Track, {}, {"Info", "Quick Tasks", "Media", "Metadata"}, "Media",
            Panel::Media},
    };

    TEST(PanelTabs, EachKindOfRowShowsItsPanels)
    {
        for (const auto& fact : kTabs) {
            const auto tabs = PanelTabs::forSelection(fact.selection, fact.typeCode);
            std::vector<std::string> titles;
            bool hasSpecial = false;
            for (const auto& tab : tabs.tabs) {
                titles.emplace_back(tab.title);
                hasSpecial = hasSpecial || tab.panel == fact.special;
            }
            EXPECT_EQ(titles, fact.titles);
            EXPECT_EQ(tabs.tabs.at(tabs.selected).title, fact.selected);
            EXPECT_TRUE(hasSpecial) << fact.selected;
        }
    }

    TEST(PanelTabs, MissingPanelsAreLeftOutAndTheNextOneIsSelected)
    {
        const auto identifiers = [](const PanelTabs& tabs) {
            std::vector<std::string> result;
            for (const auto& tab : tabs.tabs)
                result.emplace_back(tab.identifier);
            return result;
        };
        const auto few
            = [](Panel panel) { return panel == Panel::Information || panel == Panel::MovieSettings; };
        auto tabs = PanelTabs::forSelection(PanelTabs::Selection::Movie, 0, few);
        EXPECT_THAT(identifiers(tabs), ElementsAre("tabInfo", "tabSettings"));
        EXPECT_EQ(tabs.selected, 1U);
        tabs = PanelTabs::forSelection(PanelTabs::Selection::Track, 2, few);
        EXPECT_THAT(identifiers(tabs), ElementsAre("tabInfo"));
        EXPECT_EQ(tabs.selected, 0U) << "nothing follows, so the one before";
        tabs = PanelTabs::forSelection(PanelTabs::Selection::Track, 2, [](Panel) { return false; });
        EXPECT_TRUE(tabs.tabs.empty());
    }

} // namespace
} // namespace reelwright::test

#include "document/PanelTabs.h"

#include "tracks/KWMovTrack.h"

namespace reelwright {
namespace {

    constexpr PanelTab kInformation {Panel::Information, "tabInfo", "Info"};
    constexpr PanelTab kQuickTasks {Panel::QuickTasks, "tabQuickTasks", "Quick Tasks"};
    constexpr PanelTab kMovieSettings {Panel::MovieSettings, "tabSettings", "Settings"};
    constexpr PanelTab kConform {Panel::Conform, "tabConform", "Conform"};
    constexpr PanelTab kChapters {Panel::Chapters, "tabChapters", "Chapters"};
    constexpr PanelTab kMetadata {Panel::Metadata, "tabMetadata", "Metadata"};
    constexpr PanelTab kTimecode {Panel::Timecode, "tabSettings", "Settings"};
    constexpr PanelTab kMedia {Panel::Media, "tabMedia", "Media"};
    constexpr PanelTab kTextInsertion {Panel::TextInsertion, "tabMedia", "Media"};
    constexpr PanelTab kAttributes {Panel::EncodingAttributes, "tabAttributes", "Encoding Attributes"};

    std::vector<PanelTab> trackTabs(std::optional<int> typeCode)
    {
        std::vector<PanelTab> tabs {kInformation, kQuickTasks};
        if (typeCode == KWMovTrack::kTimecode)
            tabs.push_back(kTimecode);
        else
            tabs.push_back(typeCode == KWMovTrack::kText ? kTextInsertion : kMedia);
        tabs.push_back(kMetadata);
        if (typeCode == KWMovTrack::kVideo)
            tabs.push_back(kAttributes);
        return tabs;
    }

} // namespace

PanelTabs PanelTabs::forSelection(
    Selection selection, std::optional<int> typeCode, const std::function<bool(Panel)>& isAvailable)
{
    PanelTabs all;
    switch (selection) {
    case Selection::Nothing:
        all = {{kInformation, kQuickTasks}, 0};
        break;
    case Selection::Movie:
        all = {{kInformation, kQuickTasks, kMovieSettings, kConform, kChapters, kMetadata}, 1};
        break;
    case Selection::Track:
        all = {trackTabs(typeCode), 2};
        break;
    }
    PanelTabs present;
    std::optional<std::size_t> selected;
    for (std::size_t i = 0; i < all.tabs.size(); ++i) {
        if (isAvailable && !isAvailable(all.tabs[i].panel))
            continue;
        if (!selected && i >= all.selected)
            selected = present.tabs.size();
        present.tabs.push_back(all.tabs[i]);
    }
    present.selected = selected.value_or(present.tabs.empty() ? 0 : present.tabs.size() - 1);
    return present;
}

} // namespace reelwright

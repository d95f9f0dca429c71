#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// What stands in a tab.
enum class Panel {
    Information,
    QuickTasks,
    MovieSettings,
    Conform,
    Chapters,
    Metadata,
    Timecode,
    Media,
    TextInsertion,
    EncodingAttributes,
};

/// One tab of the window.
struct PanelTab
{
    Panel panel;
    std::string_view identifier; ///< "tabInfo"
    std::string_view title; ///< "Info"
};

/// The tabs that a selection shows.
struct PanelTabs
{
    std::vector<PanelTab> tabs;
    std::size_t selected = 0; ///< index into `tabs`

    /// What the selected row is.
    enum class Selection { Nothing, Movie, Track };
    /// `isAvailable` tells which panels the program has; the others are left out. Where the tab that would be
    /// selected is missing, the next one is, else the one before.
    static PanelTabs forSelection(
        Selection selection, std::optional<int> typeCode, const std::function<bool(Panel)>& isAvailable = {});
};

} // namespace reelwright

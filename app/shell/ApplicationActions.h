#pragma once

class QAction;
class QMenu;

namespace reelwright {

/// What belongs to the program and not to one document: the same in the menus of every window.
struct ApplicationActions
{
    QAction* newBatch = nullptr;
    QAction* open = nullptr;
    QMenu* openRecent = nullptr;
    QAction* preferences = nullptr;
    QAction* quit = nullptr;
    QAction* diagnostics = nullptr;
    QAction* about = nullptr;
    /// The open windows, filled when it is shown.
    QMenu* windows = nullptr;
};

} // namespace reelwright

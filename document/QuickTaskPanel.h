#pragma once

#include "document/PanelTabs.h"
#include "edits/QuickTasks.h"
#include "report/Changes.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

class DocumentWindow;
class MyDocument;

/// What the quick tasks panel of a movie does. Borrows the document and its window.
class QuickTaskPanel
{
public:
    /// What the panel asks for beside what every document asks of its window.
    struct Questions
    {
        /// Opens a chooser of stills and returns at once; its answer goes to quickTaskTHMBrowseDidEnd.
        std::function<void()> chooseStill;
        /// Brings that panel's tab to the front, where there is one.
        std::function<void(Panel)> showPanel;
    };

    QuickTaskPanel(MyDocument& document, DocumentWindow& window, Questions questions);

    /// The text beside the menu; nothing where it stays as it is.
    [[nodiscard]] static std::optional<std::string> changeQuickTask(int tag);
    /// Runs the task, one step of the undo history. Every run ends with the same message, whatever came of
    /// it.
    void performQuickTask(int tag);
    /// A still was chosen.
    void quickTaskTHMBrowseDidEnd(const std::string& path);

    /// What a task would do to a movie.
    struct Forecast
    {
        std::vector<Change> changes;
        std::string error; ///< why it cannot be done; empty when it can
    };
    /// Tries it on a copy. May be called on any thread.
    static Forecast forecast(const QuickTask& task, const QTMovie& movie);

private:
    void run(const QuickTask& task);
    void importStill();
    void addTimecode(const Edit& edit);
    void setPixelAspectRatio(const Edit& edit);

    MyDocument& m_document;
    DocumentWindow& m_window;
    const Questions m_questions;
};

} // namespace reelwright

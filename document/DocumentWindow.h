#pragma once

#include "movie/QTTime.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// What a movie document asks of its window. Every call comes on the main thread. The window shows and asks;
/// it decides nothing: all rules are the document's.
class DocumentWindow
{
public:
    DocumentWindow() = default;
    DocumentWindow(const DocumentWindow&) = delete;
    DocumentWindow& operator=(const DocumentWindow&) = delete;
    virtual ~DocumentWindow() = default;

    /// A sheet on the window: a short title and an informative text. Answers the index of the button that was
    /// chosen, and waits for it (the event loop goes on). The first button is the default one; Escape is the
    /// one called "OK", else the last.
    virtual std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons)
        = 0;
    /// The save panel. The name it answers goes through MyDocument::prepareSavePath. Nothing: cancelled.
    virtual std::optional<std::string> chooseSavePath(
        const std::string& title, const std::string& suggestedPath)
        = 0;

    /// The progress sheet. Its Cancel button calls MyDocument::cancelProgress.
    virtual void updateProgressLabel(const std::string& label) = 0;
    virtual void showProgress() = 0;
    /// From 0 to 1; before the first call it is not known how long the work takes.
    virtual void setProgress(double fraction) = 0;
    virtual void endProgress() = 0;
    /// What the progress is about: the file that is being written.
    virtual void setProgressTarget(const std::string& /*path*/) { }
    /// A save or a copy is done.
    struct Saved
    {
        std::string path;
        std::uint64_t bytes = 0; ///< that were written
        double seconds = 0; ///< that it took
        bool inPlace = false;
        bool isCopy = false;
    };
    virtual void saved(const Saved& /*what*/) { }

    /// An export of the movie goes on beside everything else: how far it is, or nothing once it has ended.
    struct Exporting
    {
        std::string path;
        double fraction = 0; ///< from 0 to 1
        std::int64_t pictures = 0;
        std::int64_t picturesTotal = 0; ///< 0 where that is not known
        std::uint64_t bytes = 0; ///< of the file, so far
        double seconds = 0; ///< since it began
        double movieSeconds = 0; ///< that are exported
    };
    virtual void showExport(const std::optional<Exporting>& /*state*/) { }
    /// The user's attention is wanted for something that took long.
    virtual void requestAttention() { }

    /// Rows or values of the track table changed: take them from MyDocument::trackList again, and the
    /// selected row from MyDocument::selectedRow.
    virtual void reloadTrackList() = 0;
    /// Another row is selected, or its panels have to be filled again: take the panels from
    /// MyDocument::panelTabs.
    virtual void reloadSelection() = 0;

    /// The movie changed in a way that can be seen or heard, or is another one: show MyDocument::movie again
    /// (a new MovieStream of it). The document restores the current time itself.
    virtual void movieReplaced() = 0;
    /// The window is about to go: show an empty movie, so that nothing holds the file.
    virtual void movieReleased() = 0;
    /// Where the movie view stands.
    [[nodiscard]] virtual QTTime currentTime() const = 0;
    virtual void setCurrentTime(const QTTime& time) = 0;

    /// The document has another file (MyDocument::displayName, MyDocument::path).
    virtual void titleChanged() = 0;
    /// MyDocument::isEdited changed.
    virtual void editedChanged() = 0;
    /// What can be undone and redone, and its names, changed.
    virtual void undoChanged() = 0;
    /// Close without any question; ends in MyDocument::windowWillClose.
    virtual void closeWindow() = 0;

    /// The field that shows the running timecode and takes one to go to.
    [[nodiscard]] virtual bool timecodeFieldHasFocus() const = 0;
    [[nodiscard]] virtual std::string timecodeFieldText() const = 0;
    virtual void setTimecodeFieldText(const std::string& text) = 0;
    virtual void focusNextControl() = 0;
};

} // namespace reelwright

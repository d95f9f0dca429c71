#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// What a batch asks of its window. Every call comes on the main thread. The window shows and asks; it
/// decides nothing: all rules are the document's.
class BatchWindow
{
public:
    BatchWindow() = default;
    BatchWindow(const BatchWindow&) = delete;
    BatchWindow& operator=(const BatchWindow&) = delete;
    virtual ~BatchWindow() = default;

    /// A sheet on the window: a short title and an informative text. Answers the index of the button that was
    /// chosen, and waits for it (the event loop goes on). The first button is the default one; Escape is the
    /// last.
    virtual std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons)
        = 0;
    /// A chooser of folders, no files. Nothing: cancelled.
    virtual std::optional<std::string> chooseFolder(const std::string& title) = 0;

    /// The sheet that asks where the results go. Its button calls KWBatchDocument::batchProcess.
    virtual void showBatchProcessSheet() = 0;

    /// The progress of a run. Its Cancel button calls KWBatchDocument::cancelProcessing.
    virtual void showProgress(std::size_t fileCount) = 0;
    virtual void updateProgressLabel(const std::string& label) = 0;
    /// How many files are done.
    virtual void setProgress(std::size_t done) = 0;
    virtual void endProgress() = 0;

    /// The list of files changed.
    virtual void reloadFiles() = 0;
    /// What is known of one file changed: its result.
    virtual void fileChanged(std::size_t index) = 0;
    virtual void reloadTaskQueue() = 0;
    virtual void enableSubmit(bool isEnabled) = 0;
    /// No file is to be shown, and none held: the files are going to be written.
    virtual void previewCleared() = 0;
    /// A run is over, and its alert answered: another one may begin.
    virtual void runEnded() = 0;
    /// Close without any question.
    virtual void closeWindow() = 0;
};

} // namespace reelwright

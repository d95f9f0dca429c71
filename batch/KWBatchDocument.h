#pragma once

#include "batch/BackgroundScan.h"
#include "batch/BatchRun.h"
#include "batch/BatchWindow.h"

#include <memory>
#include <optional>
#include <unordered_set>

namespace reelwright {

class Preferences;

/// What batches work with. All of it outlives them.
struct BatchEnvironment
{
    MainThread& mainThread;
    Preferences& preferences;
    std::shared_ptr<Storage> storage = Storage::posix();
    BatchFiles files = BatchFiles::real();
};

/// A list of movie files and a queue of changes that is replayed on each of them. Lives as long as its
/// window; nothing of it is kept on disk. Everything happens on the main thread, except that a run and a
/// preview have threads of their own. A batch that is processing must not be destroyed.
class KWBatchDocument
{
public:
    explicit KWBatchDocument(BatchEnvironment environment);
    KWBatchDocument(const KWBatchDocument&) = delete;
    KWBatchDocument& operator=(const KWBatchDocument&) = delete;
    ~KWBatchDocument();

    void windowDidLoad(BatchWindow& window) { m_window = &window; }
    [[nodiscard]] BatchWindow* window() const { return m_window; }
    [[nodiscard]] Preferences& preferences() const { return m_environment.preferences; }

    // The files

    /// Begins with these files.
    void initWithURLs(const std::vector<std::string>& paths);
    /// True always; a file that is in the list already is not added again.
    bool addFileToBatch(const std::string& path);
    void addFiles(const std::vector<std::string>& paths);
    /// By their places in the list.
    void removeFiles(std::vector<std::size_t> indices);
    [[nodiscard]] const std::vector<std::string>& fileArray() const { return m_files; }

    // The queue

    [[nodiscard]] const BatchQueue& taskQueue() const { return m_queue; }
    /// An entry without a call does its work with the save.
    void queueInvocation(std::optional<RecordedCall> call, const std::string& description);
    void queueEntry(QueueEntry entry);
    void removeQueueEntry(std::size_t index);
    void moveQueueEntry(std::size_t from, std::size_t to);
    /// Of the conform in the queue; 0 for none.
    [[nodiscard]] double conformFPS() const { return reelwright::conformFPS(m_queue); }
    /// Was something queued that was not submitted?
    [[nodiscard]] bool hasUnsavedChanges() const { return m_unsavedChanges; }
    void markUnsavedChanges() { m_unsavedChanges = true; }

    // A run

    /// The Submit Batch button: the sheet, when there are files.
    void showBatchProcessWindow();
    /// Of the user's defaults, with this mode.
    [[nodiscard]] BatchSettings settings(BatchMode mode) const;
    [[nodiscard]] BatchMode updateType() const;
    /// The sheet's button: begins a run over all files.
    void batchProcess(BatchMode mode);
    /// The run of last time once more, over the files that failed.
    void retryFailed();
    /// The queue of the last run, so that it can be changed and submitted again.
    void putQueueBack();
    void cancelProcessing();
    [[nodiscard]] bool isProcessing() const { return m_isProcessing; }
    /// What the last run left behind; waiting for those that it did not reach.
    [[nodiscard]] const std::vector<BatchResult>& results() const { return m_results; }
    /// What failed in the last run: the paths of the files, or their names where only the conform did.
    [[nodiscard]] const std::vector<std::string>& failedFiles() const { return m_failedFiles; }
    /// The last run's queue, settings and files; null before the first.
    [[nodiscard]] const BatchRun::Job* lastRun() const { return m_lastRun ? &*m_lastRun : nullptr; }

    // A preview

    /// Begins to find out what a run would do to each file. Nothing is written.
    void previewChanges(BatchMode mode);
    /// Takes over what was found; true while there is more to come. To be called now and then.
    bool collectPreviews();
    /// By file; nothing where it is not known, as after each change of the queue.
    [[nodiscard]] const std::vector<std::optional<BatchResult>>& previews() const { return m_previews; }
    /// Finds out all about one file; may be called on any thread, whatever becomes of this batch.
    [[nodiscard]] std::function<BatchPreview()> previewTask(const std::string& path, BatchMode mode) const;

    // Closing

    /// May the window close at once? Asks where changes were queued and not submitted.
    bool windowShouldClose();

private:
    void filesChanged();
    void queueChanged();
    void enableDisableBatchSubmitButton();
    void begin(BatchRun::Job job);
    void fileBegan(std::size_t index);
    void fileEnded(std::size_t index, BatchResult result);
    void runFinished(const std::string& refusal);
    void endProgress();

    BatchEnvironment m_environment;
    BatchWindow* m_window = nullptr;
    std::vector<std::string> m_files;
    std::unordered_set<std::string> m_known; ///< the same, to be looked up
    BatchQueue m_queue;
    bool m_unsavedChanges = false;

    bool m_isProcessing = false;
    bool m_isRetry = false;
    std::vector<std::size_t> m_places; ///< of the run's files in the list
    std::size_t m_progress = 0;
    std::vector<BatchResult> m_results;
    std::vector<std::string> m_failedFiles;
    std::optional<BatchRun::Job> m_lastRun;
    std::unique_ptr<BatchRun> m_run;

    std::vector<std::optional<BatchResult>> m_previews;
    std::unique_ptr<BackgroundScan<BatchResult>> m_scan;
};

} // namespace reelwright

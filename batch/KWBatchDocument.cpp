#include "batch/KWBatchDocument.h"

#include "support/KWLog.h"
#include "support/Preferences.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>

namespace reelwright {
namespace {

    std::string nameOf(const std::string& path)
    {
        return std::filesystem::path(path).filename().string();
    }

} // namespace

KWBatchDocument::KWBatchDocument(BatchEnvironment environment)
    : m_environment(std::move(environment))
{
}

KWBatchDocument::~KWBatchDocument()
{
    RW_ASSERT(!m_isProcessing);
}

void KWBatchDocument::initWithURLs(const std::vector<std::string>& paths)
{
    m_files.clear();
    m_known.clear();
    m_queue.clear();
    m_failedFiles.clear();
    for (const auto& path : paths)
        addFileToBatch(path);
    filesChanged();
}

bool KWBatchDocument::addFileToBatch(const std::string& path)
{
    KWLog::fastAppendLog("Adding file {} to batch", path);
    if (m_known.insert(path).second)
        m_files.push_back(path);
    else
        KWLog::fastAppendLog("File already exists in batch list");
    return true;
}

void KWBatchDocument::addFiles(const std::vector<std::string>& paths)
{
    KWLog::appendLog("Adding {} file(s) to batch list...", paths.size());
    for (const auto& path : paths)
        addFileToBatch(path);
    filesChanged();
}

void KWBatchDocument::removeFiles(std::vector<std::size_t> indices)
{
    if (m_isProcessing)
        return;
    std::sort(indices.begin(), indices.end(), std::greater {});
    for (const auto index : indices) {
        if (index >= m_files.size())
            continue;
        const auto place = static_cast<std::ptrdiff_t>(index);
        m_known.erase(m_files[index]);
        m_files.erase(m_files.begin() + place);
        m_results.erase(m_results.begin() + place);
    }
    filesChanged();
    if (m_files.empty() && m_window)
        m_window->previewCleared();
}

/// What is known by file keeps its place; new files come at the end.
void KWBatchDocument::filesChanged()
{
    m_scan.reset();
    m_results.resize(m_files.size());
    m_previews.assign(m_files.size(), std::nullopt);
    if (m_window)
        m_window->reloadFiles();
}

void KWBatchDocument::queueInvocation(std::optional<RecordedCall> call, const std::string& description)
{
    QueueEntry entry;
    entry.desc = description;
    entry.invocation = std::move(call);
    queueEntry(std::move(entry));
}

void KWBatchDocument::queueEntry(QueueEntry entry)
{
    m_environment.mainThread.run([&] {
        m_queue.push_back(std::move(entry));
        m_unsavedChanges = true;
        queueChanged();
    });
}

void KWBatchDocument::removeQueueEntry(std::size_t index)
{
    if (index >= m_queue.size() || m_isProcessing)
        return;
    m_queue.erase(m_queue.begin() + static_cast<std::ptrdiff_t>(index));
    queueChanged();
}

void KWBatchDocument::moveQueueEntry(std::size_t from, std::size_t to)
{
    if (from >= m_queue.size() || to >= m_queue.size() || m_isProcessing)
        return;
    auto entry = std::move(m_queue[from]);
    m_queue.erase(m_queue.begin() + static_cast<std::ptrdiff_t>(from));
    m_queue.insert(m_queue.begin() + static_cast<std::ptrdiff_t>(to), std::move(entry));
    queueChanged();
}

void KWBatchDocument::queueChanged()
{
    m_scan.reset();
    m_previews.assign(m_files.size(), std::nullopt);
    if (m_window)
        m_window->reloadTaskQueue();
    enableDisableBatchSubmitButton();
}

void KWBatchDocument::enableDisableBatchSubmitButton()
{
    if (m_window)
        m_window->enableSubmit(!m_queue.empty() && !m_isProcessing);
}

BatchMode KWBatchDocument::updateType() const
{
    switch (m_environment.preferences.integer("batchUpdateType")) {
    case 1:
        return BatchMode::AppendText;
    case 2:
        return BatchMode::OutputFolder;
    default:
        return BatchMode::InPlace;
    }
}

BatchSettings KWBatchDocument::settings(BatchMode mode) const
{
    constexpr std::int64_t kMostJobs = 64;
    const auto& preferences = m_environment.preferences;
    BatchSettings settings;
    settings.mode = mode;
    settings.extension = preferences.text("batchExtension");
    settings.directory = preferences.text("batchDirectory");
    settings.needsFlattening = mode == BatchMode::InPlace && preferences.integer("batchForceResave") == 1;
    settings.resaveOnOtherVolumes = preferences.boolean("nonHFSResave");
    settings.stripEditLists = preferences.boolean("conformStripEDTS");
    settings.jobs
        = static_cast<unsigned>(std::clamp(preferences.integer("batchJobs"), std::int64_t {1}, kMostJobs));
    settings.verify = preferences.boolean("batchVerify");
    settings.keepDates = preferences.boolean("batchKeepDates");
    return settings;
}

void KWBatchDocument::showBatchProcessWindow()
{
    if (m_isProcessing)
        return;
    if (m_files.empty())
        m_window->alert(
            "No files in batch", "Please add at least one file before processing the batch.", {"OK"});
    else
        m_window->showBatchProcessSheet();
}

void KWBatchDocument::batchProcess(BatchMode mode)
{
    if (m_isProcessing || m_files.empty() || m_queue.empty())
        return;
    m_unsavedChanges = false;
    m_isRetry = false;
    m_results.assign(m_files.size(), {});
    m_places.resize(m_files.size());
    for (std::size_t i = 0; i < m_files.size(); ++i)
        m_places[i] = i;
    begin({m_files, m_queue, settings(mode), m_environment.storage, m_environment.files});
}

void KWBatchDocument::retryFailed()
{
    if (m_isProcessing || !m_lastRun)
        return;
    auto job = *m_lastRun;
    job.files.clear();
    m_places.clear();
    for (std::size_t i = 0; i < m_results.size(); ++i)
        if (m_results[i].status == BatchResult::Status::Failed) {
            m_places.push_back(i);
            job.files.push_back(m_files[i]);
            m_results[i] = {};
        }
    if (job.files.empty())
        return;
    m_isRetry = true;
    begin(std::move(job));
}

void KWBatchDocument::putQueueBack()
{
    if (m_isProcessing || !m_lastRun)
        return;
    m_queue.insert(m_queue.begin(), m_lastRun->queue.begin(), m_lastRun->queue.end());
    queueChanged();
}

void KWBatchDocument::begin(BatchRun::Job job)
{
    m_scan.reset();
    m_failedFiles.clear();
    m_isProcessing = true;
    m_progress = 0;
    m_lastRun = job;
    if (m_window) {
        m_window->previewCleared();
        m_window->reloadFiles();
        m_window->showProgress(job.files.size());
    }
    enableDisableBatchSubmitButton();
    BatchRun::Events events;
    events.began = [this](std::size_t index) { fileBegan(index); };
    events.ended = [this](std::size_t index, BatchResult result) { fileEnded(index, std::move(result)); };
    events.finished = [this](const std::string& refusal) { runFinished(refusal); };
    m_run.reset(); // the one before has ended
    m_run = std::make_unique<BatchRun>(std::move(job), std::move(events), m_environment.mainThread);
}

void KWBatchDocument::cancelProcessing()
{
    if (!m_isProcessing)
        return;
    m_run->cancel();
    if (m_window)
        m_window->updateProgressLabel("Cancelling...");
}

void KWBatchDocument::fileBegan(std::size_t index)
{
    if (m_window)
        m_window->updateProgressLabel(fmt::format("Processing {}...", nameOf(m_files[m_places[index]])));
}

void KWBatchDocument::fileEnded(std::size_t index, BatchResult result)
{
    const bool isDone = result.status != BatchResult::Status::Failed;
    const auto place = m_places[index];
    m_results[place] = std::move(result);
    if (!m_window)
        return;
    m_window->fileChanged(place);
    if (isDone)
        m_window->setProgress(++m_progress);
}

void KWBatchDocument::runFinished(const std::string& refusal)
{
    if (refusal.empty()) {
        for (const auto& result : m_results)
            if (result.status == BatchResult::Status::Failed)
                m_failedFiles.push_back(result.conformFailed ? nameOf(result.file) : result.failedPath());
        if (!m_run->isCancelled() && !m_isRetry) {
            m_queue.clear();
            queueChanged();
        }
        endProgress();
    } else if (m_window) {
        // Nothing was begun: the queue stays.
        m_unsavedChanges = !m_queue.empty();
        m_window->endProgress();
        m_window->alert("Unable to process batch", refusal, {"OK"});
    }
    // Only now: the run's thread waits until the alert is answered.
    m_isProcessing = false;
    enableDisableBatchSubmitButton();
    if (m_window)
        m_window->runEnded();
}

void KWBatchDocument::endProgress()
{
    if (!m_window)
        return;
    m_window->endProgress();
    if (m_run->isCancelled())
        return;
    if (m_failedFiles.empty())
        m_window->alert("Batch complete", "Batch processing was successful.", {"OK"});
    else
        m_window->alert("Batch failed",
            fmt::format("The following files failed to process:\n\n{}", fmt::join(m_failedFiles, "\n")),
            {"OK"});
}

namespace {

    /// Queue and settings that stay while a file is asked for.
    struct PreviewWork
    {
        PreviewWork(BatchQueue queue_, BatchSettings settings_, std::shared_ptr<Storage> storage)
            : queue(std::move(queue_))
            , settings(std::move(settings_))
            , file(queue, settings, std::move(storage))
        {
        }
        const BatchQueue queue;
        const BatchSettings settings;
        const BatchFile file;
    };

} // namespace

void KWBatchDocument::previewChanges(BatchMode mode)
{
    if (m_isProcessing)
        return;
    const auto work = std::make_shared<const PreviewWork>(m_queue, settings(mode), m_environment.storage);
    std::vector<BackgroundScan<BatchResult>::File> files;
    for (std::size_t i = 0; i < m_files.size(); ++i)
        files.push_back({i, m_files[i]});
    m_previews.assign(m_files.size(), std::nullopt);
    m_scan = std::make_unique<BackgroundScan<BatchResult>>(
        std::move(files), [work](const std::string& path) { return work->file.preview(path); });
}

bool KWBatchDocument::collectPreviews()
{
    if (!m_scan)
        return false;
    const bool isRunning = m_scan->isRunning(); // asked first: what comes after it is collected next time
    for (auto& [index, result] : m_scan->collect()) {
        m_previews[index] = std::move(result);
        if (m_window)
            m_window->fileChanged(index);
    }
    if (!isRunning)
        m_scan.reset();
    return isRunning;
}

std::function<BatchPreview()> KWBatchDocument::previewTask(const std::string& path, BatchMode mode) const
{
    const auto work = std::make_shared<const PreviewWork>(m_queue, settings(mode), m_environment.storage);
    return [work, path] { return work->file.previewInFull(path); };
}

bool KWBatchDocument::windowShouldClose()
{
    if (m_isProcessing) {
        m_window->alert("A batch is being processed",
            "Wait until it is done, or cancel it, before you close the window.", {"OK"});
        return false;
    }
    if (m_queue.empty())
        return true;
    enum Answer { Submit, Discard };
    switch (m_window->alert("You haven't submitted a batch yet",
        "You have tasks queued that have not been executed.", {"Submit Batch", "Discard", "Cancel"})) {
    case Submit:
        showBatchProcessWindow();
        return false;
    case Discard:
        return true;
    default:
        return false;
    }
}

} // namespace reelwright

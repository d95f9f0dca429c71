#pragma once

#include "batch/BatchQueue.h"
#include "batch/BatchResult.h"
#include "batch/BatchSaver.h"
#include "batch/BatchSettings.h"

namespace reelwright {

/// One file of a batch: opens it, replays the queue on it, and saves it. May run on any thread; several may
/// run at once on several files. Borrows queue and settings.
class BatchFile
{
public:
    BatchFile(const BatchQueue& queue, const BatchSettings& settings, std::shared_ptr<Storage> storage,
        BatchFiles files = BatchFiles::real());

    /// Replays the queue on a movie, in the queue's order. A change that fails changes nothing, is answered
    /// as a warning, and the next one follows.
    void processQueueForMovie(QTMovie& movie, BatchResult& result) const;

    [[nodiscard]] BatchResult process(const std::string& file, const Progress& progress) const;
    /// What `process` would do; nothing is written.
    [[nodiscard]] BatchResult preview(const std::string& file) const;
    /// The same with each change of what the reports tell.
    [[nodiscard]] BatchPreview previewInFull(const std::string& file) const;

private:
    enum class Run { Save, Preview };
    /// The movie conformed as the queue says, by the file that saving it in that way makes.
    Result<QTMovie> conform(const QTMovie& movie, SaveMode mode, BatchResult& result) const;
    Result<void> open(QTMovie& movie, const std::string& file, Run kind) const;
    Result<void> run(
        BatchResult& result, Run kind, const Progress& progress, std::vector<Change>* changes) const;
    [[nodiscard]] BatchResult runGuarded(
        const std::string& file, Run kind, const Progress& progress, std::vector<Change>* changes) const;

    const BatchQueue& m_queue;
    const BatchSettings& m_settings;
    std::shared_ptr<Storage> m_storage;
    BatchSaver m_saver;
};

} // namespace reelwright

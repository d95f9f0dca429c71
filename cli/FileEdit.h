#pragma once

#include "cli/EditOptions.h"
#include "movie/files/Storage.h"
#include "report/Changes.h"

#include <memory>

namespace reelwright::cli {

enum class EditStatus { Updated, Unchanged, Failed };
/// What became of one file.
struct EditResult
{
    std::string file;
    EditStatus status = EditStatus::Failed;
    SaveMode mode = SaveMode::None; ///< in a dry run: what would be done
    std::string output; ///< what was written, or would be; empty for nothing
    std::uint64_t bytesWritten = 0;
    std::vector<Change> changes;
    std::vector<std::string> warnings;
    bool isIncomplete = false; ///< a part was refused, the warnings say which, and the rest was done
    std::string error; ///< empty unless failed
    bool cancelled = false;
    bool wasDoneBefore = false; ///< an earlier run with the same journal saved it
    bool dryRun = false;
    std::optional<std::vector<MediaComparison>> media;
    /// A track that was written, or would be, into a file of its own.
    struct Extracted
    {
        std::string output;
        std::uint64_t bytesWritten = 0;
    };
    std::vector<Extracted> extracted {};

    /// A failure before anything was done.
    static EditResult failed(std::string file, std::string error);
};

/// One file's edit: open, apply the steps in order, save once.
class FileEdit
{
public:
    /// Borrows options and journal, which can be null. `progress` hears about long work and can stop it.
    FileEdit(const EditOptions& options, std::shared_ptr<Storage> storage, Progress progress,
        SaveJournal* journal = nullptr);

    /// `output` is empty to save into the file itself.
    EditResult run(const std::string& file, const std::string& output);

    /// Did an earlier run with the same journal write that output?
    [[nodiscard]] bool hasWritten(const std::string& output) const;

private:
    Result<void> edit(EditResult& result, const std::string& output);
    Result<void> finishInterrupted(EditResult& result, QTMovie movie) const;
    Result<void> writeExtracted(
        std::vector<Extraction> extracted, EditResult& result, const std::string& output);

    const EditOptions& m_options;
    std::shared_ptr<Storage> m_storage;
    SaveJournal* m_journal;
    Progress m_progress;
};

} // namespace reelwright::cli

#pragma once

#include "batch/FileSummary.h"
#include "batch/KWBatchDocument.h"

#include <QAbstractTableModel>

#include <unordered_map>

namespace reelwright {

/// The files of a batch as a table: what they are, what the queue would do to them, and what became of them.
/// Borrows the batch.
class BatchFileModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        Status,
        Name,
        Folder,
        Duration,
        Rate,
        Size,
        StartTimecode,
        Reel,
        Result,
        Written,
        Verified,
        Columns
    };
    enum Role { SortRole = Qt::UserRole, KindRole, PathRole };
    /// What a row's status says, for a filter.
    enum class Kind { Unknown, WouldChange, NoChange, Warning, Failed, Done };

    explicit BatchFileModel(KWBatchDocument& batch, QObject* parent = nullptr);

    void reload();
    void fileChanged(std::size_t index);
    /// What was found out about a file.
    void setSummary(const std::string& path, FileSummary summary);
    /// Null while it is not known.
    [[nodiscard]] const FileSummary* summary(const std::string& path) const;
    void forgetSummary(const std::string& path) { m_summaries.erase(path); }
    [[nodiscard]] Kind kind(std::size_t index) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString statusText(std::size_t index) const;
    [[nodiscard]] QVariant text(std::size_t index, int column) const;
    [[nodiscard]] QVariant sortValue(std::size_t index, int column) const;
    [[nodiscard]] const BatchResult* resultOf(std::size_t index) const;

    KWBatchDocument& m_batch;
    std::size_t m_rows = 0;
    std::unordered_map<std::string, FileSummary> m_summaries;
};

} // namespace reelwright

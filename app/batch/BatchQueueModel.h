#pragma once

#include "batch/KWBatchDocument.h"

#include <QAbstractTableModel>

namespace reelwright {

/// The queue of a batch as a table, with how many files each change would change, or has changed. Borrows the
/// batch.
class BatchQueueModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Number, Change, Value, Files, Columns };

    explicit BatchQueueModel(KWBatchDocument& batch, QObject* parent = nullptr);

    void reload();
    /// The last column may have changed.
    void countsChanged();
    /// Shows the queue of the last run instead.
    void showLastRun(bool isOn);
    [[nodiscard]] bool showsLastRun() const { return m_showsLastRun; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] const BatchQueue& queue() const;
    void count();

    KWBatchDocument& m_batch;
    bool m_showsLastRun = false;
    std::vector<std::size_t> m_changed; ///< files by entry
    std::size_t m_known = 0; ///< files that were looked at
};

} // namespace reelwright

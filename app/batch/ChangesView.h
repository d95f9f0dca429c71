#pragma once

#include "batch/KWBatchDocument.h"

#include <QWidget>

class QLabel;
class QTableWidget;

namespace reelwright {

/// What the batch would do to one file: each change before and after, what could not be done, and how it
/// would be saved; or, after a run, what became of it. Borrows the batch. Finds it out elsewhere.
class ChangesView final : public QWidget
{
    Q_OBJECT

public:
    explicit ChangesView(KWBatchDocument& batch, QWidget* parent = nullptr);

    void show(const std::string& path, BatchMode mode);
    void clear();

private:
    void showPreview(const std::string& path, const BatchPreview& preview);
    void addRow(const QString& where, const QString& before, const QString& after, bool isProblem = false);

    KWBatchDocument& m_batch;
    std::uint64_t m_asked = 0; ///< the last one counts
    QLabel* m_title;
    QLabel* m_road;
    QTableWidget* m_table;
};

} // namespace reelwright

#pragma once

#include "app/batch/BatchFileModel.h"

#include <QSortFilterProxyModel>

namespace reelwright {

/// Which files of a batch are shown, and in which order.
class BatchFilter final : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    enum Show { All, WouldChange, Problems, Failed };

    explicit BatchFilter(BatchFileModel& model, QObject* parent = nullptr)
        : QSortFilterProxyModel(parent)
    {
        setSourceModel(&model);
        setSortRole(BatchFileModel::SortRole);
        setSortCaseSensitivity(Qt::CaseInsensitive);
    }
    void setShown(int show)
    {
        m_show = show;
        invalidateFilter();
    }
    void setText(const QString& text)
    {
        m_text = text;
        invalidateFilter();
    }

protected:
    [[nodiscard]] bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        using Kind = BatchFileModel::Kind;
        const auto index = sourceModel()->index(row, 0, parent);
        if (!m_text.isEmpty()
            && !index.data(BatchFileModel::PathRole).toString().contains(m_text, Qt::CaseInsensitive))
            return false;
        if (m_show == All)
            return true;
        const auto kind = static_cast<Kind>(index.data(BatchFileModel::KindRole).toInt());
        if (m_show == Failed)
            return kind == Kind::Failed;
        if (m_show == Problems)
            return kind == Kind::Failed || kind == Kind::Warning;
        return kind == Kind::WouldChange || kind == Kind::Done || kind == Kind::Warning;
    }

private:
    int m_show = All;
    QString m_text;
};

} // namespace reelwright

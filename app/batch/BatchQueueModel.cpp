#include "app/batch/BatchQueueModel.h"

namespace reelwright {

BatchQueueModel::BatchQueueModel(KWBatchDocument& batch, QObject* parent)
    : QAbstractTableModel(parent)
    , m_batch(batch)
{
}

const BatchQueue& BatchQueueModel::queue() const
{
    const auto* last = m_batch.lastRun();
    return m_showsLastRun && last ? last->queue : m_batch.taskQueue();
}

void BatchQueueModel::reload()
{
    beginResetModel();
    count();
    endResetModel();
}

void BatchQueueModel::showLastRun(bool isOn)
{
    m_showsLastRun = isOn;
    reload();
}

void BatchQueueModel::countsChanged()
{
    count();
    if (rowCount() > 0)
        emit dataChanged(index(0, Files), index(rowCount() - 1, Files));
}

void BatchQueueModel::count()
{
    m_changed.assign(queue().size(), 0);
    m_known = 0;
    const auto add = [&](const BatchResult& result) {
        ++m_known;
        for (std::size_t i = 0; i < std::min(result.steps.size(), m_changed.size()); ++i)
            m_changed[i] += result.steps[i] == StepOutcome::Changed ? 1U : 0U;
    };
    if (m_showsLastRun) {
        for (const auto& result : m_batch.results())
            if (result.status != BatchResult::Status::Waiting)
                add(result);
    } else {
        for (const auto& preview : m_batch.previews())
            if (preview)
                add(*preview);
    }
}

int BatchQueueModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(queue().size());
}

int BatchQueueModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : Columns;
}

QVariant BatchQueueModel::data(const QModelIndex& index, int role) const
{
    const auto row = static_cast<std::size_t>(index.row());
    if (!index.isValid() || row >= queue().size())
        return {};
    if (role == Qt::TextAlignmentRole && (index.column() == Files || index.column() == Number))
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole) {
        QStringList words;
        for (const auto& argument : queue()[row].arguments)
            words << QString::fromStdString(argument);
        return words.join(QLatin1Char(' '));
    }
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case Number:
        return index.row() + 1;
    case Change:
        return QString::fromStdString(queue()[row].desc);
    case Value:
        return QString::fromStdString(queue()[row].value);
    default:
        return m_known == 0 || row >= m_changed.size() ? QString {}
                                                       : tr("%1 of %2").arg(m_changed[row]).arg(m_known);
    }
}

QVariant BatchQueueModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case Change:
        return tr("Change");
    case Value:
        return tr("Value");
    case Files:
        return m_showsLastRun ? tr("Changed") : tr("Would change");
    default:
        return QString {};
    }
}

} // namespace reelwright

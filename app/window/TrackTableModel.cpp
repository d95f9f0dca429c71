#include "app/window/TrackTableModel.h"

#include "document/MyDocument.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr TrackColumn kColumns[]
        = {TrackColumn::TrackView, TrackColumn::In, TrackColumn::Duration, TrackColumn::Enabled};

} // namespace

TrackTableModel::TrackTableModel(MyDocument& document, QObject* parent)
    : QAbstractTableModel(parent)
    , m_document(document)
{
    reload();
}

TrackTableModel::Row TrackTableModel::makeRow(std::size_t row) const
{
    const auto& list = m_document.trackList();
    const auto text = [&](TrackColumn column) {
        return QString::fromStdString(list.value(column, row).value_or(std::string {}));
    };
    Row made;
    const auto* track = list.track(row);
    if (track) {
        made.trackID = track->trackID();
        made.enabled = track->enabled();
    }
    made.typeCode = list.typeCode(row);
    made.title = QString::fromStdString(list.title(row));
    made.in = text(TrackColumn::In);
    made.duration = text(TrackColumn::Duration);
    return made;
}

void TrackTableModel::reload()
{
    std::vector<Row> rows;
    for (std::size_t row = 0; row < m_document.trackList().rowCount(); ++row)
        rows.push_back(makeRow(row));
    const bool sameTracks = std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(),
        [](const Row& a, const Row& b) { return a.trackID == b.trackID; });
    if (!sameTracks) {
        beginResetModel();
        m_rows = std::move(rows);
        m_toolTips.clear();
        endResetModel();
        return;
    }
    // The selection, and an editor that is open, stay.
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (rows[row] == m_rows[row])
            continue;
        m_rows[row] = std::move(rows[row]);
        const int number = static_cast<int>(row);
        emit dataChanged(index(number, 0), index(number, kColumnCount - 1));
    }
}

void TrackTableModel::setToolTips(QStringList toolTips)
{
    m_toolTips = std::move(toolTips);
    if (!m_rows.empty())
        emit dataChanged(index(0, 0), index(rowCount() - 1, kColumnCount - 1), {Qt::ToolTipRole});
}

int TrackTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int TrackTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant TrackTableModel::text(const Row& row, int column) const
{
    switch (column) {
    case kTrack:
        return row.title;
    case kIn:
        return row.in;
    case kDuration:
        return row.duration;
    default:
        return {};
    }
}

QVariant TrackTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const auto& row = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return text(row, index.column());
    case Qt::CheckStateRole:
        if (index.column() == kEnabled && row.enabled)
            return *row.enabled ? Qt::Checked : Qt::Unchecked;
        return {};
    case Qt::ToolTipRole:
        return m_toolTips.value(index.row());
    case Qt::AccessibleTextRole:
        if (index.column() == kEnabled && row.enabled)
            return *row.enabled ? tr("%1 is enabled").arg(row.title) : tr("%1 is disabled").arg(row.title);
        return text(row, index.column());
    case kTypeCodeRole:
        return row.typeCode ? QVariant(*row.typeCode) : QVariant();
    default:
        return {};
    }
}

QVariant TrackTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::Alignment(Qt::AlignCenter));
    if (role != Qt::DisplayRole)
        return {};
    switch (section) {
    case kTrack:
        return tr("Track");
    case kIn:
        return tr("In");
    case kDuration:
        return tr("Duration");
    case kEnabled:
        return tr("Enabled");
    default:
        return {};
    }
}

Qt::ItemFlags TrackTableModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    auto flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
    const auto column = kColumns[index.column()];
    if (m_document.trackList().isEditable(column, static_cast<std::size_t>(index.row())))
        flags |= column == TrackColumn::Enabled ? Qt::ItemIsUserCheckable : Qt::ItemIsEditable;
    return flags;
}

bool TrackTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid())
        return false;
    const auto row = static_cast<std::size_t>(index.row());
    const auto flags = this->flags(index);
    if (role == Qt::CheckStateRole && (flags & Qt::ItemIsUserCheckable)) {
        m_document.setTrackEnabled(row, value.value<Qt::CheckState>() == Qt::Checked);
        return true;
    }
    if (role != Qt::EditRole || !(flags & Qt::ItemIsEditable))
        return false;
    // The text is rounded to whole frames: an editor that was only opened must not move the track to them.
    if (value.toString() != text(m_rows[row], index.column()).toString())
        m_document.setColumnText(kColumns[index.column()], row, value.toString().toStdString());
    return true;
}

} // namespace reelwright

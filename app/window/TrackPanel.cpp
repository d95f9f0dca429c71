#include "app/window/TrackPanel.h"

#include "app/window/TrackCellDelegate.h"
#include "app/window/TrackLabelDelegate.h"
#include "app/window/TrackTable.h"
#include "app/window/TrackTableModel.h"
#include "app/window/WindowActions.h"
#include "document/MyDocument.h"

#include <QAction>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenu>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QVBoxLayout>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;
    constexpr int kLeastColumn = 40;

} // namespace

TrackPanel::TrackPanel(MyDocument& document, const WindowActions& actions, QWidget* parent)
    : QWidget(parent)
    , m_document(document)
    , m_model(new TrackTableModel(document, this))
    , m_table(new TrackTable(this))
{
    m_table->setModel(m_model);
    m_table->setItemDelegate(new TrackCellDelegate(m_table));
    m_table->setItemDelegateForColumn(TrackTableModel::kTrack, new TrackLabelDelegate(m_table));
    auto* header = m_table->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(TrackTableModel::kName, QHeaderView::Stretch);
    header->setMinimumSectionSize(kLeastColumn);
    for (const auto& [column, width] : {std::pair {TrackTableModel::kTrack, 160}, {TrackTableModel::kIn, 104},
             {TrackTableModel::kDuration, 104}, {TrackTableModel::kEnabled, 64},
             {TrackTableModel::kNumber, 64}, {TrackTableModel::kLanguage, 88}, {TrackTableModel::kFormat, 72},
             {TrackTableModel::kDetails, 112}})
        m_table->setColumnWidth(column, width);
    for (int column = TrackTableModel::kFirstOptional; column < TrackTableModel::kColumnCount; ++column)
        m_table->setColumnHidden(column, true);
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QWidget::customContextMenuRequested, this, &TrackPanel::chooseColumns);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(kSpacing);
    auto* add = new QPushButton(tr("Add Track"), this);
    add->setAccessibleName(tr("Add track"));
    add->setToolTip(tr("Add a track to the movie."));
    add->setMenu(actions.addTrack);
    add->setMinimumWidth(add->sizeHint().width() + 2 * kSpacing); // styles leave no room round its arrow
    auto* remove = new QPushButton(tr("Remove Track"), this);
    remove->setAccessibleName(tr("Remove track"));
    remove->setToolTip(actions.removeTrack->toolTip());
    connect(remove, &QPushButton::clicked, actions.removeTrack, &QAction::trigger);
    connect(actions.removeTrack, &QAction::enabledChanged, remove, &QWidget::setEnabled);
    for (auto* button : {add, remove})
        button->setAutoDefault(false);
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(kSpacing);
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);

    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &TrackPanel::selectRow);
    showSelection();
}

void TrackPanel::selectRow()
{
    if (m_isReloading)
        return;
    // Of several rows the panes show the current one.
    const auto rows = m_table->selectionModel()->selectedRows();
    const auto current = m_table->currentIndex();
    const bool currentCounts = m_table->selectionModel()->isRowSelected(current.row(), {});
    const int row = rows.isEmpty() ? -1 : currentCounts ? current.row() : rows.front().row();
    if (row < 0)
        m_document.selectRow(std::nullopt);
    else if (m_document.selectedRow() != static_cast<std::size_t>(row))
        m_document.selectRow(static_cast<std::size_t>(row));
}

void TrackPanel::chooseColumns(const QPoint& position)
{
    QMenu menu;
    for (int column = TrackTableModel::kFirstOptional; column < TrackTableModel::kColumnCount; ++column) {
        auto* action = menu.addAction(m_model->headerData(column, Qt::Horizontal).toString());
        action->setCheckable(true);
        action->setChecked(!m_table->isColumnHidden(column));
        connect(action, &QAction::toggled, this,
            [this, column](bool shown) { m_table->setColumnHidden(column, !shown); });
    }
    menu.exec(m_table->horizontalHeader()->mapToGlobal(position));
}

std::vector<std::uint32_t> TrackPanel::selectedTracks() const
{
    std::vector<std::uint32_t> tracks;
    for (const auto& index : m_table->selectionModel()->selectedRows())
        if (const auto* track = m_document.trackList().track(static_cast<std::size_t>(index.row())))
            tracks.push_back(track->trackID());
    return tracks;
}

void TrackPanel::reload()
{
    {
        const QScopedValueRollback guard(m_isReloading, true);
        m_model->reload();
    }
    showSelection();
}

void TrackPanel::showSelection()
{
    const QScopedValueRollback guard(m_isReloading, true);
    const auto row = m_document.selectedRow();
    if (!row) {
        m_table->clearSelection();
        return;
    }
    const int number = static_cast<int>(*row);
    const auto rows = m_table->selectionModel()->selectedRows();
    if (std::any_of(rows.begin(), rows.end(), [&](const auto& index) { return index.row() == number; }))
        return;
    const auto current = m_table->currentIndex();
    const auto index = m_model->index(number, current.isValid() ? current.column() : 0);
    m_table->selectionModel()->setCurrentIndex(
        index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

} // namespace reelwright

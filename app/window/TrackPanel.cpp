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

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;

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
    header->setSectionResizeMode(QHeaderView::Stretch);
    header->setSectionResizeMode(TrackTableModel::kEnabled, QHeaderView::ResizeToContents);

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
    const auto rows = m_table->selectionModel()->selectedRows();
    m_document.selectRow(
        rows.isEmpty() ? std::nullopt : std::optional(static_cast<std::size_t>(rows.front().row())));
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
    if (rows.size() == 1 && rows.front().row() == number)
        return;
    const auto current = m_table->currentIndex();
    const auto index = m_model->index(number, current.isValid() ? current.column() : 0);
    m_table->selectionModel()->setCurrentIndex(
        index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

} // namespace reelwright

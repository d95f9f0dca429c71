#include "app/window/TrackTable.h"

#include "app/window/TrackTableModel.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>

namespace reelwright {
namespace {

    constexpr int kLeastRows = 5; ///< the movie, a picture, two sounds and a timecode

} // namespace

TrackTable::TrackTable(QWidget* parent)
    : KWTableView(parent)
{
    setWatchDelegate(this);
    addWatchKeys({Qt::Key_Delete, Qt::Key_Backspace}, "removalAsked");
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(DoubleClicked | EditKeyPressed);
    setTabKeyNavigation(false);
    setShowGrid(false);
    setWordWrap(false);
    setHorizontalScrollMode(ScrollPerPixel);
    setVerticalScrollMode(ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsClickable(false);
    setAccessibleName(tr("Tracks"));
}

QSize TrackTable::minimumSizeHint() const
{
    const int row
        = model() && model()->rowCount() > 0 ? sizeHintForRow(0) : verticalHeader()->defaultSectionSize();
    return {KWTableView::minimumSizeHint().width(),
        horizontalHeader()->sizeHint().height() + kLeastRows * row + 2 * frameWidth()};
}

void TrackTable::copy()
{
    const auto index = currentIndex();
    if (!index.isValid())
        return;
    QStringList cells;
    for (int column = 0; column < model()->columnCount(); ++column) {
        if (isColumnHidden(column))
            continue;
        const auto cell = index.siblingAtColumn(column);
        const auto role = column == TrackTableModel::kEnabled ? Qt::AccessibleTextRole : Qt::EditRole;
        cells << cell.data(role).toString();
    }
    QApplication::clipboard()->setText(cells.join(QLatin1Char('\t')).trimmed());
}

void TrackTable::dataChanged(
    const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles)
{
    // The base class would fill an open editor again, and what was typed there would be lost.
    if (roles == QList<int> {Qt::ToolTipRole})
        return;
    if (roles == QList<int> {Qt::DisplayRole})
        viewport()->update();
    else
        QTableView::dataChanged(topLeft, bottomRight, roles);
}

void TrackTable::editSelected()
{
    auto index = currentIndex();
    if (!(model()->flags(index) & Qt::ItemIsEditable))
        index = index.siblingAtColumn(TrackTableModel::kIn);
    if (!(model()->flags(index) & Qt::ItemIsEditable))
        return;
    setCurrentIndex(index);
    edit(index);
}

void TrackTable::keyPressEvent(QKeyEvent* event)
{
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    // What an editor does not want comes here too, and is not meant for the rows.
    if (!isPlain || !currentIndex().isValid() || state() == EditingState) {
        QTableView::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Left:
        emit nudged(-1);
        break;
    case Qt::Key_Right:
        emit nudged(1);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        editSelected();
        break;
    case Qt::Key_Space:
    case Qt::Key_J:
    case Qt::Key_K:
    case Qt::Key_L: // the transport's, wherever no text is typed
        event->ignore();
        break;
    default:
        KWTableView::keyPressEvent(event);
        break;
    }
}

} // namespace reelwright

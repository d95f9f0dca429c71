#include "app/window/TrackCellDelegate.h"

#include "app/window/TimeEdit.h"
#include "app/window/TrackTableModel.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

namespace reelwright {
namespace {

    const QStyle& styleOf(const QStyleOptionViewItem& option)
    {
        return option.widget ? *option.widget->style() : *QApplication::style();
    }

    /// A style puts a check box at the left of its cell: this is the part of the cell that has it there.
    QStyleOptionViewItem aroundCheckBox(const QStyleOptionViewItem& option)
    {
        QStyleOptionViewItem part = option;
        const int box = styleOf(option).pixelMetric(QStyle::PM_IndicatorWidth, &option, option.widget);
        const int margin
            = styleOf(option).pixelMetric(QStyle::PM_FocusFrameHMargin, &option, option.widget) + 1;
        part.rect.setWidth(box + 2 * margin);
        part.rect.moveCenter(option.rect.center());
        return part;
    }

    bool isCheckBox(const QModelIndex& index)
    {
        return index.data(Qt::CheckStateRole).isValid();
    }

} // namespace

void TrackCellDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    const bool isName = index.column() == TrackTableModel::kName;
    option->displayAlignment = isName ? Qt::AlignLeft | Qt::AlignVCenter : Qt::Alignment(Qt::AlignCenter);
}

QWidget* TrackCellDelegate::createEditor(
    QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const auto* model = qobject_cast<const TrackTableModel*>(index.model());
    if (model && (index.column() == TrackTableModel::kIn || index.column() == TrackTableModel::kDuration)) {
        auto* field = new TimeEdit(parent);
        field->setFrame(false);
        field->setAlignment(Qt::AlignCenter);
        field->setAccessibleName(model->headerData(index.column(), Qt::Horizontal).toString());
        field->setRemarks([model, place = QPersistentModelIndex(index)](const QString& typed) {
            return place.isValid() ? model->remark(place, typed) : ShownTime::Remark {};
        });
        return field;
    }
    auto* editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (auto* field = qobject_cast<QLineEdit*>(editor))
        field->setAlignment(index.column() == TrackTableModel::kName ? Qt::AlignLeft : Qt::AlignCenter);
    return editor;
}

void TrackCellDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    if (auto* field = qobject_cast<TimeEdit*>(editor))
        field->setText(index.data(Qt::EditRole).toString());
    else
        QStyledItemDelegate::setEditorData(editor, index);
}

bool TrackCellDelegate::eventFilter(QObject* editor, QEvent* event)
{
    // What cannot be read stays where it was typed.
    auto* field = qobject_cast<TimeEdit*>(editor);
    if (field && event->type() == QEvent::KeyPress && field->isWrong()) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab || key == Qt::Key_Backtab) {
            field->showRemark();
            return true;
        }
    }
    return QStyledItemDelegate::eventFilter(editor, event);
}

void TrackCellDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (!isCheckBox(index)) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    styleOf(cell).drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, cell.widget);
    QStyledItemDelegate::paint(painter, aroundCheckBox(option), index);
}

bool TrackCellDelegate::editorEvent(
    QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option, const QModelIndex& index)
{
    return QStyledItemDelegate::editorEvent(
        event, model, isCheckBox(index) ? aroundCheckBox(option) : option, index);
}

} // namespace reelwright

#include "app/panes/MetadataDelegate.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kRowHeight = 24;
    constexpr int kMaxLines = 4;
    constexpr qsizetype kLong = 60; ///< characters that a line still takes well

    bool isLong(const QString& value)
    {
        return value.size() > kLong || value.contains(QLatin1Char('\n')) || value.contains(QLatin1Char('\r'));
    }

} // namespace

QWidget* MetadataDelegate::createEditor(
    QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const
{
    if (index.column() != 1)
        return nullptr;
    if (!isLong(index.data(kValueRole).toString())) {
        auto* line = new QLineEdit(parent);
        line->setAccessibleName(tr("Value"));
        return line;
    }
    auto* text = new QPlainTextEdit(parent);
    text->setAccessibleName(tr("Value"));
    text->setToolTip(tr("Ctrl+Return ends the editing, Escape leaves the value as it was"));
    text->setTabChangesFocus(true);
    return text;
}

void MetadataDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    const auto value = index.data(kValueRole).toString();
    if (auto* line = qobject_cast<QLineEdit*>(editor))
        line->setText(value);
    else if (auto* text = qobject_cast<QPlainTextEdit*>(editor))
        text->setPlainText(value);
}

void MetadataDelegate::setModelData(
    QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const
{
    if (auto* line = qobject_cast<QLineEdit*>(editor)) {
        if (line->isModified())
            model->setData(index, line->text(), kValueRole);
    } else if (auto* text = qobject_cast<QPlainTextEdit*>(editor)) {
        if (text->document()->isModified())
            model->setData(index, text->toPlainText(), kValueRole);
    }
}

void MetadataDelegate::updateEditorGeometry(
    QWidget* editor, const QStyleOptionViewItem& option, const QModelIndex&) const
{
    auto box = option.rect;
    if (qobject_cast<QPlainTextEdit*>(editor)) {
        // As much as a few lines need, within the table.
        const auto* table = editor->parentWidget();
        box.setHeight(std::max(box.height(), 6 * kRowHeight));
        if (table && box.bottom() > table->height())
            box.moveBottom(std::max(table->height(), box.height()));
    }
    editor->setGeometry(box);
}

QSize MetadataDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    auto size = QStyledItemDelegate::sizeHint(option, index);
    const int lines = static_cast<int>(
        std::min<qsizetype>(index.data().toString().count(QLatin1Char('\n')) + 1, kMaxLines));
    size.setHeight(std::max({kRowHeight, size.height(), lines * option.fontMetrics.lineSpacing() + 6}));
    return size;
}

bool MetadataDelegate::eventFilter(QObject* object, QEvent* event)
{
    // Return makes a new line of a long value, and Ctrl+Return is the end of it.
    auto* text = qobject_cast<QPlainTextEdit*>(object);
    if (text && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            if ((key->modifiers() & Qt::ControlModifier) == 0)
                return false;
            emit commitData(text);
            emit closeEditor(text);
            return true;
        }
    }
    return QStyledItemDelegate::eventFilter(object, event);
}

} // namespace reelwright

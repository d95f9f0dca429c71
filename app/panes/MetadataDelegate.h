#pragma once

#include <QStyledItemDelegate>

namespace reelwright {

/// Edits the values of metadata: in a line, or where the value has several or is long, in an editor of
/// several lines that Ctrl+Return ends.
class MetadataDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    /// The whole value of a cell, which shows its beginning only.
    static constexpr int kValueRole = Qt::UserRole + 1;

    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget* createEditor(
        QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void updateEditorGeometry(
        QWidget* editor, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
};

} // namespace reelwright

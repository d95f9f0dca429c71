#pragma once

#include "edits/QuickTasks.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;

namespace reelwright {

/// The quick tasks in groups that fold, each with its text, and a field that searches them. Says nothing
/// about what they would do by itself: that is told it by `setNote`.
class QuickTaskList final : public QWidget
{
    Q_OBJECT

public:
    explicit QuickTaskList(TaskPlace place, QWidget* parent = nullptr);

    /// The task of the current row; null for none.
    [[nodiscard]] const QuickTask* current() const;
    void select(int tag);
    /// The note at a task's end: "1 change". Emphasis draws it in the color of new values.
    enum class Emphasis { None, New };
    void setNote(int tag, const QString& note, Emphasis emphasis = Emphasis::None);
    /// Shows only tasks with an emphasised note.
    void setOnlyEmphasised(bool isOn);

signals:
    void currentChanged();
    /// Return, or a double click.
    void activated();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fill(TaskPlace place);
    void filter();
    [[nodiscard]] QTreeWidgetItem* itemOf(int tag) const;

    QLineEdit* m_search;
    QTreeWidget* m_tree;
    bool m_onlyEmphasised = false;
};

} // namespace reelwright

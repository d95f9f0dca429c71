#pragma once

#include "app/panes/Pane.h"
#include "document/DocumentChapters.h"

#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QTableView;

namespace reelwright {

class ChapterTableModel;
class MovieView;
class Scrubber;

/// The Chapters tab: a table in which starts and names are edited, and what is done with the list. Selecting
/// a chapter goes there in the picture.
class ChaptersPane : public Pane
{
    Q_OBJECT

public:
    /// Borrows the view and the scrubber, on which the chapters are ticks; both live as long.
    ChaptersPane(MyDocument& document, MovieView& view, Scrubber& scrubber, QWidget* parent = nullptr);

    void reload() override;
    /// Adds a chapter where the picture is, also while it plays.
    void addChapter();

private:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    [[nodiscard]] QPushButton* makeButton(
        const QString& text, const QString& toolTip, std::function<void()> work);
    void goToSelected();
    void editNext();
    void removeSelected();
    /// Asks for a text and does something with it.
    void ask(const QString& title, const QString& label, const QString& text,
        Result<void> (DocumentChapters::*work)(const std::string&));
    void importChapters();
    void exportChapters();
    void tell(const QString& title, const QString& text);
    void showCounts();
    void showNextStart();

    MovieView& m_view;
    Scrubber& m_scrubber;
    DocumentChapters m_edits;
    ChapterTableModel* m_model;
    QSortFilterProxyModel* m_found;
    QLineEdit* m_search;
    QTableView* m_table;
    QPushButton* m_add;
    QPushButton* m_remove;
    QLabel* m_note;
    bool m_isReloading = false;
};

} // namespace reelwright

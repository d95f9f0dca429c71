#pragma once

#include "app/panes/Pane.h"
#include "document/QuickTaskPanel.h"

class QLabel;
class QPushButton;
class QTableWidget;

namespace reelwright {

class MyDocument;
class QuickTaskList;

/// The quick tasks of a movie: each with what it would change, found out elsewhere on a copy, and a button
/// that runs it. Borrows the document and its window.
class QuickTasksPane final : public Pane
{
    Q_OBJECT

public:
    QuickTasksPane(MyDocument& document, DocumentWindow& window, std::function<void(Panel)> showPanel,
        QWidget* parent = nullptr);

    void reload() override;

signals:
    /// The task is wanted for more files than this one.
    void batchAsked(int tag);

protected:
    void showEvent(QShowEvent* event) override;

private:
    struct Forecasts;

    void forecast();
    void take(const Forecasts& forecasts);
    void showCurrent();
    void run();
    void chooseStill();

    MyDocument& m_document;
    QuickTaskPanel m_panel;
    QuickTaskList* m_list;
    QLabel* m_title;
    QLabel* m_description;
    QLabel* m_note;
    QTableWidget* m_changes;
    QPushButton* m_run;
    QPushButton* m_batch;
    std::map<int, QuickTaskPanel::Forecast> m_forecasts; ///< by tag
    bool m_isStale = true; ///< the movie changed since
    bool m_isForecasting = false;
};

} // namespace reelwright

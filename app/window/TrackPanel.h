#pragma once

#include <QWidget>

namespace reelwright {

class MyDocument;
class TrackTable;
class TrackTableModel;
class WindowActions;

/// The track table with its add and remove buttons below. Borrows the document.
class TrackPanel final : public QWidget
{
    Q_OBJECT

public:
    TrackPanel(MyDocument& document, const WindowActions& actions, QWidget* parent = nullptr);

    [[nodiscard]] TrackTable& table() { return *m_table; }
    [[nodiscard]] TrackTableModel& model() { return *m_model; }
    /// Rows, values and the selected row as the document has them.
    void reload();

private:
    void selectRow();
    void showSelection();

    MyDocument& m_document;
    TrackTableModel* m_model;
    TrackTable* m_table;
    bool m_isReloading = false;
};

} // namespace reelwright

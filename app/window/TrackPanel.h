#pragma once

#include <QWidget>

#include <cstdint>
#include <vector>

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
    /// The IDs of the tracks whose rows are selected.
    [[nodiscard]] std::vector<std::uint32_t> selectedTracks() const;

private:
    void chooseColumns(const QPoint& position);
    void selectRow();
    void showSelection();

    MyDocument& m_document;
    TrackTableModel* m_model;
    TrackTable* m_table;
    bool m_isReloading = false;
};

} // namespace reelwright

#pragma once

#include <QTableView>

namespace reelwright {

/// The track table: one row for the movie and one a track. Left and Right ask for a nudge, Space toggles
/// enabled, Return edits the in point (or the cell at hand), Delete asks for the track's removal. The context
/// menu is about the row under the mouse.
class TrackTable final : public QTableView
{
    Q_OBJECT

public:
    explicit TrackTable(QWidget* parent = nullptr);

    /// The context menu; not owned.
    void setMenu(QMenu* menu) { m_menu = menu; }

public slots:
    /// Puts the selected row on the clipboard, as tab-separated text.
    void copy();

signals:
    void nudged(int direction); ///< -1 earlier, 1 later
    void removalAsked();

protected:
    void dataChanged(
        const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles = {}) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void editSelected();

    QMenu* m_menu = nullptr;
};

} // namespace reelwright

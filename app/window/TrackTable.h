#pragma once

#include "app/window/KWTableView.h"

namespace reelwright {

/// The track table: one row for the movie and one a track. Left and Right ask for a nudge, Space toggles
/// enabled, Return edits the in point (or the cell at hand), Delete asks for the track's removal.
class TrackTable final : public KWTableView
{
    Q_OBJECT

public:
    explicit TrackTable(QWidget* parent = nullptr);

    /// Enough rows for a usual movie, also in a small window.
    [[nodiscard]] QSize minimumSizeHint() const override;

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

private:
    void editSelected();
};

} // namespace reelwright

#pragma once

#include "app/shell/ApplicationActions.h"

#include <QMainWindow>

class QMimeData;
class QProgressBar;
class QTimer;

namespace reelwright {

/// The paths of the local files that are being dragged; empty when there are none.
QStringList draggedFiles(const QMimeData* data);

/// What is seen while no movie is open: a place to drop movies on, and the menus.
class StartWindow final : public QMainWindow
{
    Q_OBJECT

public:
    explicit StartWindow(const ApplicationActions& actions);

    /// Movies are being opened; shown only when it takes a moment.
    void setBusy(bool isBusy);

signals:
    void filesDropped(const QStringList& paths);
    /// The user closed it.
    void closed();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* m_target;
    QProgressBar* m_progress;
    QTimer* m_busyTimer;
};

} // namespace reelwright

#include "app/WindowMemory.h"

#include "support/KWLocalPaths.h"

#include <QApplication>
#include <QMainWindow>
#include <QScreen>
#include <QSettings>
#include <QSplitter>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr QSize kUsualSize {1184, 728};
    constexpr int kCascade = 32;

    QSettings settings()
    {
        const auto folder = QString::fromStdString(KWLocalPaths::prefsDirectory(true));
        return {folder + QStringLiteral("/windows.conf"), QSettings::IniFormat};
    }

    /// Roughly: the frame of a window is not known before it is shown.
    bool isTaken(const QMainWindow& window)
    {
        const auto windows = QApplication::topLevelWidgets();
        return std::any_of(windows.begin(), windows.end(), [&](const QWidget* other) {
            return other != &window && other->isVisible() && qobject_cast<const QMainWindow*>(other)
                && (other->geometry().topLeft() - window.geometry().topLeft()).manhattanLength() < kCascade;
        });
    }

    /// A step down and to the right for each window that is there already; from the left or the top of the
    /// screen again where it ends.
    void moveToFreePlace(QMainWindow& window)
    {
        constexpr int kMostSteps = 32;
        const auto area = window.screen()->availableGeometry();
        for (int step = 0; step < kMostSteps && isTaken(window); ++step) {
            auto next = window.pos() + QPoint(kCascade, kCascade);
            if (next.x() + window.width() > area.x() + area.width())
                next.setX(area.x());
            if (next.y() + window.height() > area.y() + area.height())
                next.setY(area.y());
            window.move(next);
        }
    }

} // namespace

void WindowMemory::restore(QMainWindow& window, QSplitter& columns, QSplitter& rows)
{
    const auto saved = settings();
    if (!window.restoreGeometry(saved.value(QStringLiteral("movie/geometry")).toByteArray()))
        window.resize(kUsualSize.boundedTo(window.screen()->availableSize() - QSize(kCascade, kCascade)));
    columns.restoreState(saved.value(QStringLiteral("movie/columns")).toByteArray());
    rows.restoreState(saved.value(QStringLiteral("movie/rows")).toByteArray());
    moveToFreePlace(window);
}

void WindowMemory::save(const QMainWindow& window, const QSplitter& columns, const QSplitter& rows)
{
    auto saved = settings();
    saved.setValue(QStringLiteral("movie/geometry"), window.saveGeometry());
    saved.setValue(QStringLiteral("movie/columns"), columns.saveState());
    saved.setValue(QStringLiteral("movie/rows"), rows.saveState());
}

} // namespace reelwright

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

    bool isTaken(const QMainWindow& window)
    {
        const auto windows = QApplication::topLevelWidgets();
        return std::any_of(windows.begin(), windows.end(), [&](const QWidget* other) {
            return other != &window && other->isVisible() && qobject_cast<const QMainWindow*>(other)
                && other->pos() == window.pos();
        });
    }

} // namespace

void WindowMemory::restore(QMainWindow& window, QSplitter& columns, QSplitter& rows)
{
    const auto saved = settings();
    if (!window.restoreGeometry(saved.value(QStringLiteral("movie/geometry")).toByteArray()))
        window.resize(kUsualSize.boundedTo(window.screen()->availableSize() - QSize(kCascade, kCascade)));
    columns.restoreState(saved.value(QStringLiteral("movie/columns")).toByteArray());
    rows.restoreState(saved.value(QStringLiteral("movie/rows")).toByteArray());
    const auto area = window.screen()->availableGeometry();
    while (isTaken(window) && area.contains(window.geometry().translated(kCascade, kCascade)))
        window.move(window.pos() + QPoint(kCascade, kCascade));
}

void WindowMemory::save(const QMainWindow& window, const QSplitter& columns, const QSplitter& rows)
{
    auto saved = settings();
    saved.setValue(QStringLiteral("movie/geometry"), window.saveGeometry());
    saved.setValue(QStringLiteral("movie/columns"), columns.saveState());
    saved.setValue(QStringLiteral("movie/rows"), rows.saveState());
}

} // namespace reelwright

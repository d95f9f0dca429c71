#include "app/window/WindowMemory.h"

#include "support/KWLocalPaths.h"

#include <QApplication>
#include <QHeaderView>
#include <QMainWindow>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QSplitter>
#include <QThreadPool>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr QSize kUsualSize {1280, 800};
    constexpr int kCascade = 32;

    const auto kGeometry = QStringLiteral("movie/geometry");
    const auto kColumns = QStringLiteral("movie/columns");
    const auto kRows = QStringLiteral("movie/rows");
    const auto kTable = QStringLiteral("movie/table");

    struct State
    {
        QString folder; ///< of the preferences
        QByteArray geometry;
        QByteArray columns;
        QByteArray rows;
        QByteArray table; ///< the columns of the track table
    };

    QSettings settingsIn(const QString& folder)
    {
        return {folder + QStringLiteral("/windows.conf"), QSettings::IniFormat};
    }

    /// What the last window left. Read from the disk once.
    State& remembered()
    {
        static State state;
        const auto folder = QString::fromStdString(KWLocalPaths::prefsDirectory(true));
        if (state.folder != folder) {
            state = {folder, {}, {}, {}, {}};
            const auto saved = settingsIn(folder);
            state.geometry = saved.value(kGeometry).toByteArray();
            state.columns = saved.value(kColumns).toByteArray();
            state.rows = saved.value(kRows).toByteArray();
            state.table = saved.value(kTable).toByteArray();
        }
        return state;
    }

    /// On a thread of its own, so that what was left last is written last.
    void write(const State& state)
    {
        static QPointer<QThreadPool> writer;
        if (!writer) {
            writer = new QThreadPool(QCoreApplication::instance());
            writer->setMaxThreadCount(1);
        }
        writer->start([state] {
            auto saved = settingsIn(state.folder);
            saved.setValue(kGeometry, state.geometry);
            saved.setValue(kColumns, state.columns);
            saved.setValue(kRows, state.rows);
            saved.setValue(kTable, state.table);
        });
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

void WindowMemory::restore(QMainWindow& window, QSplitter& columns, QSplitter& rows, QHeaderView& table)
{
    const auto& saved = remembered();
    if (!window.restoreGeometry(saved.geometry))
        window.resize(kUsualSize.boundedTo(window.screen()->availableSize() - QSize(kCascade, kCascade)));
    columns.restoreState(saved.columns);
    rows.restoreState(saved.rows);
    table.restoreState(saved.table);
    moveToFreePlace(window);
}

void WindowMemory::save(
    const QMainWindow& window, const QSplitter& columns, const QSplitter& rows, const QHeaderView& table)
{
    auto& saved = remembered();
    saved.geometry = window.saveGeometry();
    saved.columns = columns.saveState();
    saved.rows = rows.saveState();
    saved.table = table.saveState();
    write(saved);
}

} // namespace reelwright

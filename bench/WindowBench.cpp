// How long the window of a movie keeps its user waiting: reelwright_window_bench MOVIE [FOLDER] opens the
// movie in the whole program and prints the milliseconds to its window and to its first picture, from the
// start of the process and from the call. With a folder it then edits, selects, types and scrubs while the
// movie is saved as a new file there (which is cancelled in the end), and prints for each the longest time
// between two turns of the event loop, and the longest that the main thread itself was at work in one.

#include "app/player/MovieView.h"
#include "app/shell/AppController.h"
#include "app/window/MovieWindow.h"
#include "app/window/TrackTable.h"
#include "app/window/WindowActions.h"
#include "document/MyDocument.h"
#include "support/Preferences.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

namespace reelwright {
namespace {

    constexpr int kWait = 60'000;
    constexpr int kBeatMilliseconds = 5;

    double now(clockid_t clock)
    {
        timespec time {};
        ::clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    /// Milliseconds since the process began, to a hundredth of a second.
    double processAge()
    {
        QFile file(QStringLiteral("/proc/self/stat"));
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const auto text = file.readAll();
        constexpr int kStartTime = 19; // of the fields behind the name
        const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        const auto ticks = fields.value(kStartTime).toDouble();
        return now(CLOCK_BOOTTIME) - ticks * 1000 / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

    /// Watches the turns of the event loop.
    class Heartbeat : public QObject
    {
    public:
        Heartbeat()
        {
            connect(&m_timer, &QTimer::timeout, this, &Heartbeat::beat);
            m_timer.setTimerType(Qt::PreciseTimer);
            m_timer.start(kBeatMilliseconds);
            begin();
        }
        void begin()
        {
            m_wall = now(CLOCK_MONOTONIC);
            m_work = now(CLOCK_THREAD_CPUTIME_ID);
            longest = longestWork = 0;
        }
        void beat()
        {
            const auto wall = now(CLOCK_MONOTONIC);
            const auto work = now(CLOCK_THREAD_CPUTIME_ID);
            longest = std::max(longest, wall - m_wall);
            longestWork = std::max(longestWork, work - m_work);
            m_wall = wall;
            m_work = work;
        }

        double longest = 0;
        double longestWork = 0;

    private:
        QTimer m_timer;
        double m_wall = 0;
        double m_work = 0;
    };

    class WindowBench
    {
    public:
        WindowBench(AppController& controller, Heartbeat& heart)
            : m_controller(controller)
            , m_heart(heart)
        {
        }

        bool open(const QString& path)
        {
            const auto called = processAge();
            double shown = 0;
            double seen = 0;
            m_heart.begin();
            QObject::connect(&m_controller, &AppController::movieOpened, &m_heart, [&](MovieWindow* window) {
                m_window = window;
                shown = processAge();
                QObject::connect(
                    window->findChild<MovieView*>(), &MovieView::firstFrameShown, &m_heart,
                    [&seen] { seen = processAge(); }, Qt::SingleShotConnection);
            });
            m_controller.openFiles({path});
            const bool isSeen = QTest::qWaitFor([&] { return seen > 0; }, kWait);
            m_heart.beat();
            std::printf("process to call %.0f, call to window %.0f, call to first picture %.0f, process to "
                        "first picture %.0f milliseconds; event loop kept %.1f, at work %.1f at most\n",
                called, shown - called, seen - called, seen, m_heart.longest, m_heart.longestWork);
            return isSeen;
        }

        void useWhileSaving(const std::string& copy)
        {
            auto& document = m_window->document();
            auto* view = m_window->findChild<MovieView*>();
            auto* table = m_window->findChild<TrackTable*>();
            document.selectRow(1);
            QTimer chooser; // answers the question for the file
            QObject::connect(&chooser, &QTimer::timeout, &chooser, [&copy] {
                if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
                    dialog->selectFile(QString::fromStdString(copy));
                    QMetaObject::invokeMethod(dialog, "accept");
                }
            });
            chooser.start(50);
            const bool isBegun = document.saveDocumentAs();
            chooser.stop();
            static_cast<void>(QTest::qWaitFor([&] { return view->isSettled(); }, kWait));
            const bool isSaving = isBegun && document.isWriting();
            measure("nothing", 20, [](int) {});
            measure("select rows", 40, [&](int i) { document.selectRow(std::size_t(i % 2)); });
            document.selectRow(1);
            measure("edit the in point", 10, [&](int i) {
                document.setColumnText(TrackColumn::In, 1, i % 2 == 0 ? "00:00:01:00" : "00:00:00:00");
            });
            measure("rotate", 10, [&](int) { document.movieSettingsRotateRight(); });
            measure("nudge", 50, [&](int) { document.incrementTrackByOneFrame(); });
            measure("undo", 50, [&](int) { document.undo(); });
            measure("redo", 20, [&](int) { document.redo(); });
            const auto duration = view->duration();
            measure("scrub", 60, [&](int i) {
                view->setCurrentTime({duration.value / 60 * (i * 17 % 60), duration.scale});
            });
            measure("play", 60, [&](int i) {
                if (i == 0)
                    view->play();
            });
            view->pause();
            table->setFocus();
            table->setCurrentIndex(table->model()->index(1, 1));
            table->edit(table->currentIndex());
            measure("type", 60, [&](int) {
                if (auto* field = QApplication::focusWidget())
                    QTest::keyClick(field, Qt::Key_1);
            });
            if (auto* field = QApplication::focusWidget())
                QTest::keyClick(field, Qt::Key_Escape);
            std::printf("saved meanwhile: %s\n",
                !isSaving                  ? "nothing"
                    : document.isWriting() ? "all the time"
                                           : "at the beginning only");
            m_heart.begin();
            document.cancelProgress();
            static_cast<void>(QTest::qWaitFor([&] { return !document.isWriting(); }, kWait));
            while (document.history().canUndo())
                document.undo();
            print("cancel the save");
        }

    private:
        /// Does it so many times, as fast as an impatient user.
        void measure(const char* name, int times, const std::function<void(int)>& work)
        {
            constexpr int kBetween = 20;
            QTest::qWait(300);
            m_heart.begin();
            for (int i = 0; i < times; ++i) {
                work(i);
                QTest::qWait(kBetween);
            }
            print(name);
        }
        void print(const char* name)
        {
            m_heart.beat();
            std::printf("%-18s event loop kept %6.1f milliseconds at most, at work %5.1f\n", name,
                m_heart.longest, m_heart.longestWork);
        }

        AppController& m_controller;
        Heartbeat& m_heart;
        MovieWindow* m_window = nullptr;
    };

} // namespace
} // namespace reelwright

int main(int argc, char** argv)
{
    using namespace reelwright;
    if (argc < 2) {
        std::fputs("reelwright_window_bench MOVIE [FOLDER]\n", stderr);
        return 2;
    }
    const QTemporaryDir own;
    qputenv("REELWRIGHT_LIBRARY_DIR", own.filePath(QStringLiteral("log")).toUtf8());
    qputenv("REELWRIGHT_PREFS_DIR", own.filePath(QStringLiteral("preferences")).toUtf8());
    qputenv("REELWRIGHT_SOUND", "off");
    const QApplication application(argc, argv);
    Preferences preferences {own.filePath(QStringLiteral("bench.plist")).toStdString()};
    AppController controller {preferences, Storage::posix()};
    Heartbeat heart;
    WindowBench bench {controller, heart};
    if (!bench.open(QFile::decodeName(argv[1])))
        return 1;
    if (argc > 2)
        bench.useWhileSaving(std::string(argv[2]) + "/window-bench.mov");
    return 0;
}

// What the movie view costs: reelwright_view_bench FILE... prints, for each, the milliseconds from the opened
// movie to its first picture, those of seeks all over it, and the memory that was used at most.

#include "app/player/MovieView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace reelwright {
namespace {

    constexpr int kWait = 60'000;
    constexpr int kSeeks = 40;

    double milliseconds(const QElapsedTimer& clock)
    {
        return static_cast<double>(clock.nsecsElapsed()) / 1e6;
    }

    double megabytesAtMost()
    {
        QFile status(QStringLiteral("/proc/self/status"));
        if (status.open(QIODevice::ReadOnly))
            for (const auto& line : status.readAll().split('\n'))
                if (line.startsWith("VmHWM:"))
                    return line.simplified().split(' ').value(1).toDouble() / 1024;
        return 0;
    }

    bool measure(const char* path)
    {
        QElapsedTimer clock;
        clock.start();
        auto movie = QTMovie::open(path);
        if (!movie) {
            std::fprintf(stderr, "%s\n", movie.error().message().c_str());
            return false;
        }
        const auto opened = milliseconds(clock);
        clock.restart();
        MovieView view({MovieView::Renderer::Software, MoviePlayer::Sound::Silent}, nullptr);
        view.resize(640, 360);
        view.show();
        const auto made = milliseconds(clock);
        QSignalSpy shown(&view, &MovieView::firstFrameShown);
        clock.restart();
        view.setMovie(*movie);
        const auto called = milliseconds(clock);
        double longest = 0; // between two turns of the event loop
        QElapsedTimer turn;
        turn.start();
        QTimer beat;
        QObject::connect(&beat, &QTimer::timeout, &view, [&] {
            longest = std::max(longest, milliseconds(turn));
            turn.restart();
        });
        beat.start(2);
        if (shown.isEmpty())
            shown.wait(kWait);
        const auto first = milliseconds(clock);
        std::vector<double> seeks;
        QSignalSpy settled(&view, &MovieView::settled);
        if (!view.isSettled())
            settled.wait(kWait);
        for (int i = 1; i <= kSeeks; ++i) {
            clock.restart();
            const auto duration = view.duration();
            settled.clear();
            view.setCurrentTime(
                {duration.value / kSeeks * (i * 17 % kSeeks) + duration.value / 97, duration.scale});
            if (!settled.wait(kWait))
                return false;
            seeks.push_back(milliseconds(clock));
        }
        std::sort(seeks.begin(), seeks.end());
        std::printf("%s: open %.0f, view made %.0f, setMovie %.1f, first picture %.0f (interface kept %.1f "
                    "at most), seek "
                    "%.1f (median) %.1f (slowest) milliseconds; %.0f megabytes at most\n",
            path, opened, made, called, first, longest, seeks[kSeeks / 2], seeks.back(), megabytesAtMost());
        return true;
    }

} // namespace
} // namespace reelwright

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    bool isGood = true;
    for (int i = 1; i < argc; ++i)
        isGood = reelwright::measure(argv[i]) && isGood;
    return isGood ? 0 : 1;
}

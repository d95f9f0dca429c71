#include "app/player/TransportBar.h"

#include "app/player/FullScreen.h"
#include "app/player/MovieView.h"
#include "app/player/Scrubber.h"
#include "app/player/TransportButton.h"
#include "movie/QTTrack.h"
#include "movie/samples/FrameTimes.h"
#include "tests/app/PlayerTest.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QtTest>

#include <cmath>
#include <functional>
#include <optional>

namespace reelwright {
namespace {

    using test::becomes;
    constexpr int kWait = test::kPlayerWait;
    using Sign = TransportButton::Sign;

    /// A window as documents have it: the picture over its bar.
    struct Window : QWidget
    {
        Window()
        {
            auto* rows = new QVBoxLayout(this);
            rows->addWidget(&view, 1);
            rows->addWidget(&bar);
            resize(480, 400);
            show();
            view.setFocus();
        }
        // Children of this widget.
        MovieView& view = *new MovieView({MovieView::Renderer::Software, MoviePlayer::Sound::Silent}, this);
        TransportBar& bar = *new TransportBar(view, this);
        FullScreen& fullScreen = *new FullScreen(view);

        [[nodiscard]] TransportButton* button(const char* name) const { return buttonOf(bar, name); }
        static TransportButton* buttonOf(const QWidget& where, const char* name)
        {
            for (auto* candidate : where.findChildren<TransportButton*>())
                if (candidate->accessibleName() == QLatin1String(name))
                    return candidate;
            return nullptr;
        }
        [[nodiscard]] Scrubber* scrubber() const { return bar.findChild<Scrubber*>(); }
        [[nodiscard]] QSlider* volume() const
        {
            for (auto* slider : bar.findChildren<QSlider*>())
                if (slider != scrubber())
                    return slider;
            return nullptr;
        }
        [[nodiscard]] TransportBar* overlay() const { return view.findChild<TransportBar*>(); }
    };

    /// The pointer moves, no button pressed. Qt's own helper moves the pointer of the screen, which is not
    /// always over the window.
    void hover(QWidget& widget, const QPointF& place)
    {
        QMouseEvent event(
            QEvent::MouseMove, place, widget.mapToGlobal(place), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        if (widget.hasMouseTracking()) // else nobody would tell it
            QApplication::sendEvent(&widget, &event);
    }

    void wheel(QWidget* widget, int delta)
    {
        const QPointF middle(widget->rect().center());
        QWheelEvent event(middle, widget->mapToGlobal(middle), {}, {0, delta}, Qt::NoButton, Qt::NoModifier,
            Qt::NoScrollPhase, false);
        QApplication::sendEvent(widget, &event);
    }

} // namespace

class TransportBarTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyControlHasANameAndFitsANarrowWindow();
    void nothingCanBePlayedWithoutAMovie();
    void buttonsMoveByFramesAndToTheEnds();
    void playButtonShowsWhatTheViewDoes();
    void soundAndLoopFollowTheViewAndTheViewThem();
    void clickJumpsToTheFrameUnderThePointer();
    void draggingPausesAndPlayingGoesOnAfterIt();
    void wheelAndKeysStepByFrames();
    void keysOfTheViewWorkFromTheBarAndWithoutIt();
    void signsTakeTheColourOfThePalette();
    void fullScreenGoesAndComesBackWhilePlaying();
    void fullScreenBarHidesWhenThePointerRests();
    void menuDoesWhatItSays();

private:
    void load(MovieView& view) const;
    [[nodiscard]] QTTime frame(int number) const;
    [[nodiscard]] int frameOf(const QTTime& time) const;

    std::optional<QTMovie> m_movie;
    FrameTimes m_frames;
    int m_frameCount = 0;
};

void TransportBarTest::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    auto movie = QTMovie::open(REELWRIGHT_SOURCE_DIR "/samples/pal-25.mov");
    QVERIFY(movie);
    m_movie = *movie;
    m_frames = FrameTimes {movie->tracksOfMediaType(QTMediaTypeVideo).front()};
    m_frameCount = frameOf(*m_frames.last()) + 1;
    QVERIFY(m_frameCount > 20);
}

void TransportBarTest::load(MovieView& view) const
{
    QSignalSpy shown(&view, &MovieView::firstFrameShown);
    view.setMovie(*m_movie);
    QVERIFY(shown.wait(kWait));
    QVERIFY(becomes([&] { return view.isSettled(); }));
}

QTTime TransportBarTest::frame(int number) const
{
    return {number, 25};
}

int TransportBarTest::frameOf(const QTTime& time) const
{
    const auto exact = atScale(time, 25);
    return exact == time ? static_cast<int>(exact.value) : -1;
}

void TransportBarTest::everyControlHasANameAndFitsANarrowWindow()
{
    Window window;
    auto* field = new QLabel(QStringLiteral("00:00:00:00"));
    window.bar.addWidget(field);
    window.resize(440, 300);
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    QCOMPARE(window.width(), 440);
    QList<QWidget*> controls {field, window.scrubber(), window.volume()};
    for (auto* button : window.bar.findChildren<TransportButton*>()) {
        QVERIFY(!button->toolTip().isEmpty());
        controls << button;
    }
    QCOMPARE(controls.size(), 3 + 8);
    QList<QRect> places;
    for (auto* control : controls) {
        QVERIFY2(
            control == field || !control->accessibleName().isEmpty(), control->metaObject()->className());
        const QRect place(control->mapTo(&window.bar, QPoint()), control->size());
        QVERIFY2(window.bar.rect().contains(place), qPrintable(control->accessibleName()));
        QVERIFY(place.width() >= control->minimumSizeHint().width());
        for (const auto& other : places)
            QVERIFY(place == other || !place.intersects(other));
        places << place;
    }
}

void TransportBarTest::nothingCanBePlayedWithoutAMovie()
{
    Window window;
    QVERIFY(!window.button("Play")->isEnabled());
    QVERIFY(!window.scrubber()->isEnabled());
    QVERIFY(window.button("Mute")->isEnabled());
    load(window.view);
    QVERIFY(window.button("Play")->isEnabled());
    QVERIFY(window.scrubber()->isEnabled());
    window.view.clear();
    QVERIFY(!window.button("Play")->isEnabled());
}

void TransportBarTest::buttonsMoveByFramesAndToTheEnds()
{
    Window window;
    load(window.view);
    const auto click = [&](const char* name) { window.button(name)->click(); };
    click("Frame Forward");
    click("Frame Forward");
    QCOMPARE(window.view.currentTime(), frame(2));
    click("Frame Back");
    QCOMPARE(window.view.currentTime(), frame(1));
    click("To End");
    QCOMPARE(window.view.currentTime(), frame(m_frameCount - 1));
    QVERIFY(window.scrubber()->value() > window.scrubber()->maximum() * 0.9);
    click("To Start");
    QCOMPARE(window.view.currentTime(), frame(0));
    QCOMPARE(window.scrubber()->value(), 0);
}

void TransportBarTest::playButtonShowsWhatTheViewDoes()
{
    Window window;
    load(window.view);
    window.button("Play")->click();
    QVERIFY(window.view.isPlaying());
    QVERIFY(!window.button("Play"));
    QCOMPARE(window.button("Pause")->sign(), Sign::Pause);
    QVERIFY(becomes([&] { return window.scrubber()->value() > 0; }));
    window.view.pause();
    QCOMPARE(window.button("Play")->sign(), Sign::Play);
}

void TransportBarTest::soundAndLoopFollowTheViewAndTheViewThem()
{
    Window window;
    auto* volume = window.volume();
    volume->setValue(40);
    QCOMPARE(window.view.volume(), 40);
    window.view.setVolume(70);
    QCOMPARE(volume->value(), 70);
    auto* mute = window.button("Mute");
    mute->click();
    QVERIFY(window.view.isMuted());
    QCOMPARE(mute->sign(), Sign::Muted);
    window.view.setMuted(false);
    QVERIFY(!mute->isChecked());
    QCOMPARE(mute->sign(), Sign::Sound);
    volume->setValue(0);
    QCOMPARE(mute->sign(), Sign::Muted);
    window.button("Loop")->click();
    QVERIFY(window.view.isLooping());
    window.view.setLooping(false);
    QVERIFY(!window.button("Loop")->isChecked());
}

void TransportBarTest::clickJumpsToTheFrameUnderThePointer()
{
    Window window;
    load(window.view);
    auto* scrubber = window.scrubber();
    const int middle = scrubber->height() / 2;
    const struct
    {
        double place; ///< of the width
        double least, most; ///< of the frames
    } facts[] = {{0.5, 0.46, 0.54}, {0.999, 1, 1}, {0.25, 0.2, 0.3}, {0.001, 0, 0}};
    for (const auto& fact : facts) {
        QTest::mouseClick(
            scrubber, Qt::LeftButton, {}, {static_cast<int>(scrubber->width() * fact.place), middle});
        const int shown = frameOf(window.view.currentTime());
        QVERIFY2(shown >= std::floor(fact.least * (m_frameCount - 1))
                && shown <= std::ceil(fact.most * (m_frameCount - 1)),
            qPrintable(QString::number(shown)));
        QVERIFY(becomes([&] { return window.view.isSettled(); }));
    }
}

void TransportBarTest::draggingPausesAndPlayingGoesOnAfterIt()
{
    Window window;
    load(window.view);
    window.view.setRate(2);
    auto* scrubber = window.scrubber();
    const int middle = scrubber->height() / 2;
    QSignalSpy times(&window.view, &MovieView::timeChanged);
    QTest::mousePress(scrubber, Qt::LeftButton, {}, {scrubber->width() / 2, middle});
    QVERIFY(!window.view.isPlaying());
    QVERIFY(window.button("Pause")); // the user did not pause
    for (int x = scrubber->width() / 2; x > scrubber->width() / 4; --x)
        QTest::mouseMove(scrubber, {x, middle});
    const auto chosen = window.view.currentTime();
    QVERIFY(frameOf(chosen) > 0 && frameOf(chosen) < m_frameCount / 3);
    for (const auto& told : times)
        QVERIFY(frameOf(told.front().value<QTTime>()) >= 0); // whole frames only
    // However many places were passed, what is shown at last is the one where it stopped.
    QVERIFY(becomes([&] { return window.view.isSettled(); }));
    QCOMPARE(window.view.currentTime(), chosen);
    QTest::mouseRelease(scrubber, Qt::LeftButton, {}, {scrubber->width() / 4, middle});
    QCOMPARE(window.view.rate(), 2.0);
    QVERIFY(becomes([&] { return window.view.currentTime() > chosen; }));
}

void TransportBarTest::wheelAndKeysStepByFrames()
{
    Window window;
    load(window.view);
    auto* scrubber = window.scrubber();
    wheel(scrubber, 120);
    wheel(scrubber, 60); // half a notch
    QCOMPARE(window.view.currentTime(), frame(1));
    wheel(scrubber, 60);
    QCOMPARE(window.view.currentTime(), frame(2));
    wheel(scrubber, -120);
    QCOMPARE(window.view.currentTime(), frame(1));
    QTest::keyClick(scrubber, Qt::Key_Right);
    QTest::keyClick(scrubber, Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(window.view.currentTime(), frame(12));
    QTest::keyClick(scrubber, Qt::Key_Left);
    QCOMPARE(window.view.currentTime(), frame(11));
    QTest::keyClick(scrubber, Qt::Key_End);
    QCOMPARE(window.view.currentTime(), frame(m_frameCount - 1));
    QTest::keyClick(scrubber, Qt::Key_Home);
    QCOMPARE(window.view.currentTime(), frame(0));
}

void TransportBarTest::keysOfTheViewWorkFromTheBarAndWithoutIt()
{
    Window window;
    load(window.view);
    QTest::keyClick(window.scrubber(), Qt::Key_L);
    QCOMPARE(window.view.rate(), 1.0);
    QTest::keyClick(window.scrubber(), Qt::Key_K);
    QCOMPARE(window.view.rate(), 0.0);
    QTest::mouseClick(window.button("Frame Forward"), Qt::LeftButton);
    QVERIFY(window.view.hasFocus()); // clicks leave it there
    window.bar.hide();
    QTest::keyClick(&window.view, Qt::Key_M, Qt::ShiftModifier);
    QVERIFY(window.view.isMuted());
    QTest::keyClick(&window.view, Qt::Key_Space);
    QVERIFY(window.view.isPlaying());
}

void TransportBarTest::signsTakeTheColourOfThePalette()
{
    for (int number = 0; number <= static_cast<int>(Sign::LeaveFullScreen); ++number) {
        TransportButton button(static_cast<Sign>(number), nullptr);
        button.resize(64, 64);
        button.setIconSize({48, 48});
        for (const auto* color : {"#123456", "#fedcba"}) {
            QPalette palette(QColor(128, 128, 128));
            palette.setColor(QPalette::ButtonText, QColor(QLatin1String(color)));
            button.setPalette(palette);
            const auto image = button.grab().toImage();
            int coloured = 0;
            QRect reach;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    if (image.pixelColor(x, y) == QColor(QLatin1String(color))) {
                        ++coloured;
                        reach |= QRect(x, y, 1, 1);
                    }
            QVERIFY2(coloured > 150, qPrintable(QStringLiteral("sign %1").arg(number)));
            QVERIFY(reach.width() > 24 && reach.height() > 24 && QRect(8, 8, 48, 48).contains(reach));
        }
    }
}

void TransportBarTest::fullScreenGoesAndComesBackWhilePlaying()
{
    Window window;
    load(window.view);
    window.view.setLooping(true);
    QVERIFY(becomes([&] { return window.view.width() > 300; }));
    const auto place = window.view.geometry();
    window.view.play();
    QSignalSpy changes(&window.view, &MovieView::fullScreenChanged);
    QTest::keyClick(&window.view, Qt::Key_F);
    QVERIFY(window.view.isFullScreen());
    QVERIFY(window.fullScreen.isActive());
    QVERIFY(window.view.isWindow());
    QVERIFY(becomes([&] { return window.view.size() == window.screen()->size(); }));
    QVERIFY(window.button("Leave Full Screen"));
    QVERIFY(window.view.isPlaying());
    auto time = window.view.currentTime();
    QVERIFY(becomes([&] { return window.view.currentTime() != time; }));

    for (const auto key : {Qt::Key_Escape, Qt::Key_F, Qt::Key_F11}) {
        if (!window.fullScreen.isActive())
            window.fullScreen.enter();
        QTest::keyClick(&window.view, key);
        QVERIFY(!window.view.isFullScreen());
        QCOMPARE(window.view.window(), &window);
        QVERIFY(window.view.isVisible());
        QVERIFY(becomes([&] { return window.view.geometry() == place; }));
        QVERIFY(!window.button("Leave Full Screen"));
        QVERIFY(window.view.isPlaying());
        time = window.view.currentTime();
        QVERIFY(becomes([&] { return window.view.currentTime() != time; }));
    }
    QCOMPARE(changes.count(), 6);
    window.fullScreen.enter();
    window.view.close(); // as a window manager does it
    QVERIFY(!window.fullScreen.isActive());
    QVERIFY(window.view.isVisible());
    window.fullScreen.enter(); // and ends in it
}

void TransportBarTest::fullScreenBarHidesWhenThePointerRests()
{
    Window window;
    load(window.view);
    QElapsedTimer clock;
    clock.start();
    window.fullScreen.enter();
    QVERIFY(window.overlay()->isVisible());
    QVERIFY(becomes([&] { return !window.overlay()->isVisible(); }));
    QVERIFY2(clock.elapsed() >= 1900 && clock.elapsed() < 6000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(window.view.cursor().shape(), Qt::BlankCursor);
    hover(window.view, {40, 40});
    QVERIFY(becomes([&] { return window.overlay()->isVisible(); }));
    QVERIFY(window.view.cursor().shape() != Qt::BlankCursor);
    window.fullScreen.setBarWanted(false);
    QVERIFY(!window.overlay()->isVisible());
    hover(window.view, {60, 60});
    QCoreApplication::processEvents();
    QVERIFY(!window.overlay()->isVisible());
    window.fullScreen.setBarWanted(true);
    hover(window.view, {80, 80});
    QVERIFY(becomes([&] { return window.overlay()->isVisible(); }));
    Window::buttonOf(*window.overlay(), "Leave Full Screen")->click();
    QVERIFY(!window.fullScreen.isActive());
}

void TransportBarTest::menuDoesWhatItSays()
{
    Window window;
    load(window.view);
    const auto choose = [&](const char* text) {
        QContextMenuEvent event(
            QContextMenuEvent::Keyboard, {10, 10}, window.view.mapToGlobal(QPoint(10, 10)));
        QApplication::sendEvent(&window.view, &event);
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu)
            return false;
        bool found = false;
        for (auto* action : menu->actions())
            if (action->text() == QLatin1String(text)) {
                found = true;
                action->trigger();
            }
        menu->close();
        return found;
    };
    QVERIFY(choose("Frame Forward"));
    QCOMPARE(window.view.currentTime(), frame(1));
    QVERIFY(choose("To End"));
    QVERIFY(choose("Frame Back"));
    QCOMPARE(window.view.currentTime(), frame(m_frameCount - 2));
    QVERIFY(choose("To Start"));
    QVERIFY(choose("Loop") && choose("Mute") && choose("Play"));
    QVERIFY(window.view.isLooping() && window.view.isMuted() && window.view.isPlaying());
    QVERIFY(choose("Pause"));
    QVERIFY(!window.view.isPlaying());
    QVERIFY(choose("Full Screen"));
    QVERIFY(window.fullScreen.isActive());
    connect(&window.view, &MovieView::contextMenuShown, &window.view,
        [](QMenu& menu) { menu.addAction(QStringLiteral("Another")); });
    QVERIFY(choose("Another"));
}

} // namespace reelwright

QTEST_MAIN(reelwright::TransportBarTest)
#include "TransportBarTest.moc"

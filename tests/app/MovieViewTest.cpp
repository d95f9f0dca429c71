#include "app/player/MovieView.h"

#include "movie/QTTrack.h"
#include "movie/atoms/ByteWriter.h"
#include "movie/atoms/HeaderAtoms.h"
#include "movie/samples/SampleTable.h"
#include "tests/app/PlayerTest.h"

#include <QApplication>
#include <QImage>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <functional>

namespace reelwright {
namespace {

    /// Frames of the test clips: each has a grey of its own, and a red box in its upper left quarter.
    constexpr int kFrames = 50;
    using test::becomes;
    constexpr int kWait = test::kPlayerWait;

    struct Clip
    {
        const char* name;
        QStringList coding; ///< of the picture
        const char* rate;
        bool hasSound;
    };

    QStringList words(const char* text)
    {
        return QString::fromLatin1(text).split(QLatin1Char(' '));
    }

    const Clip& clip(const char* name)
    {
        static const Clip kClips[] = {
            {"long-groups.mov", words("-c:v libx264 -preset ultrafast -qp 4 -bf 2 -g 40"), "25", true},
            {"ntsc.mov", words("-c:v libx264 -preset ultrafast -qp 4 -bf 2 -g 12"), "30000/1001", true},
            {"intra.mov", words("-c:v prores_ks"), "24000/1001", false},
            {"fast.mp4", words("-c:v libx264 -preset ultrafast -qp 4 -g 12"), "240", false},
        };
        for (const auto& candidate : kClips)
            if (QLatin1String(candidate.name) == QLatin1String(name))
                return candidate;
        qFatal("no such clip");
    }

    bool isRed(const QColor& color)
    {
        return color.red() > 150 && color.green() < 90 && color.blue() < 90;
    }

    MovieView::Options quiet()
    {
        return {MovieView::Renderer::Software, MoviePlayer::Sound::Silent};
    }

} // namespace

class MovieViewTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void firstFrameAppearsWithoutBeingAsked();
    void everyFrameIsReachedBySeek_data();
    void everyFrameIsReachedBySeek();
    void stepsReachEveryFrameForwardAndBack_data();
    void stepsReachEveryFrameForwardAndBack();
    void stepsAskedForFasterThanTheyAreShownAllCount();
    void editedMatrixShowsWithoutSaving_data();
    void editedMatrixShowsWithoutSaving();
    void timeStaysWhenTheMovieIsReplaced();
    void gapIsEmptyAndTimeGoesOnInIt();
    void disabledPictureIsNotShown();
    void playingReachesTheEndAndStartsOverFromThere();
    void pictureThatCannotBeDecodedIsSaidAndTheRestGoesOn();
    void missingMediaAreSaid();
    void soundOnlySaysSo();
    void keysControlThePlayer();
    void replacingAndDestroyingWhileLoadingIsSafe();
    void millionSamplesAreShownSoonAndLetGoAtOnce();

private:
    QString fileOf(const char* name);
    QTMovie open(const char* name);
    static int greyFrameIn(const QImage& image);
    static QImage pictureOf(MovieView& view);
    static int frameIn(MovieView& view) { return greyFrameIn(pictureOf(view)); }
    /// What is shown when it is that frame, or when there was time enough for it.
    static int awaitedFrame(MovieView& view, int frame)
    {
        static_cast<void>(becomes([&] { return frameIn(view) == frame; }));
        return frameIn(view);
    }
    static QTTime frameTime(const QTMovie& movie, int frame);
    static void show(MovieView& view, const QTMovie& movie);
    template <class Edit> static QTMovie edited(QTMovie movie, Edit edit)
    {
        const EditableScope scope {movie};
        edit(movie);
        return movie;
    }

    QTemporaryDir m_folder;
};

void MovieViewTest::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
        QSKIP("the program ffmpeg is not installed");
    QVERIFY(m_folder.isValid());
}

QString MovieViewTest::fileOf(const char* name)
{
    const auto& wanted = clip(name);
    const auto path = m_folder.filePath(QString::fromLatin1(name));
    if (QFile::exists(path))
        return path;
    QStringList arguments = words("-nostdin -v error -f lavfi -i");
    arguments << QStringLiteral("color=s=160x96:r=%1,format=yuv420p,geq=lum='N*4+16':cb=128:cr=128,"
                                "drawbox=w=80:h=48:color=red:t=fill")
                     .arg(QLatin1String(wanted.rate));
    if (wanted.hasSound)
        arguments << words("-f lavfi -i sine=d=3");
    arguments << QStringLiteral("-frames:v") << QString::number(kFrames) << wanted.coding;
    if (wanted.hasSound)
        arguments << words("-shortest -c:a aac");
    arguments << path;
    if (QProcess::execute(QStringLiteral("ffmpeg"), arguments) != 0)
        qFatal("ffmpeg made no %s", name);
    return path;
}

QTMovie MovieViewTest::open(const char* name)
{
    auto movie = QTMovie::open(fileOf(name).toStdString());
    if (!movie)
        qFatal("%s: %s", name, movie.error().message().c_str());
    return *movie;
}

/// The picture as it is on the screen, without what surrounds it.
QImage MovieViewTest::pictureOf(MovieView& view)
{
    const auto image = view.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QRect inner = image.rect().adjusted(2, 2, -2, -2);
    return image.copy(inner);
}

/// Which frame this is, by the grey of its lower right quarter; -1 when it is none.
int MovieViewTest::greyFrameIn(const QImage& image)
{
    const auto color = image.pixelColor(image.width() * 3 / 4, image.height() * 3 / 4);
    if (std::abs(color.red() - color.green()) > 6
        || !isRed(image.pixelColor(image.width() / 4, image.height() / 4)))
        return -1;
    return qRound(color.green() * 219.0 / 255.0 / 4.0);
}

QTTime MovieViewTest::frameTime(const QTMovie& movie, int frame)
{
    const FrameTimes times {movie.tracksOfMediaType(QTMediaTypeVideo).front()};
    auto time = times.at({0, 1})->start;
    for (int i = 0; i < frame; ++i)
        time = times.next(time).value_or(time);
    return time;
}

void MovieViewTest::show(MovieView& view, const QTMovie& movie)
{
    QSignalSpy shown(&view, &MovieView::firstFrameShown);
    view.setMovie(movie);
    QVERIFY(shown.wait(kWait));
    QVERIFY(becomes([&] { return view.isSettled(); }));
}

void MovieViewTest::firstFrameAppearsWithoutBeingAsked()
{
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    view.show();
    show(view, open("long-groups.mov"));
    QCOMPARE(frameIn(view), 0);
    QVERIFY(!view.isPlaying());
    QVERIFY(view.message().isEmpty());
    QCOMPARE(view.duration().seconds(), 2.0);
}

void MovieViewTest::everyFrameIsReachedBySeek_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const auto* name : {"long-groups.mov", "ntsc.mov", "intra.mov", "fast.mp4"})
        QTest::newRow(name) << QByteArray(name);
}

void MovieViewTest::everyFrameIsReachedBySeek()
{
    QFETCH(QByteArray, name);
    const auto movie = open(name.constData());
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    show(view, movie);
    // In an order in which no seek can profit from the one before.
    for (int i = 1; i < kFrames; ++i) {
        const int frame = i * 17 % kFrames;
        const auto time = frameTime(movie, frame);
        view.setCurrentTime(atScale(time, movie.timeScale()));
        QCOMPARE(view.currentTime(), time);
        QCOMPARE(awaitedFrame(view, frame), frame);
        QVERIFY(becomes([&] { return view.isSettled(); }));
    }
    // A time inside a frame shows that frame, not the next one.
    const auto inside = frameTime(movie, 20) + QTTime {2, 3 * 240};
    view.setCurrentTime(inside);
    QCOMPARE(awaitedFrame(view, 20), 20);
    QCOMPARE(view.currentTime(), frameTime(movie, 20));
}

void MovieViewTest::stepsReachEveryFrameForwardAndBack_data()
{
    everyFrameIsReachedBySeek_data();
}

void MovieViewTest::stepsReachEveryFrameForwardAndBack()
{
    QFETCH(QByteArray, name);
    const auto movie = open(name.constData());
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    show(view, movie);
    for (int frame = 1; frame < kFrames; ++frame) {
        view.stepForward();
        QCOMPARE(view.currentTime(), frameTime(movie, frame));
        QCOMPARE(awaitedFrame(view, frame), frame);
        QVERIFY(becomes([&] { return view.isSettled(); }));
    }
    view.stepForward();
    QCOMPARE(view.currentTime(), frameTime(movie, kFrames - 1));
    for (int frame = kFrames - 2; frame >= 0; --frame) {
        view.stepBackward();
        QCOMPARE(view.currentTime(), frameTime(movie, frame));
        QCOMPARE(awaitedFrame(view, frame), frame);
        QVERIFY(becomes([&] { return view.isSettled(); }));
    }
    view.stepBackward();
    QCOMPARE(view.currentTime(), frameTime(movie, 0));
}

void MovieViewTest::stepsAskedForFasterThanTheyAreShownAllCount()
{
    const auto movie = open("long-groups.mov");
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    show(view, movie);
    // A step that waits for the picture of the one before would end by its limit only. A seek takes as long
    // as a loaded machine lets it.
    QElapsedTimer clock;
    clock.start();
    view.setCurrentTime(frameTime(movie, 29));
    QVERIFY(becomes([&] { return view.isSettled(); }));
    const auto seek = clock.restart();
    view.gotoBeginning();
    QVERIFY(becomes([&] { return view.isSettled(); }));
    clock.restart();
    for (int i = 0; i < 30; ++i)
        view.stepForward();
    for (int i = 0; i < 5; ++i)
        view.stepBackward();
    QCOMPARE(view.currentTime(), frameTime(movie, 25));
    QCOMPARE(awaitedFrame(view, 25), 25);
    QVERIFY(becomes([&] { return view.isSettled(); }));
    QVERIFY2(clock.elapsed() < 1400 + 10 * seek, qPrintable(QString::number(clock.elapsed())));
    // Nothing that was asked for before comes after it.
    view.setCurrentTime(frameTime(movie, 26));
    QCOMPARE(awaitedFrame(view, 26), 26);
    QVERIFY(becomes([&] { return view.isSettled(); }));
    QCOMPARE(frameIn(view), 26);
}

void MovieViewTest::editedMatrixShowsWithoutSaving_data()
{
    QTest::addColumn<double>("degrees");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<double>("redX");
    QTest::addColumn<double>("redY");
    QTest::newRow("as it is") << 0.0 << false << 0.25 << 0.25;
    QTest::newRow("right") << 90.0 << false << 0.75 << 0.25;
    QTest::newRow("half turn") << 180.0 << false << 0.75 << 0.75;
    QTest::newRow("left") << -90.0 << false << 0.25 << 0.75;
    QTest::newRow("mirrored") << 0.0 << true << 0.75 << 0.25;
    QTest::newRow("right and mirrored") << 90.0 << true << 0.25 << 0.25;
}

void MovieViewTest::editedMatrixShowsWithoutSaving()
{
    QFETCH(double, degrees);
    QFETCH(bool, mirrored);
    QFETCH(double, redX);
    QFETCH(double, redY);
    const auto movie = open("intra.mov");
    MovieView view(quiet(), nullptr);
    view.resize(404, 404);
    show(view, movie);
    const auto turned = edited(movie, [&](QTMovie& copy) {
        const auto track = copy.tracksOfMediaType(QTMediaTypeVideo).front();
        auto matrix = track.matrix().rotated(degrees);
        if (mirrored)
            matrix = matrix.scaled(-1, 1);
        QVERIFY(track.setMatrix(matrix));
    });
    show(view, turned);
    const auto image = pictureOf(view);
    const bool upright = std::abs(degrees) == 90;
    const QSizeF size = QSizeF(turned.naturalSize().width, turned.naturalSize().height)
                            .scaled(400, 400, Qt::KeepAspectRatio);
    QCOMPARE(size.height() > size.width(), upright);
    const QRectF box(QPointF((400 - size.width()) / 2, (400 - size.height()) / 2), size);
    const auto at = [&](double x, double y) {
        return image.pixelColor(
            static_cast<int>(box.x() + x * box.width()), static_cast<int>(box.y() + y * box.height()));
    };
    for (const double x : {0.25, 0.75})
        for (const double y : {0.25, 0.75})
            QCOMPARE(isRed(at(x, y)), x == redX && y == redY);
    // Nothing is drawn beside the picture.
    QCOMPARE(image.pixelColor(upright ? 5 : 200, upright ? 200 : 5), QColor(Qt::black));
}

void MovieViewTest::timeStaysWhenTheMovieIsReplaced()
{
    const auto movie = open("ntsc.mov");
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    auto started = movie;
    started.setCurrentTime(atScale(frameTime(movie, 7), movie.timeScale()));
    show(view, started);
    QCOMPARE(frameIn(view), 7);
    view.setCurrentTime(frameTime(movie, 31));
    show(view, edited(movie, [](QTMovie& copy) {
        QVERIFY(copy.tracksOfMediaType(QTMediaTypeSound).front().setEnabled(false));
    }));
    QCOMPARE(view.currentTime(), frameTime(movie, 31));
    QCOMPARE(awaitedFrame(view, 31), 31);
}

void MovieViewTest::gapIsEmptyAndTimeGoesOnInIt()
{
    const auto movie = edited(open("long-groups.mov"), [](QTMovie& copy) {
        const auto track = copy.tracksOfMediaType(QTMediaTypeVideo).front();
        const auto range = track.range();
        QVERIFY(track.setRange({{copy.timeScale(), copy.timeScale()}, range.duration})); // one second later
    });
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    show(view, movie);
    QCOMPARE(pictureOf(view).pixelColor(80, 48), QColor(Qt::black));
    view.setCurrentTime({1, 2});
    QVERIFY(becomes([&] { return view.isSettled(); }));
    QCOMPARE(view.currentTime(), (QTTime {1, 2}));
    QCOMPARE(pictureOf(view).pixelColor(80, 48), QColor(Qt::black));
    view.stepForward();
    QCOMPARE(awaitedFrame(view, 0), 0);
    QCOMPARE(view.currentTime(), (QTTime {1, 1}));
    view.setCurrentTime({0, 1});
    QVERIFY(becomes([&] { return view.isSettled(); }));

    // Played, the gap lasts as long as it says.
    QElapsedTimer clock;
    clock.start();
    view.play();
    bool wasInGap = false;
    QVERIFY(becomes([&] {
        return wasInGap
            = wasInGap || (view.currentTime() > QTTime {1, 4} && view.currentTime() < QTTime {3, 4});
    }));
    QVERIFY(becomes([&] { return frameIn(view) >= 1; }));
    QVERIFY(clock.elapsed() > 700);
    QVERIFY(becomes([&] { return view.currentTime() > (QTTime {1, 1}); }));
}

void MovieViewTest::disabledPictureIsNotShown()
{
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    const auto movie = open("long-groups.mov");
    show(view, movie);
    QCOMPARE(frameIn(view), 0);
    show(view, edited(movie, [](QTMovie& copy) {
        QVERIFY(copy.tracksOfMediaType(QTMediaTypeVideo).front().setEnabled(false));
    }));
    QCOMPARE(frameIn(view), -1);
    QCOMPARE(view.message(), QStringLiteral("Sound only"));
    show(view, movie);
    QCOMPARE(frameIn(view), 0);
    QVERIFY(view.message().isEmpty());
}

void MovieViewTest::playingReachesTheEndAndStartsOverFromThere()
{
    const auto movie = open("ntsc.mov");
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    show(view, movie);
    QSignalSpy ended(&view, &MovieView::ended);
    QSignalSpy states(&view, &MovieView::playStateChanged);
    QSignalSpy times(&view, &MovieView::timeChanged);
    view.play();
    QVERIFY(ended.wait(kWait));
    QVERIFY(!view.isPlaying());
    QCOMPARE(states.count(), 2);
    QVERIFY2(times.count() > kFrames / 3, qPrintable(QString::number(times.count())));
    QCOMPARE(view.currentTime(), frameTime(movie, kFrames - 1));
    QCOMPARE(awaitedFrame(view, kFrames - 1), kFrames - 1);
    // Every time that was told is the exact start of a frame.
    for (const auto& told : times) {
        const auto time = told.front().value<QTTime>();
        QCOMPARE(time.value * 30000 % (time.scale * 1001LL), 0);
    }
    view.play();
    QVERIFY(becomes([&] { return view.currentTime() < (QTTime {1, 1}); }));
    QVERIFY(view.isPlaying());
    view.pause();
    QVERIFY(
        becomes([&] { return view.isSettled() && frameTime(movie, frameIn(view)) == view.currentTime(); }));
}

void MovieViewTest::pictureThatCannotBeDecodedIsSaidAndTheRestGoesOn()
{
    const auto movie = edited(open("long-groups.mov"), [](QTMovie& copy) {
        const auto track = copy.tracksOfMediaType(QTMediaTypeVideo).front();
        auto* stsd = track.editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc});
        stsd->children.front().edit().type = "zQ9x"_cc;
    });
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    QSignalSpy failed(&view, &MovieView::failed);
    view.setMovie(movie);
    QVERIFY(failed.wait(kWait));
    QVERIFY2(view.message().contains(QStringLiteral("zQ9x")), qPrintable(view.message()));
    QCOMPARE(view.duration().seconds(), 2.0);
    view.setCurrentTime({1, 1});
    QCOMPARE(view.currentTime(), (QTTime {1, 1}));
    view.play();
    QVERIFY(becomes([&] { return view.currentTime() > (QTTime {5, 4}); })); // the sound plays
    QVERIFY(!view.message().isEmpty());
    show(view, open("long-groups.mov"));
    QVERIFY(view.message().isEmpty());
}

void MovieViewTest::missingMediaAreSaid()
{
    const auto path = m_folder.filePath(QStringLiteral("gone.mov"));
    QVERIFY(QFile::copy(fileOf("intra.mov"), path));
    auto movie = QTMovie::open(path.toStdString());
    QVERIFY(movie);
    const auto elsewhere = edited(*movie, [](QTMovie& copy) {
        const auto track = copy.tracksOfMediaType(QTMediaTypeVideo).front();
        auto* dref = track.editAtom()->edit({"mdia"_cc, "minf"_cc, "dinf"_cc, "dref"_cc});
        dref->children.front() = Cow<Atom>(
            Atom {"url "_cc, ByteWriter {}.u32(0).text("file:///nowhere/at-all.mov").u8(0).toBytes()});
    });
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    QSignalSpy failed(&view, &MovieView::failed);
    view.setMovie(elsewhere);
    QVERIFY(failed.wait(kWait));
    QVERIFY2(view.message().contains(QStringLiteral("at-all.mov")), qPrintable(view.message()));
    view.play();
    QVERIFY(!view.isPlaying());
}

void MovieViewTest::soundOnlySaysSo()
{
    MovieView view(quiet(), nullptr);
    auto movie = QTMovie::open(REELWRIGHT_SOURCE_DIR "/samples/audio-only.mov");
    QVERIFY(movie);
    show(view, *movie);
    QCOMPARE(view.message(), QStringLiteral("Sound only"));
    view.play();
    QVERIFY(becomes([&] { return view.currentTime() > (QTTime {1, 4}); }));
    view.clear();
    QVERIFY(view.message().isEmpty());
    QVERIFY(!view.isPlaying());
    QCOMPARE(view.currentTime(), (QTTime {0, 1}));
}

void MovieViewTest::keysControlThePlayer()
{
    const auto movie = open("intra.mov");
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    view.show();
    view.setFocus();
    show(view, movie);
    const auto frame = [&](int number) { return frameTime(movie, number); };
    QTest::keyClick(&view, Qt::Key_Right);
    QCOMPARE(view.currentTime(), frame(1));
    QTest::keyClick(&view, Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(view.currentTime(), frame(11));
    QTest::keyClick(&view, Qt::Key_Left);
    QCOMPARE(view.currentTime(), frame(10));
    QTest::keyClick(&view, Qt::Key_End);
    QCOMPARE(view.currentTime(), frame(kFrames - 1));
    QCOMPARE(awaitedFrame(view, kFrames - 1), kFrames - 1);
    QTest::keyClick(&view, Qt::Key_J);
    QCOMPARE(view.rate(), -1.0);
    QVERIFY(becomes([&] { return view.currentTime() < frame(kFrames - 8); }));
    QTest::keyClick(&view, Qt::Key_J);
    QCOMPARE(view.rate(), -2.0);
    QTest::keyClick(&view, Qt::Key_K);
    QVERIFY(!view.isPlaying());
    QTest::keyClick(&view, Qt::Key_Home);
    QCOMPARE(view.currentTime(), frame(0));
    QCOMPARE(awaitedFrame(view, 0), 0);
    QTest::keyClick(&view, Qt::Key_L);
    QTest::keyClick(&view, Qt::Key_L);
    QCOMPARE(view.rate(), 2.0);
    QTest::keyClick(&view, Qt::Key_Space);
    QVERIFY(!view.isPlaying());
    QTest::keyClick(&view, Qt::Key_Space);
    QCOMPARE(view.rate(), 1.0);
    QSignalSpy fullScreen(&view, &MovieView::fullScreenRequested);
    QTest::keyClick(&view, Qt::Key_F);
    QCOMPARE(fullScreen.count(), 1);
}

void MovieViewTest::replacingAndDestroyingWhileLoadingIsSafe()
{
    const QTMovie movies[] = {open("long-groups.mov"), open("intra.mov"), QTMovie {}, open("ntsc.mov")};
    QTimer pulse; // there is always an event to come
    pulse.start(1);
    for (int round = 0; round < 12; ++round) {
        auto view = std::make_unique<MovieView>(quiet(), nullptr);
        view->resize(324, 196);
        for (int i = 0; i <= round; ++i) {
            view->setMovie(movies[i % 4]);
            for (int event = 0; event < round * (round % 3) / 2; ++event)
                QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
            if (round == 7)
                view->play();
        }
    }
    // The last of many is the one that is shown.
    MovieView view(quiet(), nullptr);
    view.resize(324, 196);
    QSignalSpy shown(&view, &MovieView::firstFrameShown);
    for (int i = 0; i < 40; ++i)
        view.setMovie(movies[i % 4]);
    QVERIFY(becomes([&] { return view.isSettled() && shown.count() > 0; }));
    QCOMPARE(view.duration(), movies[3].duration());
    QCOMPARE(awaitedFrame(view, 0), 0);
}

void MovieViewTest::millionSamplesAreShownSoonAndLetGoAtOnce()
{
    constexpr std::uint32_t kSamples = 1'000'000;
    constexpr std::uint32_t kDuration = 1001; // of 24000: eleven hours and a half
    const auto movie = edited(open("intra.mov"), [](QTMovie& copy) {
        const auto track = copy.tracksOfMediaType(QTMediaTypeVideo).front();
        auto* mdia = track.editAtom()->edit({"mdia"_cc});
        auto* stbl = mdia->edit({"minf"_cc, "stbl"_cc});
        const auto table = SampleTable::parse(*stbl);
        // Each sample is the first picture, and has rows of its own in the tables.
        ByteWriter sizes;
        ByteWriter offsets;
        sizes.u32(0).u32(0).u32(kSamples);
        offsets.u32(0).u32(kSamples);
        for (std::uint32_t i = 0; i < kSamples; ++i) {
            sizes.u32(table.sampleSize(1));
            offsets.u32(static_cast<std::uint32_t>(table.chunkOffset(1)));
        }
        stbl->setLeaf("stsz"_cc, sizes.toBytes());
        stbl->setLeaf("stco"_cc, offsets.toBytes());
        stbl->setLeaf("stsc"_cc, ByteWriter {}.u32(0).u32(1).u32(1).u32(1).u32(1).toBytes());
        stbl->setLeaf("stts"_cc, ByteWriter {}.u32(0).u32(1).u32(kSamples).u32(kDuration).toBytes());
        auto header = MediaHeader::parse(mdia->find("mdhd"_cc)->head);
        QVERIFY(header);
        QCOMPARE(header->timeScale, 24000U);
        header->duration = std::uint64_t {kSamples} * kDuration;
        mdia->setLeaf("mdhd"_cc, header->write());
        QVERIFY(track.setRange({{0, copy.timeScale()},
            atScale({static_cast<std::int64_t>(kSamples) * kDuration, 24000}, copy.timeScale())}));
    });
    QVERIFY(movie.duration() > (QTTime {11 * 3600, 1}));
    auto view = std::make_unique<MovieView>(quiet(), nullptr);
    view->resize(324, 196);
    QSignalSpy shown(view.get(), &MovieView::firstFrameShown);
    QElapsedTimer clock;
    clock.start();
    view->setMovie(movie);
    const auto called = clock.elapsed();
    QVERIFY(shown.wait(kWait));
    const auto first = clock.elapsed();
    QCOMPARE(frameIn(*view), 0);
    qInfo("called %lld, first picture %lld milliseconds", static_cast<long long>(called),
        static_cast<long long>(first));
    QVERIFY(called < 500);
    QVERIFY(first < 3000); // some 150 on a machine that has nothing else to do

    QSignalSpy settled(view.get(), &MovieView::settled);
    constexpr QTTime kTenHours {10LL * 3600 * 24000, 24000};
    view->setCurrentTime(kTenHours);
    QVERIFY(settled.wait(kWait));
    QCOMPARE(frameIn(*view), 0);
    const auto time = view->currentTime();
    QVERIFY2(time <= kTenHours && time > kTenHours - (QTTime {1, 20}),
        qPrintable(QString::number(time.seconds(), 'f', 4)));
    QCOMPARE(time.value * 24000 % (time.scale * std::int64_t {kDuration}), 0);

    // Neither does the last movie of many hold up the interface, nor its end.
    clock.restart();
    for (int i = 0; i < 20; ++i)
        view->setMovie(movie);
    QVERIFY(clock.elapsed() < 1000);
    view->play();
    clock.restart();
    view.reset();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
}

} // namespace reelwright

QTEST_MAIN(reelwright::MovieViewTest)
#include "MovieViewTest.moc"

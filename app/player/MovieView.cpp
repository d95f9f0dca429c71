#include "app/player/MovieView.h"

#include "app/player/PictureSurface.h"
#include "app/player/TextOverlay.h"
#include "app/shell/Background.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr double kFastest = 8;
    constexpr int kFocusFrame = 2;

    QTTime timeAt(double seconds, std::int32_t scale)
    {
        return {std::llround(seconds * scale), scale};
    }

} // namespace

MovieView::Options MovieView::Options::fromEnvironment()
{
    Options options;
    const auto renderer = qEnvironmentVariable("REELWRIGHT_RENDERER");
    if (renderer == QLatin1String("software"))
        options.renderer = Renderer::Software;
    else if (renderer == QLatin1String("opengl"))
        options.renderer = Renderer::OpenGL;
    if (qEnvironmentVariable("REELWRIGHT_SOUND") == QLatin1String("off"))
        options.sound = MoviePlayer::Sound::Silent;
    return options;
}

MovieView::MovieView(QWidget* parent)
    : MovieView(Options::fromEnvironment(), parent)
{
}

MovieView::MovieView(Options options, QWidget* parent)
    : QWidget(parent)
    , m_options(options)
    , m_player(options.sound)
    , m_texts(new TextOverlay(this))
    , m_message(new QLabel(this))
{
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Movie"));
    setMinimumSize(160, 90);
    setAttribute(Qt::WA_OpaquePaintEvent);

    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);
    m_message->setMargin(12);
    m_message->setTextFormat(Qt::PlainText);
    m_message->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto colors = palette();
    colors.setColor(QPalette::WindowText, QColor(200, 200, 200));
    m_message->setPalette(colors);
    m_message->hide();

    connect(&m_player, &MoviePlayer::started, this, &MovieView::showStarted);
    connect(&m_player, &MoviePlayer::settled, this, &MovieView::showSettled);
    connect(&m_player, &MoviePlayer::positionChanged, this, &MovieView::showPosition);
    connect(&m_player, &MoviePlayer::endReached, this, &MovieView::finishPlaying);
    connect(&m_player, &MoviePlayer::failed, this, &MovieView::showFailure);
    connect(&m_maker, &QFutureWatcherBase::finished, this, &MovieView::accept);
    connect(&m_backward, &BackwardPlay::due, this, &MovieView::playBackward);

    if (!m_player.handle()) {
        say(tr("Movies cannot be shown: the player does not start."));
        return;
    }
    const bool wantsOpenGL = options.renderer == Renderer::OpenGL
        || (options.renderer == Renderer::Automatic && hasUsefulOpenGL());
    makeSurface(wantsOpenGL ? Renderer::OpenGL : Renderer::Software);
}

MovieView::~MovieView()
{
    // The player's pictures end before the player does.
    m_surface.reset();
}

void MovieView::makeSurface(Renderer renderer)
{
    m_surface.reset();
    m_surface = renderer == Renderer::OpenGL ? makeOpenGLSurface(m_player.handle(), this)
                                             : makeSoftwareSurface(m_player.handle(), this);
    if (!m_surface) {
        say(tr("Movies cannot be shown: there is nothing to draw them with."));
        return;
    }
    m_player.setMapsTones(renderer == Renderer::Software);
    m_surface->onReady = [this] { loadMovie(); };
    m_surface->onPicture = [this](bool isPlaced) {
        if (isPlaced && !m_player.isBusy() && std::exchange(m_waitsForPicture, false)) {
            say({});
            emit firstFrameShown();
        }
    };
    m_surface->onBroken = [this] {
        makeSurface(Renderer::Software);
        loadMovie();
    };
    m_surface->widget()->setFocusPolicy(Qt::NoFocus);
    m_surface->widget()->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_surface->widget()->lower();
    m_surface->widget()->show();
    layOut();
}

void MovieView::setMovie(const QTMovie& movie)
{
    if (!m_hasMovie)
        m_time = movie.currentTime();
    m_hasMovie = true;
    m_next = movie;
    if (!m_maker.isRunning())
        makeNext();
}

void MovieView::makeNext()
{
    // One at a time: of edits that come faster than they can be made ready, the last one counts.
    m_maker.setFuture(QtConcurrent::run(
        backgroundThreads(), [movie = *std::exchange(m_next, {})] { return PlayableMovie::make(movie); }));
}

void MovieView::accept()
{
    if (m_next) {
        makeNext();
        return;
    }
    if (!m_hasMovie)
        return;
    const auto before = m_playable.duration;
    m_playable = m_maker.future().takeResult();
    if (!sameFields(before, m_playable.duration))
        emit durationChanged(m_playable.duration);
    m_texts->setTexts(m_playable.texts, m_playable.placement);
    setTime(m_playable.snapped(m_time));
    loadMovie();
}

void MovieView::loadMovie()
{
    if (!m_hasMovie || !m_surface || !m_surface->isReady())
        return;
    m_wasCorrected = false;
    if (m_playable.feed.empty()) {
        m_waitsForPicture = false;
        m_player.unload();
        m_surface->clear();
        setRate(0);
        if (!m_playable.problem.isEmpty())
            emit failed(m_playable.problem);
        say(m_playable.problem);
        return;
    }
    m_waitsForPicture = !m_playable.feed.picture.empty();
    m_player.load(m_playable.feed, m_playable.playerTime(m_time));
    if (!m_playable.problem.isEmpty())
        emit failed(m_playable.problem);
}

void MovieView::clear()
{
    m_hasMovie = false;
    m_next.reset();
    m_playable = {};
    m_texts->setTexts({}, {});
    m_waitsForPicture = false;
    m_player.unload();
    setRate(0);
    if (m_surface)
        m_surface->clear();
    say({});
    m_time = {0, 600};
    emit durationChanged(m_playable.duration);
    emit timeChanged(m_time);
}

void MovieView::showStarted()
{
    if (!m_surface)
        return;
    if (!m_playable.feed.picture.empty()) {
        m_surface->setPlacement(m_playable.placement);
        updateGeometry();
        return;
    }
    m_surface->clear();
    say(m_playable.problem.isEmpty() ? tr("Sound only") : m_playable.problem);
    emit firstFrameShown();
}

void MovieView::setTime(const QTTime& time)
{
    const bool isOther = !sameFields(time, m_time);
    m_time = time;
    m_texts->setTime(m_time);
    if (isOther)
        emit timeChanged(m_time);
}

void MovieView::seekTo(const QTTime& time)
{
    m_wasCorrected = false;
    setTime(m_playable.snapped(time));
    if (m_surface && m_playable.isGapAt(m_time))
        m_surface->setBlank(true);
    m_player.seek(m_playable.playerTime(m_time));
}

void MovieView::setCurrentTime(const QTTime& time)
{
    if (!m_hasMovie) {
        setTime(time);
        return;
    }
    seekTo(time);
    m_backward.moveTo(m_time);
}

void MovieView::gotoBeginning()
{
    setCurrentTime({0, std::max(duration().scale, 1)});
}

void MovieView::gotoEnd()
{
    pause();
    setCurrentTime(duration());
}

void MovieView::showPosition(double seconds)
{
    if (m_player.isBusy() || m_rate < 0)
        return;
    const auto scale = std::max(duration().scale, 1000);
    if (m_rate > 0) {
        setTime(m_playable.snapped(timeAt(seconds, scale)));
        if (m_surface)
            m_surface->setBlank(m_playable.isGapAt(m_time));
        return;
    }
    // The player may have come to another frame than the tables say is there: once more, and not by a step.
    if (!m_wasCorrected && !m_playable.agrees(seconds, m_time)) {
        m_wasCorrected = true;
        m_player.seek(m_playable.playerTime(m_time));
    }
}

void MovieView::showSettled()
{
    if (m_surface)
        m_surface->setBlank(m_playable.isGapAt(m_time));
    emit settled();
}

bool MovieView::isSettled() const
{
    return !m_next && !m_maker.isRunning() && !m_player.isBusy() && !m_waitsForPicture;
}

void MovieView::showFailure(MoviePlayer::Failure failure, const QString& detail)
{
    m_waitsForPicture = false;
    const auto format = QString::fromStdString(m_playable.pictureFormat.text()).trimmed();
    QString text;
    if (failure == MoviePlayer::Failure::NoPicture)
        text = tr("The picture cannot be shown: \"%1\" cannot be decoded here.").arg(format);
    else
        text = tr("The movie cannot be played.");
    if (!m_playable.problem.isEmpty())
        text += QLatin1Char('\n') + m_playable.problem;
    else if (failure == MoviePlayer::Failure::Unreadable && !detail.isEmpty())
        text += QLatin1Char('\n') + detail;
    if (m_surface)
        m_surface->clear();
    say(text);
    emit failed(text);
}

void MovieView::finishPlaying()
{
    if (m_rate <= 0 || m_isLooping)
        return;
    setRate(0);
    setTime(m_playable.snapped(duration()));
    emit ended();
}

void MovieView::play()
{
    setRate(1);
}

void MovieView::pause()
{
    setRate(0);
}

void MovieView::togglePlaying()
{
    setRate(isPlaying() ? 0 : 1);
}

void MovieView::setRate(double rate)
{
    const auto wanted = !m_playable.feed.empty() ? std::clamp(rate, -kFastest, kFastest) : 0.0;
    if (wanted > 0 && m_rate <= 0 && m_playable.snapped(duration()) <= m_time)
        seekTo({0, 1}); // from the end it starts again
    const auto before = std::exchange(m_rate, wanted);
    if (wanted > 0)
        m_player.setSpeed(wanted);
    m_player.setPaused(wanted <= 0);
    if (wanted < 0)
        m_backward.start(m_time, -wanted);
    else
        m_backward.stop();
    if (before > 0 && wanted <= 0 && !m_player.isBusy())
        m_wasCorrected = true; // where it stopped is right by itself
    if (before != wanted)
        emit rateChanged(wanted);
    if ((before != 0) != (wanted != 0))
        emit playStateChanged(wanted != 0);
}

void MovieView::playBackward(const QTTime& time)
{
    if (m_player.isBusy())
        return; // the next picture is the one that is due then
    seekTo(time);
    if (time.value == 0)
        setRate(0);
}

void MovieView::step(int frames)
{
    pause();
    const auto target = m_playable.stepped(m_time, frames);
    if (target == m_time)
        return;
    // The player has the neighbour at hand; everything else has to be looked for.
    const auto shown = m_playable.frames.at(m_time);
    const bool isNeighbour = shown && frames == 1 && !shown->isGap && shown->end == target;
    if (!isNeighbour || m_player.isBusy()) {
        seekTo(target);
        return;
    }
    m_wasCorrected = false;
    setTime(target);
    m_player.stepForward(target.seconds());
}

void MovieView::setVolume(int percent)
{
    const auto wanted = std::clamp(percent, 0, 100);
    m_player.setVolume(wanted);
    if (std::exchange(m_volume, wanted) != wanted)
        emit volumeChanged(wanted);
}

void MovieView::setMuted(bool muted)
{
    m_player.setMuted(muted);
    if (std::exchange(m_isMuted, muted) != muted)
        emit mutedChanged(muted);
}

void MovieView::setLooping(bool looping)
{
    m_player.setLooping(looping);
    if (std::exchange(m_isLooping, looping) != looping)
        emit loopingChanged(looping);
}

QString MovieView::message() const
{
    return m_message->text();
}

void MovieView::say(const QString& message)
{
    m_message->setText(message);
    m_message->setVisible(!message.isEmpty());
    setAccessibleDescription(message);
}

QSize MovieView::sizeHint() const
{
    const QSizeF usual(640, 360);
    const auto& placement = m_playable.placement;
    return (placement.isEmpty() ? usual : placement.boxSize.scaled(usual, Qt::KeepAspectRatio)).toSize()
        + QSize(2 * kFocusFrame, 2 * kFocusFrame);
}

void MovieView::keyPressEvent(QKeyEvent* event)
{
    const bool isPlain = (event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier)) == Qt::NoModifier;
    const int frames = event->modifiers() & Qt::ShiftModifier ? 10 : 1;
    if (!isPlain) {
        QWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Space:
        if (!event->isAutoRepeat())
            togglePlaying();
        break;
    case Qt::Key_J:
        setRate(m_rate < 0 ? m_rate * 2 : -1);
        break;
    case Qt::Key_K:
        pause();
        break;
    case Qt::Key_L:
        setRate(m_rate > 0 ? m_rate * 2 : 1);
        break;
    case Qt::Key_Left:
        stepBackward(frames);
        break;
    case Qt::Key_Right:
        stepForward(frames);
        break;
    case Qt::Key_Home:
        gotoBeginning();
        break;
    case Qt::Key_End:
        gotoEnd();
        break;
    case Qt::Key_M:
        if (event->isAutoRepeat())
            break;
        if (event->modifiers() & Qt::ShiftModifier)
            setMuted(!isMuted());
        else
            emit chapterAsked();
        break;
    case Qt::Key_F:
        if (!event->isAutoRepeat())
            emit fullScreenRequested();
        break;
    default:
        QWidget::keyPressEvent(event);
        break;
    }
}

void MovieView::mousePressEvent(QMouseEvent* event)
{
    setFocus(Qt::MouseFocusReason);
    event->accept();
}

void MovieView::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const bool hasMovie = duration().value > 0;
    // The keys are told, and act in keyPressEvent.
    const auto add = [&](const QString& text, const QKeySequence& key, bool isEnabled, auto action) {
        auto* item = menu->addAction(text, this, action);
        item->setShortcut(key);
        item->setShortcutVisibleInContextMenu(true);
        item->setShortcutContext(Qt::WidgetShortcut);
        item->setEnabled(isEnabled);
        return item;
    };
    const auto addSwitch = [&](const QString& text, const QKeySequence& key, bool isOn, auto action) {
        auto* item = add(text, key, true, action);
        item->setCheckable(true);
        item->setChecked(isOn);
    };
    add(isPlaying() ? tr("Pause") : tr("Play"), Qt::Key_Space, hasMovie, [this] { togglePlaying(); });
    menu->addSeparator();
    add(tr("Frame Back"), Qt::Key_Left, hasMovie, [this] { stepBackward(); });
    add(tr("Frame Forward"), Qt::Key_Right, hasMovie, [this] { stepForward(); });
    add(tr("To Start"), Qt::Key_Home, hasMovie, [this] { gotoBeginning(); });
    add(tr("To End"), Qt::Key_End, hasMovie, [this] { gotoEnd(); });
    menu->addSeparator();
    addSwitch(tr("Loop"), {}, m_isLooping, [this] { setLooping(!m_isLooping); });
    addSwitch(tr("Mute"), Qt::SHIFT | Qt::Key_M, m_isMuted, [this] { setMuted(!m_isMuted); });
    addSwitch(tr("Full Screen"), Qt::Key_F, isFullScreen(), [this] { emit fullScreenRequested(); });
    emit contextMenuShown(*menu);
    menu->popup(event->globalPos());
}

void MovieView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit fullScreenRequested();
}

void MovieView::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    update();
}

void MovieView::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

void MovieView::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), hasFocus() ? palette().highlight().color() : QColor(Qt::black));
    painter.fillRect(inner(), Qt::black);
}

void MovieView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layOut();
}

void MovieView::layOut()
{
    if (m_surface)
        m_surface->widget()->setGeometry(inner());
    m_texts->setGeometry(inner());
    m_message->setGeometry(inner());
}

QRect MovieView::inner() const
{
    const int frame = isFullScreen() ? 0 : kFocusFrame;
    return rect().adjusted(frame, frame, -frame, -frame);
}

} // namespace reelwright

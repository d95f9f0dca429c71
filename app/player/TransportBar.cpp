#include "app/player/TransportBar.h"

#include "app/player/MovieView.h"
#include "app/player/Scrubber.h"
#include "app/player/TransportButton.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QVBoxLayout>

#include <cmath>
#include <utility>

namespace reelwright {
namespace {

    constexpr int kShortestVolume = 44;
    constexpr int kLongestVolume = 96;

} // namespace

TransportBar::TransportBar(MovieView& view, QWidget* parent)
    : QWidget(parent)
    , m_view(view)
    , m_scrubber(new Scrubber(this))
    , m_playback(new QWidget(this))
    , m_middle(new QHBoxLayout)
{
    using Sign = TransportButton::Sign;
    setAccessibleName(tr("Transport"));
    m_scrubber->setAccessibleName(tr("Position"));
    m_scrubber->setToolTip(tr("Position (drag to scrub)"));

    auto* playback = new QHBoxLayout(m_playback);
    playback->setContentsMargins(0, 0, 0, 0);
    playback->setSpacing(0);
    const auto addPlayback = [&](Sign sign, const QString& name, const QKeySequence& key, auto action) {
        auto* button = new TransportButton(sign, m_playback);
        button->setWords(name, key);
        connect(button, &QToolButton::clicked, this, action);
        playback->addWidget(button);
        return button;
    };
    addPlayback(Sign::ToStart, tr("To Start"), Qt::Key_Home, [this] { m_view.gotoBeginning(); });
    addPlayback(Sign::FrameBack, tr("Frame Back"), Qt::Key_Left, [this] {
        m_view.stepBackward();
    })->setAutoRepeat(true);
    m_play = addPlayback(Sign::Play, tr("Play"), Qt::Key_Space, [this] { m_view.togglePlaying(); });
    addPlayback(Sign::FrameForward, tr("Frame Forward"), Qt::Key_Right, [this] {
        m_view.stepForward();
    })->setAutoRepeat(true);
    addPlayback(Sign::ToEnd, tr("To End"), Qt::Key_End, [this] { m_view.gotoEnd(); });

    const auto addSwitch = [&](Sign sign, const QString& name, const QKeySequence& key, auto action) {
        auto* button = new TransportButton(sign, this);
        button->setCheckable(true);
        button->setWords(name, key);
        connect(button, &QToolButton::clicked, this, action);
        return button;
    };
    m_speed = new QLabel(this);
    m_speed->setForegroundRole(QPalette::PlaceholderText);
    m_speed->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_speed->setMinimumWidth(m_speed->fontMetrics().horizontalAdvance(QStringLiteral("\u22128\u00D7")) + 8);
    m_speed->setToolTip(tr("Speed"));
    m_mute
        = addSwitch(Sign::Sound, tr("Mute"), Qt::SHIFT | Qt::Key_M, [this](bool on) { m_view.setMuted(on); });
    m_loop = addSwitch(Sign::Loop, tr("Loop"), {}, [this](bool on) { m_view.setLooping(on); });
    m_fullScreen = addSwitch(Sign::FullScreen, tr("Full Screen"), Qt::Key_F, [this](bool on) {
        showFullScreen(!on); // until it is so
        emit m_view.fullScreenRequested();
    });
    m_volume = new QSlider(Qt::Horizontal, this);
    m_volume->setFocusPolicy(Qt::TabFocus);
    m_volume->setRange(0, 100);
    m_volume->setPageStep(10);
    m_volume->setMinimumWidth(kShortestVolume);
    m_volume->setMaximumWidth(kLongestVolume);
    m_volume->setAccessibleName(tr("Volume"));
    connect(m_volume, &QSlider::valueChanged, this, [this](int percent) { m_view.setVolume(percent); });

    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(6, 2, 6, 4);
    rows->setSpacing(0);
    rows->addWidget(m_scrubber);
    auto* lower = new QHBoxLayout;
    lower->setSpacing(2);
    lower->addWidget(m_playback);
    lower->addStretch(1);
    lower->addLayout(m_middle);
    lower->addStretch(1);
    lower->addWidget(m_speed);
    lower->addWidget(m_mute);
    lower->addWidget(m_volume, 1);
    lower->addWidget(m_loop);
    lower->addWidget(m_fullScreen);
    rows->addLayout(lower);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);

    connect(m_scrubber, &Scrubber::timeChosen, &m_view, &MovieView::setCurrentTime);
    connect(m_scrubber, &Scrubber::stepChosen, &m_view, &MovieView::stepForward);
    connect(m_scrubber, &QSlider::sliderPressed, this, &TransportBar::beginScrubbing);
    connect(m_scrubber, &QSlider::sliderReleased, this, &TransportBar::endScrubbing);

    connect(&m_view, &MovieView::timeChanged, m_scrubber, &Scrubber::setTime);
    connect(&m_view, &MovieView::durationChanged, this, &TransportBar::showDuration);
    connect(&m_view, &MovieView::playStateChanged, this, &TransportBar::showPlaying);
    connect(&m_view, &MovieView::rateChanged, this, &TransportBar::showSpeed);
    connect(&m_view, &MovieView::volumeChanged, this, &TransportBar::showSound);
    connect(&m_view, &MovieView::mutedChanged, this, &TransportBar::showSound);
    connect(&m_view, &MovieView::loopingChanged, m_loop, &QToolButton::setChecked);
    connect(&m_view, &MovieView::fullScreenChanged, this, &TransportBar::showFullScreen);
    m_loop->setChecked(m_view.isLooping());
    showDuration();
    showPlaying();
    showSpeed();
    showSound();
    showFullScreen(m_view.isFullScreen());
}

void TransportBar::addWidget(QWidget* widget)
{
    m_middle->addWidget(widget);
}

void TransportBar::showDuration()
{
    const bool hasMovie = m_view.duration().value > 0;
    m_scrubber->setDuration(m_view.duration());
    m_scrubber->setTime(m_view.currentTime());
    m_scrubber->setEnabled(hasMovie);
    m_playback->setEnabled(hasMovie);
}

void TransportBar::showPlaying()
{
    // Scrubbing a movie that plays is a short pause that nobody asked for.
    const bool isPlaying = m_view.isPlaying() || m_rateBefore != 0;
    m_play->setSign(isPlaying ? TransportButton::Sign::Pause : TransportButton::Sign::Play);
    m_play->setWords(isPlaying ? tr("Pause") : tr("Play"), Qt::Key_Space);
}

void TransportBar::showSpeed()
{
    const auto rate = m_view.rate();
    const auto speed = rate == 0 ? 1 : std::abs(rate);
    m_speed->setText((rate < 0 ? QStringLiteral("\u2212") : QString()) + QLocale().toString(speed, 'g', 3)
        + QStringLiteral("\u00D7"));
    m_speed->setAccessibleName(rate < 0 ? tr("Speed: %1 times backward").arg(speed) : tr("Speed: %1 times").arg(speed));
    m_speed->setForegroundRole(rate == 0 || rate == 1 ? QPalette::PlaceholderText : QPalette::WindowText);
}

void TransportBar::showSound()
{
    m_volume->setValue(m_view.volume());
    m_volume->setToolTip(tr("Volume: %1 %").arg(m_view.volume()));
    m_mute->setChecked(m_view.isMuted());
    const bool isSilent = m_view.isMuted() || m_view.volume() == 0;
    m_mute->setSign(isSilent ? TransportButton::Sign::Muted : TransportButton::Sign::Sound);
}

void TransportBar::showFullScreen(bool isFull)
{
    m_fullScreen->setChecked(isFull);
    m_fullScreen->setSign(
        isFull ? TransportButton::Sign::LeaveFullScreen : TransportButton::Sign::FullScreen);
    m_fullScreen->setWords(isFull ? tr("Leave Full Screen") : tr("Full Screen"), Qt::Key_F);
}

void TransportBar::beginScrubbing()
{
    m_rateBefore = m_view.rate();
    m_view.pause();
}

void TransportBar::endScrubbing()
{
    const auto rate = std::exchange(m_rateBefore, 0);
    if (rate != 0)
        m_view.setRate(rate);
    showPlaying();
    m_scrubber->setTime(m_view.currentTime());
}

void TransportBar::keyPressEvent(QKeyEvent* event)
{
    QCoreApplication::sendEvent(&m_view, event);
}

} // namespace reelwright

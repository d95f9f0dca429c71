#include "app/player/FullScreen.h"

#include "app/player/MovieView.h"
#include "app/player/TransportBar.h"

#include <QApplication>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QScreen>

#include <algorithm>
#include <utility>

namespace reelwright {
namespace {

    constexpr int kStillness = 2000; // milliseconds until the bar goes
    constexpr int kWidestBar = 720;
    constexpr int kBelowBar = 24;

    /// Light on dark, whatever the desktop's colours are: it lies on pictures.
    QPalette paletteOnPictures()
    {
        QPalette palette(QColor(60, 60, 60), QColor(32, 32, 32));
        palette.setColor(QPalette::Highlight, QApplication::palette().color(QPalette::Highlight));
        return palette;
    }

} // namespace

FullScreen::FullScreen(MovieView& view)
    : QObject(&view)
    , m_view(view)
{
    m_stillness.setSingleShot(true);
    m_stillness.setInterval(kStillness);
    connect(&m_stillness, &QTimer::timeout, this, &FullScreen::hideBar);
    connect(&view, &MovieView::fullScreenRequested, this, &FullScreen::toggle);
    view.installEventFilter(this);
}

void FullScreen::toggle()
{
    if (m_isActive)
        leave();
    else
        enter();
}

void FullScreen::setBarWanted(bool wanted)
{
    m_isBarWanted = wanted;
    if (!wanted && m_bar)
        m_bar->hide();
}

void FullScreen::setTimecode(const QString& timecode)
{
    m_timecode = timecode;
    if (m_timecodeLabel)
        m_timecodeLabel->setText(timecode);
}

void FullScreen::enter()
{
    if (m_isActive)
        return;
    m_isActive = true;
    m_flagsBefore = m_view.windowFlags();
    m_geometryBefore = m_view.geometry();
    const auto* screen = m_view.screen();
    // The view stays its parent's child, and in its layout, which passes over windows.
    m_view.setWindowFlags((m_flagsBefore & ~Qt::WindowType_Mask) | Qt::Window);
    if (screen)
        m_view.setGeometry(screen->geometry());
    m_view.setMouseTracking(true);
    m_view.showFullScreen();
    m_view.activateWindow();
    m_view.setFocus();
    m_bar = new TransportBar(m_view, &m_view);
    m_bar->setPalette(paletteOnPictures());
    m_bar->setAutoFillBackground(true);
    m_timecodeLabel = new QLabel(m_timecode);
    m_timecodeLabel->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_bar->addWidget(m_timecodeLabel);
    showBar();
    emit m_view.fullScreenChanged(true);
}

void FullScreen::leave()
{
    if (!m_isActive)
        return;
    m_isActive = false;
    m_stillness.stop();
    if (m_bar)
        m_bar->deleteLater(); // it may be the one that asked
    if (m_bar)
        m_bar->hide();
    m_bar.clear();
    m_view.unsetCursor();
    m_view.setMouseTracking(false);
    m_view.setWindowState(m_view.windowState() & ~Qt::WindowFullScreen);
    m_view.setWindowFlags(m_flagsBefore);
    m_view.setGeometry(m_geometryBefore);
    m_view.show();
    m_view.window()->activateWindow();
    m_view.setFocus();
    emit m_view.fullScreenChanged(false);
}

void FullScreen::showBar()
{
    m_view.unsetCursor();
    m_stillness.start();
    if (!m_bar || !m_isBarWanted || m_bar->isVisible())
        return;
    placeBar();
    m_bar->raise();
    m_bar->show();
}

void FullScreen::hideBar()
{
    if (!m_isActive)
        return;
    const auto* focus = QApplication::focusWidget();
    const bool isUsed = m_bar && m_bar->isVisible()
        && (m_bar->underMouse() || QApplication::mouseButtons() != Qt::NoButton
            || (focus && m_bar->isAncestorOf(focus)));
    if (isUsed) {
        m_stillness.start();
        return;
    }
    if (m_bar)
        m_bar->hide();
    m_view.setCursor(Qt::BlankCursor);
}

void FullScreen::placeBar()
{
    if (!m_bar)
        return;
    const QSize size(std::min(m_view.width(), kWidestBar), m_bar->sizeHint().height());
    m_bar->setGeometry(
        {QPoint((m_view.width() - size.width()) / 2, m_view.height() - size.height() - kBelowBar), size});
}

bool FullScreen::eventFilter(QObject* watched, QEvent* event)
{
    if (!m_isActive || watched != &m_view)
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseMove:
    case QEvent::MouseButtonPress:
        showBar();
        break;
    case QEvent::Resize:
        placeBar();
        break;
    case QEvent::KeyPress:
        // The menu's key does not reach from the window behind.
        if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape
            || static_cast<QKeyEvent*>(event)->key() == Qt::Key_F11) {
            leave();
            return true;
        }
        break;
    case QEvent::Close:
        event->ignore();
        leave();
        return true;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace reelwright

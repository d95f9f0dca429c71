#include "app/window/ProgressSheet.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr int kSteps = 1000;
    constexpr int kWidth = 480;
    constexpr int kMargin = 16;

} // namespace

ProgressSheet::ProgressSheet(QWidget* host)
    : QFrame(host)
    , m_label(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_cancel(new QPushButton(tr("&Cancel"), this))
{
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Window);
    setAccessibleName(tr("Progress"));
    m_label->setTextFormat(Qt::PlainText);
    m_bar->setAccessibleName(tr("Progress"));
    m_cancel->setAutoDefault(false);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kMargin);
    layout->addWidget(m_label);
    layout->addWidget(m_bar, 1);
    layout->addWidget(m_cancel);

    connect(m_cancel, &QPushButton::clicked, this, [this] {
        m_cancel->setEnabled(false);
        m_bar->setRange(0, 0);
        setLabel(tr("Cancelling..."));
        emit cancelled();
    });
    m_delay.setSingleShot(true);
    m_delay.setInterval(kDelayMilliseconds);
    connect(&m_delay, &QTimer::timeout, this, &ProgressSheet::appear);
    host->installEventFilter(this);
    hide();
}

void ProgressSheet::setLabel(const QString& label)
{
    m_label->setText(label);
}

void ProgressSheet::begin()
{
    m_isActive = true;
    m_cancel->setEnabled(true);
    m_bar->setRange(0, 0);
    m_clock.start();
    m_delay.start();
}

void ProgressSheet::setFraction(double fraction)
{
    if (!m_isActive || !m_cancel->isEnabled())
        return;
    m_bar->setRange(0, kSteps);
    m_bar->setValue(static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * kSteps)));
    if (m_clock.elapsed() < kDelayMilliseconds)
        return;
    // While the program quits, a save runs without an event loop: no timer and no paint event come.
    appear();
    repaint();
}

void ProgressSheet::appear()
{
    m_delay.stop();
    if (!m_isActive || isVisible())
        return;
    place();
    raise();
    show();
}

void ProgressSheet::end()
{
    m_isActive = false;
    m_delay.stop();
    hide();
}

void ProgressSheet::place()
{
    const auto* host = parentWidget();
    const int width = std::min(kWidth, host->width() - 2 * kMargin);
    setGeometry((host->width() - width) / 2, kMargin, width, sizeHint().height());
}

bool ProgressSheet::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible())
        place();
    return QFrame::eventFilter(watched, event);
}

void ProgressSheet::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        m_cancel->click();
    else
        QFrame::keyPressEvent(event);
}

} // namespace reelwright

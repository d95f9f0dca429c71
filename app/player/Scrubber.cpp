#include "app/player/Scrubber.h"

#include <QMouseEvent>
#include <QScopedValueRollback>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QWheelEvent>

#include <algorithm>
#include <climits>
#include <cmath>

namespace reelwright {
namespace {

    /// Finer than any frame; coarser only where a movie lasts so long that the slider's numbers end.
    constexpr double kFinestScale = 48000;

} // namespace

Scrubber::Scrubber(QWidget* parent)
    : QSlider(Qt::Horizontal, parent)
{
    setFocusPolicy(Qt::TabFocus);
    setRange(0, 0);
    connect(this, &QSlider::valueChanged, this, [this](int value) {
        if (!m_isTold)
            emit timeChosen({value, m_scale});
    });
}

void Scrubber::setDuration(const QTTime& duration)
{
    const QScopedValueRollback told(m_isTold, true);
    const auto seconds = std::max(duration.seconds(), 0.0);
    m_scale = static_cast<std::int32_t>(std::clamp((INT_MAX - 1) / (seconds + 1), 1.0, kFinestScale));
    setRange(0, static_cast<int>(std::min(std::ceil(seconds * m_scale), INT_MAX - 1.0)));
}

void Scrubber::setTime(const QTTime& time)
{
    if (isSliderDown())
        return;
    const QScopedValueRollback told(m_isTold, true);
    setValue(static_cast<int>(std::clamp(std::round(time.seconds() * m_scale), 0.0, INT_MAX - 1.0)));
}

void Scrubber::choose(const QPointF& position)
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    const int handle = style()->pixelMetric(QStyle::PM_SliderLength, &option, this);
    setSliderPosition(QStyle::sliderValueFromPosition(minimum(), maximum(),
        static_cast<int>(std::lround(position.x())) - handle / 2, width() - handle, option.upsideDown));
}

void Scrubber::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    setSliderDown(true);
    choose(event->position());
}

void Scrubber::mouseMoveEvent(QMouseEvent* event)
{
    if (isSliderDown())
        choose(event->position());
}

void Scrubber::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        setSliderDown(false);
}

void Scrubber::keyPressEvent(QKeyEvent* event)
{
    const bool forwardIsRight = layoutDirection() == Qt::LeftToRight;
    const int frames = event->modifiers() & Qt::ShiftModifier ? 10 : 1;
    switch (event->key()) {
    case Qt::Key_Left:
        emit stepChosen(forwardIsRight ? -frames : frames);
        break;
    case Qt::Key_Right:
        emit stepChosen(forwardIsRight ? frames : -frames);
        break;
    case Qt::Key_Home:
    case Qt::Key_End:
        setValue(event->key() == Qt::Key_Home ? minimum() : maximum());
        break;
    default:
        event->ignore();
        break;
    }
}

void Scrubber::wheelEvent(QWheelEvent* event)
{
    constexpr int kNotch = QWheelEvent::DefaultDeltasPerStep;
    const auto delta = event->angleDelta();
    m_wheel += std::abs(delta.y()) >= std::abs(delta.x()) ? delta.y() : -delta.x();
    if (const int frames = m_wheel / kNotch)
        emit stepChosen(frames);
    m_wheel %= kNotch;
    event->accept();
}

} // namespace reelwright

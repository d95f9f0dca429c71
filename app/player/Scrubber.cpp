#include "app/player/Scrubber.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QWheelEvent>

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>
#include <utility>

namespace reelwright {
namespace {

    /// Finer than any frame; coarser only where a movie lasts so long that the slider's numbers end.
    constexpr double kFinestScale = 48000;

    constexpr int kTickHeight = 7; ///< of the room above the slider
    constexpr int kTickReach = 4; ///< to either side of its middle

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

void Scrubber::setTicks(const std::vector<QTTime>& ticks)
{
    m_dragged.reset();
    if (ticks.empty() != m_ticks.empty())
        updateGeometry();
    m_ticks = ticks;
    update();
}

QSize Scrubber::sizeHint() const
{
    return QSlider::sizeHint() + QSize(0, m_ticks.empty() ? 0 : kTickHeight);
}

QSize Scrubber::minimumSizeHint() const
{
    return QSlider::minimumSizeHint() + QSize(0, m_ticks.empty() ? 0 : kTickHeight);
}

int Scrubber::handleWidth() const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    return style()->pixelMetric(QStyle::PM_SliderLength, &option, this);
}

int Scrubber::valueAt(const QPointF& position) const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    const int handle = handleWidth();
    return QStyle::sliderValueFromPosition(minimum(), maximum(),
        static_cast<int>(std::lround(position.x())) - handle / 2, width() - handle, option.upsideDown);
}

void Scrubber::choose(const QPointF& position)
{
    setSliderPosition(valueAt(position));
}

int Scrubber::placeOf(const QTTime& time) const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    const int handle = handleWidth();
    const auto value = std::clamp(std::round(time.seconds() * m_scale), 0.0, double {INT_MAX - 1});
    return handle / 2
        + QStyle::sliderPositionFromValue(minimum(), maximum(), std::min(static_cast<int>(value), maximum()),
            width() - handle, option.upsideDown);
}

std::optional<std::size_t> Scrubber::tickAt(const QPointF& position) const
{
    if (position.y() > kTickHeight)
        return std::nullopt;
    std::optional<std::size_t> nearest;
    double least = kTickReach + 1;
    for (std::size_t i = 0; i < m_ticks.size(); ++i)
        if (const auto off = std::abs(position.x() - placeOf(m_ticks[i])); off < least) {
            nearest = i;
            least = off;
        }
    return nearest;
}

void Scrubber::paintEvent(QPaintEvent* event)
{
    QSlider::paintEvent(event);
    if (m_ticks.empty() || maximum() <= minimum())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(palette().color(QPalette::WindowText));
    int last = -1;
    for (std::size_t i = 0; i < m_ticks.size(); ++i) {
        const int x = placeOf(m_ticks[i]);
        const bool isDragged = m_dragged == i;
        if (x == last && !isDragged)
            continue; // of thousands those that can be told apart
        last = x;
        painter.setBrush(palette().color(isDragged ? QPalette::Highlight : QPalette::Mid));
        const QPoint shape[] = {{x - kTickReach, 0}, {x + kTickReach, 0}, {x + kTickReach, kTickHeight - 4},
            {x, kTickHeight}, {x - kTickReach, kTickHeight - 4}};
        painter.drawPolygon(shape, static_cast<int>(std::size(shape)));
    }
}

void Scrubber::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    m_dragged = tickAt(event->position());
    if (m_dragged) {
        update();
        return;
    }
    setSliderDown(true);
    choose(event->position());
}

void Scrubber::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragged) {
        m_ticks[*m_dragged] = {valueAt(event->position()), m_scale};
        update();
    } else if (isSliderDown()) {
        choose(event->position());
    }
}

void Scrubber::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    if (const auto dragged = std::exchange(m_dragged, std::nullopt)) {
        emit tickMoved(*dragged, m_ticks[*dragged]);
        update();
    }
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

#include "app/player/TransportButton.h"

#include <QKeySequence>
#include <QPainter>
#include <QPainterPath>
#include <QStyleOptionToolButton>
#include <QStylePainter>

#include <initializer_list>

namespace reelwright {
namespace {

    /// Signs are drawn in a square of this many units.
    constexpr double kUnits = 16;
    constexpr int kPadding = 6;
    constexpr double kLine = 1.5; // thickness of lines, in units

    QPainterPath polygon(std::initializer_list<QPointF> points)
    {
        QPainterPath path;
        path.addPolygon(QPolygonF(QList<QPointF>(points)));
        path.closeSubpath();
        return path;
    }

    /// A triangle that points to the right, or to the left where `tip` lies left of `base`.
    QPainterPath triangle(double base, double tip, double halfHeight)
    {
        return polygon({{base, 8 - halfHeight}, {tip, 8}, {base, 8 + halfHeight}});
    }

    QPainterPath bar(double left, double width, double halfHeight)
    {
        QPainterPath path;
        path.addRect(QRectF(left, 8 - halfHeight, width, 2 * halfHeight));
        return path;
    }

    QPainterPath stroked(const QPainterPath& line)
    {
        QPainterPathStroker stroker;
        stroker.setWidth(kLine);
        stroker.setJoinStyle(Qt::MiterJoin);
        return stroker.createStroke(line);
    }

    QPainterPath mirrored(const QPainterPath& path)
    {
        return QTransform(-1, 0, 0, 1, kUnits, 0).map(path);
    }

    QPainterPath loudspeaker()
    {
        return polygon({{1.5, 5.75}, {4, 5.75}, {8, 2.25}, {8, 13.75}, {4, 10.25}, {1.5, 10.25}});
    }

    QPainterPath soundSign()
    {
        QPainterPath waves;
        for (const double radius : {2.75, 5.5}) {
            const QRectF circle(8.5 - radius, 8 - radius, 2 * radius, 2 * radius);
            waves.arcMoveTo(circle, -50);
            waves.arcTo(circle, -50, 100);
        }
        return loudspeaker() + stroked(waves);
    }

    QPainterPath mutedSign()
    {
        QPainterPath cross;
        cross.moveTo(10.25, 5.75);
        cross.lineTo(14.75, 10.25);
        cross.moveTo(10.25, 10.25);
        cross.lineTo(14.75, 5.75);
        return loudspeaker() + stroked(cross);
    }

    /// Two arrows that run after each other.
    QPainterPath loopSign()
    {
        QPainterPath half;
        half.moveTo(2.25, 8.5);
        half.lineTo(2.25, 7);
        half.arcTo(QRectF(2.25, 4, 6, 6), 180, -90);
        half.lineTo(10.5, 4);
        auto arrow = stroked(half);
        arrow += polygon({{10.25, 0.75}, {14, 4}, {10.25, 7.25}});
        return arrow + QTransform(-1, 0, 0, -1, kUnits, kUnits).map(arrow);
    }

    /// The four corners of a frame, with their points at `corner` and ends at `end`, from the middle.
    QPainterPath corners(double corner, double end)
    {
        QPainterPath lines;
        for (const double x : {-1.0, 1.0})
            for (const double y : {-1.0, 1.0}) {
                lines.moveTo(8 + x * corner, 8 + y * end);
                lines.lineTo(8 + x * corner, 8 + y * corner);
                lines.lineTo(8 + x * end, 8 + y * corner);
            }
        return stroked(lines);
    }

    QPainterPath pathOf(TransportButton::Sign sign)
    {
        using Sign = TransportButton::Sign;
        const auto toEnd = [] { return triangle(2, 7.5, 5) + triangle(7, 12.5, 5) + bar(12.5, 1.75, 5); };
        const auto frameForward = [] { return bar(3.5, 1.75, 5) + triangle(7, 13.5, 5); };
        switch (sign) {
        case Sign::ToStart:
            return mirrored(toEnd());
        case Sign::FrameBack:
            return mirrored(frameForward());
        case Sign::Play:
            return triangle(3.5, 14, 6.25);
        case Sign::Pause:
            return bar(3.5, 3.25, 6) + bar(9.25, 3.25, 6);
        case Sign::FrameForward:
            return frameForward();
        case Sign::ToEnd:
            return toEnd();
        case Sign::Sound:
            return soundSign();
        case Sign::Muted:
            return mutedSign();
        case Sign::Loop:
            return loopSign();
        case Sign::FullScreen:
            return corners(5.75, 2);
        case Sign::LeaveFullScreen:
            return corners(2, 5.75);
        }
        return {};
    }

} // namespace

TransportButton::TransportButton(Sign sign, QWidget* parent)
    : QToolButton(parent)
    , m_sign(sign)
{
    setAutoRaise(true);
    setFocusPolicy(Qt::TabFocus); // a click leaves the focus with the picture
}

void TransportButton::setSign(Sign sign)
{
    if (std::exchange(m_sign, sign) != sign)
        update();
}

void TransportButton::setWords(const QString& name, const QKeySequence& key)
{
    setAccessibleName(name);
    setToolTip(key.isEmpty() ? name
                             : tr("%1 (%2)", "name of a button and its key")
                                   .arg(name, key.toString(QKeySequence::NativeText)));
}

QSize TransportButton::sizeHint() const
{
    const int side = iconSize().height() + 2 * kPadding;
    return {side, side};
}

void TransportButton::paintEvent(QPaintEvent* /*event*/)
{
    QStylePainter painter(this);
    QStyleOptionToolButton option;
    initStyleOption(&option);
    option.icon = {};
    option.text.clear();
    painter.drawComplexControl(QStyle::CC_ToolButton, option);

    const auto group = isEnabled() ? QPalette::Normal : QPalette::Disabled;
    const double side = iconSize().height();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate((width() - side) / 2, (height() - side) / 2);
    painter.scale(side / kUnits, side / kUnits);
    auto path = pathOf(m_sign);
    path.setFillRule(Qt::WindingFill);
    painter.fillPath(path, palette().color(group, QPalette::ButtonText));
}

} // namespace reelwright

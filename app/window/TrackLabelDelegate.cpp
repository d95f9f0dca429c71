#include "app/window/TrackLabelDelegate.h"

#include "app/window/TrackTableModel.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

namespace reelwright {
namespace {

    constexpr qreal kRadius = 3;
    constexpr QPointF kShadowOffset {1.1, 1.1};
    constexpr qreal kShadowBlur = 1;

    /// Hue, saturation, brightness, alpha.
    struct Color
    {
        float h, s, b, a;
        [[nodiscard]] QColor color() const { return QColor::fromHsvF(h, s, b, a); }
    };

    struct Gradient
    {
        Color first;
        Color second;
    };

    /// By type code.
    constexpr Gradient kGradients[] = {
        {{0.091F, 0.99F, 0.70F, 0.85F}, {0.102F, 0.60F, 0.85F, 0.85F}}, // movie
        {{0.591F, 0.99F, 0.80F, 0.85F}, {0.602F, 0.60F, 0.95F, 0.85F}}, // video
        {{0.391F, 0.99F, 0.70F, 0.85F}, {0.402F, 0.60F, 0.85F, 0.85F}}, // audio
        {{0.691F, 0.99F, 0.80F, 0.85F}, {0.702F, 0.60F, 0.95F, 0.85F}}, // timecode
        {{0.691F, 0.00F, 0.55F, 0.85F}, {0.702F, 0.00F, 0.80F, 0.85F}}, // text
        {{0.167F, 0.99F, 0.80F, 0.85F}, {0.178F, 0.60F, 0.95F, 0.85F}}, // sprite
        {{0.000F, 0.65F, 0.70F, 0.85F}, {0.011F, 0.80F, 0.90F, 0.85F}}, // captions
    };

    void drawShadow(QPainter& painter, const QRectF& box, const QString& text)
    {
        // A blur of a pixel: the text a few times, faintly, round the offset.
        constexpr QPointF kAround[] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}};
        painter.setPen(QColor(0, 0, 0, 32));
        for (const auto& point : kAround)
            painter.drawText(
                box.translated(kShadowOffset + point * (kShadowBlur / 2)), Qt::AlignCenter, text);
    }

    QFont labelFont(const QStyleOptionViewItem& option)
    {
        auto font = option.font;
        font.setBold(true);
        return font;
    }

} // namespace

std::optional<QLinearGradient> TrackLabelDelegate::gradientForType(std::optional<int> typeCode)
{
    if (!typeCode || *typeCode < 0 || *typeCode >= static_cast<int>(std::size(kGradients)))
        return std::nullopt;
    const auto& [first, second] = kGradients[*typeCode];
    QLinearGradient gradient(0, 1, 0, 0);
    gradient.setColorAt(0, second.color());
    gradient.setColorAt(1, first.color());
    gradient.setCoordinateMode(QGradient::ObjectMode);
    return gradient;
}

void TrackLabelDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    const auto text = std::exchange(cell.text, {});
    const auto* style = cell.widget ? cell.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, cell.widget);

    const auto code = index.data(TrackTableModel::kTypeCodeRole);
    const auto gradient = gradientForType(code.isValid() ? std::optional(code.toInt()) : std::nullopt);
    const int half = kSpacing / 2;
    const QRectF box = QRectF(option.rect).adjusted(half, half, -half, -half);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setFont(labelFont(option));
    if (gradient) {
        painter->setPen(Qt::NoPen);
        // The colours let through what is behind them: the table, not the selection.
        painter->setBrush(option.palette.base());
        painter->drawRoundedRect(box, kRadius, kRadius);
        painter->setBrush(*gradient);
        painter->drawRoundedRect(box, kRadius, kRadius);
        drawShadow(*painter, box, text);
        painter->setPen(Qt::white);
    } else {
        // White on nothing could not be read.
        const bool isSelected = option.state & QStyle::State_Selected;
        painter->setPen(option.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text));
    }
    painter->drawText(box, Qt::AlignCenter, text);
    painter->restore();
}

QSize TrackLabelDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    constexpr int kRoomX = 24;
    constexpr int kRoomY = 8;
    const QFontMetrics metrics(labelFont(option));
    return {metrics.horizontalAdvance(index.data().toString()) + kRoomX + kSpacing,
        metrics.height() + kRoomY + kSpacing};
}

} // namespace reelwright

#include "app/batch/StatusIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <array>

namespace reelwright {
namespace {

    constexpr int kSize = 16;
    constexpr int kScale = 2; ///< sharp at twice the size too

    QIcon draw(BatchFileModel::Kind kind)
    {
        using Kind = BatchFileModel::Kind;
        QPixmap pixmap {kSize * kScale, kSize * kScale};
        pixmap.setDevicePixelRatio(kScale);
        pixmap.fill(Qt::transparent);
        QPainter painter {&pixmap};
        painter.setRenderHint(QPainter::Antialiasing);
        const auto line = [&](const QColor& color, const QVector<QPointF>& points) {
            painter.setPen({color, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin});
            painter.drawPolyline(QPolygonF {points});
        };
        switch (kind) {
        case Kind::WouldChange:
            line({0x4a, 0x8f, 0xe0}, {{3, 13}, {4, 10}, {11, 3}, {13, 5}, {6, 12}, {3, 13}});
            break;
        case Kind::Done:
            line({0x2e, 0x9e, 0x48}, {{3, 8.5}, {6.5, 12}, {13, 4.5}});
            break;
        case Kind::NoChange:
            line({0x90, 0x90, 0x90}, {{2, 8}, {14, 8}});
            break;
        case Kind::Warning: {
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor {0xe0, 0xa5, 0x20});
            painter.drawPolygon(QPolygonF {{{8, 1}, {15.5, 15}, {0.5, 15}}});
            line(Qt::black, {{8, 6}, {8, 9.5}});
            line(Qt::black, {{8, 12.4}, {8, 12.5}});
            break;
        }
        case Kind::Failed:
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor {0xd0, 0x3b, 0x35});
            painter.drawEllipse(QRectF {1, 1, 14, 14});
            line(Qt::white, {{5, 8}, {11, 8}});
            break;
        case Kind::Unknown:
            break;
        }
        return pixmap;
    }

} // namespace

QIcon statusIcon(BatchFileModel::Kind kind)
{
    static auto& icons = *new std::array<QIcon, 6>; // NOLINT: pictures must not outlive the application
    auto& icon = icons.at(static_cast<std::size_t>(kind));
    if (icon.isNull())
        icon = draw(kind);
    return icon;
}

} // namespace reelwright

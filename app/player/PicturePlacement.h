#pragma once

#include "movie/QTTrack.h"

#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <QTransform>

namespace reelwright {

/// Where a track's encoded pixels come to lie on the screen: the aperture that is chosen, the track's size
/// and its matrix. Sizes are pixels.
struct PicturePlacement
{
    QSize pixels; ///< encoded; empty where there is no picture
    QRectF shown; ///< the part of them that is to be seen
    QTransform
        toBox; ///< from the unit square (the shown part, y downward) into the box of `boxSize` at the origin
    QSizeF boxSize;

    [[nodiscard]] bool isEmpty() const { return pixels.isEmpty() || boxSize.isEmpty(); }

    /// For a video track in an aperture mode: 'clas' the track's own size, 'clea' the clean aperture, 'prod'
    /// all pixels in their aspect ratio, 'enco' all pixels as they are. Without a mode ('????' or none) all
    /// pixels in their aspect ratio where the description has one, else the track's own size.
    static PicturePlacement of(const QTTrack& track, FourCC apertureMode);

    /// From the unit square to a widget of that size: as large as fits, centred, edges on whole units.
    [[nodiscard]] QTransform toWidget(QSizeF widget) const;
    /// The size at which all encoded pixels are to be drawn, so that `toWidget` neither enlarges nor reduces
    /// the result. `widget` in device pixels.
    [[nodiscard]] QSize renderSize(QSizeF widget) const;
    /// `shown` in a picture of that size.
    [[nodiscard]] QRectF shownIn(QSize rendered) const;

    bool operator==(const PicturePlacement&) const = default;
};

} // namespace reelwright

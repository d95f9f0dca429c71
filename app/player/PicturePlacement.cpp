#include "app/player/PicturePlacement.h"

#include "movie/atoms/ByteReader.h"

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    /// Nothing larger is drawn: more than any screen has, and what a picture in memory may cost.
    constexpr double kMostPixels = 8192;

    struct Apertures
    {
        QSizeF encoded;
        QSizeF pixelAspect; ///< horizontal and vertical spacing; empty when the description has none
        QRectF clean; ///< in encoded pixels; all of them when the description has none

        /// Encoded pixels brought to their aspect ratio.
        [[nodiscard]] QSizeF inAspect(QSizeF size) const
        {
            return pixelAspect.isEmpty()
                ? size
                : QSizeF(size.width() * pixelAspect.width() / pixelAspect.height(), size.height());
        }
    };

    /// Numerator and denominator, as `clap` holds them.
    double fraction(ByteReader& in)
    {
        const auto numerator = in.i32();
        const auto denominator = in.i32();
        return denominator == 0 ? 0.0 : static_cast<double>(numerator) / denominator;
    }

    Apertures aperturesOf(const SampleDescription& description)
    {
        Apertures result;
        const auto video = description.video();
        if (!video)
            return result;
        result.encoded = QSizeF(video->width, video->height);
        result.clean = QRectF(QPointF(), result.encoded);
        if (const auto pasp = description.extension(QTMediaTypeVideo, "pasp"_cc)) {
            ByteReader in {pasp->span()};
            const auto horizontal = in.u32();
            const auto vertical = in.u32();
            if (in.ok() && horizontal > 0 && vertical > 0)
                result.pixelAspect = QSizeF(horizontal, vertical);
        }
        if (const auto clap = description.extension(QTMediaTypeVideo, "clap"_cc)) {
            ByteReader in {clap->span()};
            const auto width = fraction(in);
            const auto height = fraction(in);
            const auto right = fraction(in);
            const auto down = fraction(in);
            // The offsets lead from the middle of the picture to the middle of the aperture.
            QRectF clean(0, 0, width, height);
            clean.moveCenter(result.clean.center() + QPointF(right, down));
            clean &= result.clean;
            if (in.ok() && !clean.isEmpty())
                result.clean = clean;
        }
        return result;
    }

    /// The size that the track's aperture dimensions name for a mode, or an empty one.
    QSizeF dimensions(const QTTrack& track, FourCC type)
    {
        const auto* tapt = track.atom().find("tapt"_cc);
        const auto* entry = tapt ? tapt->find(type) : nullptr;
        if (!entry)
            return {};
        ByteReader in {entry->head.span()};
        in.skip(4);
        const auto width = in.u32() / 65536.0;
        const auto height = in.u32() / 65536.0;
        return in.ok() ? QSizeF(width, height) : QSizeF();
    }

    QSizeF firstThere(QSizeF size, QSizeF otherwise)
    {
        return size.isEmpty() ? otherwise : size;
    }

} // namespace

PicturePlacement PicturePlacement::of(const QTTrack& track, FourCC apertureMode)
{
    PicturePlacement result;
    const auto description = track.media().sampleDescription(1);
    if (!description)
        return result;
    const auto apertures = aperturesOf(*description);
    if (apertures.encoded.isEmpty())
        return result;
    const auto header = track.header();
    const auto inAspect = apertures.inAspect(apertures.encoded);
    const auto trackSize = firstThere(QSizeF(header.width / 65536.0, header.height / 65536.0), inAspect);

    result.pixels = apertures.encoded.toSize();
    result.shown = QRectF(QPointF(), apertures.encoded);
    QSizeF size = apertures.pixelAspect.isEmpty() ? trackSize : inAspect;
    if (apertureMode == "clas"_cc) {
        size = trackSize;
    } else if (apertureMode == "clea"_cc) {
        result.shown = apertures.clean;
        size = firstThere(dimensions(track, "clef"_cc), apertures.inAspect(apertures.clean.size()));
    } else if (apertureMode == "prod"_cc) {
        size = firstThere(dimensions(track, "prof"_cc), inAspect);
    } else if (apertureMode == "enco"_cc) {
        size = firstThere(dimensions(track, "enof"_cc), apertures.encoded);
    }

    const auto& m = header.matrix.values;
    const auto entry = [&](std::size_t index) { return m[index] / 65536.0; };
    auto matrix = QTransform(entry(0), entry(1), entry(3), entry(4), 0, 0);
    if (std::abs(matrix.determinant()) < 1e-6)
        matrix = QTransform(); // a picture without a width would only look like a fault of the program
    const auto toMovie = QTransform::fromScale(size.width(), size.height()) * matrix;
    const auto box = toMovie.mapRect(QRectF(0, 0, 1, 1));
    result.toBox = toMovie * QTransform::fromTranslate(-box.x(), -box.y());
    result.boxSize = box.size();
    return result;
}

QTransform PicturePlacement::toWidget(QSizeF widget) const
{
    if (isEmpty() || widget.isEmpty())
        return {};
    const auto fitted = boxSize.scaled(widget, Qt::KeepAspectRatio);
    const QSizeF whole(std::max(1.0, std::round(fitted.width())), std::max(1.0, std::round(fitted.height())));
    return toBox * QTransform::fromScale(whole.width() / boxSize.width(), whole.height() / boxSize.height())
        * QTransform::fromTranslate(std::floor((widget.width() - whole.width()) / 2),
            std::floor((widget.height() - whole.height()) / 2));
}

QSize PicturePlacement::renderSize(QSizeF widget) const
{
    if (isEmpty() || widget.isEmpty())
        return {};
    const auto transform = toWidget(widget);
    const auto whole = [](double length, double part, double of) {
        return static_cast<int>(std::clamp(std::round(length * of / part), 1.0, kMostPixels));
    };
    return {whole(std::hypot(transform.m11(), transform.m12()), shown.width(), pixels.width()),
        whole(std::hypot(transform.m21(), transform.m22()), shown.height(), pixels.height())};
}

QRectF PicturePlacement::shownIn(QSize rendered) const
{
    const auto across = static_cast<double>(rendered.width()) / pixels.width();
    const auto down = static_cast<double>(rendered.height()) / pixels.height();
    return {shown.x() * across, shown.y() * down, shown.width() * across, shown.height() * down};
}

} // namespace reelwright

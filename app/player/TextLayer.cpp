#include "app/player/TextLayer.h"

#include "movie/ChapterList.h"

#include <QPainter>

#include <algorithm>
#include <set>

namespace reelwright {
namespace {

    constexpr int kUsualSize = 12;

    QColor colorOf(const TextStyle::Color& color)
    {
        return QColor::fromRgba64(color[0], color[1], color[2]);
    }

    QTransform transformOf(const Matrix& matrix)
    {
        const auto entry = [&](std::size_t index) { return matrix.values[index] / 65536.0; };
        const QTransform transform(entry(0), entry(1), entry(3), entry(4), entry(6), entry(7));
        return transform.isInvertible() ? transform : QTransform();
    }

    void drawText(QPainter& painter, const TextCue& text)
    {
        const auto [left, top, width, height] = text.box();
        const QRectF box(left, top, width, height);
        const auto& style = text.style;
        if (style.isOpaque())
            painter.fillRect(box, colorOf(style.background));
        QFont font = painter.font();
        if (!style.fontName.empty())
            font.setFamily(QString::fromStdString(style.fontName));
        font.setPixelSize(style.fontSize == 0 ? kUsualSize : style.fontSize);
        font.setBold((style.fontFace & TextStyle::kBold) != 0);
        font.setItalic((style.fontFace & TextStyle::kItalic) != 0);
        font.setUnderline((style.fontFace & TextStyle::kUnderlined) != 0);
        painter.setFont(font);
        painter.setPen(colorOf(style.foreground));
        const auto horizontal = text.alignment() == TextAlignment::Center ? Qt::AlignHCenter
            : text.alignment() == TextAlignment::Right                    ? Qt::AlignRight
                                                                          : Qt::AlignLeft;
        const auto vertical = style.verticalJustification == 1 ? Qt::AlignVCenter
            : style.verticalJustification == -1                ? Qt::AlignBottom
                                                               : Qt::AlignTop;
        painter.drawText(box, static_cast<int>(horizontal | vertical) | Qt::TextWordWrap,
            QString::fromStdString(text.text));
    }

} // namespace

TextLayer TextLayer::of(const QTMovie& movie, const std::optional<QTTrack>& picture)
{
    TextLayer layer;
    const auto natural = movie.naturalSize();
    layer.m_movie = {natural.width, natural.height};
    if (picture) {
        const auto bounds = picture->bounds();
        layer.m_picture = {bounds.left, bounds.top, bounds.width(), bounds.height()};
    }
    const auto chapters = chapterList::tracks(movie);
    std::set<std::int16_t> groups;
    std::vector<std::pair<std::int16_t, Track>> found;
    for (const auto& track : movie.tracks()) {
        if (!track.isEnabled() || !textMedia::isTextTrack(track)
            || std::find(chapters.begin(), chapters.end(), track) != chapters.end())
            continue;
        auto texts = TextInsertion::texts(track);
        if (!texts || texts->empty())
            continue;
        auto size = track.size();
        if (size.width <= 0 || size.height <= 0) {
            // Timed text of many muxers has no size: players set it over the whole picture.
            if (track.media().sampleDescription(1)->format() != textMedia::kTimedText)
                continue;
            size = natural;
        }
        const auto header = track.header();
        if (header.alternateGroup != 0 && !groups.insert(header.alternateGroup).second)
            continue;
        for (auto& text : *texts)
            if (text.box().width <= 0 || text.box().height <= 0) {
                text.setBox(TextInsertion::usualBox(size.width, size.height));
                text.setAlignment(TextAlignment::Center);
                if (text.style.fontSize == 0)
                    text.style.fontSize = TextInsertion::plainStyle(text.box()).fontSize;
            }
        found.emplace_back(
            header.layer, Track {transformOf(track.matrix()), {size.width, size.height}, std::move(*texts)});
    }
    std::stable_sort(
        found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (auto& [order, track] : found)
        layer.m_tracks.push_back(std::move(track));
    return layer;
}

const TextCue* TextLayer::Track::at(const QTTime& time) const
{
    const auto next = std::upper_bound(texts.begin(), texts.end(), time,
        [](const QTTime& wanted, const TextCue& text) { return wanted < text.start; });
    if (next == texts.begin())
        return nullptr;
    const auto& text = *(next - 1);
    return time < text.end ? &text : nullptr;
}

bool TextLayer::isSameAt(const QTTime& a, const QTTime& b) const
{
    return std::all_of(
        m_tracks.begin(), m_tracks.end(), [&](const Track& track) { return track.at(a) == track.at(b); });
}

void TextLayer::draw(
    QPainter& painter, QSizeF widget, const PicturePlacement& placement, const QTTime& time) const
{
    QTransform toWidget;
    if (!placement.isEmpty() && !m_picture.isEmpty()) {
        const auto drawn = placement.toWidget(widget).mapRect(QRectF(0, 0, 1, 1));
        toWidget = QTransform::fromTranslate(-m_picture.x(), -m_picture.y())
            * QTransform::fromScale(drawn.width() / m_picture.width(), drawn.height() / m_picture.height())
            * QTransform::fromTranslate(drawn.x(), drawn.y());
    } else if (!m_movie.isEmpty()) {
        const auto scale = std::min(widget.width() / m_movie.width(), widget.height() / m_movie.height());
        toWidget = QTransform::fromScale(scale, scale)
            * QTransform::fromTranslate((widget.width() - m_movie.width() * scale) / 2,
                (widget.height() - m_movie.height() * scale) / 2);
    }
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    for (const auto& track : m_tracks)
        if (const auto* text = track.at(time)) {
            painter.save();
            painter.setTransform(track.toMovie * toWidget, true);
            painter.setClipRect(QRectF(QPointF(), track.size));
            drawText(painter, *text);
            painter.restore();
        }
}

} // namespace reelwright

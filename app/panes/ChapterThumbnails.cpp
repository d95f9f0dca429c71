#include "app/panes/ChapterThumbnails.h"

#include "app/shell/Background.h"
#include "picture/MovieExport.h"

#include <QImage>
#include <QTimer>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr int kDensity = 2; ///< pixels of a point that are decoded, for fine screens

    /// Do both movies show the same pictures at the same times?
    bool showSame(const QTMovie& a, const QTMovie& b)
    {
        const auto before = a.tracksOfMediaType(QTMediaTypeVideo);
        const auto after = b.tracksOfMediaType(QTMediaTypeVideo);
        return a.fileName() == b.fileName()
            && std::equal(before.begin(), before.end(), after.begin(), after.end(),
                [](const QTTrack& one, const QTTrack& other) {
                    return one.atom().writesSameAs(other.atom());
                });
    }

} // namespace

void ChapterThumbnails::setMovie(const QTMovie& movie)
{
    if (!showSame(m_movie, movie))
        clear();
    m_movie = movie;
}

void ChapterThumbnails::clear()
{
    m_cache.clear();
    m_wanted.clear();
    ++m_generation;
}

QPixmap ChapterThumbnails::at(const QTTime& time)
{
    if (const auto* known = m_cache.object({time.value, time.scale}))
        return *known;
    const auto isSame
        = [&](const QTTime& other) { return other.value == time.value && other.scale == time.scale; };
    std::erase_if(m_wanted, isSame);
    m_wanted.push_back(time);
    if (m_wanted.size() > kMostWanted)
        m_wanted.erase(m_wanted.begin());
    if (!m_isBusy) {
        m_isBusy = true; // when the list has asked for all that it shows
        QTimer::singleShot(0, this, &ChapterThumbnails::startNext);
    }
    return {};
}

void ChapterThumbnails::startNext()
{
    std::vector<QTTime> times;
    while (!m_wanted.empty() && times.size() < kAtOnce) {
        const auto time = m_wanted.back();
        m_wanted.pop_back();
        if (!m_cache.contains({time.value, time.scale}))
            times.push_back(time);
    }
    m_isBusy = !times.empty();
    if (times.empty())
        return;
    std::sort(times.begin(), times.end());
    runInBackground(
        this,
        [movie = m_movie, times] {
            Decoded decoded {times, {}, false};
            const auto done = FrameExport::thumbnails(movie, times, kDensity * kWidth, kDensity * kHeight,
                [&](std::size_t, const picture::Pixels& pixels) {
                    const QImage borrowed {pixels.rgb.data(), pixels.width, pixels.height,
                        static_cast<qsizetype>(pixels.width) * 3, QImage::Format_RGB888};
                    decoded.images.push_back(borrowed.copy());
                    return true;
                });
            decoded.isFailure = !done;
            return decoded;
        },
        [this, generation = m_generation](const Decoded& decoded) { take(generation, decoded); });
}

void ChapterThumbnails::take(int generation, const Decoded& decoded)
{
    if (generation == m_generation) {
        for (std::size_t i = 0; i < decoded.times.size(); ++i) {
            const auto& time = decoded.times[i];
            const Key key {time.value, time.scale};
            if (i < decoded.images.size()) {
                auto* picture = new QPixmap(QPixmap::fromImage(decoded.images[i]));
                picture->setDevicePixelRatio(kDensity);
                m_cache.insert(key, picture);
            } else if (i == decoded.images.size() && decoded.isFailure) {
                m_cache.insert(key, new QPixmap); // this one cannot be decoded, others may be
            } else {
                m_wanted.push_back(time);
            }
        }
        emit arrived();
    }
    startNext();
}

} // namespace reelwright

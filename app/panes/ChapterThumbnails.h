#pragma once

#include "movie/QTMovie.h"

#include <QCache>
#include <QObject>
#include <QPixmap>

#include <utility>
#include <vector>

namespace reelwright {

/// Small pictures of a movie at some of its times, decoded in the background a few at a time and kept. Those
/// that were asked for last come first, so that a list that is scrolled shows what is on the screen.
class ChapterThumbnails : public QObject
{
    Q_OBJECT

public:
    static constexpr int kWidth = 72; ///< the room of one, in points
    static constexpr int kHeight = 40;

    using QObject::QObject;

    /// The movie as it is now. What was decoded stays as long as its pictures are the same.
    void setMovie(const QTMovie& movie);
    /// Forgets all pictures.
    void clear();
    /// The picture at a time; an empty one while it is not decoded, or where none can be.
    [[nodiscard]] QPixmap at(const QTTime& time);

signals:
    /// New pictures are there.
    void arrived();

private:
    using Key = std::pair<qint64, qint32>;
    struct Decoded
    {
        std::vector<QTTime> times;
        std::vector<QImage> images; ///< of the first of these times
        bool isFailure = false; ///< of the time after them
    };

    void startNext();
    void take(int generation, const Decoded& decoded);

    static constexpr int kMost = 600; ///< that are kept
    static constexpr std::size_t kAtOnce = 6;
    static constexpr std::size_t kMostWanted = 40; ///< about as many as a list shows

    QTMovie m_movie;
    QCache<Key, QPixmap> m_cache {kMost};
    std::vector<QTTime> m_wanted; ///< the last one was asked for last
    int m_generation = 0; ///< of the pictures; what belongs to an earlier one is thrown away
    bool m_isBusy = false;
};

} // namespace reelwright

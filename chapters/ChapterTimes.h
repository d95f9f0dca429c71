#pragma once

#include "movie/QTTime.h"
#include "movie/samples/FrameTimes.h"

#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// Times of a movie as chapter lists have them: the hours, minutes and seconds of a clock and the frames of
/// the picture's average rate beyond them, as KWQuickTime::formattedQTTime writes them. Holds nothing of the
/// movie.
class ChapterTimes
{
public:
    explicit ChapterTimes(const QTMovie& movie);

    /// A text of four fields between ":" or ";", as `formatted` writes it: the time of the picture that
    /// begins nearest to it. Nothing for another text.
    [[nodiscard]] std::optional<QTTime> fromText(std::string_view text) const;
    [[nodiscard]] std::string formatted(const QTTime& time) const;
    /// The start of the picture nearest to a time; the time itself where there is no picture.
    [[nodiscard]] QTTime nearestPicture(const QTTime& time) const;
    /// The same where that is no farther away than a time was rounded; else the time itself.
    [[nodiscard]] QTTime nearestPicture(const QTTime& time, const QTTime& rounding) const;
    /// How long the picture at a time is shown, in the movie's time scale and at least one unit of it;
    /// without pictures a frame of the timecode track, else a thirtieth of a second.
    [[nodiscard]] QTTime frameLengthAt(const QTTime& time) const;
    /// Frames a second on average: those of the picture, without one those of the timecode; 0 without either.
    [[nodiscard]] double framesPerSecond() const;

private:
    FrameTimes m_pictures;
    double m_videoRate = 0;
    std::int32_t m_movieScale = 0;
    QTTime m_frames; ///< the average frame as a fraction: so long, in seconds times `m_frameCount`
    std::int64_t m_frameCount = 0;
};

} // namespace reelwright

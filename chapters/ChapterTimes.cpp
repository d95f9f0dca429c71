#include "chapters/ChapterTimes.h"

#include "support/Text.h"
#include "tracks/KWQuickTime.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace reelwright {
namespace {

    std::optional<std::int64_t> field(std::string_view text)
    {
        constexpr std::int64_t kMost = 1'000'000;
        std::int64_t number = 0;
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc {} || stop != end || number < 0 || number > kMost)
            return std::nullopt;
        return number;
    }

} // namespace

ChapterTimes::ChapterTimes(const QTMovie& movie)
    : m_videoRate(KWQuickTime::fpsForMovie(movie))
    , m_movieScale(movie.timeScale())
{
    if (const auto video = movie.tracksOfMediaType(QTMediaTypeVideo); !video.empty()) {
        m_pictures = FrameTimes {video.front()};
        m_frames = video.front().media().duration();
        m_frameCount = video.front().media().sampleCount();
    } else if (const auto timecode = movie.tracksOfMediaType(QTMediaTypeTimeCode); !timecode.empty()) {
        if (const auto description = timecode.front().media().sampleDescription(1))
            if (const auto read = description->timecode(); read && read->definition.timeScale <= INT32_MAX) {
                m_frames
                    = {read->definition.frameDuration, static_cast<std::int32_t>(read->definition.timeScale)};
                m_frameCount = 1;
            }
    }
    if (m_frames.value <= 0 || m_frames.scale <= 0)
        m_frameCount = 0;
}

double ChapterTimes::framesPerSecond() const
{
    return m_frameCount == 0 ? 0 : static_cast<double>(m_frameCount) / m_frames.seconds();
}

std::optional<QTTime> ChapterTimes::fromText(std::string_view text) const
{
    const auto pieces = split(trimmed(text), ":;");
    std::array<std::int64_t, 4> fields {};
    if (pieces.size() != fields.size())
        return std::nullopt;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto number = field(pieces[i]);
        if (!number)
            return std::nullopt;
        fields[i] = *number;
    }
    const auto& [hours, minutes, seconds, frames] = fields;
    // Fine enough for the frames of every usual rate to be exact.
    const auto scale = m_pictures.empty() ? std::int32_t {240'000} : m_pictures.timeScale();
    QTTime time {(hours * 3600 + minutes * 60 + seconds) * scale, scale};
    if (m_frameCount > 0) // the product fits: a million frames, and the length of a media at most 2^40 units
        time.value += rescale(rescale(frames * m_frames.value, scale, m_frames.scale), 1, m_frameCount);
    return nearestPicture(time);
}

std::string ChapterTimes::formatted(const QTTime& time) const
{
    return KWQuickTime::formattedQTTime(time, m_videoRate);
}

QTTime ChapterTimes::nearestPicture(const QTTime& time) const
{
    const auto frame = m_pictures.at(time);
    if (!frame || frame->isGap || time >= frame->end)
        return time;
    if (time < frame->start) { // it as good as begins there; or it is the first one, some way off
        const auto off = frame->start - time;
        return off + off <= frame->end - frame->start ? frame->start : time;
    }
    return frame->end - time < time - frame->start ? frame->end : frame->start;
}

QTTime ChapterTimes::nearestPicture(const QTTime& time, const QTTime& rounding) const
{
    const auto nearest = nearestPicture(time);
    return (nearest < time ? time - nearest : nearest - time) <= rounding ? nearest : time;
}

QTTime ChapterTimes::frameLengthAt(const QTTime& time) const
{
    constexpr std::int32_t kUsualRate = 30;
    QTTime length {1, kUsualRate};
    if (const auto frame = m_pictures.at(time); frame && !frame->isGap)
        length = frame->end - frame->start;
    else if (m_frameCount > 0)
        length = {m_frames.value / m_frameCount, m_frames.scale};
    length = atScale(length, std::max(m_movieScale, 1));
    length.value = std::max<std::int64_t>(length.value, 1);
    return length;
}

} // namespace reelwright

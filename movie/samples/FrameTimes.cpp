#include "movie/samples/FrameTimes.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    constexpr auto kFarthest = SampleTimes::kFarthest;

    std::int64_t clampTime(Wide time)
    {
        return static_cast<std::int64_t>(std::clamp<Wide>(time, -kFarthest, kFarthest));
    }

    /// Towards minus infinity. `divisor` is positive.
    Wide floorDivide(Wide value, Wide divisor)
    {
        return value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
    }

} // namespace

FrameTimes::FrameTimes(const QTTrack& track)
{
    const auto media = track.media();
    const auto* stbl = media.atom() ? media.atom()->find({"minf"_cc, "stbl"_cc}) : nullptr;
    m_mediaScale = media.timeScale();
    if (!stbl || m_mediaScale <= 0)
        return;
    const auto movieScale = std::max(track.timeScale(), 1);
    const auto common = std::lcm<std::int64_t>(m_mediaScale, movieScale);
    m_scale = common <= INT32_MAX ? static_cast<std::int32_t>(common) : m_mediaScale;
    m_samples = SampleTimes {*stbl};
    readEdits(track);
}

void FrameTimes::readEdits(const QTTrack& track)
{
    const auto list = track.editList();
    if (!list || m_samples.empty())
        return;
    const auto movieScale = std::max(track.timeScale(), 1);
    Wide movieTime = 0;
    std::int64_t start = 0;
    for (const auto& edit : list->edits) {
        auto end = start;
        // A single edit without a length stands for all of the media (ISO/IEC 14496-12 8.6.6).
        if (edit.duration == 0 && list->edits.size() == 1 && !edit.isEmpty()) {
            end = rescale(std::max<std::int64_t>(m_samples.end() - edit.mediaTime, 0), m_scale, m_mediaScale);
        } else {
            movieTime = std::min<Wide>(movieTime + edit.duration, kFarthest);
            end = rescale(static_cast<std::int64_t>(movieTime), m_scale, movieScale);
        }
        end = std::min(end, kFarthest);
        if (end > start)
            m_segments.push_back({start, end, clampTime(edit.mediaTime), edit.rate, edit.isEmpty()});
        start = end;
    }
}

std::size_t FrameTimes::segmentAt(std::int64_t time) const
{
    const auto behind = std::upper_bound(m_segments.begin(), m_segments.end(), time,
        [](std::int64_t value, const Segment& segment) { return value < segment.start; });
    return behind == m_segments.begin() ? 0 : static_cast<std::size_t>(behind - m_segments.begin()) - 1;
}

std::int64_t FrameTimes::toMedia(const Segment& segment, std::int64_t time) const
{
    // At most 61 + 31 + 31 bits.
    const auto units = static_cast<Wide>(time - segment.start) * m_mediaScale * segment.rate;
    return clampTime(segment.mediaTime + floorDivide(units, static_cast<Wide>(m_scale) << 16U));
}

std::int64_t FrameTimes::toMovie(const Segment& segment, std::int64_t mediaTime) const
{
    // Rounded up, so that the time that is answered lies in the frame.
    const auto units = static_cast<Wide>(mediaTime - segment.mediaTime) * m_scale * (1 << 16);
    return clampTime(segment.start - floorDivide(-units, static_cast<Wide>(m_mediaScale) * segment.rate));
}

FrameTimes::Frame FrameTimes::frameIn(const Segment& segment, std::int64_t time) const
{
    Frame frame {{segment.start, m_scale}, {segment.end, m_scale}, segment.isGap};
    if (segment.isGap || segment.rate <= 0)
        return frame;
    auto mediaTime = toMedia(segment, std::clamp(time, segment.start, segment.end - 1));
    // The very first picture also stands for the time before it.
    const auto shown = m_samples.displayedAt(mediaTime);
    if (!shown)
        mediaTime = m_samples.displayedAfter(mediaTime).value_or(mediaTime);
    else if (m_samples.displayedAt(*shown - 1))
        frame.start.value = std::max(segment.start, toMovie(segment, *shown));
    if (const auto following = m_samples.displayedAfter(mediaTime))
        frame.end.value = std::clamp(toMovie(segment, *following), frame.start.value + 1, segment.end);
    return frame;
}

std::optional<FrameTimes::Frame> FrameTimes::at(const QTTime& time) const
{
    if (empty())
        return std::nullopt;
    const auto last = m_segments.back().end - 1;
    const auto value = std::clamp<std::int64_t>(atScale(time, m_scale).value, 0, last);
    auto frame = frameIn(m_segments[segmentAt(value)], value);
    const auto missing = static_cast<Wide>(frame.end.value - value);
    if (frame.end.value <= last && missing * 2 * std::max(time.scale, 1) <= m_scale) {
        const auto following = frameIn(m_segments[segmentAt(frame.end.value)], frame.end.value);
        if (missing * 4 <= following.end.value - following.start.value)
            frame = following;
    }
    return frame;
}

std::optional<QTTime> FrameTimes::next(const QTTime& time) const
{
    auto frame = at(time);
    while (frame && frame->end.value < m_segments.back().end) {
        frame = frameIn(m_segments[segmentAt(frame->end.value)], frame->end.value);
        if (!frame->isGap)
            return frame->start;
    }
    return std::nullopt;
}

std::optional<QTTime> FrameTimes::previous(const QTTime& time) const
{
    auto frame = at(time);
    while (frame && frame->start.value > m_segments.front().start) {
        const auto before = frame->start.value - 1;
        frame = frameIn(m_segments[segmentAt(before)], before);
        if (!frame->isGap)
            return frame->start;
    }
    return std::nullopt;
}

std::int64_t FrameTimes::countIn(const Segment& segment, std::int64_t end) const
{
    if (segment.isGap || end <= segment.start)
        return 0;
    if (segment.rate <= 0)
        return 1;
    // The one on show at the segment's beginning, and all that begin behind it.
    const auto first = toMedia(segment, segment.start);
    auto last = toMedia(segment, end - 1);
    auto count = m_samples.displayedBetween(first + 1, last + 1) + 1;
    // Nothing is displayed yet: then the first picture stands there.
    if (!m_samples.displayedAt(first) && count > 1)
        --count;
    return count;
}

std::int64_t FrameTimes::countBefore(const QTTime& time) const
{
    const auto end = atScale(time, m_scale).value;
    std::int64_t count = 0;
    for (const auto& segment : m_segments)
        count += countIn(segment, std::min(segment.end, end));
    return count;
}

std::optional<QTTime> FrameTimes::startOf(std::int64_t number) const
{
    for (const auto& segment : m_segments) {
        const auto count = countIn(segment, segment.end);
        if (number >= count) {
            number -= count;
            continue;
        }
        // The earliest end at which that many have begun.
        auto low = segment.start;
        auto high = segment.end;
        while (high - low > 1) {
            const auto middle = low + (high - low) / 2;
            (countIn(segment, middle) > number ? high : low) = middle;
        }
        return QTTime {high - 1, m_scale};
    }
    return std::nullopt;
}

std::optional<QTTime> FrameTimes::last() const
{
    if (empty())
        return std::nullopt;
    const auto end = m_segments.back().end - 1;
    const auto frame = frameIn(m_segments.back(), end);
    return frame.isGap ? previous({end, m_scale}) : std::optional {frame.start};
}

} // namespace reelwright

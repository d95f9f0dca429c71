#pragma once

#include "movie/samples/SampleTimes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace reelwright {

/// When a video track changes its picture, in movie time: the sample times (`stts`, `ctts`) carried through
/// the edit list. Holds its own run-length copy of the tables; independent of the movie it was made from.
class FrameTimes
{
public:
    /// No pictures.
    FrameTimes() = default;
    /// Empty for a track without samples or without a time scale.
    explicit FrameTimes(const QTTrack& track);

    [[nodiscard]] bool empty() const { return m_segments.empty(); }
    /// The scale of all times that are answered: that of the media and the movie together where it fits 32
    /// bits, so that they are exact, else that of the media.
    [[nodiscard]] std::int32_t timeScale() const { return m_scale; }

    /// One picture on show.
    struct Frame
    {
        QTTime start;
        QTTime end;
        bool isGap = false; ///< an empty edit: nothing is shown
    };
    /// What is shown at a time. Before the track it is the first frame, behind it the last.
    /// A time is often a frame's start rounded to a coarser scale (29.97 frames a second at scale 600): the
    /// frame that starts within half a unit of the time, and within a quarter of a frame, has begun.
    /// Nothing for a track without pictures.
    [[nodiscard]] std::optional<Frame> at(const QTTime& time) const;
    /// The start of the picture after the one (or the gap) at `time`; nothing behind the last.
    [[nodiscard]] std::optional<QTTime> next(const QTTime& time) const;
    /// The start of the picture before the one (or the gap) at `time`; nothing before the first.
    [[nodiscard]] std::optional<QTTime> previous(const QTTime& time) const;
    /// The start of a picture counted from 0 as they are shown; gaps do not count. Nothing behind the last.
    [[nodiscard]] std::optional<QTTime> startOf(std::int64_t number) const;
    /// How many pictures begin before a time: the number of the one that begins then.
    [[nodiscard]] std::int64_t countBefore(const QTTime& time) const;
    /// The start of the last picture.
    [[nodiscard]] std::optional<QTTime> last() const;

    /// One edit: where it lies in the movie (in `timeScale`) and the media time that it starts with.
    struct Segment
    {
        std::int64_t start = 0;
        std::int64_t end = 0;
        std::int64_t mediaTime = 0;
        std::int32_t rate = 0; ///< 16.16; 0 and below hold one picture
        bool isGap = false;
    };
    /// In order and without holes, none of them of no length.
    [[nodiscard]] const std::vector<Segment>& segments() const { return m_segments; }
    [[nodiscard]] const SampleTimes& samples() const { return m_samples; }
    [[nodiscard]] std::int32_t mediaScale() const { return m_mediaScale; }

private:
    void readEdits(const QTTrack& track);
    [[nodiscard]] std::size_t segmentAt(std::int64_t time) const;
    [[nodiscard]] std::int64_t toMedia(const Segment& segment, std::int64_t time) const;
    [[nodiscard]] std::int64_t toMovie(const Segment& segment, std::int64_t mediaTime) const;
    /// Pictures of a segment that begin before `end`.
    [[nodiscard]] std::int64_t countIn(const Segment& segment, std::int64_t end) const;
    [[nodiscard]] Frame frameIn(const Segment& segment, std::int64_t time) const;

    std::int32_t m_scale = 0;
    std::int32_t m_mediaScale = 0;
    SampleTimes m_samples;
    std::vector<Segment> m_segments;
};

} // namespace reelwright

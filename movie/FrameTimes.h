#pragma once

#include "movie/QTTrack.h"

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

    [[nodiscard]] bool empty() const { return m_segments.empty() || m_decode.empty(); }
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
    /// The start of the last picture.
    [[nodiscard]] std::optional<QTTime> last() const;

private:
    /// Samples of one duration, in decode order.
    struct DecodeRun
    {
        std::uint64_t firstSample = 0;
        std::int64_t start = 0;
        std::uint32_t count = 0;
        std::uint32_t duration = 0;
    };
    /// Samples of one composition offset.
    struct OffsetRun
    {
        std::uint64_t firstSample = 0;
        std::int32_t offset = 0;
    };
    /// One edit: where it lies in the movie (in `m_scale`) and the media time that it starts with.
    struct Segment
    {
        std::int64_t start = 0;
        std::int64_t end = 0;
        std::int64_t mediaTime = 0;
        std::int32_t rate = 0; ///< 16.16; 0 and below hold one picture
        bool isGap = false;
    };

    void readTables(const Atom& stbl);
    void readEdits(const QTTrack& track);

    [[nodiscard]] std::int64_t decodeTime(std::uint64_t sample) const;
    [[nodiscard]] std::int64_t displayTime(std::uint64_t sample) const;
    [[nodiscard]] std::uint64_t firstSampleDecodedAtOrAfter(std::int64_t time) const;
    /// The latest display time at or before, and the earliest one after a media time.
    [[nodiscard]] std::optional<std::int64_t> displayedAt(std::int64_t mediaTime) const;
    [[nodiscard]] std::optional<std::int64_t> displayedAfter(std::int64_t mediaTime) const;

    [[nodiscard]] std::size_t segmentAt(std::int64_t time) const;
    [[nodiscard]] std::int64_t toMedia(const Segment& segment, std::int64_t time) const;
    [[nodiscard]] std::int64_t toMovie(const Segment& segment, std::int64_t mediaTime) const;
    [[nodiscard]] Frame frameIn(const Segment& segment, std::int64_t time) const;

    std::int32_t m_scale = 0;
    std::int32_t m_mediaScale = 0;
    std::uint64_t m_sampleCount = 0;
    std::int32_t m_lowestOffset = 0;
    std::int32_t m_highestOffset = 0;
    std::vector<DecodeRun> m_decode;
    std::vector<OffsetRun> m_offsets; ///< empty where display order is decode order
    std::vector<Segment> m_segments; ///< in order and without holes, none of them of no length
};

} // namespace reelwright

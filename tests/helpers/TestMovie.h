#pragma once

#include "movie/ChapterList.h"
#include "movie/QTTrack.h"

#include <optional>
#include <ostream>
#include <vector>

namespace reelwright {

/// For messages of failed comparisons.
inline void PrintTo(const QTTime& time, std::ostream* out)
{
    *out << time.value << '/' << time.scale;
}

inline void PrintTo(const QTTimeRange& range, std::ostream* out)
{
    PrintTo(range.time, out);
    *out << " for ";
    PrintTo(range.duration, out);
}

inline void PrintTo(const Chapter& chapter, std::ostream* out)
{
    *out << chapter.name << " at ";
    PrintTo(chapter.start, out);
}

} // namespace reelwright

namespace reelwright::test {

/// A track for tests: what it does not say is made to fit.
struct TestTrack
{
    FourCC mediaType = QTMediaTypeVideo;
    std::uint32_t trackID = 1;
    bool enabled = true;
    std::uint32_t width = 160; ///< pixels
    std::uint32_t height = 90;
    Matrix matrix {};
    std::uint32_t mediaScale = 600;
    std::vector<SampleTable::TimeRun> times = {{25, 24}}; ///< samples; one second in 25 frames
    std::optional<std::uint64_t> mediaDuration {}; ///< else the samples'
    std::optional<std::uint64_t> trackDuration {}; ///< else the edits', or the media's in the movie's scale
    std::optional<EditList> edits {}; ///< else no edit list
    std::vector<Atom> descriptions {}; ///< else one of a plain kind
    std::vector<std::uint32_t> samples {}; ///< four bytes each, kept in memory; else empty samples
};

/// An atom that holds these.
Atom box(FourCC type, const std::vector<Atom>& children);

/// An empty movie of that time scale.
QTMovie emptyMovie(std::uint32_t timeScale = 600);
/// A timecode track whose samples start at these frames.
TestTrack timecodeTrack(const TimecodeDefinition& definition, std::vector<std::uint32_t> starts,
    std::vector<SampleTable::TimeRun> times, std::uint32_t mediaScale = 30000);
/// Appends the track and brings the movie's duration up to date.
QTTrack addTrack(QTMovie& movie, const TestTrack& track);

/// Sample descriptions with extension atoms.
Atom videoDescription(std::uint16_t width, std::uint16_t height, const std::vector<Atom>& extensions = {});
Atom soundDescription(std::uint16_t channels, const std::vector<Atom>& extensions = {});
Atom timecodeDescription(const TimecodeDefinition& definition);

/// A channel layout that lists channels by these labels.
Atom channelLayout(const std::vector<std::uint32_t>& labels);

} // namespace reelwright::test

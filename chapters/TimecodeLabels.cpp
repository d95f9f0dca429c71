#include "chapters/TimecodeLabels.h"

#include "support/Text.h"
#include "tracks/KWQuickTime.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace reelwright {
namespace {

    std::optional<QTTrack> timecodeTrack(const QTMovie& movie)
    {
        const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        return tracks.empty() ? std::nullopt : std::optional(tracks.front());
    }

} // namespace

TimecodeLabels::TimecodeLabels(const QTMovie& movie)
    : m_movie(movie)
    , m_start {0, std::max(movie.timeScale(), 1)}
{
    if (const auto track = timecodeTrack(movie)) {
        const auto start = track->range().time;
        const auto first = timecodeMedia::atMovieTime(*track, start);
        if (first && *first && ((*first)->description.definition.flags & TimecodeDefinition::kCounter) == 0) {
            m_definition = (*first)->description.definition;
            m_first = (*first)->frame;
            m_start = start;
        }
    }
    if (m_definition.frameDuration == 0 || m_definition.timeScale == 0
        || m_definition.timeScale > INT32_MAX) {
        const auto timing = KWQuickTime::getTimingInfoForMovie(movie);
        const auto base = std::clamp(timing.timebase, 1, int {UINT8_MAX});
        m_definition.numberOfFrames = static_cast<std::uint8_t>(base);
        m_definition.flags = timing.dropFrame ? TimecodeDefinition::kDropFrame : 0;
        m_definition.timeScale = static_cast<std::uint32_t>(base * 1000);
        m_definition.frameDuration = timing.ntsc ? 1001 : 1000;
    }
}

bool TimecodeLabels::dropsFrames() const
{
    return (m_definition.flags & TimecodeDefinition::kDropFrame) != 0;
}

std::int64_t TimecodeLabels::frameAt(const QTTime& time) const
{
    if (const auto track = timecodeTrack(m_movie))
        if (const auto reading = timecodeMedia::atMovieTime(*track, time); reading && *reading)
            return (*reading)->frame;
    const auto units = atScale(time, static_cast<std::int32_t>(m_definition.timeScale))
        - atScale(m_start, static_cast<std::int32_t>(m_definition.timeScale));
    return m_first + rescale(units.value, 1, m_definition.frameDuration);
}

std::string TimecodeLabels::at(const QTTime& time) const
{
    return timecodeMedia::label(frameAt(time), m_definition);
}

std::string TimecodeLabels::behind(const QTTime& time) const
{
    return timecodeMedia::label(frameAt(time) + 1, m_definition);
}

std::optional<QTTime> TimecodeLabels::timeOf(std::string_view label, Early early) const
{
    const auto pieces = split(trimmed(label), ":;");
    std::array<std::int64_t, 4> fields {};
    if (pieces.size() != fields.size())
        return std::nullopt;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto* end = pieces[i].data() + pieces[i].size();
        const auto [stop, error] = std::from_chars(pieces[i].data(), end, fields[i]);
        if (error != std::errc {} || stop != end || fields[i] < 0 || fields[i] > INT32_MAX)
            return std::nullopt;
    }
    auto frame
        = timecodeMedia::frameNumber({false, fields[0], fields[1], fields[2], fields[3]}, m_definition);
    if (frame >= m_first)
        frame -= m_first;
    else if (early == Early::Nothing)
        return std::nullopt;
    const auto scale = static_cast<std::int32_t>(m_definition.timeScale);
    return atScale(m_start, scale) + QTTime {frame * m_definition.frameDuration, scale};
}

} // namespace reelwright

#include "document/TrackList.h"

#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    struct ColumnName
    {
        TrackColumn column;
        std::string_view identifier;
    };

    constexpr ColumnName kColumns[] = {
        {TrackColumn::TrackView, "trackView"},
        {TrackColumn::In, "in"},
        {TrackColumn::Duration, "duration"},
        {TrackColumn::Enabled, "enabled"},
    };

    /// The type code; for sound also the name of the first channel, where it has one.
    std::string labelValue(const KWMovTrack& track)
    {
        const auto code = track.trackType() ? fmt::to_string(*track.trackType()) : std::string {};
        if (track.trackType() != KWMovTrack::kAudio)
            return code;
        const auto name
            = KWQuickTime::friendlyAudioChannelLabel(track.audioChannelDescription().mChannelLabel);
        return name == "Unknown" ? code : fmt::format("{}({})", code, name);
    }

} // namespace

std::string_view trackColumnIdentifier(TrackColumn column)
{
    return std::find_if(std::begin(kColumns), std::end(kColumns), [&](const auto& name) {
        return name.column == column;
    })->identifier;
}

std::optional<TrackColumn> trackColumnWithIdentifier(std::string_view identifier)
{
    for (const auto& name : kColumns)
        if (name.identifier == identifier)
            return name.column;
    return std::nullopt;
}

TrackList::TrackList(const QTMovie& movie)
    : m_movie(movie)
{
}

void TrackList::rebuild()
{
    m_tracks.clear();
    for (const auto& track : m_movie.tracks())
        m_tracks.push_back(KWMovTrack::trackWithQTTrack(track));
    // Stable: tracks that share an ID stay in the movie's order.
    std::stable_sort(m_tracks.begin(), m_tracks.end(),
        [](const KWMovTrack& a, const KWMovTrack& b) { return a.trackID() < b.trackID(); });
}

std::size_t TrackList::rowCount() const
{
    return 1 + m_tracks.size();
}

const KWMovTrack* TrackList::track(std::size_t row) const
{
    return row == 0 || row > m_tracks.size() ? nullptr : &m_tracks[row - 1];
}

KWMovTrack* TrackList::track(std::size_t row)
{
    return row == 0 || row > m_tracks.size() ? nullptr : &m_tracks[row - 1];
}

std::optional<std::size_t> TrackList::rowOf(const KWMovTrack& record) const
{
    for (std::size_t row = 1; row < rowCount(); ++row)
        if (track(row) == &record)
            return row;
    return std::nullopt;
}

std::optional<int> TrackList::typeCode(std::size_t row) const
{
    if (row == 0)
        return KWMovTrack::kMovie;
    const auto* record = track(row);
    return record ? record->trackType() : std::nullopt;
}

std::optional<std::string> TrackList::value(TrackColumn column, std::size_t row) const
{
    if (row == 0)
        return column == TrackColumn::TrackView ? std::optional(fmt::to_string(+KWMovTrack::kMovie))
                                                : std::nullopt;
    const auto* record = track(row);
    if (!record)
        return std::nullopt;
    switch (column) {
    case TrackColumn::TrackView:
        return labelValue(*record);
    case TrackColumn::In:
        return KWQuickTime::formattedQTTime(record->inPoint(), m_movie);
    case TrackColumn::Duration:
        return KWQuickTime::formattedQTTime(record->duration(), m_movie);
    case TrackColumn::Enabled:
        return record->enabled() ? "1" : "0";
    }
    return std::nullopt;
}

std::optional<std::string> TrackList::customTitle(std::size_t row) const
{
    const auto* record = track(row);
    if (!record || record->trackType() != KWMovTrack::kAudio || record->channels() == 0)
        return std::nullopt;
    switch (record->channels()) {
    case 1:
        return "Audio (Mono)";
    case 2:
        return "Audio (Stereo)";
    default:
        return "Audio (Multi-Channel)";
    }
}

std::string TrackList::title(std::size_t row) const
{
    if (auto custom = customTitle(row))
        return *custom;
    return std::string(KWMovTrack::typeName(typeCode(row)));
}

bool TrackList::isEditable(TrackColumn column, std::size_t row) const
{
    return column != TrackColumn::TrackView && track(row);
}

} // namespace reelwright

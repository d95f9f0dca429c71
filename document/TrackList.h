#pragma once

#include "movie/QTMovie.h"
#include "tracks/KWMovTrack.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// Columns of the track table.
enum class TrackColumn { TrackView, In, Duration, Enabled };

/// "trackView", "in", "duration", "enabled".
std::string_view trackColumnIdentifier(TrackColumn column);
std::optional<TrackColumn> trackColumnWithIdentifier(std::string_view identifier);

/// The rows of the track table: row 0 is the movie itself, the others its tracks in ascending track ID.
/// Borrows the movie, which must stay where it is.
class TrackList
{
public:
    explicit TrackList(const QTMovie& movie);
    TrackList(const TrackList&) = delete;
    TrackList& operator=(const TrackList&) = delete;

    /// Makes the records anew from the movie's tracks.
    void rebuild();

    [[nodiscard]] std::size_t rowCount() const;
    /// Null for row 0 and for rows that are not there. Good until the next rebuild.
    [[nodiscard]] const KWMovTrack* track(std::size_t row) const;
    [[nodiscard]] KWMovTrack* track(std::size_t row);
    /// The row of that very record.
    [[nodiscard]] std::optional<std::size_t> rowOf(const KWMovTrack& record) const;

    /// KWMovTrack::kMovie for row 0; nothing for a track of a kind without a code, or no row.
    [[nodiscard]] std::optional<int> typeCode(std::size_t row) const;
    /// The value of a column as text; nothing where the cell is empty. "trackView": the type code, for sound
    /// with the name of the first channel ("2(Left)"); "in" and "duration": hours:minutes:seconds:frames at
    /// the rate of the movie's first video track; "enabled": "1" or "0".
    [[nodiscard]] std::optional<std::string> value(TrackColumn column, std::size_t row) const;
    /// The title that replaces the kind's name: "Audio (Mono)", "Audio (Stereo)", "Audio (Multi-Channel)".
    [[nodiscard]] std::optional<std::string> customTitle(std::size_t row) const;
    /// What the label shows: the custom title, else the name of the kind.
    [[nodiscard]] std::string title(std::size_t row) const;
    /// Can the cell be edited (a text, or the check box of "enabled")?
    [[nodiscard]] bool isEditable(TrackColumn column, std::size_t row) const;

private:
    const QTMovie& m_movie;
    std::vector<KWMovTrack> m_tracks;
};

} // namespace reelwright

#pragma once

#include "tracks/TrackPlaces.h"

namespace reelwright {

/// Names tracks of a movie: one by its ID ("3"), one by its kind and its place ("v1", "a2", "tc1", "tx1",
/// "sp1", "cc1"), all of a kind ("a*"), or all ("*"). Places are those of the movie as it was opened or last
/// saved; tracks that were added since follow behind them.
class TrackSelector
{
public:
    /// The one with that ID.
    static TrackSelector ofTrack(std::uint32_t trackID);
    /// Nothing when the text is no selector.
    static std::optional<TrackSelector> parse(std::string_view text);

    [[nodiscard]] const std::string& text() const { return m_text; }
    /// The tracks it names. Errors: Refused when it names one track and the movie has no such track; naming
    /// all of none is no error. Of several tracks with one ID it names the last.
    [[nodiscard]] Result<std::vector<QTTrack>> select(const QTMovie& movie) const;

private:
    std::string m_text;
    std::optional<std::uint32_t> m_trackID;
    const TrackKind* m_kind = nullptr;
    std::size_t m_place = 0; ///< 0: all
};

} // namespace reelwright

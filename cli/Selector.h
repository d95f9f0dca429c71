#pragma once

#include "report/TrackPlaces.h"

namespace reelwright::cli {

/// Names tracks of a movie: one by its ID ("3"), one by its kind and its place ("v1", "a2", "tc1", "tx1",
/// "sp1", "cc1"), all of a kind ("a*"), or all ("*").
class Selector
{
public:
    /// Nothing when the text is no selector.
    static std::optional<Selector> parse(std::string_view text);

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

} // namespace reelwright::cli

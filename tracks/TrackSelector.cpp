#include "tracks/TrackSelector.h"

#include <fmt/format.h>

#include <charconv>
#include <map>

namespace reelwright {
namespace {

    /// The decimal number that all of the text is.
    std::optional<std::uint32_t> number(std::string_view text)
    {
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc {} || end != text.data() + text.size())
            return std::nullopt;
        return value;
    }

    /// The movie's tracks, placed as they were before the edits; those that the edits added follow.
    std::vector<PlacedTrack> placedAsOpened(const QTMovie& movie)
    {
        auto tracks = placedTracks(movie);
        if (!movie.isChanged())
            return tracks;
        std::map<std::uint64_t, std::size_t> places;
        std::map<const TrackKind*, std::size_t> counts;
        const auto opened = movie.asSaved();
        for (const auto& placed : placedTracks(opened)) {
            places[placed.track.atom().id] = placed.place;
            counts[placed.kind] = placed.place;
        }
        for (auto& placed : tracks) {
            const auto known = places.find(placed.track.atom().id);
            placed.place = known != places.end() ? known->second : placed.kind ? ++counts[placed.kind] : 0;
        }
        return tracks;
    }

} // namespace

TrackSelector TrackSelector::ofTrack(std::uint32_t trackID)
{
    TrackSelector selector;
    selector.m_text = std::to_string(trackID);
    selector.m_trackID = trackID;
    return selector;
}

std::optional<TrackSelector> TrackSelector::parse(std::string_view text)
{
    TrackSelector selector;
    selector.m_text = text;
    if (text == "*")
        return selector;
    selector.m_trackID = number(text);
    if (selector.m_trackID)
        return selector;
    const auto lettersEnd = std::min(text.find_first_of("0123456789*"), text.size());
    selector.m_kind = kindWithLetters(text.substr(0, lettersEnd));
    const auto place = text.substr(lettersEnd);
    if (!selector.m_kind)
        return std::nullopt;
    if (place == "*")
        return selector;
    selector.m_place = number(place).value_or(0);
    if (selector.m_place == 0)
        return std::nullopt;
    return selector;
}

Result<std::vector<QTTrack>> TrackSelector::select(const QTMovie& movie) const
{
    std::vector<QTTrack> found;
    for (const auto& placed : placedAsOpened(movie)) {
        if (m_trackID) {
            if (placed.track.trackID() != *m_trackID)
                continue;
            found.clear();
        } else if (m_kind && (placed.kind != m_kind || (m_place != 0 && placed.place != m_place))) {
            continue;
        }
        found.push_back(placed.track);
    }
    if (found.empty() && (m_trackID || m_place != 0))
        return failure(MovieError::Code::Refused, {},
            fmt::format("the movie has no track {}; \"reelwright-cli tracks\" lists those it has", m_text));
    return found;
}

} // namespace reelwright

#include "tracks/TrackPlaces.h"

#include <algorithm>
#include <array>
#include <map>

namespace reelwright {
namespace {

    constexpr TrackKind kKinds[] = {
        {KWMovTrack::kVideo, "v"},
        {KWMovTrack::kAudio, "a"},
        {KWMovTrack::kTimecode, "tc"},
        {KWMovTrack::kText, "tx"},
        {KWMovTrack::kSprite, "sp"},
        {KWMovTrack::kCaptions, "cc"},
    };

} // namespace

const TrackKind* kindOf(std::optional<int> typeCode)
{
    for (const auto& kind : kKinds)
        if (typeCode == kind.typeCode)
            return &kind;
    return nullptr;
}

const TrackKind* kindWithLetters(std::string_view letters)
{
    for (const auto& kind : kKinds)
        if (letters == kind.letters)
            return &kind;
    return nullptr;
}

std::string PlacedTrack::placeName() const
{
    return kind ? kind->letters + std::to_string(place) : std::string {};
}

std::vector<PlacedTrack> placedTracks(const QTMovie& movie)
{
    std::vector<PlacedTrack> result;
    for (const auto& track : movie.tracks())
        result.push_back({track, KWMovTrack::trackWithQTTrack(track)});
    std::stable_sort(result.begin(), result.end(),
        [](const auto& a, const auto& b) { return a.record.trackID() < b.record.trackID(); });
    std::map<const TrackKind*, std::size_t> counts;
    for (auto& placed : result) {
        placed.kind = kindOf(placed.record.trackType());
        if (placed.kind)
            placed.place = ++counts[placed.kind];
    }
    return result;
}

} // namespace reelwright

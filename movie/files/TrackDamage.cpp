#include "movie/files/TrackDamage.h"

#include "movie/QTTrack.h"
#include "movie/samples/SampleTable.h"

#include <fmt/format.h>

#include <set>

namespace reelwright {

void noteTrackDamage(const QTMovie& movie, std::vector<MovieWarning>& warnings)
{
    std::set<std::uint32_t> seen;
    for (const auto& track : movie.tracks()) {
        const auto id = track.trackID();
        const auto where = fmt::format("track {}", id);
        const auto offset = track.atom().sourceOffset;
        if (!seen.insert(id).second)
            warnings.push_back({offset, where, "another track has the same ID"});
        if (const auto list = track.editList(); !list)
            warnings.push_back({list.error().offset, list.error().where, list.error().detail});
        const auto media = track.media();
        if (!media.isValid()) {
            warnings.push_back({offset, where, "the track has no media"});
            continue;
        }
        if (media.timeScale() == 0)
            warnings.push_back({offset, where, "the media's time scale is 0"});
        if (const auto* stbl = media.atom()->find({"minf"_cc, "stbl"_cc}))
            SampleTable::parse(*stbl, &warnings);
        else
            warnings.push_back({offset, where, "the media has no sample tables"});
    }
}

} // namespace reelwright

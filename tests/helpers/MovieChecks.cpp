#include "tests/helpers/MovieChecks.h"

#include "movie/QTTrack.h"

#include <algorithm>

namespace reelwright::test {

testing::AssertionResult holdsSamplesOf(const QTMovie& movie, const MovieBuilder& built)
{
    const auto tracks = movie.tracks();
    if (tracks.size() < built.tracks.size())
        return testing::AssertionFailure() << "only " << tracks.size() << " tracks";
    for (std::size_t i = 0; i < built.tracks.size(); ++i) {
        const auto id = static_cast<std::uint32_t>(i + 1);
        const auto media = tracks[i].media();
        if (tracks[i].trackID() != id || media.sampleCount() != built.tracks[i].samples)
            return testing::AssertionFailure() << "track " << id << " has ID " << tracks[i].trackID()
                                               << " and " << media.sampleCount() << " samples";
        const auto expected = MovieBuilder::media(built.tracks[i], id);
        std::size_t position = 0;
        for (std::uint32_t number = 1; number <= built.tracks[i].samples; ++number) {
            const auto data = media.sampleData(number);
            if (!data)
                return testing::AssertionFailure()
                    << "track " << id << ", sample " << number << ": " << data.error().message();
            const auto size = built.tracks[i].sampleSize(number);
            if (!std::ranges::equal(data->span(), std::span {expected}.subspan(position, size)))
                return testing::AssertionFailure()
                    << "track " << id << ", sample " << number << " has other bytes";
            position += size;
        }
    }
    return testing::AssertionSuccess();
}

} // namespace reelwright::test

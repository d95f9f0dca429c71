#include "movie/files/Importer.h"

#include "movie/TrackBuilder.h"
#include "movie/files/AiffFile.h"
#include "movie/files/DvFile.h"
#include "movie/files/WaveFile.h"

#include <algorithm>

namespace reelwright {

Result<std::optional<Atom>> importMediaFile(StorageFile& file, const std::string& path)
{
    RW_TRY(const auto state, file.state());
    const auto time = static_cast<std::uint64_t>(
        std::max<std::int64_t>(state.modifiedNanos / 1'000'000'000 + kSecondsFrom1904To1970, 0));
    for (const auto& readSound : {readWaveFile, readAiffFile}) {
        RW_TRY(const auto sound, readSound(file, path));
        if (!sound)
            continue;
        RW_TRY(auto movie, makeSoundMovie(*sound, time, path));
        return movie;
    }
    RW_TRY(const auto stream, DvStream::read(file, path));
    if (!stream)
        return std::nullopt;
    RW_TRY(auto movie, stream->makeMovie(time));
    return movie;
}

} // namespace reelwright

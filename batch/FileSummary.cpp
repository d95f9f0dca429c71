#include "batch/FileSummary.h"

#include "report/MovieFacts.h"

#include <fmt/format.h>

#include <exception>

namespace reelwright {
namespace {

    void take(FileSummary& summary, const MovieFacts& facts)
    {
        summary.duration = facts.duration.timecode;
        if (facts.duration.time.scale != 0)
            summary.seconds = static_cast<double>(facts.duration.time.value) / facts.duration.time.scale;
        summary.frameRate = facts.frameRate;
        summary.hindrance = facts.hindrance.value_or("");
        unsigned sounds = 0;
        std::uint32_t channels = 0;
        bool hasPicture = false;
        bool hasTimecode = false;
        for (const auto& track : facts.tracks) {
            if (track.mediaType == QTMediaTypeVideo && !std::exchange(hasPicture, true)) {
                if (track.size) {
                    summary.width = static_cast<int>(track.size->width);
                    summary.height = static_cast<int>(track.size->height);
                }
                if (track.format)
                    summary.format = track.format->text();
            }
            if (track.mediaType == QTMediaTypeSound) {
                ++sounds;
                channels += track.channels;
            }
            if (track.timecode && !std::exchange(hasTimecode, true)) {
                summary.startTimecode = track.timecode->start;
                summary.reel = track.timecode->description.reel;
            }
        }
        if (sounds != 0)
            summary.sound = fmt::format("{} track{}, {} channel{}", sounds, sounds == 1 ? "" : "s", channels,
                channels == 1 ? "" : "s");
    }

} // namespace

FileSummary FileSummary::of(const std::string& path, const std::shared_ptr<Storage>& storage)
{
    FileSummary summary;
    try {
        const auto movie = QTMovie::open(path, storage, HeaderReading::Outline);
        if (movie) {
            summary.headerBytes = movie->header().size();
            take(summary, MovieFacts::of(*movie));
        } else {
            summary.error = reasonFor(movie.error(), path);
        }
    } catch (const std::exception& error) {
        summary.error = error.what();
    }
    return summary;
}

} // namespace reelwright

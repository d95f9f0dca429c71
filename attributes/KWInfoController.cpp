#include "attributes/KWInfoController.h"

#include "attributes/FormatName.h"
#include "attributes/KWMetadataController.h"
#include "support/FileHelper.h"
#include "tracks/KWMovTrack.h"
#include "tracks/KWQuickTime.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr std::int64_t kFrom1904To1970 = 2'082'844'800;

    /// "2024-06-11 12:32:07 +0000"; empty where there is none.
    std::string timeText(std::time_t time)
    {
        return fmt::format("{:%Y-%m-%d %H:%M:%S} +0000", fmt::gmtime(time));
    }

    /// Of a header: seconds since 1904, zero for none. Damaged headers have what no calendar has.
    std::string headerTimeText(std::uint64_t time)
    {
        constexpr std::uint64_t kMost = 1ULL << 40U;
        return time == 0 || time > kMost
            ? std::string {}
            : timeText(static_cast<std::time_t>(static_cast<std::int64_t>(time) - kFrom1904To1970));
    }

    struct FileTimes
    {
        std::string created;
        std::string modified;
    };

    FileTimes fileTimes(const std::string& path)
    {
        struct statx info = {};
        if (path.empty() || ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0)
            return {};
        const bool isBirthKnown = (info.stx_mask & STATX_BTIME) != 0;
        return {
            isBirthKnown ? timeText(info.stx_btime.tv_sec) : std::string {}, timeText(info.stx_mtime.tv_sec)};
    }

    const char* yesNo(bool value)
    {
        return value ? "Yes" : "No";
    }

    /// Is it one that another track's chapters stand in?
    bool isChapterTrack(const QTTrack& track)
    {
        const auto tracks = track.movie().tracks();
        return std::any_of(tracks.begin(), tracks.end(), [&](const QTTrack& other) {
            const auto references = other.references();
            const auto chapters = references.find("chap"_cc);
            return chapters != references.end()
                && std::find(chapters->second.begin(), chapters->second.end(), track.trackID())
                != chapters->second.end();
        });
    }

    /// Megabits of 1,048,576 bits a second.
    double averageBitrate(const QTMovie& movie, std::uint64_t bytes)
    {
        constexpr double kPerKilo = 0.0009765625;
        constexpr double kBits = 8;
        const double rate = KWQuickTime::fpsForMovie(movie);
        const double seconds = KWQuickTime::frameCountForQTTime(movie.duration(), movie) / rate;
        return std::fabs(static_cast<double>(bytes) / seconds * kPerKilo * kPerKilo * kBits);
    }

    /// Lengths are shown at so many frames a second, the movie's.
    std::string trackLines(const QTTrack& track, bool hasChapters, double fps)
    {
        const auto header = track.header();
        return fmt::format("Display Name: {}\n"
                           "Format: {}\n"
                           "Track ID: {}\n"
                           "Creation Time: {}\n"
                           "Modification Time: {}\n"
                           "Enabled: {}\n"
                           "Has Chapters: {}\n"
                           "Duration: {}\n"
                           "Frame / Sample Rate: {:.2f}\n",
            KWInfoController::displayName(track), KWInfoController::formatSummary(track),
            static_cast<std::int32_t>(track.trackID()), headerTimeText(header.creationTime),
            headerTimeText(header.modificationTime), yesNo(track.isEnabled()), yesNo(hasChapters),
            KWQuickTime::formattedQTTime(track.range().duration, fps), KWQuickTime::fpsFromQTTrack(track));
    }

    std::string fileNameOf(const std::string& path)
    {
        return path.substr(path.rfind('/') + 1);
    }

} // namespace

std::string KWInfoController::infoForMovie(const QTMovie& movie)
{
    const auto header = movie.movieHeader();
    const auto path = movie.fileName();
    const auto times = fileTimes(path);
    const auto bytes = dataSize(movie);
    const auto size = movie.naturalSize();
    // Without a picture it is no number, whose sign is nobody's concern.
    const auto aspect = std::fabs(static_cast<float>(size.width) / static_cast<float>(size.height));
    auto report = fmt::format("Filename: {}\n"
                              "Display Name: {}\n"
                              "Copyright: {}\n"
                              "Creation Time: {}\n"
                              "Modification Time: {}\n"
                              "File Creation Time: {}\n"
                              "File Modification Time: {}\n"
                              "Data Size: {}\n"
                              "Frame Size: {:.0f}x{:.0f}\n"
                              "Aspect Ratio: {:.2f}:1\n"
                              "Duration: {}\n"
                              "Average bitrate: {:.2f} Mbps\n",
        path, KWMetadataController::displayName(movie),
        KWMetadataController::copyright(movie).value_or(std::string {}), headerTimeText(header.creationTime),
        headerTimeText(header.modificationTime), times.created, times.modified,
        FileHelper::formatFileSize(bytes), size.width, size.height, aspect,
        KWQuickTime::formattedQTTime(movie.duration(), movie), averageBitrate(movie, bytes));
    std::vector<std::uint32_t> chapterTracks; // looked up once: a movie may have thousands of tracks
    for (const auto& track : movie.tracks())
        for (const auto& [kind, ids] : track.references())
            if (kind == "chap"_cc)
                chapterTracks.insert(chapterTracks.end(), ids.begin(), ids.end());
    std::sort(chapterTracks.begin(), chapterTracks.end());
    const auto fps = KWQuickTime::fpsForMovie(movie);
    int number = 0;
    for (const auto& track : movie.tracks())
        report += fmt::format("\n\nTrack {}:\n", ++number)
            + trackLines(
                track, std::binary_search(chapterTracks.begin(), chapterTracks.end(), track.trackID()), fps);
    return report;
}

std::string KWInfoController::infoForTrack(const QTTrack& track)
{
    return trackLines(track, isChapterTrack(track), KWQuickTime::fpsForMovie(track.movie()));
}

std::string KWInfoController::infoForMovies(std::span<const QTMovie> movies)
{
    std::string report;
    for (const auto& movie : movies)
        report += fmt::format("{}:\n\n{}\n\n", fileNameOf(movie.fileName()), infoForMovie(movie));
    return report;
}

std::uint64_t KWInfoController::dataSize(const QTMovie& movie)
{
    std::uint64_t bytes = 0;
    for (const auto& track : movie.tracks()) {
        const auto media = track.media();
        if (!media.isValid())
            continue;
        media.sampleTable().forEachChunk(
            [&](std::uint32_t, const SampleTable::Chunk& chunk) {
                bytes += chunk.size;
                return true;
            },
            media.soundPacking(1));
    }
    return bytes;
}

std::string KWInfoController::displayName(const QTTrack& track)
{
    if (auto name = track.name(); !name.empty())
        return name;
    const auto type = track.mediaType();
    return type == QTMediaTypeVideo        ? "Video Track"
        : type == QTMediaTypeSound         ? "Sound Track"
        : type == QTMediaTypeTimeCode      ? "Timecode Track"
        : type == QTMediaTypeText          ? "Text Track"
        : type == QTMediaTypeSprite        ? "Sprite Track"
        : type == QTMediaTypeClosedCaption ? "Closed Caption Track"
                                           : "Track";
}

std::string KWInfoController::formatSummary(const QTTrack& track)
{
    const auto description = track.media().sampleDescription(1);
    if (!description)
        return {};
    auto summary = formatName(description->format());
    if (track.mediaType() == QTMediaTypeVideo) {
        if (const auto video = description->video())
            summary += fmt::format(", {} x {}", video->width, video->height);
    } else if (track.mediaType() == QTMediaTypeSound) {
        if (const auto sound = description->sound()) {
            summary += sound->channels == 1 ? std::string(", mono")
                : sound->channels == 2      ? std::string(", stereo")
                                            : fmt::format(", {} channels", sound->channels);
            if (sound->sampleRate > 0)
                summary += fmt::format(", {:.3f} kHz", sound->sampleRate / 1000);
        }
    }
    return summary;
}

} // namespace reelwright

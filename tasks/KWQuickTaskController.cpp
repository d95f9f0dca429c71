#include "tasks/KWQuickTaskController.h"

#include "movie/QTMetaData.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>

namespace reelwright {
namespace {

    std::optional<std::chrono::sys_seconds> fileCreationTime(const std::string& path)
    {
        struct statx info = {};
        if (path.empty() || ::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0)
            return std::nullopt;
        const auto& time = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime : info.stx_mtime;
        return std::chrono::sys_seconds {std::chrono::seconds {time.tv_sec}};
    }

    /// The first text under the key, which some programs write in the other order.
    std::optional<std::string> timecodeField(const QTMovie& movie)
    {
        for (const auto& item : QTMetaData::ofMovie(movie).items()) {
            const auto key = item.shownKey();
            const auto text = item.text();
            if (text && (key == "\u00A9TIM" || key == "MIT\u00A9"))
                return text;
        }
        return std::nullopt;
    }

} // namespace

std::optional<KWMovTrack> KWQuickTaskController::timecodeTrackFromCreationTime(QTMovie& movie)
{
    const auto created = movie.creationTime();
    return created ? KWTimecodeController::addTimecodeTrackWithDate(*created, movie) : std::nullopt;
}

std::optional<KWMovTrack> KWQuickTaskController::timecodeTrackFromFileCreationTime(QTMovie& movie)
{
    const auto created = fileCreationTime(movie.fileName());
    return created ? KWTimecodeController::addTimecodeTrackWithDate(*created, movie)
                   : timecodeTrackFromCreationTime(movie);
}

bool KWQuickTaskController::addTimecodeTrackFromUserDataField(QTMovie& movie)
{
    const auto text = timecodeField(movie);
    const auto fields = text ? KWTimecodeController::fourFields(trimmed(*text)) : std::nullopt;
    if (!fields)
        return false;
    const auto& [hours, mins, secs, frames] = *fields;
    return KWTimecodeController::insertTimecodeTrack(hours, mins, secs, frames, movie).has_value();
}

} // namespace reelwright

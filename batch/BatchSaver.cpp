#include "batch/BatchSaver.h"

#include "support/KWLog.h"
#include "support/Trash.h"

#include <fmt/format.h>

namespace reelwright {

BatchFiles BatchFiles::real()
{
    return {[](const std::string& path, const std::string& original, std::chrono::milliseconds timeout) {
        return Trash::put(path, original, timeout);
    }};
}

/// How far a whole file has come on its way to its place.
struct BatchSaver::Placing
{
    bool isMoving = false; ///< only its name is missing
};

SaveRequest BatchSaver::request(const Order& order) const
{
    const bool isCopy = m_settings.mode != BatchMode::InPlace;
    SaveRequest request;
    request.movie = order.movie;
    request.movie.gotoBeginning();
    if (isCopy)
        request.output = order.output;
    request.rules = {m_settings.needsFlattening, order.dryRun, m_settings.verify, m_settings.keepDates};
    request.volumes = m_settings.resaveOnOtherVolumes ? VolumeRule::JournalledOnly : VolumeRule::Any;
    request.overwrite = true; // what is replaced goes to the trash can
    request.transform = order.transform;
    // Who asks for a new file is told what it does not hold; a plain save keeps all.
    if (isCopy || m_settings.needsFlattening)
        request.unused = UnusedBytes::LeaveOut;
    request.makesFolder = m_settings.mode == BatchMode::OutputFolder;
    request.setsTypeAndCreator = true;
    return request;
}

/// The new file takes the target's name in one step, so that the name is never without a whole movie; the old
/// one goes to the trash can from the name that it has then.
WholeFileEvents BatchSaver::events(Placing& placing) const
{
    WholeFileEvents events;
    events.begun = [](const std::string& temporary) {
        KWLog::appendLog("Saving movie as...");
        KWLog::appendLog("Saving to temporary file {}", temporary);
    };
    events.complete = [&placing](const std::string& temporary, const std::string& target, bool replaces) {
        if (replaces)
            KWLog::appendLog("Removing existing file at {}", target);
        else
            KWLog::appendLog("Moving {} to {}...", temporary, target);
        placing.isMoving = true;
    };
    events.dispose = [this, &placing](const std::string& path, const std::string& original) -> Result<void> {
        constexpr auto kLimit = std::chrono::seconds(20);
        if (const auto error = m_files.trash(path, original, kLimit)) {
            KWLog::appendLog("Failed to remove old file");
            placing.isMoving = false;
            return failure(MovieError::Code::Io, original,
                fmt::format("the old file could not be put into the trash can ({})", error.message()));
        }
        KWLog::appendLog("Moving {} to {}...", path, original);
        return {};
    };
    return events;
}

SaveOutcome BatchSaver::save(Order order, const Progress& progress) const
{
    if (order.dryRun)
        return saving::save(request(order), progress);
    const auto time = order.movie.currentTime();
    auto saved = takeRoad(order, progress);
    if (saved.error)
        KWLog::appendLogAndPrint("Error writing movie: {}", saved.error->message());
    saved.movie.setCurrentTime(time);
    return saved;
}

SaveOutcome BatchSaver::takeRoad(const Order& order, const Progress& progress) const
{
    KWLog::fastAppendLog("Saving to {}...", order.output);
    bool isWhole = m_settings.mode != BatchMode::InPlace || m_settings.needsFlattening;
    if (m_settings.resaveOnOtherVolumes && !volumeAllowsInPlaceUpdate(m_storage->volumeType(order.output))) {
        KWLog::appendLog("Non-HFS volume detected - forcing a Save As.");
        isWhole = true;
    }
    if (!isWhole) {
        isWhole = saving::hindranceInPlace(order.movie, VolumeRule::Any).has_value();
        if (isWhole)
            KWLog::appendLog("Unable to update movie file");
        else
            KWLog::fastAppendLog("Saving movie...");
    }
    Placing placing;
    const auto attempt = [&](SaveRequest request) {
        request.wholeFile = events(placing);
        auto saved = saving::save(std::move(request), progress);
        if (saved.error && placing.isMoving && saved.bytesWritten == 0)
            KWLog::appendLog("Failed to move file.");
        return saved;
    };
    bool isPossible = true;
    auto first = request(order);
    if (order.transform)
        first.transform = [&](const QTMovie& movie, SaveMode mode) {
            auto transformed = order.transform(movie, mode);
            isPossible = transformed.has_value();
            return transformed;
        };
    auto saved = attempt(std::move(first));
    if (!saved.error || isWhole || !isPossible || saved.bytesWritten != 0
        || saved.error->code == MovieError::Code::Cancelled || saved.error->code == MovieError::Code::Changed)
        return saved;
    KWLog::appendLog("Failed to save movie. Trying to Save As...");
    auto second = request(order);
    second.mode = SaveMode::Flattened;
    // An update that got half way is no change by others, and has the transformation.
    if (saved.movie.file() != order.movie.file()) {
        second.movie = saved.movie;
        second.transform = {};
    }
    return attempt(std::move(second));
}

} // namespace reelwright

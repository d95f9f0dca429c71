#include "batch/BatchSaver.h"

#include "movie/files/DataReference.h"
#include "movie/saving/MovieSaver.h"
#include "report/MovieFacts.h"
#include "saving/FinderInfo.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"
#include "support/Trash.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace reelwright {
namespace {

    constexpr auto kMoveLimit = std::chrono::seconds(20);

    /// "FOLDER/.NAME" for "FOLDER/NAME".
    std::string hiddenSibling(const std::string& path)
    {
        const auto name = path.rfind('/') + 1; // 0 when there is none
        return path.substr(0, name) + '.' + path.substr(name);
    }

    /// Another program's file is never replaced in the belief that it is the one that was opened.
    Result<void> checkSameFile(const QTMovie& movie, const std::string& path, Storage& storage)
    {
        const auto& opened = movie.file();
        if (!opened || storage.resolve(movie.fileName()) != storage.resolve(path))
            return {};
        RW_TRY(const auto file, storage.open(path, Storage::Access::Read));
        RW_TRY(const auto state, file->state());
        if (state.isSameFile(opened->state) && state.size == opened->state.size)
            return {};
        return failure(
            MovieError::Code::Refused, path, "another program changed the file since it was opened");
    }

    bool isWriteProtected(const std::string& path)
    {
        return ::access(path.c_str(), W_OK) != 0;
    }

} // namespace

BatchFiles BatchFiles::real()
{
    return {[](const std::string& from, const std::string& to, std::chrono::milliseconds timeout) {
                return FileHelper::moveFile(from, to, timeout);
            },
        [](const std::string& path, const std::string& original, std::chrono::milliseconds timeout) {
            return Trash::put(path, original, timeout);
        }};
}

Result<BatchSaver::Saved> BatchSaver::write(
    QTMovie& movie, const std::string& path, Operation operation, const Progress& progress) const
{
    const auto time = movie.currentTime();
    movie.gotoBeginning();
    auto saved = takeRoad(movie, path, operation, progress);
    if (!saved)
        KWLog::appendLogAndPrint("Error writing movie: {}", saved.error().message());
    movie.setCurrentTime(time);
    return saved;
}

Result<BatchSaver::Saved> BatchSaver::takeRoad(
    QTMovie& movie, const std::string& path, Operation operation, const Progress& progress) const
{
    KWLog::fastAppendLog("Saving to {}...", path);
    bool isWhole = operation == Operation::SaveAs || m_settings.needsFlattening;
    if (m_settings.resaveOnOtherVolumes && !volumeAllowsInPlaceUpdate(m_storage->volumeType(path))) {
        KWLog::appendLog("Non-HFS volume detected - forcing a Save As.");
        isWhole = true;
    }
    Saved saved;
    if (!isWhole) {
        if (const auto possible = MovieSaver::canUpdateMovieFile(movie, VolumeRule::Any)) {
            KWLog::fastAppendLog("Saving movie...");
            SaveOptions options;
            options.progress = progress;
            options.volumes = VolumeRule::Any;
            const auto updated = MovieSaver::updateMovieFile(movie, options);
            if (updated) {
                saved.bytesWritten = updated->bytesWritten;
                if (updated->bytesWritten != 0)
                    saved.road = BatchResult::Road::InPlace;
                if (updated->headerLeftTheFront)
                    saved.warnings.emplace_back("the header had to move behind the media");
                return saved;
            }
            if (updated.error().code == MovieError::Code::Cancelled)
                return tl::unexpected<MovieError>(updated.error());
            KWLog::appendLog("Failed to save movie. Trying to Save As...");
        } else {
            KWLog::appendLog("Unable to update movie file");
            saved.warnings.push_back(fmt::format(
                "the whole file is written anew: {}", reasonFor(possible.error(), movie.fileName())));
        }
    }
    RW_TRY(auto written, writeThroughTemporaryFile(movie, path, progress));
    written.warnings.insert(written.warnings.begin(), saved.warnings.begin(), saved.warnings.end());
    return written;
}

Result<BatchSaver::Saved> BatchSaver::writeThroughTemporaryFile(
    const QTMovie& movie, const std::string& path, const Progress& progress) const
{
    KWLog::appendLog("Saving movie as...");
    RW_CHECK(checkSameFile(movie, path, *m_storage));
    const auto target = m_storage->resolve(path);
    const bool replaces = m_storage->exists(target);
    if (replaces && isWriteProtected(target))
        return failure(MovieError::Code::Refused, path, "the file is write-protected and is not replaced");
    RW_CHECK(m_storage->checkPlace(target, 0));
    const auto temporary = FileHelper::uniqueFilename(hiddenSibling(target));
    KWLog::appendLog("Saving to temporary file {}", temporary);
    SaveOptions options;
    options.progress = progress;
    RW_TRY(const auto report, MovieSaver::writeToFile(movie, temporary, options));
    const auto finish = [&]() -> Result<void> {
        if (replaces) {
            RW_CHECK(m_storage->copyAttributes(target, temporary, Storage::Likeness::Replacement));
            RW_CHECK(m_storage->copyPermissions(target, temporary, Storage::Likeness::Replacement));
        }
        RW_CHECK(checkSameFile(movie, path, *m_storage));
        return place(temporary, target);
    };
    if (auto placed = finish(); !placed) {
        static_cast<void>(m_storage->remove(temporary));
        return tl::unexpected<MovieError>(std::move(placed).error());
    }
    setMovieTypeAndCreator(target);
    RW_CHECK(m_storage->flushFolder(target));
    return Saved {BatchResult::Road::WholeFile, report.bytesWritten, {}};
}

/// The new file takes the target's name in one step, so that the name is never without a whole movie; the old
/// one, which has the hidden name then, goes to the trash can from there.
Result<void> BatchSaver::place(const std::string& temporary, const std::string& target) const
{
    const auto failed = [&](const char* line, const std::error_code& error) {
        KWLog::appendLog("{}", line);
        return failure(MovieError::Code::Io, target, fmt::format("{} ({})", line, error.message()));
    };
    if (!m_storage->exists(target)) {
        KWLog::appendLog("Moving {} to {}...", temporary, target);
        if (const auto error = m_files.move(temporary, target, kMoveLimit))
            return failed("Failed to move file.", error);
        return {};
    }
    KWLog::appendLog("Removing existing file at {}", target);
    const auto exchange = [&] {
        return ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0;
    };
    if (exchange()) {
        if (const auto error = m_files.trash(temporary, target, kMoveLimit)) {
            if (!exchange())
                return failure(MovieError::Code::Io, target,
                    fmt::format(
                        "the new movie is in place, but the old one could not be put into the trash and "
                        "is now {}",
                        temporary));
            return failed("Failed to remove old file", error);
        }
        KWLog::appendLog("Moving {} to {}...", temporary, target);
        return {};
    }
    if (const auto error = m_files.trash(target, target, kMoveLimit))
        return failed("Failed to remove old file", error);
    KWLog::appendLog("Moving {} to {}...", temporary, target);
    if (const auto error = m_files.move(temporary, target, kMoveLimit))
        return failed("Failed to move file.", error);
    return {};
}

} // namespace reelwright

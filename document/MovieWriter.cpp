#include "document/MovieWriter.h"

#include "document/FinderInfo.h"
#include "movie/samples/TimecodeMedia.h"
#include "movie/saving/MovieSaver.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"

#include <fmt/format.h>

namespace reelwright {
namespace {

    using Outcome = MovieWriter::Outcome;

    Outcome failed(const MovieError& error)
    {
        if (error.code == MovieError::Code::Cancelled)
            return {Outcome::Kind::Cancelled};
        return {Outcome::Kind::Failed, "Error writing movie", error.message()};
    }

    Outcome abandoned(std::string text)
    {
        return {Outcome::Kind::Abandoned, "Unable to save", std::move(text)};
    }

    /// "FOLDER/.NAME" for "FOLDER/NAME".
    std::string hiddenSibling(const std::string& path)
    {
        const auto name = path.rfind('/') + 1; // 0 when there is none
        return path.substr(0, name) + '.' + path.substr(name);
    }

    DocumentFile fileAt(const std::string& path, Storage& storage)
    {
        DocumentFile found {storage.resolve(path), {}};
        if (const auto file = storage.open(found.path, Storage::Access::Read))
            if (const auto state = (*file)->state())
                found.state = *state;
        return found;
    }

    /// Somebody else's file must not be lost, even when the user asked for a save: the target is the
    /// document's file by name only.
    std::optional<Outcome> hindrance(const MovieWriter::Request& request, Storage& storage)
    {
        if (!request.expectedFile || !storage.exists(request.path))
            return std::nullopt;
        const auto file = storage.open(request.path, Storage::Access::Read);
        if (!file)
            return failed(file.error());
        const auto state = (*file)->state();
        if (!state)
            return failed(state.error());
        auto expected = *request.expectedFile;
        if (request.operation == SaveOperation::Save)
            expected.modifiedNanos = state->modifiedNanos;
        if (*state == expected)
            return std::nullopt;
        return Outcome {Outcome::Kind::Failed, "File changed by another application",
            fmt::format("{}: another program changed the file since it was opened. Save the movie under "
                        "another name, or open the file again to see its present state.",
                request.path)};
    }

    Result<void> writeFlattened(
        const MovieWriter::Request& request, const std::string& path, const Progress& progress)
    {
        SaveOptions options;
        options.progress = progress;
        if (request.operation != SaveOperation::Save)
            options.unused = UnusedBytes::LeaveOut;
        if (auto written = MovieSaver::writeToFile(request.movie, path, options); !written)
            return tl::unexpected<MovieError>(std::move(written).error());
        setMovieTypeAndCreator(path);
        return {};
    }

    /// Writes beside the target and moves the file into its place, for volumes and permissions on which the
    /// target itself cannot be replaced in one step.
    Outcome writeThroughTemporaryFile(const MovieWriter::Request& request, const Progress& progress,
        Storage& storage, const SaveFiles& files)
    {
        constexpr auto kMoveLimit = std::chrono::seconds(20);
        constexpr auto kRemoveLimit = std::chrono::seconds(10);
        KWLog::appendLog("Unable to save - creating temp file...");
        const auto target = storage.resolve(request.path);
        const auto temporary = FileHelper::uniqueFilename(hiddenSibling(target));
        if (auto written = writeFlattened(request, temporary, progress); !written)
            return failed(written.error());

        std::string old;
        if (storage.exists(target)) {
            old = FileHelper::uniqueFilename(target);
            KWLog::appendLog("Moving existing file at {} to temp filename {}", target, old);
            if (files.move(target, old, kMoveLimit)) {
                KWLog::appendLog("Failed to move old file");
                return abandoned("Failed to move existing file.");
            }
            // From here until the next move the movie has its hidden name only; it is whole there.
            static_cast<void>(files.remove(old, kRemoveLimit));
        }
        KWLog::appendLog("Moving {} to {}...", temporary, target);
        if (files.move(temporary, target, kMoveLimit)) {
            KWLog::appendLog("Failed to move file - restoring old version...");
            if (!old.empty())
                static_cast<void>(files.move(old, target, std::chrono::milliseconds::max()));
            return abandoned("Failed to move file.");
        }
        return {Outcome::Kind::Flattened};
    }

    /// The roads one after the other.
    Outcome takeRoad(MovieWriter::Request& request, const MovieWriter::Questions& questions, Storage& storage,
        const SaveFiles& files)
    {
        auto operation = request.operation;
        bool forcedByVolume = false;
        if (request.resaveOnOtherVolumes && !volumeAllowsInPlaceUpdate(storage.volumeType(request.path))) {
            KWLog::appendLog("Non-HFS volume detected - forcing a Save As.");
            forcedByVolume = operation == SaveOperation::Save;
            operation = SaveOperation::SaveAs;
        }
        KWLog::appendLog("Saving to {}...", request.path);

        auto& movie = request.movie;
        // Undoing can bring back a movie that lies in another file than the document's present one.
        const bool isOwnFile
            = !movie.fileName().empty() && storage.resolve(movie.fileName()) == storage.resolve(request.path);
        const bool canUpdate = MovieSaver::canUpdateMovieFile(movie, VolumeRule::Any).has_value()
            && (isOwnFile || operation != SaveOperation::Save);
        if (!canUpdate) {
            KWLog::appendLog("Unable to update movie file");
            operation = SaveOperation::SaveAs;
        } else if (operation == SaveOperation::Save) {
            KWLog::appendLog("Saving movie...");
            SaveOptions options;
            options.progress = questions.progress;
            options.volumes = VolumeRule::Any;
            const auto before = movie.file();
            const auto updated = MovieSaver::updateMovieFile(movie, options);
            if (updated)
                return {Outcome::Kind::Updated};
            if (updated.error().code == MovieError::Code::Cancelled)
                return failed(updated.error());
            if (movie.file() != before) // an update that got half way is no change by others
                request.expectedFile = movie.file()->state;
            KWLog::appendLog("Failed to save movie. Trying to Save As...");
            operation = SaveOperation::SaveAs;
        } else if (operation == SaveOperation::SaveTo && !request.needsFlattening) {
            return {Outcome::Kind::Nothing};
        }

        if (request.needsFlattening)
            KWLog::appendLog("Movie needs flattening");
        questions.pastInPlaceUpdate();
        // A plain save that only its volume turned into a flattened one is asked about like one that was
        // chosen.
        if (operation != SaveOperation::SaveAs || forcedByVolume) {
            if (!request.flattenWithoutAsking && !questions.flatten())
                return {Outcome::Kind::Declined};
            if (request.operation == SaveOperation::Save)
                KWLog::appendLog("User chose to flatten");
        }

        if (auto hindered = hindrance(request, storage))
            return std::move(*hindered);
        const auto written = writeFlattened(request, request.path, questions.progress);
        if (written)
            return {Outcome::Kind::Flattened};
        // Where the file is somebody else's at the moment, the way round would only take it from them.
        const auto code = written.error().code;
        if (code == MovieError::Code::Cancelled || code == MovieError::Code::Refused)
            return failed(written.error());
        return writeThroughTemporaryFile(request, questions.progress, storage, files);
    }

} // namespace

SaveFiles SaveFiles::real()
{
    return {[](const std::string& from, const std::string& to, std::chrono::milliseconds timeout) {
                return FileHelper::moveFile(from, to, timeout);
            },
        [](const std::string& path, std::chrono::milliseconds timeout) {
            return FileHelper::removeFile(path, timeout);
        }};
}

Outcome MovieWriter::write(Request request, const Questions& questions,
    const std::shared_ptr<Storage>& storage, const SaveFiles& files)
{
    auto target = fileAt(request.path, *storage);
    // The window of another document must not lose its file.
    auto outcome = questions.claim(target)
        ? takeRoad(request, questions, *storage, files)
        : Outcome {Outcome::Kind::Failed, "File open in another window",
            fmt::format("{}: another window has this file open, or is saving to it. Nothing was written. "
                        "Save the movie under another name, or close that window first.",
                request.path)};
    outcome.resolvedPath = std::move(target.path);
    if (outcome.kind == Outcome::Kind::Flattened)
        outcome.written = QTMovie::open(request.path, storage);
    if (outcome.written)
        timecodeMedia::readAhead(*outcome.written);
    outcome.movie = std::move(request.movie);
    return outcome;
}

} // namespace reelwright

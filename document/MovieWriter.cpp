#include "document/MovieWriter.h"

#include "movie/ChapterList.h"
#include "movie/samples/TimecodeMedia.h"
#include "saving/SaveRoad.h"
#include "support/FileHelper.h"
#include "support/KWLog.h"

#include <fmt/format.h>

#include <cerrno>

namespace reelwright {
namespace {

    using Outcome = MovieWriter::Outcome;

    Outcome failed(const MovieError& error)
    {
        switch (error.code) {
        case MovieError::Code::Cancelled:
            return {Outcome::Kind::Cancelled};
        case MovieError::Code::Changed:
            return {Outcome::Kind::Changed, "File changed by another application", error.message()};
        default:
            return {Outcome::Kind::Failed, "Error writing movie", error.message()};
        }
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

    /// The movie as a whole, to that path.
    std::optional<MovieError> writeFlattened(const MovieWriter::Request& request, const std::string& path,
        const Progress& progress, std::uint64_t& bytesWritten, bool isDryRun = false)
    {
        SaveRequest save;
        save.movie = request.movie;
        save.output = path;
        save.mode = SaveMode::Flattened;
        save.rules.dryRun = isDryRun;
        save.overwrite = true; // the user was asked where the name was chosen
        if (path == request.path)
            save.expected = request.expectedFile;
        save.unused = request.operation == SaveOperation::Save ? UnusedBytes::Keep : UnusedBytes::LeaveOut;
        save.setsTypeAndCreator = true;
        const auto saved = saving::save(std::move(save), progress);
        bytesWritten = saved.bytesWritten;
        return saved.error;
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
        Outcome done {Outcome::Kind::Flattened};
        if (const auto error = writeFlattened(request, temporary, progress, done.bytesWritten))
            return failed(*error);

        std::string old;
        if (storage.exists(target)) {
            std::uint64_t bytes = 0;
            if (const auto error = writeFlattened(request, request.path, {}, bytes, true)) {
                static_cast<void>(files.remove(temporary, kRemoveLimit));
                return failed(*error); // it became another one meanwhile, or may not be replaced
            }
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
        return done;
    }

    /// The movie as it stands, as another file than its own.
    Outcome writeCopy(const MovieWriter::Request& request, const MovieWriter::Questions& questions,
        Storage& storage, const SaveFiles& files)
    {
        KWLog::appendLog("Saving a copy to {}...", request.path);
        const auto& own = request.movie.fileName();
        if (request.expectedFile || (!own.empty() && storage.resolve(own) == storage.resolve(request.path)))
            return {Outcome::Kind::Failed, "Unable to save",
                fmt::format("{}: this is the movie's own file. A copy needs another name; to change the file "
                            "itself, choose Save.",
                    request.path)};
        Outcome done {Outcome::Kind::Copied};
        const auto error = writeFlattened(request, request.path, questions.progress, done.bytesWritten);
        if (!error)
            return done;
        if (error->code != MovieError::Code::Io || error->status == EACCES || error->status == EPERM)
            return failed(*error);
        done = writeThroughTemporaryFile(request, questions.progress, storage, files);
        if (done.kind == Outcome::Kind::Flattened)
            done.kind = Outcome::Kind::Copied;
        return done;
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
        const auto hindrance = saving::hindranceInPlace(movie, VolumeRule::Any);
        // It can also lie over a former state of the file, which a save of this document has replaced.
        const bool isFormerState
            = movie.file() && request.expectedFile && !movie.file()->state.isSameFile(*request.expectedFile);
        if (hindrance && hindrance->code == MovieError::Code::Changed && isOwnFile && !isFormerState)
            return failed(*hindrance);
        if (hindrance || (!isOwnFile && operation == SaveOperation::Save)) {
            KWLog::appendLog("Unable to update movie file");
            operation = SaveOperation::SaveAs;
        } else if (operation == SaveOperation::Save) {
            KWLog::appendLog("Saving movie...");
            const auto before = movie.file();
            SaveRequest save;
            save.movie = movie;
            save.mode = SaveMode::InPlace;
            save.volumes = VolumeRule::Any;
            auto saved = saving::save(std::move(save), questions.progress);
            movie = std::move(saved.movie);
            if (!saved.error) {
                Outcome done {Outcome::Kind::Updated};
                done.bytesWritten = saved.bytesWritten;
                return done;
            }
            if (saved.error->code == MovieError::Code::Cancelled
                || saved.error->code == MovieError::Code::Changed)
                return failed(*saved.error);
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

        Outcome done {Outcome::Kind::Flattened};
        const auto error = writeFlattened(request, request.path, questions.progress, done.bytesWritten);
        if (!error)
            return done;
        // The way round is for volumes, not for files that are somebody else's.
        if (error->code != MovieError::Code::Io || error->status == EACCES || error->status == EPERM)
            return failed(*error);
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
        ? request.operation == SaveOperation::Copy ? writeCopy(request, questions, *storage, files)
                                                   : takeRoad(request, questions, *storage, files)
        : Outcome {Outcome::Kind::Failed, "File open in another window",
            fmt::format("{}: another window has this file open, or is saving to it. Nothing was written. "
                        "Save the movie under another name, or close that window first.",
                request.path)};
    outcome.resolvedPath = std::move(target.path);
    if (outcome.kind == Outcome::Kind::Flattened)
        outcome.written = QTMovie::open(request.path, storage);
    if (outcome.written) {
        timecodeMedia::readAhead(*outcome.written);
        chapterList::readAhead(*outcome.written);
    }
    outcome.movie = std::move(request.movie);
    return outcome;
}

} // namespace reelwright

#include "batch/BatchFile.h"

#include "batch/BatchOutput.h"
#include "conform/KWConformController.h"
#include "movie/saving/MovieSaver.h"
#include "report/MovieFacts.h"
#include "saving/MediaChecksum.h"
#include "support/KWLog.h"
#include "tracks/KWQuickTime.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace reelwright {
namespace {

    using Status = BatchResult::Status;
    using Road = BatchResult::Road;

    /// A file that fails in a way that nobody foresaw (no memory for what it asks) ends neither the process
    /// nor the work on the others.
    Result<void> guarded(const std::function<Result<void>()>& work)
    {
        try {
            return work();
        } catch (const std::bad_alloc&) {
            return failure(MovieError::Code::Unsupported, {}, "there is not enough memory for this file");
        } catch (const std::exception& error) {
            return failure(MovieError::Code::Unsupported, {}, error.what());
        }
    }

    void fail(BatchResult& result, const MovieError& error)
    {
        result.status = Status::Failed;
        result.error = reasonFor(error, result.file);
        if (result.bytesWritten == 0) {
            result.output.clear();
            result.road = Road::Nothing;
        }
    }

    /// Access and change times of a file, for its successor.
    class FileDates
    {
    public:
        explicit FileDates(const std::string& path)
        {
            struct stat info = {};
            if (::stat(path.c_str(), &info) == 0)
                m_times = std::array {info.st_atim, info.st_mtim};
        }
        Result<void> give(const std::string& path) const
        {
            if (!m_times || ::utimensat(AT_FDCWD, path.c_str(), m_times->data(), 0) != 0)
                return systemFailure(errno, path, "was saved, but cannot be given its former dates");
            return {};
        }

    private:
        std::optional<std::array<struct timespec, 2>> m_times;
    };

} // namespace

BatchFile::BatchFile(const BatchQueue& queue, const BatchSettings& settings, std::shared_ptr<Storage> storage,
    BatchFiles files)
    : m_queue(queue)
    , m_settings(settings)
    , m_storage(storage)
    , m_saver(settings, std::move(storage), std::move(files))
{
}

void BatchFile::processQueueForMovie(QTMovie& movie, BatchResult& result) const
{
    result.steps.assign(m_queue.size(), StepOutcome::NotReached);
    for (std::size_t i = 0; i < m_queue.size(); ++i) {
        const auto& entry = m_queue[i];
        if (!entry.invocation) {
            KWLog::fastAppendLog("Unable to find invocation");
            continue;
        }
        KWLog::fastAppendLog("placeholder found");
        auto copy = movie;
        if (const auto done = entry.invocation->perform(copy); !done) {
            result.steps[i] = StepOutcome::Failed;
            result.warnings.push_back(
                fmt::format("{}: {}", entry.desc, reasonFor(done.error(), result.file)));
            continue;
        }
        const bool isSame = copy.header().writesSameAs(movie.header());
        result.steps[i] = isSame ? StepOutcome::Nothing : StepOutcome::Changed;
        movie = std::move(copy);
    }
}

Result<void> BatchFile::conform(QTMovie& movie, BatchResult& result) const
{
    const auto fps = conformFPS(m_queue);
    if (fps == 0)
        return {};
    const auto rule = m_settings.resaveOnOtherVolumes ? VolumeRule::JournalledOnly : VolumeRule::Any;
    const bool isInPlace = m_settings.mode == BatchMode::InPlace && !m_settings.needsFlattening
        && MovieSaver::canUpdateMovieFile(movie, rule);
    const KWConformController::Request request {
        KWQuickTime::fpsForMovie(movie), fps, m_settings.stripEditLists, true};
    auto forecast = KWConformController::forecast(movie, request,
        isInPlace ? KWConformController::SaveMode::InPlace : KWConformController::SaveMode::Flattened);
    const auto outcome = !forecast                              ? StepOutcome::Failed
        : forecast->movie.header().writesSameAs(movie.header()) ? StepOutcome::Nothing
                                                                : StepOutcome::Changed;
    for (std::size_t i = 0; i < m_queue.size(); ++i)
        if (!m_queue[i].invocation)
            result.steps[i] = outcome;
    if (!forecast) {
        result.conformFailed = true;
        return tl::unexpected<MovieError>(std::move(forecast).error());
    }
    for (const auto& warning : forecast->warnings)
        result.warnings.push_back(warning);
    movie = std::move(forecast->movie);
    return {};
}

Result<void> BatchFile::open(QTMovie& movie, const std::string& file) const
{
    auto opened = QTMovie::open(file, m_storage);
    if (!opened) {
        KWLog::appendLogAndPrint("Unable to init QuickTime movie for batch processing");
        return tl::unexpected<MovieError>(std::move(opened).error());
    }
    movie = std::move(*opened);
    return {};
}

BatchResult BatchFile::process(const std::string& file, const Progress& progress) const
{
    const auto begin = std::chrono::steady_clock::now();
    BatchResult result;
    result.file = file;
    result.target = batchOutput(file, m_settings);
    const auto done = guarded([&]() -> Result<void> {
        QTMovie movie;
        RW_CHECK(open(movie, file));
        result.warnings = warningTexts(movie);
        processQueueForMovie(movie, result);
        RW_CHECK(conform(movie, result));
        return save(movie, result, progress);
    });
    if (!done)
        fail(result, done.error());
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

Result<void> BatchFile::save(QTMovie& movie, BatchResult& result, const Progress& progress) const
{
    const auto& output = result.target;
    const auto operation
        = m_settings.mode == BatchMode::InPlace ? BatchSaver::Operation::Save : BatchSaver::Operation::SaveAs;
    const auto keepGoing = [&] { return !progress || progress(0); };
    const bool isWritten
        = movie.isChanged() || operation == BatchSaver::Operation::SaveAs || m_settings.needsFlattening;
    result.headerBytes = movie.header().size();
    const FileDates dates {result.file};
    std::vector<TrackChecksum> before;
    if (m_settings.verify && isWritten) {
        RW_TRY(before, mediaChecksums(movie, keepGoing));
    }
    RW_TRY(const auto saved, m_saver.write(movie, output, operation, progress));
    result.output = output;
    result.road = saved.road;
    result.bytesWritten = saved.bytesWritten;
    result.status = saved.road == Road::Nothing ? Status::Unchanged : Status::Done;
    result.warnings.insert(result.warnings.end(), saved.warnings.begin(), saved.warnings.end());
    if (saved.road == Road::Nothing)
        return {};
    if (m_settings.verify) {
        RW_TRY(const auto written, QTMovie::open(output, m_storage));
        RW_TRY(const auto after, mediaChecksums(written, keepGoing));
        result.verified = before == after;
        if (before != after)
            return failure(MovieError::Code::Corrupt, output,
                "the media read back are not those that were saved; do not delete other copies of this "
                "movie");
    }
    if (m_settings.keepDates)
        RW_CHECK(dates.give(output));
    return {};
}

BatchResult BatchFile::preview(const std::string& file) const
{
    BatchResult result;
    result.file = file;
    if (const auto done = guarded([&] { return dryRun(file, result, nullptr); }); !done)
        fail(result, done.error());
    return result;
}

BatchPreview BatchFile::previewInFull(const std::string& file) const
{
    BatchPreview preview;
    preview.result.file = file;
    if (const auto done = guarded([&] { return dryRun(file, preview.result, &preview.changes); }); !done)
        fail(preview.result, done.error());
    return preview;
}

Result<void> BatchFile::dryRun(
    const std::string& file, BatchResult& result, std::vector<Change>* changes) const
{
    RW_TRY(auto movie, QTMovie::open(file, m_storage));
    result.warnings = warningTexts(movie);
    const auto original = movie;
    processQueueForMovie(movie, result);
    RW_CHECK(conform(movie, result));
    if (changes)
        *changes = changesBetween(MovieFacts::of(original), MovieFacts::of(movie));
    result.headerBytes = movie.header().size();
    const bool isCopy = m_settings.mode != BatchMode::InPlace;
    if (!isCopy && !m_settings.needsFlattening && !movie.isChanged()) {
        result.status = Status::Unchanged;
        return {};
    }
    const auto rule = m_settings.resaveOnOtherVolumes ? VolumeRule::JournalledOnly : VolumeRule::Any;
    const auto possible = MovieSaver::canUpdateMovieFile(movie, rule);
    const bool isInPlace = !isCopy && !m_settings.needsFlattening && possible;
    result.output = batchOutput(file, m_settings);
    if (::access(result.output.c_str(), F_OK) == 0 && ::access(result.output.c_str(), W_OK) != 0)
        return systemFailure(errno, result.output, "cannot be written");
    if (!isCopy && !isInPlace && !m_settings.needsFlattening)
        result.warnings.push_back(
            fmt::format("the whole file is written anew: {}", reasonFor(possible.error(), file)));
    result.road = isInPlace ? Road::InPlace : Road::WholeFile;
    result.status = Status::Done;
    return {};
}

} // namespace reelwright

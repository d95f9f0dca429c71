#include "batch/BatchFile.h"

#include "batch/BatchOutput.h"
#include "conform/KWConformController.h"
#include "report/MovieFacts.h"
#include "support/KWLog.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
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

Result<QTMovie> BatchFile::conform(const QTMovie& movie, SaveMode mode, BatchResult& result) const
{
    const KWConformController::Request request {
        KWQuickTime::fpsForMovie(movie), conformFPS(m_queue), m_settings.stripEditLists, true};
    auto forecast = KWConformController::forecast(movie, request,
        mode == SaveMode::InPlace ? KWConformController::SaveMode::InPlace
                                  : KWConformController::SaveMode::Flattened);
    const auto outcome = !forecast                              ? StepOutcome::Failed
        : forecast->movie.header().writesSameAs(movie.header()) ? StepOutcome::Nothing
                                                                : StepOutcome::Changed;
    for (std::size_t i = 0; i < m_queue.size(); ++i)
        if (!m_queue[i].invocation)
            result.steps[i] = outcome;
    result.conformFailed = !forecast;
    if (!forecast)
        return tl::unexpected<MovieError>(std::move(forecast).error());
    result.warnings.insert(result.warnings.end(), forecast->warnings.begin(), forecast->warnings.end());
    return std::move(forecast->movie);
}

Result<void> BatchFile::open(QTMovie& movie, const std::string& file, Run kind) const
{
    auto opened = QTMovie::open(file, m_storage);
    if (!opened) {
        if (kind == Run::Save)
            KWLog::appendLogAndPrint("Unable to init QuickTime movie for batch processing");
        return tl::unexpected<MovieError>(std::move(opened).error());
    }
    movie = std::move(*opened);
    return {};
}

Result<void> BatchFile::run(
    BatchResult& result, Run kind, const Progress& progress, std::vector<Change>* changes) const
{
    result.target = batchOutput(result.file, m_settings);
    QTMovie movie;
    RW_CHECK(open(movie, result.file, kind));
    result.warnings = warningTexts(movie);
    const auto original = movie;
    processQueueForMovie(movie, result);
    BatchSaver::Order order {std::move(movie), result.target, kind == Run::Preview, {}};
    if (conformFPS(m_queue) != 0)
        order.transform = [&](const QTMovie& edited, SaveMode mode) { return conform(edited, mode, result); };
    auto saved = m_saver.save(std::move(order), progress);
    result.warnings.insert(result.warnings.end(), saved.warnings.begin(), saved.warnings.end());
    result.output = saved.output;
    result.bytesWritten = kind == Run::Preview ? 0 : saved.bytesWritten;
    result.road = saved.mode == SaveMode::None ? Road::Nothing
        : saved.mode == SaveMode::InPlace      ? Road::InPlace
                                               : Road::WholeFile;
    result.headerBytes = saved.movie.header().size();
    if (saved.media)
        result.verified = std::ranges::all_of(
            *saved.media, [](const auto& track) { return track.before == track.after; });
    if (changes)
        *changes = changesBetween(MovieFacts::of(original), MovieFacts::of(saved.movie));
    if (saved.error)
        return tl::unexpected<MovieError>(std::move(*saved.error));
    result.status = result.road == Road::Nothing ? Status::Unchanged : Status::Done;
    return {};
}

BatchResult BatchFile::runGuarded(
    const std::string& file, Run kind, const Progress& progress, std::vector<Change>* changes) const
{
    const auto begin = std::chrono::steady_clock::now();
    BatchResult result;
    result.file = file;
    if (const auto done = guarded([&] { return run(result, kind, progress, changes); }); !done)
        fail(result, done.error());
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

BatchResult BatchFile::process(const std::string& file, const Progress& progress) const
{
    return runGuarded(file, Run::Save, progress, nullptr);
}

BatchResult BatchFile::preview(const std::string& file) const
{
    return runGuarded(file, Run::Preview, {}, nullptr);
}

BatchPreview BatchFile::previewInFull(const std::string& file) const
{
    BatchPreview preview;
    preview.result = runGuarded(file, Run::Preview, {}, &preview.changes);
    return preview;
}

} // namespace reelwright

#include "cli/FileEdit.h"

#include "report/MovieFacts.h"
#include "saving/SaveRoad.h"

#include <unistd.h>

#include <filesystem>
#include <iterator>

namespace reelwright::cli {
namespace {

    /// A header that changed although no fact did: items that say nothing, or say it in other words.
    Change headerChange(const QTMovie& before, const QTMovie& after)
    {
        return {"header/size", before.header().size(), after.header().size()};
    }

    /// Do the two names lead to one file, there or not yet?
    bool isSameFile(const std::string& a, const std::string& b)
    {
        std::error_code error;
        return !a.empty() && !b.empty()
            && std::filesystem::weakly_canonical(a, error) == std::filesystem::weakly_canonical(b, error);
    }

} // namespace

EditResult EditResult::failed(std::string file, std::string error)
{
    EditResult result;
    result.file = std::move(file);
    result.error = std::move(error);
    return result;
}

FileEdit::FileEdit(
    const EditOptions& options, std::shared_ptr<Storage> storage, Progress progress, SaveJournal* journal)
    : m_options(options)
    , m_storage(std::move(storage))
    , m_journal(journal)
    , m_progress(std::move(progress))
{
}

EditResult FileEdit::run(const std::string& file, const std::string& output)
{
    EditResult result;
    result.file = file;
    result.dryRun = m_options.dryRun;
    if (const auto done = edit(result, output); !done) {
        result.status = EditStatus::Failed;
        result.error = reasonFor(done.error(), file);
        result.cancelled = done.error().code == MovieError::Code::Cancelled;
    }
    return result;
}

bool FileEdit::hasWritten(const std::string& output) const
{
    if (!m_journal || output.empty() || !m_storage->exists(output))
        return false;
    const auto written = QTMovie::open(output, m_storage);
    return written && m_journal->isDone(output, *written);
}

/// What an earlier run began is finished; nothing is changed twice.
Result<void> FileEdit::finishInterrupted(EditResult& result, QTMovie movie) const
{
    SaveRequest request;
    request.movie = std::move(movie);
    request.rules.dryRun = m_options.dryRun;
    request.finishesInterrupted = true;
    request.journal = m_journal;
    if (auto saved = saving::save(std::move(request), m_progress); saved.error)
        return tl::unexpected(std::move(*saved.error));
    result.wasDoneBefore = true;
    result.status = EditStatus::Unchanged;
    return {};
}

Result<void> FileEdit::edit(EditResult& result, const std::string& output)
{
    const auto& file = result.file;
    RW_TRY(auto movie, QTMovie::open(file, m_storage));
    result.warnings = warningTexts(movie);
    if (m_journal && m_options.isInPlace() && m_journal->isDone(file, movie))
        return finishInterrupted(result, std::move(movie));

    const auto original = movie;
    RefusedParts refused;
    std::vector<Extraction> extracted;
    RW_CHECK(m_options.plan.apply(movie, &result.warnings, &refused, &extracted));
    result.isIncomplete = !refused.empty();
    result.warnings.insert(result.warnings.end(), refused.begin(), refused.end());
    const auto noteChanges = [&](const QTMovie& edited) {
        if (!edited.isChanged())
            return;
        result.changes = changesBetween(MovieFacts::of(original), MovieFacts::of(edited));
        if (result.changes.empty())
            result.changes.push_back(headerChange(original, edited));
    };
    noteChanges(movie);

    SaveRequest request;
    request.movie = std::move(movie);
    request.output = output;
    request.rules = m_options;
    request.overwrite = m_options.overwrite;
    // Who asks for a new file is told what it does not hold; a plain save keeps all.
    if (m_options.forceResave || (!output.empty() && output != file))
        request.unused = UnusedBytes::LeaveOut;
    request.makesFolder = m_options.outputFolder.has_value();
    request.journal = m_journal;
    std::string keptHeader;
    if (const auto& conform = m_options.plan.conform)
        request.transform = [&](const QTMovie& edited, SaveMode mode) -> Result<QTMovie> {
            RW_TRY(auto conformed,
                conform->conformed(edited,
                    mode == SaveMode::InPlace ? SavePreview::Mode::InPlace : SavePreview::Mode::Flattened));
            result.warnings.insert(
                result.warnings.end(), conformed.warnings.begin(), conformed.warnings.end());
            noteChanges(conformed.movie);
            if (!m_options.dryRun) {
                RW_TRY(keptHeader, conform->keepOldHeader(original));
            }
            return std::move(conformed.movie);
        };
    // First, while the file is as it was: a save may put another in its place.
    RW_CHECK(writeExtracted(std::move(extracted), result, output));
    auto saved = saving::save(std::move(request), m_progress);
    result.mode = saved.mode;
    result.output = std::move(saved.output);
    result.bytesWritten = m_options.dryRun ? 0 : saved.bytesWritten;
    result.media = std::move(saved.media);
    result.warnings.insert(result.warnings.end(), std::make_move_iterator(saved.warnings.begin()),
        std::make_move_iterator(saved.warnings.end()));
    if (!keptHeader.empty() && saved.bytesWritten == 0)
        ::unlink(keptHeader.c_str());
    if (saved.error)
        return tl::unexpected(std::move(*saved.error));
    result.status = saved.mode == SaveMode::None ? EditStatus::Unchanged : EditStatus::Updated;
    return {};
}

Result<void> FileEdit::writeExtracted(
    std::vector<Extraction> extracted, EditResult& result, const std::string& output)
{
    for (auto& [movie, path] : extracted) {
        for (const auto& taken : {result.file, output})
            if (isSameFile(path, taken))
                return failure(MovieError::Code::Refused, path,
                    "the extracted track would replace the movie; give it another name");
        for (const auto& earlier : result.extracted)
            if (isSameFile(path, earlier.output))
                return failure(MovieError::Code::Refused, path, "two tracks would be extracted to one file");
        SaveRequest request;
        request.movie = std::move(movie);
        request.output = path;
        request.rules.dryRun = m_options.dryRun;
        request.mode = SaveMode::Flattened;
        request.overwrite = m_options.overwrite;
        request.unused = UnusedBytes::LeaveOut;
        auto saved = saving::save(std::move(request), m_progress);
        if (saved.error)
            return tl::unexpected(std::move(*saved.error));
        result.extracted.push_back({path, m_options.dryRun ? 0 : saved.bytesWritten});
    }
    return {};
}

} // namespace reelwright::cli

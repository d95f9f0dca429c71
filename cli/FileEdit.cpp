#include "cli/FileEdit.h"

#include "cli/Console.h"
#include "movie/saving/MovieSaver.h"
#include "report/MovieFacts.h"
#include "saving/MediaChecksum.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace reelwright::cli {
namespace {

    /// Access and modification times of a file, to be given to another one or back to it.
    class FileTimes
    {
    public:
        static Result<FileTimes> of(const std::string& path)
        {
            struct stat info = {};
            if (::stat(path.c_str(), &info) != 0)
                return systemFailure(errno, path, "cannot be examined");
            FileTimes times;
            times.m_times = {info.st_atim, info.st_mtim};
            return times;
        }

        [[nodiscard]] Result<void> give(const std::string& path) const
        {
            if (::utimensat(AT_FDCWD, path.c_str(), m_times.data(), 0) != 0)
                return systemFailure(errno, path, "was saved, but cannot be given its former times");
            return {};
        }

    private:
        std::array<struct timespec, 2> m_times {};
    };

    /// May the file be replaced by a new one of its name? The folder's permission alone would allow it, but a
    /// file that its owner has protected is meant to stay.
    Result<void> checkReplaceable(const std::string& path, std::vector<std::string>& warnings)
    {
        if (::access(path.c_str(), W_OK) != 0)
            return systemFailure(errno, path, "cannot be replaced");
        struct stat info = {};
        if (::stat(path.c_str(), &info) == 0 && info.st_nlink > 1)
            warnings.push_back(
                fmt::format("the file has {} hard links; only this one leads to the new movie, the "
                            "others keep the old one",
                    info.st_nlink));
        return {};
    }

    std::vector<MediaComparison> compareMedia(
        const std::vector<TrackChecksum>& before, const std::vector<TrackChecksum>& after)
    {
        std::vector<MediaComparison> result;
        for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
            MediaComparison comparison;
            if (i < before.size()) {
                comparison.trackID = before[i].trackID;
                comparison.before = before[i].text;
            }
            if (i < after.size()) {
                comparison.trackID = after[i].trackID;
                comparison.after = after[i].text;
            }
            result.push_back(std::move(comparison));
        }
        return result;
    }

    /// A header that changed although no fact did: items that say nothing, or say it in other words.
    Change headerChange(const QTMovie& before, const QTMovie& after)
    {
        return {"header/size", before.header().size(), after.header().size()};
    }

} // namespace

EditResult EditResult::failed(std::string file, std::string error)
{
    EditResult result;
    result.file = std::move(file);
    result.error = std::move(error);
    return result;
}

FileEdit::FileEdit(const EditOptions& options, std::shared_ptr<Storage> storage, Progress progress)
    : m_options(options)
    , m_storage(std::move(storage))
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

Result<void> FileEdit::edit(EditResult& result, const std::string& output)
{
    const auto& file = result.file;
    RW_TRY(auto movie, QTMovie::open(file, m_storage));
    RW_TRY(const auto times, FileTimes::of(file));
    result.warnings = warningTexts(movie);

    const auto original = movie;
    RW_CHECK(m_options.plan.apply(movie, &result.warnings));
    if (m_options.plan.conform)
        RW_CHECK(conform(result, movie, output));
    const bool isChanged = movie.isChanged();
    if (isChanged) {
        result.changes = changesBetween(MovieFacts::of(original), MovieFacts::of(movie));
        if (result.changes.empty())
            result.changes.push_back(headerChange(original, movie));
    }

    const bool isCopy = !output.empty();
    if (!isChanged && !isCopy && !m_options.forceResave) {
        result.status = EditStatus::Unchanged;
        return {};
    }
    const auto hindrance = MovieSaver::canUpdateMovieFile(movie);
    const bool inPlace = !isCopy && !m_options.forceResave && hindrance;
    result.output = isCopy ? output : file;
    if (!isCopy && !inPlace) {
        if (!movie.file()->headerAtom()) {
            result.output.clear();
            return failure(MovieError::Code::Refused, file,
                "the file is no movie file but was opened as one; give a place for the movie with --suffix, "
                "--output-dir or -o");
        }
        RW_CHECK(checkReplaceable(file, result.warnings));
        if (!hindrance)
            result.warnings.push_back(
                fmt::format("the whole file is written anew: {}", reasonFor(hindrance.error(), file)));
    }
    result.mode = inPlace ? SaveMode::InPlace : SaveMode::Flattened;
    if (m_options.dryRun) {
        if (inPlace && ::access(file.c_str(), W_OK) != 0)
            return systemFailure(errno, file, "cannot be opened for writing");
        result.status = EditStatus::Updated;
        return {};
    }
    RW_TRY(const auto kept,
        m_options.plan.conform ? m_options.plan.conform->keepOldHeader(original) : std::string {});
    if (auto saved = save(result, movie, inPlace); !saved) {
        if (!kept.empty() && result.bytesWritten == 0)
            ::unlink(kept.c_str());
        if (result.bytesWritten == 0) {
            result.mode = SaveMode::None;
            result.output.clear();
        }
        return saved;
    }
    if (m_options.preserveTimes)
        RW_CHECK(times.give(result.output));
    result.status = EditStatus::Updated;
    return {};
}

Result<void> FileEdit::conform(EditResult& result, QTMovie& movie, const std::string& output)
{
    const bool inPlace = output.empty() && !m_options.forceResave && MovieSaver::canUpdateMovieFile(movie);
    RW_TRY(auto conformed,
        m_options.plan.conform->conformed(
            movie, inPlace ? SavePreview::Mode::InPlace : SavePreview::Mode::Flattened));
    movie = std::move(conformed.movie);
    result.warnings.insert(result.warnings.end(), conformed.warnings.begin(), conformed.warnings.end());
    return {};
}

Result<void> FileEdit::save(EditResult& result, QTMovie& movie, bool inPlace)
{
    std::vector<TrackChecksum> before;
    const auto keepGoing = [this] { return !m_progress || m_progress(m_done); };
    if (m_options.verify) {
        RW_TRY(before, mediaChecksums(movie, keepGoing));
    }
    SaveOptions options;
    options.progress = [this](double done) {
        m_done = done;
        return !m_progress || m_progress(done);
    };
    // Who asks for a new file is told what it does not hold; a plain save keeps all.
    if (m_options.forceResave || result.output != result.file)
        options.unused = UnusedBytes::LeaveOut;
    RW_TRY(const auto report,
        inPlace ? MovieSaver::updateMovieFile(movie, options)
                : MovieSaver::writeToFile(movie, result.output, options));
    result.bytesWritten = report.bytesWritten;
    if (report.bytesLeftOut > 0)
        result.warnings.push_back(fmt::format(
            "{} bytes of the original that nothing in it refers to were left out", report.bytesLeftOut));
    if (report.headerLeftTheFront)
        result.warnings.emplace_back(
            "the header had to move behind the media; --force-resave puts it in front again, "
            "for players that start while the file is still loading");
    if (!m_options.verify)
        return {};
    RW_TRY(const auto saved, QTMovie::open(result.output, m_storage));
    // The file is saved: from here on a cancel has nothing to keep from harm, but is heard all the same.
    RW_TRY(const auto after, mediaChecksums(saved, keepGoing));
    result.media = compareMedia(before, after);
    if (before != after)
        return failure(MovieError::Code::Corrupt, result.output,
            "the media read back are not those that were saved; do not delete other copies of this movie");
    return {};
}

} // namespace reelwright::cli

#include "saving/SaveRoad.h"

#include "report/MovieFacts.h"
#include "saving/FinderInfo.h"
#include "saving/MediaChecksum.h"
#include "support/FileHelper.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

namespace reelwright::saving {
namespace {

    namespace fs = std::filesystem;

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

    std::optional<std::string> hardLinkWarning(const std::string& path)
    {
        struct stat info = {};
        if (::stat(path.c_str(), &info) != 0 || info.st_nlink < 2)
            return std::nullopt;
        return fmt::format(
            "the file has {} hard links; only this one leads to the new movie, the others keep "
            "the old one",
            info.st_nlink);
    }

    std::string folderOf(const std::string& path)
    {
        const auto folder = fs::path(path).parent_path();
        return folder.empty() ? "." : folder.string();
    }

    /// Sees to the folder of the output. In a dry run nothing is made: the answer is then a place in the
    /// nearest folder that is there, where the file could be written just as well.
    Result<std::string> placeFor(const SaveRequest& request)
    {
        std::error_code error;
        const auto folder = folderOf(request.output);
        if (!request.makesFolder || fs::is_directory(folder, error))
            return request.output;
        if (request.rules.dryRun) {
            auto there = folder;
            while (!fs::exists(there, error) && there != "." && there != "/")
                there = folderOf(there);
            return FileHelper::uniqueFilename(there + "/" + fs::path(request.output).filename().string());
        }
        fs::create_directories(folder, error);
        if (error)
            return systemFailure(error.value(), folder, "the folder cannot be made");
        return request.output;
    }

    /// One request on its way.
    class Road
    {
    public:
        Road(SaveRequest& request, SaveOutcome& outcome, const Progress& progress)
            : m_request(request)
            , m_outcome(outcome)
            , m_progress(progress)
            , m_movie(request.movie)
        {
        }

        Result<void> go()
        {
            const auto file = m_movie.fileName();
            m_isCopy = !m_request.output.empty() && m_request.output != file;
            RW_CHECK(chooseMode());
            if (m_outcome.mode == SaveMode::None)
                return {};
            if (m_request.transform) {
                RW_TRY(m_movie, m_request.transform(m_movie, m_outcome.mode));
                if (!m_isCopy && !m_movie.isChanged() && !m_request.rules.forceResave) {
                    m_outcome.mode = SaveMode::None;
                    return {};
                }
            }
            m_outcome.output = m_isCopy ? m_request.output : file;
            FileTimes times;
            if (m_request.rules.preserveTimes) {
                RW_TRY(times, FileTimes::of(file));
            }
            if (auto written = write(); !written) {
                if (m_outcome.bytesWritten == 0) {
                    m_outcome.mode = SaveMode::None;
                    m_outcome.output.clear();
                }
                return written;
            }
            if (m_outcome.mode == SaveMode::None)
                m_outcome.output.clear();
            if (m_request.rules.dryRun || m_outcome.mode == SaveMode::None)
                return {};
            if (m_request.setsTypeAndCreator && m_outcome.mode == SaveMode::Flattened)
                setMovieTypeAndCreator(m_outcome.output);
            return m_request.rules.preserveTimes ? times.give(m_outcome.output) : Result<void> {};
        }

    private:
        Result<void> chooseMode()
        {
            if (m_request.mode) {
                m_outcome.mode = *m_request.mode;
                return {};
            }
            if (m_isCopy) {
                m_outcome.mode = SaveMode::Flattened;
                return {};
            }
            if (m_request.finishesInterrupted) {
                if (!hindranceInPlace(m_movie, m_request.volumes))
                    m_outcome.mode = SaveMode::InPlace;
                return {};
            }
            if (!m_movie.isChanged() && !m_request.transform && !m_request.rules.forceResave)
                return {};
            const auto hindrance = hindranceInPlace(m_movie, m_request.volumes);
            if (hindrance && hindrance->code == MovieError::Code::Changed)
                return tl::unexpected(*hindrance);
            if (!hindrance && !m_request.rules.forceResave) {
                m_outcome.mode = SaveMode::InPlace;
                return {};
            }
            if (m_movie.file() && !m_movie.file()->headerAtom())
                return failure(MovieError::Code::Refused, m_movie.fileName(),
                    "the file is no movie file but was opened as one; give a place for the movie with "
                    "--suffix, --output-dir or -o");
            m_outcome.mode = SaveMode::Flattened;
            if (hindrance)
                m_outcome.warnings.push_back(fmt::format(
                    "the whole file is written anew: {}", reasonFor(*hindrance, m_movie.fileName())));
            return {};
        }

        Result<void> write()
        {
            std::vector<TrackChecksum> before;
            const bool verifies = m_request.rules.verify && !m_request.rules.dryRun;
            if (verifies) {
                RW_TRY(before, mediaChecksums(m_movie, [this] { return goesOn(); }));
            }
            RW_TRY(const auto report, m_outcome.mode == SaveMode::InPlace ? update() : writeAnew());
            m_outcome.bytesWritten = report.bytesWritten;
            if (m_outcome.mode == SaveMode::InPlace && report.bytesWritten == 0) {
                m_outcome.mode = SaveMode::None;
                return {};
            }
            if (report.bytesLeftOut > 0)
                m_outcome.warnings.push_back(
                    fmt::format("{} bytes of the original that nothing in it refers to were left out",
                        report.bytesLeftOut));
            if (report.headerLeftTheFront)
                m_outcome.warnings.emplace_back(
                    "the header had to move behind the media; --force-resave puts it in front again, for "
                    "players that start while the file is still loading");
            if (report.sourceChanged)
                m_outcome.warnings.emplace_back(
                    "another program changed the file since it was opened; its media were taken as they are "
                    "now");
            return verifies ? compare(before) : Result<void> {};
        }

        Result<SaveReport> update() { return MovieSaver::updateMovieFile(m_movie, saveOptions()); }

        Result<SaveReport> writeAnew()
        {
            auto place = m_outcome.output;
            if (m_isCopy) {
                RW_TRY(place, placeFor(m_request));
            } else if (const auto warning = hardLinkWarning(place))
                m_outcome.warnings.push_back(*warning);
            return MovieSaver::writeToFile(m_movie, place, saveOptions());
        }

        SaveOptions saveOptions()
        {
            SaveOptions options;
            options.progress = [this](double done) {
                m_done = done;
                return goesOn();
            };
            options.volumes = m_request.volumes;
            options.rehearse = m_request.rules.dryRun;
            options.overwrite = m_request.overwrite;
            options.expected = m_request.expected;
            options.unused = m_request.unused;
            options.finishesInterrupted = m_request.finishesInterrupted;
            options.wholeFile = m_request.wholeFile;
            if (auto* journal = m_request.journal) {
                const auto& output = m_outcome.output;
                options.announce
                    = [journal, output](ByteSpan header) { return journal->note(output, header); };
            }
            return options;
        }

        Result<void> compare(const std::vector<TrackChecksum>& before)
        {
            const auto& file = m_movie.file();
            RW_TRY(
                const auto saved, QTMovie::open(m_outcome.output, file ? file->storage : Storage::posix()));
            // The file is saved: a cancel has nothing to keep from harm any more, but is heard all the same.
            RW_TRY(const auto after, mediaChecksums(saved, [this] { return goesOn(); }));
            m_outcome.media = compareMedia(before, after);
            if (before != after)
                return failure(MovieError::Code::Corrupt, m_outcome.output,
                    "the media read back are not those that were saved; do not delete other copies of this "
                    "movie");
            return {};
        }

        [[nodiscard]] bool goesOn() const { return !m_progress || m_progress(m_done); }

        SaveRequest& m_request;
        SaveOutcome& m_outcome;
        const Progress& m_progress;
        QTMovie& m_movie;
        bool m_isCopy = false;
        double m_done = 0; ///< what the progress function was told last
    };

} // namespace

std::optional<MovieError> hindranceInPlace(const QTMovie& movie, VolumeRule volumes)
{
    const auto can = MovieSaver::canUpdateMovieFile(movie, volumes);
    // A file that another program changed must not be replaced either, whatever else stands in the way.
    if (const auto unchanged = MovieSaver::checkUnchanged(movie);
        !unchanged && unchanged.error().code == MovieError::Code::Changed)
        return unchanged.error();
    return can ? std::nullopt : std::optional(can.error());
}

SaveOutcome save(SaveRequest request, const Progress& progress)
{
    SaveOutcome outcome;
    if (const auto done = Road(request, outcome, progress).go(); !done)
        outcome.error = done.error();
    outcome.movie = std::move(request.movie);
    return outcome;
}

} // namespace reelwright::saving

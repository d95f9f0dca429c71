#include "document/ExportController.h"

#include "document/DocumentNames.h"
#include "document/MyDocument.h"
#include "support/KWLog.h"
#include "support/Preferences.h"
#include "tracks/KWQuickTime.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <mutex>

namespace reelwright {
namespace {

    constexpr auto kFormatName = "selectedExportComponentName";
    constexpr auto kSettings = "selectedExportComponentSettings";
    constexpr auto kImageFormatName = "selectedImageFormatName";
    constexpr std::string_view kFirstFormat = "H.264 (MP4)";

    bool comesBefore(const ExportFormat* a, const ExportFormat* b)
    {
        const std::string_view left = a->name;
        const std::string_view right = b->name;
        return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
            [](unsigned char x, unsigned char y) { return std::tolower(x) < std::tolower(y); });
    }

} // namespace

/// One piece of work. The thread has it to itself; what it tells is under the mutex.
struct ExportController::Job
{
    std::string path;
    std::int64_t picturesTotal = 0;
    double movieSeconds = 0;
    bool takesLong = true; ///< so that the user may have turned away
    const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::atomic<bool> isCancelled = false;
    std::mutex mutex;
    picture::ExportProgress progress;
    bool hasEnded = false;
    Alert failure; ///< without a title for none
    std::thread thread;
};

ExportController::ExportController(MyDocument& document)
    : m_document(document)
{
}

ExportController::~ExportController()
{
    if (!m_job)
        return;
    m_job->isCancelled = true;
    m_job->thread.join();
}

Result<ExportController::Panel> ExportController::exportQTMovie()
{
    Panel panel;
    RW_TRY(panel.formats, MovieExport::availableFormats());
    if (panel.formats.empty())
        return failure(MovieError::Code::Unsupported, {}, "this machine has no encoder that could write a movie");
    std::sort(panel.formats.begin(), panel.formats.end(), comesBefore);
    auto& preferences = m_document.environment().preferences;
    const auto select = [&](std::string_view name) {
        const auto* wanted = MovieExport::formatNamed(name);
        const auto found = std::find(panel.formats.begin(), panel.formats.end(), wanted);
        if (found == panel.formats.end())
            return false;
        panel.selected = static_cast<std::size_t>(found - panel.formats.begin());
        return true;
    };
    m_settings.reset();
    if (!select(preferences.text(kFormatName)))
        static_cast<void>(select(kFirstFormat));
    else if (const auto remembered = preferences.text(kSettings); !remembered.empty())
        if (const auto choices = ExportChoices::parse(remembered))
            m_settings = *choices;
    panel.choices = m_settings.value_or(ExportChoices {});
    const auto& path = m_document.path();
    panel.suggestedPath = path.empty() ? "Untitled" : documentNames::withoutExtension(path);
    return panel;
}

void ExportController::changeQTExportFileType(const ExportFormat& format)
{
    m_settings.reset();
    auto& preferences = m_document.environment().preferences;
    static_cast<void>(preferences.set(kFormatName, std::string(format.name)));
    static_cast<void>(preferences.remove(kSettings));
}

void ExportController::takeSettings(const std::optional<ExportChoices>& choices)
{
    m_settings = choices;
    if (choices)
        static_cast<void>(m_document.environment().preferences.set(kSettings, choices->toJson()));
}

bool ExportController::exportTo(const ExportFormat& format, const std::string& path,
    const std::optional<ExportRange>& range, bool overwrite)
{
    if (m_job)
        return false;
    KWLog::appendLog("component: {}", format.name);
    ExportJob job;
    job.format = &format;
    job.choices = m_settings.value_or(ExportChoices {});
    job.range = range;
    job.path = path;
    job.overwrite = overwrite;
    KWLog::appendLog("attributes: {} to {}", job.choices.toJson(), path);
    auto running = std::make_unique<Job>();
    const auto& movie = m_document.movie();
    running->path = path;
    running->picturesTotal = MovieExport::estimate(movie, job).pictures;
    running->movieSeconds = (range ? range->end - range->start : movie.duration()).seconds();
    begin(std::move(running), [movie, job](const picture::ExportReport& report) -> Alert {
        const auto done = MovieExport::run(movie, job, report);
        return done ? Alert {} : Alert {"Unable to export file", done.error().message()};
    });
    return true;
}

void ExportController::begin(
    std::unique_ptr<Job> job, std::function<Alert(const picture::ExportReport& report)> work)
{
    m_job = std::move(job);
    auto& running = *m_job;
    running.thread = std::thread([&running, work = std::move(work)] {
        auto failure = work([&](const picture::ExportProgress& progress) {
            const std::lock_guard lock {running.mutex};
            running.progress = progress;
            return !running.isCancelled;
        });
        const std::lock_guard lock {running.mutex};
        running.failure = std::move(failure);
        running.hasEnded = true;
    });
    update();
}

void ExportController::cancelProgress()
{
    if (m_job)
        m_job->isCancelled = true;
}

bool ExportController::update()
{
    if (!m_job)
        return false;
    auto& running = *m_job;
    bool hasEnded = false;
    DocumentWindow::Exporting state;
    {
        const std::lock_guard lock {running.mutex};
        hasEnded = running.hasEnded;
        state.fraction = running.progress.fraction;
        state.pictures = running.progress.pictures;
        state.bytes = running.progress.bytes;
    }
    if (hasEnded) {
        finish();
        return false;
    }
    state.path = running.path;
    state.picturesTotal = running.picturesTotal;
    state.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - running.start).count();
    state.movieSeconds = running.movieSeconds;
    if (auto* window = m_document.window())
        window->showExport(state);
    return true;
}

void ExportController::finish()
{
    m_job->thread.join();
    const auto ended = std::exchange(m_job, nullptr);
    auto* window = m_document.window();
    if (!window)
        return;
    window->showExport(std::nullopt);
    const auto seconds
        = std::chrono::duration<double>(std::chrono::steady_clock::now() - ended->start).count();
    if (ended->failure.title.empty())
        window->saved({ended->path, ended->progress.bytes, seconds, false, true});
    else if (!ended->isCancelled)
        window->alert(ended->failure.title, ended->failure.text, {"OK"});
    if (ended->takesLong)
        window->requestAttention();
}

const std::vector<ExportController::ImageFormat>& ExportController::imageFormats()
{
    static const std::vector<ImageFormat> formats {
        {"PNG", "png"}, {"JPEG", "jpg"}, {"TIFF", "tif"}, {"Bitmap", "bmp"}};
    return formats;
}

std::size_t ExportController::selectedImageFormat() const
{
    const auto name = m_document.environment().preferences.text(kImageFormatName);
    const auto& formats = imageFormats();
    for (std::size_t i = 0; i < formats.size(); ++i)
        if (name == formats[i].title)
            return i;
    return 0;
}

std::string ExportController::suggestedImageName(const ImageFormat& format) const
{
    const auto& path = m_document.path();
    if (path.empty())
        return std::string("Untitled.") + format.extension;
    const auto base = documentNames::withoutExtension(path);
    return documentNames::withoutExtension(base) != base ? base : base + '.' + format.extension;
}

bool ExportController::exportFrames(const ImageFormat& format, const Stills& stills, const std::string& path)
{
    if (m_job)
        return false;
    static_cast<void>(m_document.environment().preferences.set(kImageFormatName, std::string(format.title)));
    auto running = std::make_unique<Job>();
    const bool isSheet = stills.columns > 0;
    const auto& movie = m_document.movie();
    auto times = stills.times;
    running->path = path;
    running->picturesTotal = isSheet ? std::int64_t {stills.columns} * stills.rows
                                     : static_cast<std::int64_t>(times.size());
    running->takesLong = running->picturesTotal > 1;
    const auto total = running->picturesTotal;
    const std::string extension = isSheet ? "png" : format.extension;
    begin(std::move(running), [=](const picture::ExportReport& report) -> Alert {
        std::uint64_t bytes = 0;
        const auto tell = [&](std::size_t index) {
            const auto done = static_cast<std::int64_t>(index) + 1;
            return report({static_cast<double>(done) / static_cast<double>(total), done, bytes});
        };
        bool isDiskAtFault = false;
        bool isEmpty = false;
        const auto take = [&](std::size_t index, const Bytes& image) -> Result<void> {
            isEmpty = image.size() == 0;
            const bool isNumbered = !isSheet && times.size() > 1;
            const auto written
                = FrameExport::write(isNumbered ? FrameExport::numbered(path, index) : path, image, true);
            isDiskAtFault = !written;
            bytes += image.size();
            if (written && !tell(index))
                return failure(MovieError::Code::Cancelled, path, "it was cancelled");
            return written;
        };
        Result<void> done;
        if (isSheet) {
            const auto sheet = FrameExport::sheet(
                movie, stills.columns, stills.rows,
                [&](const QTTime& time) {
                    return KWQuickTime::timecodeAtTime(atScale(time, movie.timeScale()), movie);
                },
                tell);
            done = sheet ? take(static_cast<std::size_t>(total) - 1, *sheet)
                         : Result<void> {tl::unexpected<MovieError>(sheet.error())};
        } else {
            done = FrameExport::images(movie, times, extension, take);
        }
        if (isEmpty)
            return {"Unable to obtain image data", "Could not find a correct file type."};
        if (isDiskAtFault)
            return {"Unable to save file", "Could not write to disk."};
        return done ? Alert {} : Alert {"Unable to save frame image", done.error().message()};
    });
    return true;
}

} // namespace reelwright

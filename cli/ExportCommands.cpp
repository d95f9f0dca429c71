#include "cli/ExportCommands.h"

#include "cli/Interrupt.h"
#include "cli/PerFile.h"
#include "picture/MovieExport.h"
#include "report/MovieFacts.h"
#include "report/TextTable.h"
#include "times/TypedTime.h"
#include "tracks/KWQuickTime.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <filesystem>

namespace reelwright::cli {
namespace {

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    /// A time of the movie as it is typed, exactly.
    Result<QTTime> movieTime(std::string_view text, const QTMovie& movie)
    {
        RW_TRY(const auto typed, TypedTime::parse(text));
        return typed.exactly(movie);
    }

    /// Says on standard error how far an export is: as a bar, or for a program as JSON, one object a line and
    /// two of them a second.
    class ExportNotes
    {
    public:
        ExportNotes(const Invocation& invocation, const std::string& file, const MovieExport::Estimate& estimate)
            : m_invocation(invocation)
            , m_file(file)
            , m_estimate(estimate)
        {
        }

        bool operator()(const picture::ExportProgress& progress)
        {
            m_invocation.console.progress(m_file, progress.fraction);
            constexpr auto kInterval = std::chrono::milliseconds(500);
            const auto now = std::chrono::steady_clock::now();
            if (m_invocation.format != OutputFormat::Text && (now >= m_next || progress.fraction >= 1)) {
                m_next = now + kInterval;
                const auto seconds = std::chrono::duration<double>(now - m_start).count();
                Json json {{"file", m_file}, {"progress", progress.fraction}, {"pictures", progress.pictures},
                    {"picturesTotal", m_estimate.pictures}, {"bytes", progress.bytes}, {"seconds", seconds}};
                if (progress.fraction > 0)
                    json["secondsLeft"] = seconds / progress.fraction - seconds;
                m_invocation.console.note(json.dump(-1, ' ', false, Json::error_handler_t::replace));
            }
            return interrupt::received() == 0;
        }

    private:
        const Invocation& m_invocation;
        const std::string& m_file;
        const MovieExport::Estimate m_estimate;
        const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
        std::chrono::steady_clock::time_point m_next = m_start;
    };

    /// Does the work on each file and reports it as {file, output, ...} or {file, error}.
    int eachFile(const Invocation& invocation, const std::function<Result<Json>(const std::string&)>& work)
    {
        interrupt::listen();
        ResultWriter writer {invocation.console, invocation.format, invocation.files.size()};
        int status = exitStatus::kDone;
        for (std::size_t i = 0; i < invocation.files.size(); ++i) {
            const auto& file = invocation.files[i];
            Json json {{"file", file}};
            const auto done = guarded([&]() -> Result<void> {
                if (interrupt::received() != 0)
                    return refusal("not begun");
                RW_TRY(const auto more, work(file));
                json.update(more);
                return {};
            });
            invocation.console.endProgress();
            if (!done) {
                status = exitStatus::kFailed;
                json["error"] = reasonFor(done.error(), file);
                invocation.console.message(file, reasonFor(done.error(), file));
            }
            if (!writer.wantsText()) {
                writer.addJson(i, json);
                continue;
            }
            std::string text;
            if (done)
                for (const auto& output : json["outputs"])
                    text += fmt::format("{} -> {}\n", file, output.get<std::string>());
            writer.addText(i, text);
        }
        writer.finish();
        return status;
    }

    std::string lowerExtension(const std::string& path)
    {
        auto extension = std::filesystem::path(path).extension().string();
        for (auto& c : extension)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
        if (extension == ".jpeg")
            return "jpg";
        if (extension == ".tiff")
            return "tif";
        return extension.empty() ? extension : extension.substr(1);
    }

    std::string labelAt(const QTMovie& movie, const QTTime& time)
    {
        return KWQuickTime::timecodeAtTime(atScale(time, movie.timeScale()), movie);
    }

} // namespace

void ExportCommand::addOptions(CLI::App& app)
{
    app.add_flag("--list", m_list, "Print the formats that this machine can write");
    app.add_option("--format", m_format, "The format, by its name in the list (\"H.264 (MP4)\")")
        ->option_text("NAME");
    app.add_option("--settings", m_settings,
           "A JSON object: quality, videoBitRate, audioBitRate, width,\nheight, frameRate, channels, "
           "sampleRate, video, audio,\nmix, color, burnTimecode, hardware")
        ->option_text("JSON");
    app.add_option("--range", m_range, "Only from IN to before OUT (timecodes, or tc: and labels)")
        ->option_text("IN-OUT");
    app.add_option("-o,--output", m_output, "Write to OUT (one file)")->option_text("OUT");
    app.add_option("--output-dir", m_folder, "Write into DIR")->option_text("DIR");
    app.add_flag("--overwrite", m_overwrite, "May replace a file that exists");
}

void ExportCommand::check()
{
    if (m_output && m_folder)
        throwUsageError("only one of --output-dir and -o can be given");
    if (!MovieExport::formatNamed(m_format))
        throwUsageError(
            fmt::format("there is no format \"{}\"; \"reelwright-cli export --list\" names them", m_format));
    if (m_settings)
        if (const auto choices = ExportChoices::parse(asTyped(*m_settings)); !choices)
            throwUsageError("--settings: " + choices.error().detail);
    if (m_range && m_range->find('-') == std::string::npos)
        throwUsageError(
            fmt::format("--range takes IN-OUT such as 00:00:10:00-00:00:20:00, not \"{}\"", *m_range));
}

int ExportCommand::list(const Invocation& invocation) const
{
    const auto formats = MovieExport::availableFormats();
    if (!formats) {
        invocation.console.message({}, formats.error().message());
        return exitStatus::kFailed;
    }
    ResultWriter writer {invocation.console, invocation.format, 1};
    if (writer.wantsText()) {
        TextTable table;
        table.addRow({"Format", "Extension", "What it is"});
        for (const auto* format : *formats)
            table.addRow({format->name, format->extension, format->description});
        writer.addText(0, table.text());
    } else {
        Json json = Json::array();
        for (const auto* format : *formats)
            json.push_back({{"name", format->name}, {"extension", format->extension},
                {"description", format->description}});
        writer.addJson(0, {{"formats", json}});
    }
    writer.finish();
    return exitStatus::kDone;
}

int ExportCommand::run(const Invocation& invocation)
{
    if (m_list)
        return list(invocation);
    if (invocation.files.empty() || (m_output && invocation.files.size() != 1)) {
        invocation.console.message({},
            invocation.files.empty()
                ? "no file is named"
                : "-o names the output of one file; give exactly one, or use --output-dir");
        return exitStatus::kWrongUsage;
    }
    return eachFile(invocation, [&](const std::string& file) -> Result<Json> {
        RW_TRY(const auto movie, QTMovie::open(file));
        ExportJob job;
        job.format = MovieExport::formatNamed(m_format);
        if (m_settings) {
            RW_TRY(job.choices, ExportChoices::parse(asTyped(*m_settings)));
        }
        if (m_range) {
            const auto dash = m_range->find('-');
            RW_TRY(const auto start, movieTime(std::string_view(*m_range).substr(0, dash), movie));
            RW_TRY(const auto end, movieTime(std::string_view(*m_range).substr(dash + 1), movie));
            job.range = ExportRange {start, std::min(end, movie.duration())};
        }
        const std::filesystem::path source = file;
        const auto name = job.format->settings.isImageSequence
            ? source.stem().string() + " Pictures"
            : fmt::format("{}.{}", source.stem().string(), job.format->extension);
        job.path = m_output ? asTyped(*m_output)
            : m_folder      ? (std::filesystem::path(asTyped(*m_folder)) / name).string()
                            : (source.parent_path() / name).string();
        job.overwrite = m_overwrite;
        ExportNotes notes {invocation, file, MovieExport::estimate(movie, job)};
        RW_CHECK(MovieExport::run(
            movie, job, [&](const picture::ExportProgress& progress) { return notes(progress); }));
        return Json {{"outputs", Json::array({job.path})}, {"format", job.format->name}};
    });
}

void FrameCommand::addOptions(CLI::App& app)
{
    app.add_option("--at", m_at,
           "The picture at this timecode (tc: and a label of the\ntimecode track); the first one without")
        ->option_text("TIMECODE");
    app.add_option("--every", m_every, "A picture each time so much has gone by, numbered")
        ->option_text("TIMECODE");
    app.add_option("--sheet", m_sheet, "One PNG of small pictures with timecodes")
        ->option_text("COLUMNSxROWS");
    app.add_option("-o,--output", m_output, "The image file: .png .jpg .tif .bmp")->option_text("OUT");
    app.add_flag("--overwrite", m_overwrite, "May replace a file that exists");
}

namespace {

    std::optional<std::pair<int, int>> parsedGrid(std::string_view text)
    {
        constexpr int kMost = 50;
        const auto cross = text.find('x');
        if (cross == std::string_view::npos)
            return std::nullopt;
        const auto number = [](std::string_view part) {
            int value = 0;
            const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
            return error == std::errc {} && end == part.data() + part.size() && value <= kMost ? value : 0;
        };
        const std::pair grid {number(text.substr(0, cross)), number(text.substr(cross + 1))};
        return grid.first > 0 && grid.second > 0 ? std::optional(grid) : std::nullopt;
    }

} // namespace

void FrameCommand::check()
{
    if ((m_at ? 1 : 0) + (m_every ? 1 : 0) + (m_sheet ? 1 : 0) > 1)
        throwUsageError("only one of --at, --every and --sheet can be given");
    if (m_sheet && !parsedGrid(*m_sheet))
        throwUsageError(
            fmt::format("--sheet takes COLUMNSxROWS such as 5x4 (at most 50x50), not \"{}\"", *m_sheet));
    if (m_output) {
        const auto extension = lowerExtension(*m_output);
        if (extension != "png"
            && (m_sheet || (extension != "jpg" && extension != "tif" && extension != "bmp")))
            throwUsageError(
                m_sheet ? "a sheet is a .png file" : "the output ends in .png, .jpg, .tif or .bmp");
    }
}

int FrameCommand::run(const Invocation& invocation)
{
    if (m_output && invocation.files.size() != 1) {
        invocation.console.message({}, "-o names the output of one file; give exactly one");
        return exitStatus::kWrongUsage;
    }
    return eachFile(invocation, [&](const std::string& file) -> Result<Json> {
        RW_TRY(const auto movie, QTMovie::open(file));
        const std::filesystem::path source = file;
        const auto output = m_output ? asTyped(*m_output)
                                     : (source.parent_path() / (source.stem().string() + ".png")).string();
        Json outputs = Json::array();
        if (m_sheet) {
            const auto [columns, rows] = *parsedGrid(*m_sheet);
            RW_TRY(const auto image, FrameExport::sheet(movie, columns, rows, [&](const QTTime& time) {
                return labelAt(movie, time);
            }));
            RW_CHECK(FrameExport::write(output, image, m_overwrite));
            outputs.push_back(output);
            return Json {{"outputs", outputs}};
        }
        std::vector<QTTime> times;
        if (m_every) {
            RW_TRY(const auto step, movieTime(*m_every, movie));
            RW_TRY(times, FrameExport::timesEvery(movie, step));
        } else {
            QTTime time {0, movie.timeScale()};
            if (m_at) {
                RW_TRY(time, movieTime(*m_at, movie));
            }
            if (time >= movie.duration())
                return refusal(fmt::format("the movie ends at {}, before the picture asked for",
                    KWQuickTime::formattedQTTime(movie.duration(), movie)));
            times.push_back(time);
        }
        const auto take = [&](std::size_t index, const Bytes& image) -> Result<void> {
            invocation.console.progress(file, static_cast<double>(index) / static_cast<double>(times.size()));
            const auto path = m_every ? FrameExport::numbered(output, index) : output;
            outputs.push_back(path);
            return FrameExport::write(path, image, m_overwrite);
        };
        RW_CHECK(FrameExport::images(movie, times, lowerExtension(output), take));
        return Json {{"outputs", outputs}};
    });
}

} // namespace reelwright::cli

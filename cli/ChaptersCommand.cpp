#include "cli/ChaptersCommand.h"

#include "chapters/KWFCPXMLParser.h"
#include "cli/FileReports.h"
#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "report/TextTable.h"
#include "tracks/KWQuickTime.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>

namespace reelwright::cli {
namespace {

    std::string formatNames()
    {
        std::string names;
        for (const auto& format : MarkerFiles::exportFormats())
            names += fmt::format("{}{}", names.empty() ? "" : ", ", format.name);
        return names;
    }

    Result<FileReport> table(const std::string& file, const QTMovie& movie, OutputFormat format)
    {
        RW_TRY(const auto chapters, chapterList::read(movie));
        const auto rate = KWQuickTime::fpsForMovie(movie);
        FileReport report;
        TextTable rows;
        auto all = Json::array();
        for (std::size_t i = 0; i < chapters.size(); ++i) {
            const auto& [name, start] = chapters[i];
            const auto timecode = KWQuickTime::formattedQTTime(start, rate);
            if (format == OutputFormat::Text)
                rows.addRow({std::to_string(i + 1), timecode, printable(name)});
            else
                all.push_back({{"name", name},
                    {"start", {{"value", start.value}, {"scale", start.scale}, {"timecode", timecode}}}});
        }
        if (format == OutputFormat::Text)
            report.text = printable(file) + '\n' + (chapters.empty() ? "  no chapters\n" : rows.text(2));
        else
            report.json = {{"file", file}, {"chapters", std::move(all)}};
        return report;
    }

} // namespace

void ChaptersCommand::addOptions(CLI::App& app)
{
    app.add_option("--format", m_formatName, "Print the list in this form: " + formatNames())
        ->type_name("NAME");
    app.add_option("-o,--output", m_output, "Write it to this file instead")->type_name("FILE");
}

void ChaptersCommand::check()
{
    m_formatName = asTyped(m_formatName);
    if (m_output)
        m_output = asTyped(*m_output);
    if (!m_formatName.empty()) {
        m_format = MarkerFiles::exportFormatNamed(m_formatName);
        if (!m_format)
            throwUsageError(fmt::format("--format takes {}, not \"{}\"", formatNames(), m_formatName));
    } else if (m_output) {
        throwUsageError("-o writes a list; say which with --format");
    }
}

int ChaptersCommand::run(const Invocation& invocation)
{
    if (m_output && invocation.files.size() != 1) {
        invocation.console.message({}, "-o names the list of one file; give exactly one");
        return exitStatus::kWrongUsage;
    }
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        if (!m_format)
            return table(file, movie, invocation.format);
        FileReport report;
        if (m_output) {
            std::error_code error;
            if (std::filesystem::equivalent(*m_output, file, error))
                return failure(MovieError::Code::Refused, *m_output, "the list would replace the movie");
            RW_CHECK(MarkerFiles::exportChapters(*m_format, *m_output, movie));
            report.json = {{"file", file}, {"output", *m_output}};
            return report;
        }
        RW_TRY(report.text, MarkerFiles::exported(*m_format, movie));
        report.json = {{"file", file}, {"text", report.text}};
        return report;
    });
}

void MarkersCommand::addOptions(CLI::App& app)
{
    app.add_flag("--seconds", m_seconds, "Print places in seconds, not as timecodes");
    app.add_flag("--all-levels", m_allLevels, "Markers on clips within clips too");
    app.add_flag("--keep-duplicates", m_keepsDuplicates, "All markers of one place, not the first alone");
    app.add_option("--relative-hour", m_relativeHour, "Take this hour from the timecodes that have it")
        ->type_name("N")
        ->check(CLI::Range(0, 99));
}

int MarkersCommand::run(const Invocation& invocation)
{
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error))
            return failure(MovieError::Code::Io, file, "there is no such file");
        const auto markers = KWFCPXMLParser::markersFromXMLFile(
            file, !m_seconds, !m_keepsDuplicates, !m_allLevels, m_relativeHour);
        FileReport report;
        auto all = Json::array();
        TextTable rows;
        for (const auto& [name, seconds, startTimecode] : markers) {
            if (invocation.format == OutputFormat::Text)
                rows.addRow({m_seconds ? fmt::format("{}", seconds) : startTimecode, printable(name)});
            else if (m_seconds)
                all.push_back({{"seconds", seconds}, {"name", name}});
            else
                all.push_back({{"startTimecode", startTimecode}, {"name", name}});
        }
        if (markers.empty())
            report.problems.emplace_back(
                "No chapters found. Could not locate any chapters or markers in the specified file.");
        else
            report.text = printable(file) + '\n' + rows.text(2);
        report.json = {{"file", file}, {"markers", std::move(all)}};
        return report;
    });
}

} // namespace reelwright::cli

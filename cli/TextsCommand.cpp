#include "cli/TextsCommand.h"

#include "cli/FileReports.h"
#include "report/Printable.h"
#include "report/TextTable.h"
#include "support/FileHelper.h"
#include "tracks/KWQuickTime.h"
#include "tracks/TextStyleJson.h"
#include "tracks/TrackPlaces.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>

namespace reelwright::cli {
namespace {

    constexpr auto kFormatNames = "srt, webvtt";

    /// A text in one line.
    std::string inOneLine(std::string text)
    {
        for (auto at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
            text.replace(at, 1, " / ");
        return printable(text);
    }

    Json timeJson(const QTTime& time, double rate)
    {
        return {{"value", time.value}, {"scale", time.scale},
            {"timecode", KWQuickTime::formattedQTTime(time, rate)}};
    }

    /// The tracks with their texts. "All" leaves out those that hold no texts that are read here.
    Result<std::vector<std::pair<QTTrack, std::vector<TextCue>>>> textsOf(
        const TrackSelector& selector, const QTMovie& movie)
    {
        RW_TRY(const auto tracks, selector.select(movie));
        std::vector<std::pair<QTTrack, std::vector<TextCue>>> all;
        for (const auto& track : tracks) {
            if (selector.text().ends_with('*') && !textMedia::isTextTrack(track))
                continue;
            RW_TRY(auto texts, TextInsertion::texts(track));
            all.emplace_back(track, std::move(texts));
        }
        return all;
    }

    Result<FileReport> table(
        const std::string& file, const QTMovie& movie, const TrackSelector& selector, OutputFormat format)
    {
        RW_TRY(const auto all, textsOf(selector, movie));
        const auto rate = KWQuickTime::fpsForMovie(movie);
        FileReport report;
        report.text = printable(file) + '\n';
        auto tracks = Json::array();
        for (const auto& placed : placedTracks(movie))
            for (const auto& [track, texts] : all) {
                if (!(placed.track == track))
                    continue;
                TextTable rows;
                auto entries = Json::array();
                for (std::size_t i = 0; i < texts.size(); ++i) {
                    const auto& text = texts[i];
                    if (format == OutputFormat::Text)
                        rows.addRow({std::to_string(i + 1), KWQuickTime::formattedQTTime(text.start, rate),
                            KWQuickTime::formattedQTTime(text.end, rate), inOneLine(text.text)});
                    else
                        entries.push_back({{"text", text.text}, {"start", timeJson(text.start, rate)},
                            {"end", timeJson(text.end, rate)},
                            {"style", Json::parse(textStyle::json(text.style))}});
                }
                report.text += fmt::format("  Track {} ({})\n{}", track.trackID(), placed.placeName(),
                    texts.empty() ? "    no texts\n" : rows.text(4));
                tracks.push_back(
                    {{"id", track.trackID()}, {"place", placed.placeName()}, {"texts", std::move(entries)}});
            }
        if (all.empty())
            report.text += "  no text tracks\n";
        report.json = {{"file", file}, {"tracks", std::move(tracks)}};
        return report;
    }

} // namespace

void TextsCommand::addOptions(CLI::App& app)
{
    app.add_option("--track", m_trackText, "Only these tracks: tx1, an ID, tx* for all")
        ->type_name("SELECTOR");
    app.add_option(
           "--format", m_formatName, fmt::format("Print one track's texts in this form: {}", kFormatNames))
        ->type_name("NAME");
    app.add_option("-o,--output", m_output, "Write them to this file instead")->type_name("FILE");
}

void TextsCommand::check()
{
    m_formatName = asTyped(m_formatName);
    if (m_output)
        m_output = asTyped(*m_output);
    m_tracks = TrackSelector::parse(asTyped(m_trackText));
    if (!m_tracks)
        throwUsageError(
            fmt::format("--track takes a selector such as tx1, 3 or tx*, not \"{}\"", m_trackText));
    if (!m_formatName.empty()) {
        m_format = TextLists::formatNamed(m_formatName);
        if (!m_format)
            throwUsageError(fmt::format("--format takes {}, not \"{}\"", kFormatNames, m_formatName));
    } else if (m_output) {
        m_format = TextLists::formatNamed(std::filesystem::path(*m_output).extension().string().erase(0, 1));
        if (!m_format)
            throwUsageError("-o writes a list; say which with --format, or end the name in .srt or .vtt");
    }
}

int TextsCommand::run(const Invocation& invocation)
{
    if (m_output && invocation.files.size() != 1) {
        invocation.console.message({}, "-o names the list of one file; give exactly one");
        return exitStatus::kWrongUsage;
    }
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        if (!m_format)
            return table(file, movie, *m_tracks, invocation.format);
        RW_TRY(const auto all, textsOf(*m_tracks, movie));
        if (all.size() != 1)
            return failure(MovieError::Code::Refused, file,
                fmt::format(
                    "the movie has {} text tracks; a list is made of one, name it with --track", all.size()));
        const auto list = TextLists::written(m_format->format, all.front().second);
        FileReport report;
        if (m_output) {
            std::error_code error;
            if (std::filesystem::equivalent(*m_output, file, error))
                return failure(MovieError::Code::Refused, *m_output, "the list would replace the movie");
            if (const auto written = FileHelper::writeAtomically(*m_output, list))
                return systemFailure(written.value(), *m_output, "the list cannot be written");
            report.json = {{"file", file}, {"output", *m_output}};
            return report;
        }
        report.text = list;
        report.json = {{"file", file}, {"text", list}};
        return report;
    });
}

} // namespace reelwright::cli

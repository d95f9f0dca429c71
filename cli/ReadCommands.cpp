#include "cli/ReadCommands.h"

#include "attributes/AttributeConflicts.h"
#include "attributes/KWInfoController.h"
#include "cli/FileReports.h"
#include "picture/BitstreamFacts.h"
#include "report/FactsJson.h"
#include "report/InfoReport.h"
#include "report/Printable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    std::string tracksText(const MovieFacts& facts)
    {
        return printable(facts.file) + '\n' + trackTable(facts, 2);
    }

    Json tracksJson(const MovieFacts& facts)
    {
        auto tracks = Json::array();
        for (const auto& track : facts.tracks)
            tracks.push_back(trackJson(track));
        return {{"file", facts.file}, {"tracks", std::move(tracks)}};
    }

    /// What the pictures of the file say otherwise than the file. Where their samples lie is told by the
    /// whole header only.
    std::vector<std::string> pictureWarnings(const std::string& file)
    {
        std::vector<std::string> warnings;
        const auto movie = QTMovie::open(file);
        if (!movie)
            return warnings;
        for (const auto& track : movie->tracksOfMediaType(QTMediaTypeVideo)) {
            const auto description = track.media().sampleDescription(1);
            if (!description || !BitstreamFacts::isReadable(description->format()))
                continue;
            const auto picture = BitstreamFacts::of(track);
            if (!picture)
                warnings.push_back(reasonFor(picture.error(), file));
            else
                for (const auto& conflict : attributeConflicts::withPicture(track, *picture))
                    warnings.push_back(fmt::format("track {}: {}", track.trackID(), conflict));
        }
        return warnings;
    }

    int reportFacts(const Invocation& invocation, std::string (*text)(const MovieFacts&),
        Json (*json)(const MovieFacts&), bool withPicture = false)
    {
        return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
            RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
            auto facts = MovieFacts::of(movie);
            if (withPicture)
                for (auto& warning : pictureWarnings(file))
                    facts.warnings.push_back(std::move(warning));
            FileReport report;
            if (invocation.format == OutputFormat::Text)
                report.text = text(facts);
            else
                report.json = json(facts);
            return report;
        });
    }

} // namespace

void InfoCommand::addOptions(CLI::App& app)
{
    app.add_flag("--picture", m_withPicture,
        "Decode the first picture of each video track, and warn\nof what it says otherwise than the file");
    app.add_flag("--report", m_isReport, "The plain-text report of the information pane instead");
}

int InfoCommand::run(const Invocation& invocation)
{
    if (m_isReport)
        return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
            RW_TRY(const auto movie, QTMovie::open(file));
            FileReport report;
            if (invocation.files.size() == 1) {
                report.text = KWInfoController::infoForMovie(movie);
            } else {
                report.text = KWInfoController::infoForMovies({&movie, 1});
                report.text.pop_back(); // an empty line parts the files in any case
            }
            report.json = {{"file", file}, {"report", KWInfoController::infoForMovie(movie)}};
            return report;
        });
    return reportFacts(invocation, infoReport, factsJson, m_withPicture);
}

int TracksCommand::run(const Invocation& invocation)
{
    return reportFacts(invocation, tracksText, tracksJson);
}

} // namespace reelwright::cli

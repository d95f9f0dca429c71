#include "cli/ReadCommands.h"

#include "cli/FileReports.h"
#include "report/FactsJson.h"
#include "report/InfoReport.h"
#include "report/Printable.h"

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

    int reportFacts(
        const Invocation& invocation, std::string (*text)(const MovieFacts&), Json (*json)(const MovieFacts&))
    {
        return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
            RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
            const auto facts = MovieFacts::of(movie);
            FileReport report;
            if (invocation.format == OutputFormat::Text)
                report.text = text(facts);
            else
                report.json = json(facts);
            return report;
        });
    }

} // namespace

int InfoCommand::run(const Invocation& invocation)
{
    return reportFacts(invocation, infoReport, factsJson);
}

int TracksCommand::run(const Invocation& invocation)
{
    return reportFacts(invocation, tracksText, tracksJson);
}

} // namespace reelwright::cli

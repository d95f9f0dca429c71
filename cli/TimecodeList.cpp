#include "cli/TimecodeList.h"

#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "report/TimecodePlaces.h"

#include <fmt/format.h>

namespace reelwright::cli {

Result<FileReport> listTimecodes(const std::string& file)
{
    RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
    const auto survey = TimecodeSurvey::of(movie, TimecodeSurvey::Scope::WithFiles);
    FileReport report;
    report.text = printable(file) + '\n'
        + (survey.places.empty() ? std::string("  no timecode\n") : timecodeTable(survey, 2));
    for (const auto& warning : survey.warnings)
        report.text += fmt::format("  note: {}\n", printable(warning));
    report.json = {{"file", file}, {"timecodes", timecodesJson(survey)}, {"agree", !survey.disagrees()},
        {"warnings", survey.warnings}};
    for (const auto& place : survey.places)
        if (place.disagrees)
            report.problems.push_back(fmt::format("{} and {} disagree ({})", survey.places.front().source,
                place.source, place.differenceText()));
    return report;
}

} // namespace reelwright::cli

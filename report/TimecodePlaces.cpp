#include "report/TimecodePlaces.h"

#include "report/Printable.h"
#include "report/TextTable.h"

namespace reelwright {
namespace {

    const char* kindName(TimecodePlace::Kind kind)
    {
        switch (kind) {
        case TimecodePlace::Kind::Track:
            return "track";
        case TimecodePlace::Kind::Metadata:
            return "metadata";
        case TimecodePlace::Kind::Xmp:
            return "xmp";
        case TimecodePlace::Kind::Clock:
            return "clock";
        }
        return "";
    }

    Json textOrNull(const std::string& text)
    {
        return text.empty() ? Json {} : Json(text);
    }

} // namespace

std::string timecodeTable(const TimecodeSurvey& survey, std::size_t indent)
{
    TextTable table;
    table.addRow({"Source", "Start", "Reel", "Difference"});
    for (const auto& place : survey.places)
        table.addRow({printable(place.source), place.start.empty() ? "none" : printable(place.start),
            place.reel.empty() ? "none" : printable(place.reel),
            (place.disagrees ? "! " : "") + place.differenceText()});
    return table.text(indent);
}

Json timecodesJson(const TimecodeSurvey& survey)
{
    auto places = Json::array();
    for (const auto& place : survey.places) {
        auto breaks = Json::array();
        for (const auto& each : place.breaks)
            breaks.push_back({{"time", {{"value", each.time.value}, {"scale", each.time.scale}}},
                {"expected", each.expected}, {"found", each.found}});
        places.push_back({{"source", place.source}, {"kind", kindName(place.kind)},
            {"track", place.trackID ? Json(*place.trackID) : Json {}}, {"start", textOrNull(place.start)},
            {"reel", textOrNull(place.reel)}, {"inUse", place.isInUse},
            {"difference", place.difference ? Json(*place.difference) : Json {}},
            {"unit", place.kind == TimecodePlace::Kind::Clock ? "seconds" : "frames"},
            {"disagrees", place.disagrees}, {"breaks", std::move(breaks)}, {"remarks", place.remarks}});
    }
    return places;
}

} // namespace reelwright

#include "chapters/KWFCPXMLParser.h"

#include "chapters/KWXMLParser.h"
#include "support/Text.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <set>

namespace reelwright {
namespace {

    constexpr auto kFrameDuration = "./fcpxml[1]/resources[1]/format/@frameDuration[1]";
    constexpr auto kTimecodeFormat = "./fcpxml[1]/library[1]//project[1]/sequence[1]/@tcFormat[1]";
    constexpr auto kSequenceStart = "./fcpxml[1]/library[1]//project[1]/sequence[1]/@tcStart";
    constexpr auto kMainMarkers = "./fcpxml[1]/library[1]//project[1]/sequence[1]/spine[1]/"
                                  "(clip | mc-clip | title | transition | gap)/marker";
    constexpr auto kAllMarkers = "./fcpxml[1]/library[1]//project[1]/sequence[1]/spine[1]//"
                                 "(clip | mc-clip | title | transition | gap)/marker";

    /// The number that a text begins with; 0 where there is none.
    double numberIn(std::string_view text)
    {
        text = trimmed(text);
        if (text.starts_with('+'))
            text.remove_prefix(1);
        double number = 0;
        const auto digits = text.starts_with('-') ? text.substr(1) : text;
        if (digits.empty() || (digits.front() != '.' && (digits.front() < '0' || digits.front() > '9')))
            return 0; // "inf" and "nan" are no numbers here
        std::from_chars(text.data(), text.data() + text.size(), number);
        return number;
    }

    std::vector<std::string_view> piecesOf(std::string_view text)
    {
        if (text.ends_with('s'))
            text.remove_suffix(1);
        return split(text, "/");
    }

    int whole(double number)
    {
        using Limits = std::numeric_limits<int>;
        if (std::isnan(number))
            return 0;
        return static_cast<int>(
            std::clamp(std::trunc(number), double {Limits::min()}, double {Limits::max()}));
    }

    std::string textOf(const char* query, const pugi::xml_node& node)
    {
        return KWXMLParser::stringValueForQuery(query, node).value_or(std::string {});
    }

    double secondsOf(const char* query, const pugi::xml_node& node)
    {
        return KWFCPXMLParser::secondsFromTimeString(textOf(query, node));
    }

    SequenceTiming timingOf(const pugi::xml_document& document)
    {
        SequenceTiming timing;
        timing.fps = KWFCPXMLParser::fpsFromFrameDuration(textOf(kFrameDuration, document));
        timing.timebase = whole(std::ceil(timing.fps));
        timing.ntsc = timing.fps < std::ceil(timing.fps);
        timing.dropFrame = textOf(kTimecodeFormat, document) == "DF";
        timing.startFrame = whole(std::ceil(secondsOf(kSequenceStart, document) * timing.fps));
        return timing;
    }

    /// The hour of a timecode, taken relative to another one.
    std::string relativeTo(std::int32_t relativeHour, const std::string& timecode)
    {
        const auto pieces = split(timecode, ":;");
        const std::int64_t hour = integerValue(pieces.front());
        const auto newHour = hour == relativeHour ? 0 : hour < relativeHour ? hour + relativeHour : hour;
        auto text = fmt::format("{}{}:", newHour < 10 ? "0" : "", newHour);
        for (std::size_t i = 1; i < pieces.size(); ++i)
            text += fmt::format("{}{}", i == 1 ? "" : ":", pieces[i]);
        return text;
    }

    std::string timecodeAt(double seconds, const SequenceTiming& timing, std::int32_t relativeHour)
    {
        const auto text = KWTimecode::timecodeFromFrameCount(
            whole(seconds * timing.fps), timing.timebase, timing.ntsc, timing.dropFrame, timing.startFrame);
        return relativeHour >= 0 ? relativeTo(relativeHour, text) : text;
    }

} // namespace

std::vector<KWFCPXMLParser::Marker> KWFCPXMLParser::markersFromXMLFile(
    const std::string& path, bool useTimecode)
{
    return markersFromXMLFile(path, useTimecode, false, true);
}

std::vector<KWFCPXMLParser::Marker> KWFCPXMLParser::markersFromXMLFile(
    const std::string& path, bool useTimecode, bool stripDuplicates, bool mainStorylineOnly)
{
    return markersFromXMLFile(path, useTimecode, stripDuplicates, mainStorylineOnly, -1);
}

std::vector<KWFCPXMLParser::Marker> KWFCPXMLParser::markersFromXMLFile(const std::string& path,
    bool useTimecode, bool stripDuplicates, bool mainStorylineOnly, std::int32_t relativeHour)
{
    pugi::xml_document document;
    KWXMLParser::load(path, document);
    const auto timing = useTimecode ? timingOf(document) : SequenceTiming {};
    std::vector<Marker> markers;
    std::set<double> taken;
    for (const auto& found :
        KWXMLParser::nodesForQuery(mainStorylineOnly ? kMainMarkers : kAllMarkers, document)) {
        const auto node = found.node();
        const auto start = secondsOf("./@start[1]", node);
        const auto clipStart = secondsOf("./../@start[1]", node);
        if (clipStart > start || start > clipStart + secondsOf("./../@duration[1]", node))
            continue; // outside its clip
        const auto position = start - clipStart + secondsOf("./../@offset[1]", node);
        if (!std::isnan(position) && !taken.insert(position).second && stripDuplicates)
            continue;
        Marker marker {textOf("./@value[1]", node), position, {}};
        if (useTimecode)
            marker.startTimecode = timecodeAt(position, timing, relativeHour);
        markers.push_back(std::move(marker));
    }
    return markers;
}

SequenceTiming KWFCPXMLParser::timingFromXMLFile(const std::string& path)
{
    pugi::xml_document document;
    KWXMLParser::load(path, document);
    return timingOf(document);
}

double KWFCPXMLParser::secondsFromTimeString(std::string_view text)
{
    const auto pieces = piecesOf(text);
    if (pieces.size() == 1)
        return numberIn(pieces[0]);
    return pieces.size() == 2 ? numberIn(pieces[0]) / numberIn(pieces[1]) : 0;
}

double KWFCPXMLParser::fpsFromFrameDuration(std::string_view text)
{
    const auto pieces = piecesOf(text);
    if (pieces.size() == 1)
        return numberIn(pieces[0]);
    return pieces.size() == 2 ? numberIn(pieces[1]) / numberIn(pieces[0]) : 0;
}

double KWFCPXMLParser::multiplierFromFrameDuration(std::string_view text)
{
    return numberIn(piecesOf(text).front());
}

} // namespace reelwright

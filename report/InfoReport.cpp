#include "report/InfoReport.h"

#include "report/Printable.h"
#include "report/TextTable.h"
#include "report/TimecodePlaces.h"
#include "support/FileHelper.h"
#include "tracks/ApertureModes.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    /// At most two decimals, without trailing zeros: "25", "29.97".
    std::string shortNumber(double value)
    {
        auto text = fmt::format("{:.2f}", value);
        text.erase(text.find_last_not_of('0') + 1);
        if (text.ends_with('.'))
            text.pop_back();
        return text;
    }

    const char* onOff(bool value)
    {
        return value ? "on" : "off";
    }

    std::string sizeText(const MovieFacts& facts)
    {
        const auto readable = FileHelper::formatFileSize(facts.size);
        const auto exact = fmt::format("{} bytes", facts.size);
        return readable == exact ? exact : fmt::format("{} ({})", readable, exact);
    }

    std::string sizeText(double width, double height)
    {
        return fmt::format("{} x {}", shortNumber(width), shortNumber(height));
    }

    std::string brandText(const MovieFacts& facts)
    {
        if (facts.brand == FourCC {})
            return facts.isMovieFile ? "none (QuickTime)" : "none (no movie file)";
        return facts.brand == "qt  "_cc ? "qt (QuickTime)" : printable(facts.brand.text());
    }

    std::string durationText(const MovieFacts& facts)
    {
        const auto& [time, timecode] = facts.duration;
        const auto frames
            = facts.frameRate > 0 ? fmt::format("{} frames, ", facts.durationInFrames) : std::string {};
        return fmt::format("{} ({}{}/{} s)", timecode, frames, time.value, time.scale);
    }

    std::string rateText(const MovieFacts& facts)
    {
        if (facts.frameRate <= 0)
            return "none (no video track)";
        return fmt::format("{} frames a second (timebase {}{}{})", shortNumber(facts.frameRate),
            facts.timebase, facts.ntsc ? ", NTSC" : "", facts.dropFrame ? ", drop frame" : "");
    }

    std::string settingsText(const MovieFacts& facts)
    {
        const auto mode = apertureModeName(facts.apertureMode);
        return fmt::format("autoplay {}, auto close {}, auto quit {}, controller {}, aperture mode {}",
            onOff(facts.autoPlay), onOff(facts.autoClose), onOff(facts.autoQuit),
            facts.controller == "none"_cc ? "hidden" : "shown", mode.empty() ? "not set" : mode);
    }

    std::string timecodeText(const TimecodeFacts& facts)
    {
        auto text = "starts at " + facts.start;
        if (!facts.description.reel.empty())
            text += fmt::format(", reel \"{}\"", printable(facts.description.reel));
        const auto flags = facts.description.definition.flags;
        if (flags & TimecodeDefinition::kCounter)
            text += ", counter";
        if (flags & TimecodeDefinition::kDropFrame)
            text += ", drop frame";
        return text;
    }

    std::string startText(const MovieFacts& facts)
    {
        for (const auto& track : facts.tracks)
            if (!track.timecodeProblem.empty() && facts.startTimecode.empty())
                return fmt::format("not known: the timecode track {} cannot be read", track.id);
        for (const auto& track : facts.tracks)
            if (track.timecode)
                return fmt::format("{} (track {})", facts.startTimecode, track.id);
        return facts.startTimecode + " (no timecode track)";
    }

    std::string kindText(const TrackFacts& track)
    {
        if (track.kind)
            return fmt::format("{} {}", track.typeName, track.placeName);
        return fmt::format("{} ({})", track.typeName, printable(track.mediaType.text()));
    }

    bool hasRate(const TrackFacts& track)
    {
        return track.sampleRate > 0 || (track.sampleCount > 1 && track.frameRate > 0);
    }

    std::string trackRateText(const TrackFacts& track)
    {
        if (track.sampleRate > 0)
            return shortNumber(track.sampleRate) + " Hz";
        return hasRate(track) ? shortNumber(track.frameRate) + " fps" : "-";
    }

    std::string channelsText(const TrackFacts& track)
    {
        switch (track.channels) {
        case 0:
            return {};
        case 1:
            return "mono";
        case 2:
            return "stereo";
        default:
            return fmt::format("{} channels", track.channels);
        }
    }

    std::string detailsText(const TrackFacts& track)
    {
        std::vector<std::string> details;
        if (track.size)
            details.push_back(sizeText(track.size->width, track.size->height));
        if (track.mediaType == QTMediaTypeSound)
            details.push_back(channelsText(track));
        if (!track.channelLabel.empty())
            details.push_back("first channel: " + track.channelLabel);
        if (track.timecode)
            details.push_back(timecodeText(*track.timecode));
        if (!track.timecodeProblem.empty())
            details.emplace_back("cannot be read");
        for (const auto& [kind, ids] : track.references)
            details.push_back(fmt::format("{} -> {}", printable(kind.text()), fmt::join(ids, " ")));
        std::string text;
        for (const auto& detail : details)
            if (!detail.empty())
                text += (text.empty() ? "" : ", ") + detail;
        return text.empty() ? "-" : text;
    }

} // namespace

std::string trackTable(const MovieFacts& facts, std::size_t indent)
{
    using Align = TextTable::Align;
    if (facts.tracks.empty())
        return std::string(indent, ' ') + "no tracks\n";
    TextTable table {
        {Align::Right, Align::Left, Align::Left, Align::Left, Align::Left, Align::Left, Align::Right}};
    table.addRow({"ID", "Kind", "Enabled", "In", "Duration", "Format", "Rate", "Details", "Name"});
    for (const auto& track : facts.tracks)
        table.addRow({std::to_string(track.id), kindText(track), track.enabled ? "yes" : "no",
            track.in.timecode, track.duration.timecode, track.format ? printable(track.format->text()) : "-",
            trackRateText(track), detailsText(track), printable(track.name)});
    return table.text(indent);
}

std::vector<ReportRow> movieRows(const MovieFacts& facts)
{
    std::vector<ReportRow> rows {
        {"Size", sizeText(facts)},
        {"Brand", brandText(facts)},
        {"Duration", durationText(facts)},
        {"Frame rate", rateText(facts)},
        {"Picture", sizeText(facts.naturalSize.width, facts.naturalSize.height)},
        {"Start timecode", startText(facts)},
        {"Settings", settingsText(facts)},
        {"Update in place", facts.hindrance ? "no: " + printable(*facts.hindrance) : "yes"},
    };
    if (facts.needsFlattening)
        rows.push_back({"Media", "some lie in other files"});
    return rows;
}

std::vector<ReportRow> trackRows(const TrackFacts& track)
{
    std::vector<ReportRow> rows {{"Track", fmt::format("{} ({})", track.id, kindText(track))}};
    const auto add = [&](const char* name, std::string value) {
        if (!value.empty())
            rows.push_back({name, std::move(value)});
    };
    add("Name", printable(track.name));
    add("Enabled", track.enabled ? "yes" : "no");
    add("In", track.in.timecode);
    add("Duration", track.duration.timecode);
    add("Format", track.format ? printable(track.format->text()) : std::string {});
    add("Size", track.size ? sizeText(track.size->width, track.size->height) : std::string {});
    add("Rate", hasRate(track) ? trackRateText(track) : std::string {});
    add("Channels", channelsText(track));
    add("First channel", track.channelLabel);
    add("Language", track.language);
    add("Timecode", track.timecode ? timecodeText(*track.timecode) : std::string {});
    add("Samples", fmt::to_string(track.sampleCount));
    add("Media time scale", fmt::to_string(track.mediaTimeScale));
    for (const auto& [kind, ids] : track.references)
        add("Refers to", fmt::format("{} -> {}", printable(kind.text()), fmt::join(ids, " ")));
    return rows;
}

std::string infoReport(const MovieFacts& facts)
{
    TextTable table;
    for (const auto& row : movieRows(facts))
        table.addRow({row.name, row.value});
    auto text = printable(facts.file) + '\n' + table.text(2) + "  Tracks\n" + trackTable(facts, 4);
    const auto& places = facts.timecodes.places;
    if (std::count_if(places.begin(), places.end(),
            [](const auto& place) { return place.kind != TimecodePlace::Kind::Clock; })
        > 1)
        text += "  Timecodes\n" + timecodeTable(facts.timecodes, 4);
    if (!facts.warnings.empty())
        text += "  Warnings\n";
    for (const auto& warning : facts.warnings)
        text += "    " + printable(warning) + '\n';
    return text;
}

} // namespace reelwright

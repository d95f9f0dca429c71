#include "cli/TimecodeCommand.h"

#include "cli/FileReports.h"
#include "cli/TimecodeList.h"
#include "movie/FrameRate.h"
#include "movie/samples/FrameTimes.h"
#include "movie/samples/TimecodeMedia.h"
#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "report/TextTable.h"
#include "tracks/TrackPlaces.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace reelwright::cli {
namespace {

    __extension__ using Wide = __int128;

    /// The timecode at one time.
    struct Moment
    {
        QTTime time;
        std::optional<timecodeMedia::Reading> reading; ///< nothing where the track shows none
    };

    struct TimecodeReport
    {
        PlacedTrack placed;
        timecodeMedia::Reading start; ///< as stored: at the beginning of the media
        Moment first; ///< where the track begins to show
        Moment last;
        std::optional<Moment> asked;
    };

    Result<Moment> momentAt(const QTTrack& track, const QTTime& time)
    {
        Moment moment {time, std::nullopt};
        RW_TRY(moment.reading, timecodeMedia::atMovieTime(track, time));
        return moment;
    }

    /// When the movie's last frame begins, or the track ends where that is earlier.
    QTTime lastTime(const QTTrack& track, const FrameTimes& picture)
    {
        const auto range = track.range();
        auto end = range.time + range.duration;
        if (end.value > 0)
            --end.value;
        const auto last = picture.last();
        return last ? std::min(*last, end) : end;
    }

    /// When frame N of the picture begins, counted as they are shown; without a picture those of the timecode
    /// count. Frames behind the last are thought to go on at the average rate.
    QTTime timeOfFrame(std::int64_t frame, const FrameTimes& picture, const timecodeMedia::Reading& start,
        const QTMovie& movie)
    {
        if (const auto time = picture.startOf(frame))
            return *time;
        const auto rate
            = FrameRate::averageOfPicture(movie).value_or(FrameRate::of(start.description.definition));
        if (rate.num <= 0)
            return {0, 1};
        constexpr std::int32_t kScale = 1'000'000'000;
        const auto units = (static_cast<Wide>(frame) * rate.den * kScale + rate.num - 1) / rate.num;
        return {static_cast<std::int64_t>(std::min<Wide>(units, INT64_MAX / 2)), kScale};
    }

    Result<TimecodeReport> reportOn(
        const PlacedTrack& placed, const TimecodeQuery& query, const FrameTimes& picture)
    {
        const auto& track = placed.track;
        RW_TRY(const auto start, timecodeMedia::atMediaTime(track, 0));
        TimecodeReport report {placed, start, {}, {}, {}};
        RW_TRY(report.first, momentAt(track, track.range().time));
        RW_TRY(report.last, momentAt(track, lastTime(track, picture)));
        if (query.frame) {
            RW_TRY(report.asked, momentAt(track, timeOfFrame(*query.frame, picture, start, track.movie())));
        } else if (query.at) {
            RW_TRY(const auto time, query.at->exactly(track.movie()));
            RW_TRY(report.asked, momentAt(track, time));
        }
        return report;
    }

    bool has(const TimecodeReport& report, std::uint32_t flag)
    {
        return (report.start.description.definition.flags & flag) != 0;
    }

    double rateOf(const TimecodeDefinition& definition)
    {
        return FrameRate::of(definition).perSecond();
    }

    Json momentJson(const Moment& moment)
    {
        return {{"time", {{"value", moment.time.value}, {"scale", moment.time.scale}}},
            {"timecode", moment.reading ? Json(moment.reading->text) : Json {}},
            {"frame", moment.reading ? Json(moment.reading->frame) : Json {}}};
    }

    Json trackJson(const TimecodeReport& report)
    {
        const auto& [definition, reel] = report.start.description;
        Json json {
            {"id", report.placed.track.trackID()},
            {"place", report.placed.placeName()},
            {"enabled", report.placed.track.isEnabled()},
            {"start", report.start.text},
            {"startFrame", report.start.frame},
            {"reel", reel},
            {"dropFrame", has(report, TimecodeDefinition::kDropFrame)},
            {"limit24h", has(report, TimecodeDefinition::k24HourMax)},
            {"negative", has(report, TimecodeDefinition::kNegativeTimesOK)},
            {"counter", has(report, TimecodeDefinition::kCounter)},
            {"flags", definition.flags},
            {"frameRate", rateOf(definition)},
            {"timeScale", definition.timeScale},
            {"frameDuration", definition.frameDuration},
            {"numberOfFrames", definition.numberOfFrames},
            {"first", momentJson(report.first)},
            {"last", momentJson(report.last)},
        };
        if (report.asked)
            json["at"] = momentJson(*report.asked);
        return json;
    }

    std::string momentText(const Moment& moment)
    {
        const auto where = fmt::format("at {}/{} s", moment.time.value, moment.time.scale);
        return moment.reading ? fmt::format("{} ({})", moment.reading->text, where)
                              : fmt::format("none ({} the track shows nothing)", where);
    }

    std::string flagsText(const TimecodeReport& report)
    {
        std::string text;
        const auto add = [&](std::uint32_t flag, const char* name) {
            if (has(report, flag))
                text += (text.empty() ? "" : ", ") + std::string(name);
        };
        add(TimecodeDefinition::kCounter, "counter");
        add(TimecodeDefinition::kDropFrame, "drop frame");
        add(TimecodeDefinition::k24HourMax, "24-hour limit");
        add(TimecodeDefinition::kNegativeTimesOK, "negative times");
        return text.empty() ? "none" : text;
    }

    std::string trackText(const TimecodeReport& report, const TimecodeQuery& query)
    {
        const auto& [definition, reel] = report.start.description;
        TextTable table;
        table.addRow({"Start", report.start.text});
        table.addRow({"Reel", reel.empty() ? "none" : printable(reel)});
        table.addRow({"Flags", flagsText(report)});
        table.addRow({"Rate",
            fmt::format(
                "{:.5g} frames a second ({} labels)", rateOf(definition), definition.numberOfFrames)});
        if (!report.first.reading || report.first.reading->frame != report.start.frame
            || report.first.time.value != 0)
            table.addRow({"First shown", momentText(report.first)});
        table.addRow({"Last frame", momentText(report.last)});
        if (report.asked)
            table.addRow({query.frame ? fmt::format("Frame {}", *query.frame) : "At " + query.at->text(),
                momentText(*report.asked)});
        return fmt::format("  {} (track {}{})\n", report.placed.placeName(), report.placed.track.trackID(),
                   report.placed.track.isEnabled() ? "" : ", disabled")
            + table.text(4);
    }

    FrameTimes pictureTimes(const QTMovie& movie)
    {
        const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
        return video.empty() ? FrameTimes {} : FrameTimes {video.front()};
    }

    /// Are there frames of different lengths, or shown in another order than stored, whose times the outline
    /// of the header leaves out?
    bool isPictureCut(const QTMovie& movie)
    {
        const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
        const auto* tables
            = video.empty() ? nullptr : video.front().atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        const auto isCut = [&](FourCC type) { return tables->find(type) && tables->find(type)->isCut; };
        return tables && (isCut("stts"_cc) || isCut("ctts"_cc));
    }

    Result<FileReport> reportFile(const std::string& file, const TimecodeQuery& query, OutputFormat format)
    {
        RW_TRY(auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        if (isPictureCut(movie)) {
            RW_TRY(movie, QTMovie::open(file));
        }
        const auto picture = pictureTimes(movie);
        FileReport report;
        report.text = printable(file) + '\n';
        auto tracks = Json::array();
        bool hasTrack = false;
        for (const auto& placed : placedTracks(movie)) {
            if (placed.record.trackType() != KWMovTrack::kTimecode)
                continue;
            hasTrack = true;
            const auto read = reportOn(placed, query, picture);
            if (!read) {
                report.problems.push_back(reasonFor(read.error(), file));
                continue;
            }
            if (format == OutputFormat::Text)
                report.text += trackText(*read, query);
            else
                tracks.push_back(trackJson(*read));
        }
        if (!hasTrack)
            report.text += "  no timecode track\n";
        report.json = {{"file", file}, {"tracks", std::move(tracks)}};
        if (!report.problems.empty())
            report.json["problems"] = report.problems;
        return report;
    }

} // namespace

void TimecodeCommand::addOptions(CLI::App& app)
{
    app.add_option("--at", m_atText,
           "Also the timecode at this time of the movie:\nhours:minutes:seconds:frames, or VALUE/SCALE "
           "seconds")
        ->option_text("TIME");
    app.add_option("--frame", m_query.frame, "Also the timecode at frame N of the picture, from 0")
        ->option_text("N")
        ->check(CLI::Range(std::int64_t {0}, std::int64_t {1} << 40U));
    app.add_flag("--all", m_all,
        "Instead every place of the file that carries timecode,\nside by side; what disagrees is marked and "
        "fails the file");
}

void TimecodeCommand::check()
{
    if (m_all && (m_atText || m_query.frame))
        throwUsageError("--all goes without --at and --frame");
    if (!m_atText)
        return;
    if (m_query.frame)
        throwUsageError("--at and --frame exclude each other");
    const auto typed = TypedTime::parse(*m_atText);
    if (!typed || typed->isRelative())
        throwUsageError(fmt::format("--at: {}",
            typed ? fmt::format("\"{}\" moves a time, and there is none here; leave out the sign", *m_atText)
                  : typed.error().detail));
    m_query.at = *typed;
}

int TimecodeCommand::run(const Invocation& invocation)
{
    if (m_all)
        return reportEach(invocation, listTimecodes);
    return reportEach(
        invocation, [&](const std::string& file) { return reportFile(file, m_query, invocation.format); });
}

} // namespace reelwright::cli

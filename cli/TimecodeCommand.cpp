#include "cli/TimecodeCommand.h"

#include "cli/FileReports.h"
#include "movie/samples/TimecodeMedia.h"
#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "report/TextTable.h"
#include "support/Text.h"
#include "times/KWTimecode.h"
#include "tracks/TrackPlaces.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace reelwright::cli {
namespace {

    __extension__ using Wide = __int128;

    constexpr std::int64_t kMostUnits = std::int64_t {1} << 53U; // far beyond any movie, and safe to multiply

    std::optional<std::int64_t> wholeNumber(std::string_view text, std::int64_t most)
    {
        std::int64_t number = 0;
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc {} || stop != end || number < 0 || number > most)
            return std::nullopt;
        return number;
    }

    /// The frames of a movie as a user counts them: those of the first video track, at their average rate.
    struct FrameClock
    {
        std::int64_t frames = 0; ///< as many
        QTTime last; ///< as last so long

        static FrameClock ofPicture(const QTMovie& movie)
        {
            const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
            if (video.empty())
                return {};
            const auto media = video.front().media();
            const auto duration = media.duration();
            if (media.sampleCount() == 0 || duration.value <= 0 || duration.scale <= 0)
                return {};
            return {media.sampleCount(), duration};
        }

        /// In a movie without a picture the timecode's own frames count.
        static FrameClock ofTimecode(const TimecodeDefinition& definition)
        {
            if (definition.timeScale > INT32_MAX || definition.timeScale == 0
                || definition.frameDuration == 0)
                return {};
            return {1, {definition.frameDuration, static_cast<std::int32_t>(definition.timeScale)}};
        }

        [[nodiscard]] bool isRunning() const { return frames != 0; }

        /// When the frame begins; rounded up to the next unit, so that it never falls before the frame.
        [[nodiscard]] QTTime timeOf(std::int64_t frame) const
        {
            if (!isRunning())
                return {0, 1};
            const Wide units = (static_cast<Wide>(frame) * last.value + frames - 1) / frames;
            return {static_cast<std::int64_t>(std::min<Wide>(units, kMostUnits)), last.scale};
        }

        /// Number of frames in a duration.
        [[nodiscard]] std::int64_t framesIn(const QTTime& duration) const
        {
            const Wide divisor = static_cast<Wide>(duration.scale) * last.value;
            if (divisor <= 0)
                return 0;
            const Wide units = static_cast<Wide>(std::min(duration.value, kMostUnits)) * last.scale;
            const Wide count = (units * frames * 2 + divisor) / (divisor * 2);
            return static_cast<std::int64_t>(std::min<Wide>(count, kMostUnits));
        }
    };

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
    QTTime lastTime(const QTTrack& track, const FrameClock& picture)
    {
        const auto& movie = track.movie();
        const auto range = track.range();
        auto end = range.time + range.duration;
        if (end.value > 0)
            --end.value;
        const auto frames = picture.isRunning() ? picture.framesIn(movie.duration()) : 0;
        return frames > 0 ? std::min(picture.timeOf(frames - 1), end) : end;
    }

    Result<TimecodeReport> reportOn(const PlacedTrack& placed, const TimecodeQuery& query)
    {
        const auto& track = placed.track;
        RW_TRY(const auto start, timecodeMedia::atMediaTime(track, 0));
        TimecodeReport report {placed, start, {}, {}, {}};
        const auto picture = FrameClock::ofPicture(track.movie());
        RW_TRY(report.first, momentAt(track, track.range().time));
        RW_TRY(report.last, momentAt(track, lastTime(track, picture)));
        const auto clock
            = picture.isRunning() ? picture : FrameClock::ofTimecode(start.description.definition);
        if (query.frame) {
            RW_TRY(report.asked, momentAt(track, clock.timeOf(*query.frame)));
        } else if (query.at) {
            const auto& typed = *query.at;
            const auto time
                = typed.frames() == 0 ? typed.time() : clock.timeOf(typed.frames()) + typed.time();
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
        return definition.frameDuration == 0 ? 0
                                             : double {1} * definition.timeScale / definition.frameDuration;
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

    Result<FileReport> reportFile(const std::string& file, const TimecodeQuery& query, OutputFormat format)
    {
        RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        FileReport report;
        report.text = printable(file) + '\n';
        auto tracks = Json::array();
        bool hasTrack = false;
        for (const auto& placed : placedTracks(movie)) {
            if (placed.record.trackType() != KWMovTrack::kTimecode)
                continue;
            hasTrack = true;
            const auto read = reportOn(placed, query);
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

std::optional<TypedTime> TypedTime::parse(std::string_view text)
{
    TypedTime result;
    result.m_text = text;
    if (const auto slash = text.find('/'); slash != std::string_view::npos) {
        const auto value = wholeNumber(text.substr(0, slash), kMostUnits);
        const auto scale = wholeNumber(text.substr(slash + 1), INT32_MAX);
        if (!value || !scale || *scale == 0)
            return std::nullopt;
        result.m_time = {*value, static_cast<std::int32_t>(*scale)};
        return result;
    }
    if (text.find_first_of("0123456789") == std::string_view::npos
        || text.find_first_not_of("0123456789:;.,") != std::string_view::npos)
        return std::nullopt;
    const auto full = KWTimecode::timecodeFromUserString(text, false, "00:00:00:00");
    const auto parts = split(full, ":;");
    if (parts.size() != 4)
        return std::nullopt;
    std::int64_t seconds = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto number = wholeNumber(parts[i], INT32_MAX);
        if (!number)
            return std::nullopt;
        seconds = seconds * 60 + *number;
    }
    const auto frames = wholeNumber(parts[3], INT32_MAX);
    if (!frames)
        return std::nullopt;
    result.m_time = {seconds, 1};
    result.m_frames = *frames;
    return result;
}

void TimecodeCommand::addOptions(CLI::App& app)
{
    app.add_option("--at", m_atText,
           "Also the timecode at this time of the movie:\nhours:minutes:seconds:frames, or VALUE/SCALE "
           "seconds")
        ->option_text("TIME");
    app.add_option("--frame", m_query.frame, "Also the timecode at frame N of the picture, from 0")
        ->option_text("N")
        ->check(CLI::Range(std::int64_t {0}, std::int64_t {1} << 40U));
}

void TimecodeCommand::check()
{
    if (!m_atText)
        return;
    if (m_query.frame)
        throwUsageError("--at and --frame exclude each other");
    m_query.at = TypedTime::parse(*m_atText);
    if (!m_query.at)
        throwUsageError(
            fmt::format("--at takes a time such as 00:00:10:00, 10. or 3003/3000, not \"{}\"", *m_atText));
}

int TimecodeCommand::run(const Invocation& invocation)
{
    return reportEach(
        invocation, [&](const std::string& file) { return reportFile(file, m_query, invocation.format); });
}

} // namespace reelwright::cli

#include "edits/TimecodeEdit.h"

#include "movie/atoms/UserData.h"
#include "support/Text.h"
#include "tasks/KWQuickTaskController.h"
#include "timecode/KWTimecodeController.h"
#include "timecode/StillImage.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

namespace reelwright {
namespace {

    constexpr std::size_t kMaxReel = 255;
    constexpr auto kNotInThisFormat
        = "Timecode tracks are not supported for this file format; save the movie under a name that ends in "
          ".mov first (-o NAME.mov) and edit that";

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    using Fields = std::array<int, 4>; ///< hours, minutes, seconds, frames

    /// Those of a text that is nothing but four numbers with ":" or ";" between them.
    std::optional<Fields> fieldsOf(std::string_view text)
    {
        const auto parts = split(text, ":;");
        Fields fields {};
        if (parts.size() != fields.size())
            return std::nullopt;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const auto* end = parts[i].data() + parts[i].size();
            const auto [stop, error] = std::from_chars(parts[i].data(), end, fields[i]);
            if (error != std::errc {} || stop != end || fields[i] < 0)
                return std::nullopt;
        }
        return fields;
    }

    bool isDayTime(const Fields& fields)
    {
        constexpr int kMostHours = 99; // two digits
        return fields[0] <= kMostHours && fields[1] < 60 && fields[2] < 60 && fields[3] <= UINT8_MAX;
    }

    std::optional<QTTrack> firstTimecodeTrack(const QTMovie& movie)
    {
        const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
        return track ? std::optional(track->track()) : std::nullopt;
    }

    /// Can the movie get the timecode track that it has not?
    Result<void> checkCanHaveTimecode(const QTMovie& movie)
    {
        if (firstTimecodeTrack(movie))
            return {};
        if (KWTimecodeController::isTypeWithoutTimecode(movie.fileName()))
            return refusal(kNotInThisFormat);
        if (movie.tracks().empty())
            return refusal("the movie has no tracks that a timecode could belong to");
        return {};
    }

    /// "29.97 frames a second in drop frame"
    std::string rateText(const TimecodeDefinition& definition)
    {
        std::string rate = std::to_string(definition.numberOfFrames);
        if (definition.frameDuration != 0 && definition.timeScale % definition.frameDuration != 0)
            rate = fmt::format("{:.2f}", double {1} * definition.timeScale / definition.frameDuration);
        return fmt::format("{} frames a second{}", rate,
            (definition.flags & TimecodeDefinition::kDropFrame) != 0 ? " in drop frame" : "");
    }

    /// Other rates have no labels to drop, and other programs refuse the flag there. Cameras that round the
    /// rate down write 29 and 59.
    bool canDropFrames(const TimecodeDefinition& definition)
    {
        return definition.numberOfFrames != 0
            && (definition.numberOfFrames % 30 == 0 || definition.numberOfFrames % 30 == 29);
    }

} // namespace

Result<void> TimecodeEdit::takeStart(
    std::string_view option, std::function<Result<Start>(const QTMovie&)> start)
{
    if (!m_startOption.empty())
        return refusal(m_startOption == option
                ? fmt::format("{} can be given once only", option)
                : fmt::format("{} and {} exclude each other", m_startOption, option));
    m_startOption = option;
    m_start = std::move(start);
    return {};
}

Result<void> TimecodeEdit::setTimecode(std::string_view value)
{
    const auto text = KWTimecode::timecodeFromUserString(value, false, "00:00:00:00");
    const auto fields = fieldsOf(text);
    const bool isTyped = value.find_first_of("0123456789") != std::string_view::npos
        && value.find_first_not_of("0123456789:;.,") == std::string_view::npos;
    if (!isTyped || !fields || !isDayTime(*fields))
        return refusal(fmt::format(
            "--timecode takes a timecode such as 10:00:00:00 (or 10:00:00;00 for drop frame), not \"{}\"",
            value));
    Start start {text, 0, value.find(';') == std::string_view::npos ? 0 : TimecodeDefinition::kDropFrame, {}};
    return takeStart("--timecode", [start](const QTMovie&) -> Result<Start> { return start; });
}

Result<void> TimecodeEdit::setCounter(std::string_view value)
{
    Start start;
    start.flags = TimecodeDefinition::kCounter;
    const auto* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, start.counter);
    if (error != std::errc {} || stop != end)
        return refusal(fmt::format("--counter takes a number from 0 to 255, not \"{}\"", value));
    return takeStart("--counter", [start](const QTMovie&) -> Result<Start> { return start; });
}

namespace {

    /// A place that starts of timecodes come from.
    struct Source
    {
        const char* name; ///< "thm:" is followed by a path
        bool isDate; ///< without frames
        /// Adds a track that starts so; false where there is nothing.
        std::function<bool(QTMovie&, const std::string& path)> add;
        const char* missing; ///< why there may be nothing; {} is the path
    };

    const std::array<Source, 7>& sources()
    {
        using Controller = KWTimecodeController;
        using Tasks = KWQuickTaskController;
        static const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        static const std::array<Source, 7> all {{
            {"creation", true,
                [](QTMovie& movie, auto&) { return Tasks::timecodeTrackFromCreationTime(movie).has_value(); },
                "the movie has no creation time"},
            {"file", true,
                [](QTMovie& movie, auto&) {
                    return Tasks::timecodeTrackFromFileCreationTime(movie).has_value();
                },
                "neither the file nor the movie has a creation time"},
            {"now", true,
                [](QTMovie& movie, auto&) {
                    return Controller::addTimecodeTrackWithDate(now, movie).has_value();
                },
                "the present time is not known"},
            {"udta", false,
                [](QTMovie& movie, auto&) { return Tasks::addTimecodeTrackFromUserDataField(movie); },
                "the movie's metadata have no timecode under \u00A9TIM"},
            {"thm:", true,
                [](QTMovie& movie, auto& path) {
                    return Controller::addTimecodeFromTHMFile(path, movie).has_value();
                },
                "no time of recording (EXIF DateTimeOriginal) can be read from {}"},
            {"thm-folder:", true,
                [](QTMovie& movie, auto& path) {
                    return Controller::addTimecodeFromTHMFolder(path, movie).has_value();
                },
                "no still of the movie's name (.THM) with a time of recording is in {}"},
            {"movies:", false,
                [](QTMovie& movie, auto& path) {
                    return Controller::addTimecodeFromMovieInFolder(path, movie).has_value();
                },
                "no movie of the same name with a timecode is in {}"},
        }};
        return all;
    }

    const Source* sourceNamed(std::string_view value)
    {
        for (const auto& source : sources()) {
            const std::string_view name = source.name;
            if (name.ends_with(':') ? value.starts_with(name) && value.size() > name.size() : value == name)
                return &source;
        }
        return nullptr;
    }

} // namespace

Result<void> TimecodeEdit::setSource(std::string_view value)
{
    const auto* source = sourceNamed(value);
    if (!source)
        return refusal(
            fmt::format("--timecode-from takes creation, file, now, udta, thm:PATH, thm-folder:DIR or "
                        "movies:DIR, not \"{}\"",
                value));
    const std::string path {value.substr(std::string_view(source->name).size())};
    return takeStart("--timecode-from", [source, path](const QTMovie& movie) -> Result<Start> {
        if (KWTimecodeController::isTypeWithoutTimecode(movie.fileName()))
            return refusal(kNotInThisFormat);
        // The sources add tracks. What the one that a copy gets says is what the first one here is to say.
        auto copy = movie;
        if (!source->add(copy, path)) {
            const bool needsStills = std::string_view(source->name).starts_with("thm");
            return refusal(needsStills && !StillImage::canBeRead()
                    ? "still images cannot be read: a part of this program is missing or cannot be loaded "
                      "(the log says which); install it again"
                    : fmt::format(fmt::runtime(source->missing), path));
        }
        Start start;
        TimecodeDefinition definition;
        std::string reel;
        start.text = KWTimecodeController::timecodeForTrack(
            copy.tracksOfMediaType(QTMediaTypeTimeCode).back(), &definition, &reel);
        start.flags = definition.flags;
        start.isExact = !source->isDate;
        if (!reel.empty())
            start.reel = reel;
        return start;
    });
}

Result<void> TimecodeEdit::setReel(std::string_view value)
{
    if (m_reel)
        return refusal("--reel can be given once only");
    if (value.size() > kMaxReel)
        return refusal(fmt::format(
            "--reel takes a name of at most {} bytes of UTF-8; this one has {}", kMaxReel, value.size()));
    if (!isValidUtf8(std::as_bytes(std::span {value})))
        return refusal("--reel takes a name in UTF-8");
    m_reel = value;
    return {};
}

Result<void> TimecodeEdit::check() const
{
    if (m_startOption == "--counter" && m_flags != 0)
        return refusal(
            "a counter has no drop frame, no negative times and no 24-hour limit: --counter goes with "
            "--reel only");
    return {};
}

Result<Edit> TimecodeEdit::finish()
{
    RW_CHECK(check());
    return makeEdit("--timecode", "Timecode", "Set timecode",
        [edit = shared_from_this()](QTMovie& movie) { return edit->apply(movie); });
}

Result<void> TimecodeEdit::apply(QTMovie& movie) const
{
    RW_CHECK(checkCanHaveTimecode(movie));
    // What stands there now: the start and its flags when no other one is asked for, and in any case the
    // reel.
    Start start;
    if (const auto track = firstTimecodeTrack(movie)) {
        TimecodeDefinition definition;
        std::string reel;
        start.text = KWTimecodeController::timecodeForTrack(*track, &definition, &reel);
        start.flags = definition.flags;
        start.reel = reel;
        if ((start.flags & TimecodeDefinition::kCounter) != 0 && !m_start) {
            const auto counter = integerValue(start.text);
            if (counter < 0 || counter > UINT8_MAX)
                return refusal(
                    fmt::format("the counter of this movie starts at {}, and only starts from 0 to 255 "
                                "can be written; give one with --counter",
                        start.text));
            start.counter = static_cast<std::uint8_t>(counter);
        }
    } else if (!m_start) {
        return refusal("the movie has no timecode track yet; give its start with --timecode");
    }
    if (m_start) {
        RW_TRY(auto wanted, m_start(movie));
        if (!wanted.reel)
            wanted.reel = start.reel;
        start = std::move(wanted);
    }
    if (m_reel)
        start.reel = m_reel;
    const auto flags = start.flags | m_flags;
    const auto has = [&](std::uint32_t flag) { return (flags & flag) != 0; };

    if (has(TimecodeDefinition::kCounter))
        KWTimecodeController::updateCounter(start.counter, start.reel, movie);
    else
        KWTimecodeController::updateTimecode(start.text, start.reel, movie,
            has(TimecodeDefinition::kDropFrame), has(TimecodeDefinition::kNegativeTimesOK),
            has(TimecodeDefinition::k24HourMax));

    // The operations answer nothing: what the track says now tells whether they did it.
    const auto track = firstTimecodeTrack(movie);
    if (!track)
        return refusal("the timecode track could not be made; the log says why");
    TimecodeDefinition definition;
    const auto written = KWTimecodeController::timecodeForTrack(*track, &definition);
    const bool isCounter = (definition.flags & TimecodeDefinition::kCounter) != 0;
    if (definition.flags != (has(TimecodeDefinition::kCounter) ? TimecodeDefinition::kCounter : flags))
        return refusal("the timecode track could not be changed; the log says why");
    if (has(TimecodeDefinition::kDropFrame) && !isCounter && !canDropFrames(definition))
        return refusal(fmt::format("drop frame is for 29.97 and 59.94 frames a second; this timecode has {}",
            definition.numberOfFrames));
    if (!start.isExact
        || (isCounter ? written == std::to_string(start.counter) : fieldsOf(written) == fieldsOf(start.text)))
        return {};
    return refusal(
        fmt::format("there is no timecode {} at {}{}; the nearest is {}", start.text, rateText(definition),
            (definition.flags & TimecodeDefinition::k24HourMax) != 0 ? " within 24 hours" : "", written));
}

} // namespace reelwright

#include "cli/EditStep.h"

#include "cli/Selector.h"
#include "report/MovieFacts.h"
#include "times/KWTimecode.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>

#include <optional>

namespace reelwright::cli {
namespace {

    tl::unexpected<MovieError> wrongValue(
        std::string_view option, std::string_view value, std::string_view wanted)
    {
        return failure(
            MovieError::Code::Refused, {}, fmt::format("{} takes {}, not \"{}\"", option, wanted, value));
    }

    /// The operation's result as ours; it has logged the reason with its number.
    Result<void> asResult(bool done, std::string_view option)
    {
        if (!done)
            return failure(MovieError::Code::Refused, {}, fmt::format("{} could not be applied", option));
        return {};
    }

    std::optional<bool> switchValue(std::string_view value)
    {
        if (value == "on")
            return true;
        if (value == "off")
            return false;
        return std::nullopt;
    }

    using Setter = bool (*)(bool, QTMovie&);

    Result<EditStep> switchStep(const char* option, std::string_view value, Setter setter)
    {
        const auto on = switchValue(value);
        if (!on)
            return wrongValue(option, value, "on or off");
        const auto text = fmt::format("{} {}", option, value);
        return EditStep {text, [=](QTMovie& movie) { return asResult(setter(*on, movie), text); }};
    }

    Result<EditStep> autoPlay(std::string_view value)
    {
        return switchStep("--autoplay", value, KWQuickTimeEditing::setAutoPlay);
    }

    Result<EditStep> autoClose(std::string_view value)
    {
        return switchStep("--autoclose", value, KWQuickTimeEditing::setAutoClose);
    }

    Result<EditStep> autoQuit(std::string_view value)
    {
        return switchStep("--autoquit", value, KWQuickTimeEditing::setAutoQuit);
    }

    Result<EditStep> controller(std::string_view value)
    {
        if (value != "show" && value != "hide")
            return wrongValue("--controller", value, "show or hide");
        const auto text = fmt::format("--controller {}", value);
        const auto set = value == "hide" ? KWQuickTimeEditing::setMovieControllerNone
                                         : KWQuickTimeEditing::setMovieControllerDefault;
        return EditStep {text, [=](QTMovie& movie) { return asResult(set(movie), text); }};
    }

    Result<EditStep> aperture(std::string_view value)
    {
        const auto mode = apertureModeNamed(value);
        if (!mode)
            return wrongValue("--aperture", value, "classic, clean, production or encoded");
        const auto text = fmt::format("--aperture {}", value);
        return EditStep {text, [=](QTMovie& movie) {
                             return asResult(KWQuickTimeEditing::setApertureMode(*mode, movie), text);
                         }};
    }

    using Turn = void (*)(QTMovie&);

    /// The turns report nothing: each video track keeps its matrix where it could not be changed.
    EditStep turnStep(std::string text, Turn turn)
    {
        return {std::move(text), [turn](QTMovie& movie) -> Result<void> {
                    turn(movie);
                    return {};
                }};
    }

    Result<EditStep> rotate(std::string_view value)
    {
        if (value != "left" && value != "right")
            return wrongValue("--rotate", value, "left or right");
        return turnStep(fmt::format("--rotate {}", value),
            value == "left" ? KWQuickTimeEditing::rotateMovieLeft : KWQuickTimeEditing::rotateMovieRight);
    }

    Result<EditStep> flip(std::string_view)
    {
        return turnStep("--flip", KWQuickTimeEditing::flipMovie);
    }

    Result<EditStep> flop(std::string_view)
    {
        return turnStep("--flop", KWQuickTimeEditing::flopMovie);
    }

    /// A time as it is typed into the track table: at the frame rate of the movie, whatever the track's own.
    Result<QTTime> typedTime(const std::string& text, const QTMovie& movie)
    {
        const auto timecode = KWTimecode::timecodeFromUserString(text, false, "00:00:00:00");
        const auto timeText = KWQuickTime::qtTimeStringFromFormatString(
            timecode, movie.timeScale(), KWQuickTime::frameLengthForMovie(movie));
        const auto time = QTTimeFromString(timeText);
        if (!time)
            return failure(MovieError::Code::Refused, {},
                fmt::format("\"{}\" is no time that this movie can have", text));
        return *time;
    }

    using ChangeTrack = std::function<Result<void>(const QTTrack&)>;

    Result<void> forSelected(QTMovie& movie, const Selector& selector, const ChangeTrack& change)
    {
        RW_TRY(const auto tracks, selector.select(movie));
        const EditableScope editable {movie};
        for (const auto& track : tracks)
            RW_CHECK(change(track));
        return {};
    }

    enum class RangeField { In, Duration };

    EditStep rangeStep(std::string option, Selector selector, RangeField field, std::string typed)
    {
        return {std::move(option), [=](QTMovie& movie) -> Result<void> {
                    RW_TRY(const auto time, typedTime(typed, movie));
                    return forSelected(movie, selector, [&](const QTTrack& track) {
                        auto range = track.range();
                        (field == RangeField::In ? range.time : range.duration) = time;
                        return track.setRange(range);
                    });
                }};
    }

    constexpr auto kTrackForms
        = "SELECTOR:enabled=on|off, SELECTOR:in=TIMECODE or SELECTOR:duration=TIMECODE";

    Result<EditStep> track(std::string_view value)
    {
        const auto colon = value.find(':');
        const auto equals = value.find('=', colon == std::string_view::npos ? 0 : colon);
        if (colon == std::string_view::npos || equals == std::string_view::npos)
            return wrongValue("--track", value, kTrackForms);
        const auto selector = Selector::parse(value.substr(0, colon));
        const auto field = value.substr(colon + 1, equals - colon - 1);
        const std::string typed {value.substr(equals + 1)};
        if (!selector)
            return wrongValue("--track", value.substr(0, colon),
                "a selector (a track ID such as 3, a kind and its place such as v1 or a2, a*, or *)");
        auto text = fmt::format("--track {}", value);
        if (field == "enabled") {
            const auto on = switchValue(typed);
            if (!on)
                return wrongValue("--track SELECTOR:enabled", typed, "on or off");
            return EditStep {std::move(text), [=](QTMovie& movie) {
                                 return forSelected(movie, *selector,
                                     [&](const QTTrack& selected) { return selected.setEnabled(*on); });
                             }};
        }
        if (field != "in" && field != "duration")
            return wrongValue("--track", value, kTrackForms);
        if (typed.find_first_of("0123456789") == std::string::npos
            || typed.find_first_not_of("0123456789:;.,") != std::string::npos)
            return wrongValue("--track", typed, "a timecode such as 00:00:10:00, or 10. for ten seconds");
        return rangeStep(
            std::move(text), *selector, field == "in" ? RangeField::In : RangeField::Duration, typed);
    }

    /// An option that is a step by itself.
    template <Result<EditStep> (*parse)(std::string_view)>
    Result<void> stepOf(std::string_view value, EditSteps& steps)
    {
        RW_TRY(auto step, parse(value));
        steps.add(std::move(step));
        return {};
    }

    template <Result<void> (TimecodeEdit::*set)(std::string_view)>
    Result<void> timecodeValue(std::string_view value, EditSteps& steps)
    {
        return (steps.timecode().*set)(value);
    }

    template <std::uint32_t flag> Result<void> timecodeFlag(std::string_view, EditSteps& steps)
    {
        steps.timecode().addFlag(flag);
        return {};
    }

    constexpr EditOption kOptions[] = {
        {"--autoplay", "on|off", "Start playing when the movie is opened", stepOf<autoPlay>},
        {"--autoclose", "on|off", "Close the movie when it has been played", stepOf<autoClose>},
        {"--autoquit", "on|off", "Quit the player when the movie has been played", stepOf<autoQuit>},
        {"--controller", "show|hide", "Show or hide the player's controller", stepOf<controller>},
        {"--aperture", "MODE",
            "Aperture mode: classic, clean, production or encoded;\nalso writes the dimensions of all modes",
            stepOf<aperture>},
        {"--rotate", "left|right", "Turn the picture by a quarter, on top of turns it has", stepOf<rotate>},
        {"--flip", "", "Turn the picture by a half (upside down)", stepOf<flip>},
        {"--flop", "", "Mirror the picture, left to right", stepOf<flop>},
        {"--track", "SELECTOR:FIELD=VALUE",
            "Change a track: enabled=on|off, in=TIMECODE (where it\nstarts in the movie) or "
            "duration=TIMECODE; "
            "see below",
            stepOf<track>},
        {"--timecode", "TEXT",
            "Let the first timecode track start with this timecode;\na movie without one gets it",
            timecodeValue<&TimecodeEdit::setTimecode>},
        {"--timecode-from", "SOURCE",
            "Take the start from elsewhere: creation, file, now, udta,\nthm:PATH, thm-folder:DIR or "
            "movies:DIR; see below",
            timecodeValue<&TimecodeEdit::setSource>},
        {"--counter", "N", "Let it count from N (0 to 255) instead",
            timecodeValue<&TimecodeEdit::setCounter>},
        {"--reel", "TEXT", "Its reel name; without --timecode and --counter the\nstart stays",
            timecodeValue<&TimecodeEdit::setReel>},
        {"--drop-frame", "", "It counts in drop frame, as a \";\" in the timecode says too",
            timecodeFlag<TimecodeDefinition::kDropFrame>},
        {"--negative", "", "It may count below zero", timecodeFlag<TimecodeDefinition::kNegativeTimesOK>},
        {"--limit-24h", "", "It starts again at zero after 24 hours",
            timecodeFlag<TimecodeDefinition::k24HourMax>},
    };

} // namespace

TimecodeEdit& EditSteps::timecode()
{
    if (!m_timecode) {
        m_timecode = std::make_shared<TimecodeEdit>();
        add({"--timecode", [edit = m_timecode](QTMovie& movie) { return edit->apply(movie); }});
    }
    return *m_timecode;
}

Result<std::vector<EditStep>> EditSteps::finish()
{
    if (m_timecode)
        RW_CHECK(m_timecode->check());
    return std::move(m_steps);
}

std::span<const EditOption> editOptions()
{
    return kOptions;
}

} // namespace reelwright::cli

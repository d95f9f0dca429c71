#include "edits/TrackEdits.h"

#include "support/KWLog.h"
#include "times/KWTimecode.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

namespace reelwright::edits {
namespace {

    enum class RangeField { In, Duration };

    Result<void> setRangeField(
        QTMovie& movie, const TrackSelector& tracks, RangeField field, const QTTime& time)
    {
        return forSelected(movie, tracks, [&](const QTTrack& track) {
            auto range = track.range();
            (field == RangeField::In ? range.time : range.duration) = time;
            auto done = track.setRange(range);
            if (!done)
                KWLog::appendLog("Error setting track range: {}", done.error().status);
            return done;
        });
    }

    Result<void> setEnabledFlag(const TrackSelector& tracks, bool enabled, QTMovie& movie)
    {
        return forSelected(movie, tracks, [&](const QTTrack& track) {
            auto done = track.setEnabled(enabled);
            if (!done)
                KWLog::appendLog("Error enabling track: {}", done.error().status);
            return done;
        });
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

    Result<Edit> enabledField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (value != "on" && value != "off")
            return wrongValue("--track SELECTOR:enabled", value, "on or off");
        auto edit = setTrackEnabled(tracks, value == "on");
        edit.option = option;
        return edit;
    }

    template <RangeField field>
    Result<Edit> rangeField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (value.find_first_of("0123456789") == std::string_view::npos
            || value.find_first_not_of("0123456789:;.,") != std::string_view::npos)
            return wrongValue("--track", value, "a timecode such as 00:00:10:00, or 10. for ten seconds");
        const bool isIn = field == RangeField::In;
        return makeEdit(option, isIn ? "Track In Point" : "Track Duration",
            fmt::format("Set {} of track {} to {}", isIn ? "in point" : "duration", tracks.text(), value),
            [tracks, typed = std::string(value)](QTMovie& movie) -> Result<void> {
                RW_TRY(const auto time, typedTime(typed, movie));
                return setRangeField(movie, tracks, field, time);
            });
    }

    constexpr TrackField kFields[] = {
        {"enabled", "on|off", "whether it plays", enabledField},
        {"in", "TIMECODE", "where it starts in the movie", rangeField<RangeField::In>},
        {"duration", "TIMECODE", "how long it plays", rangeField<RangeField::Duration>},
    };

    constexpr auto kSelectorForms
        = "a selector (a track ID such as 3, a kind and its place such as v1 or a2, a*, or *)";

    std::string fieldForms()
    {
        std::string forms;
        for (const auto& field : trackFields())
            forms += fmt::format("{}SELECTOR:{}={}", forms.empty() ? "" : ", ", field.name, field.value);
        return forms;
    }

    Result<Edit> track(std::string_view value)
    {
        const auto colon = value.find(':');
        const auto equals = value.find('=', colon == std::string_view::npos ? 0 : colon);
        if (colon == std::string_view::npos || equals == std::string_view::npos)
            return wrongValue("--track", value, fieldForms());
        const auto tracks = TrackSelector::parse(value.substr(0, colon));
        if (!tracks)
            return wrongValue("--track", value.substr(0, colon), kSelectorForms);
        const auto name = value.substr(colon + 1, equals - colon - 1);
        for (const auto& field : trackFields())
            if (name == field.name)
                return field.parse(fmt::format("--track {}", value), *tracks, value.substr(equals + 1));
        return wrongValue("--track", value, fieldForms());
    }

    Result<void> removeSelected(const TrackSelector& tracks, QTMovie& movie)
    {
        // By ID: a view does not outlive a removal.
        RW_TRY(const auto selected, tracks.select(movie));
        const EditableScope editable {movie};
        std::vector<std::uint64_t> atoms;
        for (const auto& track : selected)
            atoms.push_back(track.atom().id);
        for (const auto atom : atoms)
            if (auto done = movie.removeTrack(QTTrack {movie, atom}); !done) {
                KWLog::appendLog("Error removing track: {}", done.error().status);
                return done;
            }
        return {};
    }

    Result<Edit> removal(std::string_view value)
    {
        const auto tracks = TrackSelector::parse(value);
        if (!tracks)
            return wrongValue("--remove-track", value, kSelectorForms);
        return removeTrack(*tracks);
    }

    constexpr EditKind kKinds[] = {
        {"--track", "SELECTOR:FIELD=VALUE",
            "Change a track: enabled=on|off, in=TIMECODE (where it\nstarts in the movie) or "
            "duration=TIMECODE; "
            "see below",
            single<track>},
        {"--remove-track", "SELECTOR", "Remove the tracks", single<removal>},
    };

} // namespace

std::vector<TrackField> trackFields()
{
    std::vector<TrackField> all;
    for (const auto& fields : {std::span<const TrackField>(kFields)})
        all.insert(all.end(), fields.begin(), fields.end());
    return all;
}

Result<void> forSelected(
    QTMovie& movie, const TrackSelector& tracks, const std::function<Result<void>(const QTTrack&)>& change)
{
    RW_TRY(const auto selected, tracks.select(movie));
    const EditableScope editable {movie};
    for (const auto& each : selected)
        RW_CHECK(change(each));
    return {};
}

Edit setTrackEnabled(const TrackSelector& tracks, bool enabled)
{
    return {fmt::format("--track {}:enabled={}", tracks.text(), enabled ? "on" : "off"), "Track Enabled",
        fmt::format("{} track {}", enabled ? "Enable" : "Disable", tracks.text()),
        record("setEnabled:forTracks:movie:", setEnabledFlag, tracks, enabled,
            KWPlaceholderMovie::placeholder())};
}

Edit setTrackIn(const TrackSelector& tracks, const QTTime& time)
{
    return makeEdit(fmt::format("--track {}:in={}", tracks.text(), QTStringFromTime(time)), "Track In Point",
        fmt::format("Set in point of track {}", tracks.text()),
        [=](QTMovie& movie) { return setRangeField(movie, tracks, RangeField::In, time); });
}

Edit setTrackDuration(const TrackSelector& tracks, const QTTime& time)
{
    return makeEdit(fmt::format("--track {}:duration={}", tracks.text(), QTStringFromTime(time)),
        "Track Duration", fmt::format("Set duration of track {}", tracks.text()),
        [=](QTMovie& movie) { return setRangeField(movie, tracks, RangeField::Duration, time); });
}

Edit removeTrack(const TrackSelector& tracks)
{
    return {fmt::format("--remove-track {}", tracks.text()), "Remove Track",
        fmt::format("Remove track {}", tracks.text()),
        record("removeTracks:movie:", removeSelected, tracks, KWPlaceholderMovie::placeholder())};
}

std::span<const EditKind> trackKinds()
{
    return kKinds;
}

} // namespace reelwright::edits

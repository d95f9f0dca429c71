#include "edits/TrackEdits.h"

#include "edits/AttributeEdits.h"
#include "edits/MetadataEdits.h"
#include "movie/atoms/UserData.h"
#include "support/KWLog.h"
#include "times/TypedTime.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

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

    Result<Edit> enabledField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (value != "on" && value != "off")
            return wrongValue("--track SELECTOR:enabled", value, "on or off");
        auto edit = setTrackEnabled(tracks, value == "on");
        edit.option = option;
        return edit;
    }

    /// To what was typed; a relative time moves the present one of each track.
    Result<void> setTypedRange(
        QTMovie& movie, const TrackSelector& tracks, RangeField field, const TypedTime& typed)
    {
        return forSelected(movie, tracks, [&](const QTTrack& track) -> Result<void> {
            auto range = track.range();
            auto& time = field == RangeField::In ? range.time : range.duration;
            RW_TRY(time, typed.inMovieUnits(movie, time));
            auto done = track.setRange(range);
            if (!done)
                KWLog::appendLog("Error setting track range: {}", done.error().status);
            return done;
        });
    }

    template <RangeField field>
    Result<Edit> rangeField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        const auto typed = TypedTime::parse(value);
        if (!typed || (field == RangeField::Duration && typed->form() == TypedTime::Form::Label))
            return wrongValue("--track", value, TypedTime::acceptedForms());
        const bool isIn = field == RangeField::In;
        auto edit = makeEdit(option, isIn ? "Track In Point" : "Track Duration",
            fmt::format("Set {} of track {} to {}", isIn ? "in point" : "duration", tracks.text(), value),
            [tracks, typed = *typed](QTMovie& movie) { return setTypedRange(movie, tracks, field, typed); });
        edit.performAndTell = [tracks, typed = *typed](QTMovie& movie) -> Result<std::string> {
            RW_CHECK(setTypedRange(movie, tracks, field, typed));
            return typed.normalisation(movie);
        };
        return edit;
    }

    /// The edit of a header field under the option as it was typed.
    Result<Edit> typedAs(const std::string& option, Edit edit)
    {
        edit.option = option;
        return edit;
    }

    Result<Edit> nameField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (!isValidUtf8(std::as_bytes(std::span {value})))
            return wrongValue("--track SELECTOR:name", value, "a name in UTF-8");
        return typedAs(option, setTrackName(tracks, std::string(value)));
    }

    Result<Edit> languageField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        const auto code = languageCode(value);
        if (!code)
            return wrongValue("--track SELECTOR:language", value,
                "the three letters of a language, such as eng, deu or und (ISO 639-2)");
        return typedAs(option, setTrackLanguage(tracks, *code));
    }

    std::optional<double> numberBetween(double least, double most, std::string_view value)
    {
        double number = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
        const bool isWhole = error == std::errc {} && end == value.data() + value.size();
        return isWhole && number >= least && number <= most ? std::optional(number) : std::nullopt;
    }

    std::int16_t fixed8(double value)
    {
        return static_cast<std::int16_t>(std::lround(value * 256));
    }

    Result<Edit> volumeField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        const auto volume = numberBetween(0, 127, value);
        if (!volume)
            return wrongValue("--track SELECTOR:volume", value, "a number from 0 (silent); 1 is full volume");
        return typedAs(option, setTrackVolume(tracks, fixed8(*volume)));
    }

    Result<Edit> balanceField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        const auto balance = numberBetween(-1, 1, value);
        if (!balance)
            return wrongValue("--track SELECTOR:balance", value, "a number from -1 (left) to 1 (right)");
        return typedAs(option, setTrackBalance(tracks, fixed8(*balance)));
    }

    template <Edit (*make)(const TrackSelector&, std::int16_t)>
    Result<Edit> wholeNumberField(
        const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        std::int16_t number = 0;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
        if (error != std::errc {} || end != value.data() + value.size())
            return wrongValue("--track", value, "a whole number from -32768 to 32767");
        return typedAs(option, make(tracks, number));
    }

    constexpr TrackField kFields[] = {
        {"enabled", "on|off", "whether it plays", enabledField},
        {"in", "TIMECODE", "where it starts in the movie", rangeField<RangeField::In>},
        {"duration", "TIMECODE", "how long it plays", rangeField<RangeField::Duration>},
        {"name", "TEXT", "its own name; an empty one takes it away", nameField},
        {"language", "LETTERS", "of its media: eng, deu, und (ISO 639-2)", languageField},
        {"volume", "N", "of a sound track; 1 is full", volumeField},
        {"balance", "N", "of a sound track, from -1 (left) to 1 (right)", balanceField},
        {"layer", "N", "tracks of lower layers stand in front", wholeNumberField<setTrackLayer>},
        {"group", "N", "of tracks of one group, one plays; 0 is none", wholeNumberField<setTrackGroup>},
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
        RW_TRY(const auto selected, tracks.select(movie));
        const EditableScope editable {movie};
        auto done = movie.removeTracks(selected);
        if (!done)
            KWLog::appendLog("Error removing track: {}", done.error().status);
        return done;
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
            "Change a track: enabled=on|off, in=TIMECODE (where it\nstarts in the movie), duration=TIMECODE "
            "and more fields;\nsee below",
            single<track>},
        {"--remove-track", "SELECTOR", "Remove the tracks", single<removal>},
    };

} // namespace

std::vector<TrackField> trackFields()
{
    std::vector<TrackField> all;
    for (const auto& fields :
        {std::span<const TrackField>(kFields), attributeFields(), metadataTrackFields()})
        all.insert(all.end(), fields.begin(), fields.end());
    return all;
}

Result<void> forSelected(
    QTMovie& movie, const TrackSelector& tracks, const std::function<Result<void>(const QTTrack&)>& change)
{
    RW_TRY(const auto selected, tracks.select(movie));
    const EditableScope editable {movie};
    const DurationScope duration {movie};
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

namespace {

    /// An edit of one field of the header of each selected track.
    Edit headerEdit(const TrackSelector& tracks, const char* field, const std::string& value,
        std::string undoName, std::function<Result<void>(const QTTrack&)> set)
    {
        return makeEdit(fmt::format("--track {}:{}={}", tracks.text(), field, value), std::move(undoName),
            fmt::format("Set {} of track {} to {}", field, tracks.text(), value),
            [=](QTMovie& movie) { return forSelected(movie, tracks, set); });
    }

} // namespace

Edit setTrackName(const TrackSelector& tracks, const std::string& name)
{
    return headerEdit(
        tracks, "name", name, "Track Name", [=](const QTTrack& track) { return track.setName(name); });
}

std::optional<std::uint16_t> languageCode(std::string_view letters)
{
    const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
    if (letters.size() != 3 || !std::all_of(letters.begin(), letters.end(), isLetter))
        return std::nullopt;
    unsigned code = 0;
    for (const char letter : letters)
        code = code << 5U | static_cast<unsigned>(letter - 0x60);
    return static_cast<std::uint16_t>(code);
}

Edit setTrackLanguage(const TrackSelector& tracks, std::uint16_t language)
{
    return headerEdit(tracks, "language", std::to_string(language), "Track Language",
        [=](const QTTrack& track) { return track.media().setLanguage(language); });
}

Edit setTrackVolume(const TrackSelector& tracks, std::int16_t volume)
{
    return headerEdit(tracks, "volume", fmt::format("{:g}", volume / 256.0), "Track Volume",
        [=](const QTTrack& track) { return track.setVolume(volume); });
}

Edit setTrackBalance(const TrackSelector& tracks, std::int16_t balance)
{
    return headerEdit(tracks, "balance", fmt::format("{:g}", balance / 256.0), "Track Balance",
        [=](const QTTrack& track) { return track.media().setBalance(balance); });
}

Edit setTrackLayer(const TrackSelector& tracks, std::int16_t layer)
{
    return headerEdit(tracks, "layer", std::to_string(layer), "Track Layer",
        [=](const QTTrack& track) { return track.setLayer(layer); });
}

Edit setTrackGroup(const TrackSelector& tracks, std::int16_t group)
{
    return headerEdit(tracks, "group", std::to_string(group), "Alternate Group",
        [=](const QTTrack& track) { return track.setAlternateGroup(group); });
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

#include "tracks/ShownTime.h"

#include "movie/FrameRate.h"
#include "movie/QTTrack.h"
#include "movie/samples/TimecodeMedia.h"
#include "support/Text.h"
#include "times/KWTimecode.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <cmath>

namespace reelwright {
namespace {

    using Style = ShownTime::Style;
    using Kind = ShownTime::Kind;

    struct Name
    {
        Style style;
        std::string_view name;
    };
    constexpr Name kNames[] = {
        {Style::Defined, "defined"},
        {Style::Timecode, "timecode"},
        {Style::Frames, "frames"},
        {Style::Seconds, "seconds"},
    };

    std::optional<std::string> labelAt(const QTTime& time, const QTMovie& movie)
    {
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeTimeCode))
            if (const auto reading = timecodeMedia::atMovieTime(track, time); reading && *reading)
                return (*reading)->text;
        return std::nullopt;
    }

    /// The frame that begins at that time or before it.
    std::int64_t frameAt(const QTTime& time, const QTMovie& movie)
    {
        const auto rate = FrameRate::averageOfPicture(movie).value_or(FrameRate {30, 1});
        if (rate.num == 0 || rate.den == 0 || time.scale == 0)
            return 0;
        return std::llround(time.seconds() * static_cast<double>(rate.num) / static_cast<double>(rate.den));
    }

    /// Thousandths of a second, rounded.
    std::string seconds(const QTTime& time)
    {
        return fmt::format("{:.3f}", time.seconds());
    }

    bool isPlain(std::string_view text, std::string_view characters)
    {
        return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
    }

} // namespace

std::string_view ShownTime::name(Style style)
{
    for (const auto& row : kNames)
        if (row.style == style)
            return row.name;
    return kNames[0].name;
}

ShownTime::Style ShownTime::named(std::string_view name)
{
    for (const auto& row : kNames)
        if (row.name == name)
            return row.style;
    return Style::Defined;
}

std::string ShownTime::grouped(std::int64_t number)
{
    auto digits = std::to_string(number < 0 ? -number : number);
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), "\u202F");
    return number < 0 ? '-' + digits : digits;
}

std::string ShownTime::text(const QTTime& time, Kind kind, Style style, const QTMovie& movie)
{
    if (style == Style::Frames)
        return grouped(frameAt(time, movie)) + "\u202Ff";
    if (style == Style::Seconds)
        return seconds(time) + "\u202Fs";
    return typedText(time, kind, style, movie);
}

std::string ShownTime::typedText(const QTTime& time, Kind kind, Style style, const QTMovie& movie)
{
    switch (style) {
    case Style::Frames:
        return fmt::format("{}f", frameAt(time, movie));
    case Style::Seconds:
        return seconds(time) + 's';
    case Style::Timecode:
        if (kind == Kind::Place)
            if (auto label = labelAt(time, movie))
                return *label;
        break;
    case Style::Defined:
        break;
    }
    return KWQuickTime::formattedQTTime(time, movie);
}

Result<TypedTime> ShownTime::parse(std::string_view text, Kind kind, Style style, const QTMovie& movie)
{
    constexpr auto kReading = TypedTime::Reading::Field;
    std::string typed {trimmed(text)};
    // Groups as they are shown may be typed too.
    for (const std::string_view space : {std::string_view("\u202F"), std::string_view("\u00A0"), std::string_view(" ")})
        for (auto at = typed.find(space); at != std::string::npos; at = typed.find(space))
            typed.erase(at, space.size());
    const bool isSigned = typed.starts_with('+') || typed.starts_with('-');
    const auto number = std::string_view(typed).substr(isSigned ? 1 : 0);
    if (style == Style::Frames && isPlain(number, "0123456789"))
        return TypedTime::parse(typed + 'f', kReading);
    if (style == Style::Seconds && isPlain(number, "0123456789.") && number != ".")
        return TypedTime::parse((number.ends_with('.') ? typed + '0' : typed) + 's', kReading);
    if (style == Style::Timecode && kind == Kind::Place && !isSigned && isPlain(number, "0123456789:;.,"))
        if (const auto start = labelAt({0, movie.timeScale()}, movie); start && timecodeMedia::recordOf(*start))
            return TypedTime::parse("tc:"
                    + KWTimecode::timecodeFromUserString(
                        number, KWQuickTime::getTimingInfoForMovie(movie).dropFrame, *start),
                kReading);
    return TypedTime::parse(typed, kReading);
}

Result<QTTime> ShownTime::read(std::string_view text, Kind kind, Style style, const QTMovie& movie,
    const std::optional<QTTime>& present)
{
    RW_TRY(const auto typed, parse(text, kind, style, movie));
    return typed.inMovieUnits(movie, present ? std::optional(atScale(*present, movie.timeScale())) : std::nullopt);
}

ShownTime::Remark ShownTime::remark(std::string_view text, Kind kind, Style style, const QTMovie& movie,
    const std::optional<QTTime>& present)
{
    const auto typed = parse(text, kind, style, movie);
    if (!typed)
        return {true, typed.error().detail};
    const auto time = read(text, kind, style, movie, present);
    if (!time)
        return {true, time.error().detail};
    if (auto normal = typed->normalisation(movie); !normal.empty())
        return {false, std::move(normal)};
    const auto shown = typedText(*time, kind, style, movie);
    if (typed->isRelative() || shown != trimmed(text))
        return {false, fmt::format("{} is {}", trimmed(text), ShownTime::text(*time, kind, style, movie))};
    return {};
}

} // namespace reelwright

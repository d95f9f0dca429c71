#include "times/TypedTime.h"

#include "movie/samples/TimecodeMedia.h"
#include "support/Text.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    constexpr std::int64_t kMostUnits = std::int64_t {1} << 53U; // far beyond any movie, and safe to multiply
    constexpr std::string_view kDigits = "0123456789";
    constexpr std::size_t kClockDecimals = 3;

    std::optional<std::int64_t> wholeNumber(std::string_view text, std::int64_t most)
    {
        std::int64_t number = 0;
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc {} || stop != end || number < 0 || number > most)
            return std::nullopt;
        return number;
    }

    /// Seconds with at most nine decimals.
    std::optional<QTTime> decimalSeconds(std::string_view text)
    {
        const auto point = text.find('.');
        const auto whole = wholeNumber(text.substr(0, point), INT32_MAX);
        if (!whole)
            return std::nullopt;
        if (point == std::string_view::npos)
            return QTTime {*whole, 1};
        const auto decimals = text.substr(point + 1);
        std::int32_t scale = 1;
        for (std::size_t i = 0; i < decimals.size() && i < 9; ++i)
            scale *= 10;
        const auto part = decimals.size() > 9 ? std::nullopt : wholeNumber(decimals, INT32_MAX);
        return part ? std::optional(QTTime {*whole * scale + *part, scale}) : std::nullopt;
    }

    /// "00:00:10.500": two colons, and three decimals of a second.
    std::optional<QTTime> clockTime(std::string_view text)
    {
        const auto parts = split(text, ":");
        if (parts.size() != 3 || parts[2].size() != 3 + kClockDecimals || parts[2][2] != '.')
            return std::nullopt;
        const auto hours = parts[0].size() == 2 ? wholeNumber(parts[0], 99) : std::nullopt;
        const auto minutes = parts[1].size() == 2 ? wholeNumber(parts[1], 99) : std::nullopt;
        const auto seconds = decimalSeconds(parts[2]);
        if (!hours || !minutes || !seconds)
            return std::nullopt;
        return QTTime {(*hours * 60 + *minutes) * 60 * seconds->scale + seconds->value, seconds->scale};
    }

    /// Two digits in each field: with fewer nobody can tell whether 1:0:0:0 is an hour or ten seconds, and
    /// more would be cut off at the left.
    bool hasWholeFields(std::string_view text)
    {
        const auto fields = split(text, ":;");
        return fields.size() <= 4 && std::all_of(fields.begin(), fields.end(), [](std::string_view field) {
            return field.size() == 2;
        });
    }

} // namespace

std::string_view TypedTime::acceptedForms()
{
    return "a time such as 00:00:10:00 (two digits a field), 10. for ten seconds, 10.5s, 250f, 00:00:10.500, "
           "3003/3000 or tc:01:00:00:00, or with + or - before it";
}

Result<TypedTime> TypedTime::parse(std::string_view text, Reading reading)
{
    const auto refused = [&] {
        return failure(MovieError::Code::Refused, {}, fmt::format("\"{}\" is not {}", text, acceptedForms()));
    };
    TypedTime result;
    result.m_text = text;
    auto rest = reading == Reading::Field ? trimmed(text) : text;
    if (rest.starts_with('+') || rest.starts_with('-')) {
        result.m_sign = rest.front() == '+' ? Sign::Plus : Sign::Minus;
        rest.remove_prefix(1);
    }
    if (rest.starts_with("tc:")) {
        result.m_form = Form::Label;
        result.m_timecode = rest.substr(3);
        const bool isNumber = wholeNumber(result.m_timecode, UINT32_MAX).has_value();
        if (result.isRelative() || (!timecodeMedia::recordOf(result.m_timecode) && !isNumber))
            return refused();
        return result;
    }
    const auto exact = [&](const std::optional<QTTime>& time) -> Result<TypedTime> {
        if (!time)
            return refused();
        result.m_form = Form::Exact;
        result.m_time = *time;
        return result;
    };
    if (const auto slash = rest.find('/'); slash != std::string_view::npos) {
        const auto value = wholeNumber(rest.substr(0, slash), kMostUnits);
        const auto scale = wholeNumber(rest.substr(slash + 1), INT32_MAX);
        return exact(value && scale && *scale != 0
                ? std::optional(QTTime {*value, static_cast<std::int32_t>(*scale)})
                : std::nullopt);
    }
    if (rest.ends_with('s'))
        return exact(decimalSeconds(rest.substr(0, rest.size() - 1)));
    if (rest.ends_with('f')) {
        const auto frames = wholeNumber(rest.substr(0, rest.size() - 1), kMostUnits);
        if (!frames)
            return refused();
        result.m_form = Form::Frames;
        result.m_frames = *frames;
        return result;
    }
    if (rest.find_first_of(kDigits) == std::string_view::npos
        || rest.find_first_not_of("0123456789:;.,") != std::string_view::npos)
        return refused();
    if (const auto clock = clockTime(rest))
        return exact(clock);
    if (reading == Reading::CommandLine && rest.find_first_of(":;") != std::string_view::npos
        && !hasWholeFields(rest))
        return refused();
    result.m_timecode = KWTimecode::timecodeFromUserString(rest, false, "00:00:00:00");
    const auto record = timecodeMedia::recordOf(result.m_timecode);
    if (!record)
        return refused();
    result.m_time = {(record->hours * 60 + record->minutes) * 60 + record->seconds, 1};
    result.m_frames = record->frames;
    return result;
}

Result<QTTime> TypedTime::placed(
    const QTTime& moved, const QTMovie& movie, const std::optional<QTTime>& present) const
{
    if (m_form == Form::Label) {
        const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        if (tracks.empty())
            return failure(MovieError::Code::Refused, {},
                fmt::format("\"{}\" names a label, and the movie has no timecode track; count from its first "
                            "frame instead (00:00:10:00)",
                    m_text));
        RW_TRY(const auto time, timecodeMedia::movieTimeOf(tracks.front(), m_timecode));
        if (!time)
            return failure(MovieError::Code::Refused, {},
                fmt::format("the timecode track never shows {}; \"reelwright-cli timecode\" tells its first "
                            "and last label",
                    m_timecode));
        return *time;
    }
    if (!isRelative())
        return moved;
    if (!present)
        return failure(MovieError::Code::Refused, {},
            fmt::format("\"{}\" moves a time, and there is none here that it could move; leave out the sign",
                m_text));
    auto time = m_sign == Sign::Plus ? *present + moved : *present - moved;
    time.value = std::max<std::int64_t>(time.value, 0);
    return time;
}

Result<QTTime> TypedTime::inMovieUnits(const QTMovie& movie, const std::optional<QTTime>& present) const
{
    const auto scale = movie.timeScale();
    const auto rate = FrameRate::averageOfPicture(movie);
    constexpr std::int64_t kUnknownFrameLength = 100;
    const std::int64_t frameLength = rate ? rate->frameLengthAt(scale) : kUnknownFrameLength;
    const Wide frames = Wide {m_frames} * frameLength;
    const auto time = atScale(m_time, scale);
    const Wide sum = time.value + frames;
    if (scale <= 0 || sum > kMostUnits)
        return failure(
            MovieError::Code::Refused, {}, fmt::format("\"{}\" is no time that this movie can have", m_text));
    RW_TRY(const auto result, placed({static_cast<std::int64_t>(sum), scale}, movie, present));
    return atScale(result, scale);
}

Result<QTTime> TypedTime::exactly(const QTMovie& movie, const std::optional<QTTime>& present) const
{
    auto time = m_time;
    if (m_frames != 0) {
        auto rate = FrameRate::averageOfPicture(movie).value_or(FrameRate {});
        if (rate.num == 0)
            if (const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode); !tracks.empty())
                if (const auto reading = timecodeMedia::atMediaTime(tracks.front(), 0))
                    rate = FrameRate::of(reading->description.definition);
        if (rate.num == 0)
            return failure(MovieError::Code::Refused, {},
                "the movie has no frames that could be counted; give the time in seconds (10.5s)");
        constexpr std::int32_t kScale = 1'000'000'000;
        const Wide units = (Wide {m_frames} * rate.den * kScale + rate.num - 1) / rate.num
            + Wide {m_time.value} * kScale / std::max(m_time.scale, 1);
        time = {static_cast<std::int64_t>(std::min<Wide>(units, INT64_MAX / 2)), kScale};
    }
    return placed(time, movie, present);
}

std::string TypedTime::normalisation(const QTMovie& movie) const
{
    const auto record = timecodeMedia::recordOf(m_timecode);
    const auto rate = FrameRate::averageOfPicture(movie);
    if (m_form != Form::Fields || !record)
        return {};
    const auto labels = rate ? rate->labels() : 0;
    if (record->minutes < 60 && record->seconds < 60 && (labels == 0 || record->frames < labels))
        return {};
    auto seconds = m_time.value;
    auto frames = m_frames;
    if (labels != 0) {
        seconds += frames / labels;
        frames %= labels;
    }
    return fmt::format(
        "{} is {:02}:{:02}:{:02}:{:02}", m_text, seconds / 3600, seconds / 60 % 60, seconds % 60, frames);
}

} // namespace reelwright

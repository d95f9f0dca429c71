#include "movie/QTTime.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <limits>

namespace reelwright {
namespace {

    // ISO C++ has no 128-bit integer; GCC and clang do, and products of two 64-bit numbers need it.
    __extension__ using Wide = __int128;

    constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
    constexpr auto kMin = std::numeric_limits<std::int64_t>::min();

    std::int64_t saturate(Wide value)
    {
        if (value > kMax)
            return kMax;
        if (value < kMin)
            return kMin;
        return static_cast<std::int64_t>(value);
    }

} // namespace

std::strong_ordering operator<=>(const QTTime& a, const QTTime& b)
{
    const Wide left = a.scale == 0 ? 0 : static_cast<Wide>(a.value) * (b.scale == 0 ? 1 : b.scale);
    const Wide right = b.scale == 0 ? 0 : static_cast<Wide>(b.value) * (a.scale == 0 ? 1 : a.scale);
    return left < right ? std::strong_ordering::less
        : left > right  ? std::strong_ordering::greater
                        : std::strong_ordering::equal;
}

std::int64_t rescale(std::int64_t value, std::int64_t numerator, std::int64_t denominator)
{
    if (denominator == 0)
        return 0;
    Wide product = static_cast<Wide>(value) * numerator;
    Wide divisor = denominator;
    if (divisor < 0) {
        product = -product;
        divisor = -divisor;
    }
    const bool negative = product < 0;
    const Wide magnitude = negative ? -product : product;
    const Wide rounded = (magnitude + divisor / 2) / divisor;
    // An odd divisor has no exact half, an even one rounds it up here: away from zero in both signs.
    return saturate(negative ? -rounded : rounded);
}

QTTime atScale(const QTTime& time, std::int32_t scale)
{
    return {rescale(time.value, scale, time.scale), scale};
}

QTTime operator+(const QTTime& a, const QTTime& b)
{
    const auto other = a.scale == b.scale ? b.value : rescale(b.value, a.scale, b.scale);
    return {saturate(static_cast<Wide>(a.value) + other), a.scale};
}

QTTime operator-(const QTTime& a, const QTTime& b)
{
    const auto other = a.scale == b.scale ? b.value : rescale(b.value, a.scale, b.scale);
    return {saturate(static_cast<Wide>(a.value) - other), a.scale};
}

std::string QTStringFromTime(const QTTime& time)
{
    const bool negative = (time.value < 0) != (time.scale < 0) && time.value != 0;
    const auto magnitude = [](Wide v) { return static_cast<std::uint64_t>(v < 0 ? -v : v); };
    const auto scale = magnitude(time.scale);
    const auto value = scale == 0 ? 0 : magnitude(time.value);
    const auto seconds = scale == 0 ? 0 : value / scale;
    return fmt::format("{}{}:{:02}:{:02}:{:02}.{:02}/{}", negative ? "-" : "", seconds / 86400,
        seconds / 3600 % 24, seconds / 60 % 60, seconds % 60, scale == 0 ? 0 : value % scale, scale);
}

std::optional<QTTime> QTTimeFromString(std::string_view text)
{
    const bool negative = text.starts_with('-');
    if (negative)
        text.remove_prefix(1);
    constexpr std::string_view kSeparators = ":::./";
    std::array<std::int64_t, 6> fields {};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), fields[i]);
        if (error != std::errc {} || fields[i] < 0)
            return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (i < kSeparators.size()) {
            if (!text.starts_with(kSeparators[i]))
                return std::nullopt;
            text.remove_prefix(1);
        }
    }
    const auto scale = fields[5];
    if (!text.empty() || scale <= 0 || scale > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    const Wide seconds = ((static_cast<Wide>(fields[0]) * 24 + fields[1]) * 60 + fields[2]) * 60 + fields[3];
    const Wide value = seconds * scale + fields[4];
    if (value > kMax)
        return std::nullopt;
    return QTTime {static_cast<std::int64_t>(negative ? -value : value), static_cast<std::int32_t>(scale)};
}

} // namespace reelwright

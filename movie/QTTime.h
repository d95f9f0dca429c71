#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// A time: `value` units of 1/`scale` second. Scale 0 is no time at all; it counts as 0 where a number is
/// asked for.
struct QTTime
{
    std::int64_t value = 0;
    std::int32_t scale = 0;

    /// The same instant; 1/2 equals 300/600.
    friend bool operator==(const QTTime& a, const QTTime& b)
    {
        return (a <=> b) == std::strong_ordering::equal;
    }
    friend std::strong_ordering operator<=>(const QTTime& a, const QTTime& b);

    [[nodiscard]] double seconds() const
    {
        return scale == 0 ? 0.0 : static_cast<double>(value) / static_cast<double>(scale);
    }
};

/// The same value at the same scale.
constexpr bool sameFields(const QTTime& a, const QTTime& b)
{
    return a.value == b.value && a.scale == b.scale;
}

/// A stretch of time.
struct QTTimeRange
{
    QTTime time;
    QTTime duration;
    bool operator==(const QTTimeRange&) const = default;
};

/// value × numerator ÷ denominator to the nearest integer, halves away from zero, saturating at the 64-bit
/// limits. A denominator of 0 gives 0. The one place where times change scale.
std::int64_t rescale(std::int64_t value, std::int64_t numerator, std::int64_t denominator);

/// The time in another scale, rounded by `rescale`.
QTTime atScale(const QTTime& time, std::int32_t scale);

/// Sum and difference in the scale of `a`.
QTTime operator+(const QTTime& a, const QTTime& b);
QTTime operator-(const QTTime& a, const QTTime& b);

/// days:hours:minutes:seconds.value/scale, for example 0:00:00:05.00/600; a leading "-" for a negative time.
std::string QTStringFromTime(const QTTime& time);

/// The time of such a text; fields may be longer or larger than QTStringFromTime writes them. Nothing when
/// the text has another form, its scale is not positive, or the time does not fit 64 bits.
std::optional<QTTime> QTTimeFromString(std::string_view text);

} // namespace reelwright

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// A frame rate as an exact quotient in lowest terms: num ÷ den frames a second.
struct ExactRate
{
    std::int64_t num = 0;
    std::int64_t den = 1;

    /// Of a text such as "25", "23.976", "29,97" or "24000/1001". Decimal rates next to an NTSC one are that
    /// one, by the same rules as in a conform. Nothing for what is no rate, or none from 1 to 1000.
    static std::optional<ExactRate> parse(std::string_view text);

    [[nodiscard]] double value() const { return static_cast<double>(num) / static_cast<double>(den); }
    /// "24000/1001", "25"
    [[nodiscard]] std::string text() const;
    bool operator==(const ExactRate&) const = default;
};

/// The number of a rate as it was typed, with a point or a comma; nothing for what is no number above 0.
std::optional<double> typedRate(std::string_view text);

} // namespace reelwright

#include "conform/ExactRate.h"

#include "conform/ConformRates.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <numeric>

namespace reelwright {
namespace {

    std::optional<std::int64_t> wholeNumber(std::string_view text)
    {
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc {} || end != text.data() + text.size() || value <= 0 || value > 1'000'000'000)
            return std::nullopt;
        return value;
    }

    std::optional<ExactRate> reduced(std::int64_t num, std::int64_t den)
    {
        const auto common = std::gcd(num, den);
        const ExactRate rate {num / common, den / common};
        return rate.value() >= 1 && rate.value() <= 1000 ? std::optional {rate} : std::nullopt;
    }

} // namespace

std::optional<double> typedRate(std::string_view text)
{
    std::string plain {text};
    for (char& c : plain)
        if (c == ',')
            c = '.';
    double value = 0;
    const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
    if (error != std::errc {} || end != plain.data() + plain.size() || !std::isfinite(value) || value <= 0)
        return std::nullopt;
    return value;
}

std::optional<ExactRate> ExactRate::parse(std::string_view text)
{
    if (const auto slash = text.find('/'); slash != std::string_view::npos) {
        const auto num = wholeNumber(text.substr(0, slash));
        const auto den = wholeNumber(text.substr(slash + 1));
        return num && den ? reduced(*num, *den) : std::nullopt;
    }
    const auto typed = typedRate(text);
    if (!typed || *typed < 1 || *typed > 1000)
        return std::nullopt;
    const auto rate = ConformRates::snapped(*typed);
    const auto whole = std::llround(rate * 1.001);
    constexpr double kNear = 5e-6;
    if ((whole % 24 == 0 || whole % 30 == 0)
        && std::abs(rate * 1001 / (static_cast<double>(whole) * 1000) - 1) < kNear)
        return reduced(whole * 1000, 1001);
    constexpr std::int64_t kPlaces = 1'000'000;
    return reduced(std::llround(rate * static_cast<double>(kPlaces)), kPlaces);
}

std::string ExactRate::text() const
{
    return den == 1 ? fmt::format("{}", num) : fmt::format("{}/{}", num, den);
}

} // namespace reelwright

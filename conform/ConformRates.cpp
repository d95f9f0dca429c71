#include "conform/ConformRates.h"

namespace reelwright {
namespace {

    constexpr double kFilm = 23.976;
    constexpr double kVideo = 29.97;
    constexpr double kDoubleVideo = 59.94;

} // namespace

double ConformRates::snapped(double rate)
{
    if (rate > 23.9 && rate < 24.0)
        rate = kFilm;
    if (rate > 29.9 && rate < 30.0)
        rate = kVideo;
    if (rate > 59.9 && rate < 60.0)
        rate = kDoubleVideo;
    return rate;
}

ConformRates ConformRates::between(double from, double to)
{
    ConformRates rates;
    rates.from = snapped(from);
    rates.to = snapped(to);
    rates.quotient = rates.from / rates.to;
    rates.timeScaleRatio = rates.quotient;
    const bool isDouble = rates.from == kDoubleVideo;
    rates.isStandard = !(isDouble && (rates.to == kVideo || rates.to == kFilm))
        && !(rates.from == kFilm && rates.to == kVideo);
    if (isDouble) {
        rates.timeScaleRatio = kVideo / rates.to;
        rates.durationFactor = rates.isStandard ? 2.0 : rates.quotient;
        rates.isSlowMotion = true;
    } else if (rates.from == 25.0 && rates.to == kFilm) {
        // By way of 29.97.
        rates.timeScaleRatio = 25.0 / kVideo;
        rates.durationFactor = kVideo / rates.to;
    }
    return rates;
}

} // namespace reelwright

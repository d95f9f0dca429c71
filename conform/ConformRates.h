#pragma once

namespace reelwright {

/// The numbers that a frame-rate conform from one rate to another goes by, all in frames a second.
struct ConformRates
{
    double from = 0; ///< snapped
    double to = 0; ///< snapped
    double quotient = 1; ///< from ÷ to: what sound is divided by
    bool isStandard
        = true; ///< are time scales changed? Not for 59.94 to 29.97 and 23.976, and 23.976 to 29.97
    double timeScaleRatio = 1; ///< what time scales are divided by
    double durationFactor = 1; ///< what durations are multiplied by
    bool isSlowMotion = false; ///< 59.94 counts as 29.97 with frames of twice the length

    /// Rates a little below 24, 30 and 60 are taken for 23.976, 29.97 and 59.94.
    static double snapped(double rate);
    static ConformRates between(double from, double to);
};

} // namespace reelwright

#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace reelwright {

/// Arithmetic on timecode text, "HH:MM:SS:FF", with ";" before the frames in drop-frame mode. Knows no movie
/// and keeps no state.
///
/// Drop-frame counting here is approximate on purpose: it differs from the broadcast rule near minute
/// boundaries. It never changes, so that a list of chapters or markers that one release wrote reads back to the
/// same frames in the next. Timecode media have the exact arithmetic.
///
/// A timebase of zero or less counts as 30, except in frameRateFromTimebase. Drop frame is honoured at 30 and
/// 60 only. A negative start frame stands for one hour at 30 drop frame, 107892, at every timebase. Results
/// beyond 32 bits are the nearest limit.
class KWTimecode
{
public:
    /// Frames per second; 0.0 for an NTSC rate other than those of 24, 30 and 60.
    static double frameRateFromTimebase(int timebase, bool isNTSC);
    static std::string timecodeFromFrameCount(
        int frameCount, int timebase, bool ntsc, bool dropFrame, int startFrame);
    /// -1 when the text has fewer than four fields. Fields are not range-checked; one that is no number
    /// counts as 0.
    static int frameCountFromTimecode(
        std::string_view timecode, int timebase, bool ntsc, bool dropFrame, int startFrame);
    /// A malformed timecode counts as frame -1.
    static std::string timecode(
        std::string_view timecode, int incrementBy, int timebase, bool ntsc, bool dropFrame);
    /// Whether start <= timecode <= end. A malformed text is later than every valid one.
    static bool timecodeInRange(std::string_view timecode, std::string_view start, std::string_view end);
    /// A full timecode from what a user typed: digits fill it from the right, "." and "," separate fields and
    /// stand for a pair of zeros at the end, and what was not typed comes from `startTimecode` (empty:
    /// zeros). Eleven characters are returned as they are.
    static std::string timecodeFromUserString(
        std::string_view text, bool dropFrame, std::string_view startTimecode);
    /// The local time of day at `now`.
    static std::string timeOfDayTimecode(int timebase, bool ntsc, bool dropFrame,
        std::chrono::system_clock::time_point now = std::chrono::system_clock::now());
};

} // namespace reelwright

#include "times/KWTimecode.h"

#include "support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>
#include <vector>

namespace reelwright {
namespace {

    constexpr int kDefaultTimebase = 30;
    constexpr int kOneHourDropFrame = 107892;
    /// 1000/1001 as a single-precision number. Whole minutes are counted with exactly this value.
    constexpr double kSinglePrecisionNtsc = 0.9990010261535645;

    constexpr std::string_view kSeparators = ":;";

    int timebaseOrDefault(int timebase)
    {
        return timebase > 0 ? timebase : kDefaultTimebase;
    }

    int startFrameOrDefault(int startFrame)
    {
        return startFrame >= 0 ? startFrame : kOneHourDropFrame;
    }

    bool dropsFrames(int timebase, bool dropFrame)
    {
        return dropFrame && (timebase == 30 || timebase == 60);
    }

    /// The nearest 32-bit number to a whole one.
    int saturated(double number)
    {
        constexpr double kMin = std::numeric_limits<int>::min();
        constexpr double kMax = std::numeric_limits<int>::max();
        return static_cast<int>(std::clamp(number, kMin, kMax));
    }

    /// Two frame numbers for every minute but each tenth, also at 60 frames per second.
    double skippedFrames(double minutes)
    {
        return 2 * (minutes - std::floor(minutes / 10));
    }

    double modulus(double a, double b)
    {
        return a - std::trunc(a / b) * b;
    }

    /// The characters of a text that a user typed. A character is a UTF-8 code point, so that a text is never
    /// cut within one and eleven typed characters are eleven whatever they are; a byte that is no UTF-8
    /// counts as one character.
    std::vector<std::string_view> characters(std::string_view text)
    {
        const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
        std::vector<std::string_view> result;
        while (!text.empty()) {
            const auto lead = static_cast<unsigned char>(text.front());
            std::size_t length = 1;
            if (lead >= 0xC2 && lead < 0xF5)
                length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            if (text.size() < length
                || !std::all_of(text.begin() + 1, text.begin() + static_cast<int>(length), isContinuation))
                length = 1;
            result.push_back(text.substr(0, length));
            text.remove_prefix(length);
        }
        return result;
    }

    /// A period or comma at the end stands for one pair of zeros, up to four of them for four pairs.
    void expandShorthand(std::string& text)
    {
        struct Suffix
        {
            std::string_view typed;
            std::string_view meant;
        };
        constexpr Suffix kSuffixes[] = {
            {"....", "00000000"},
            {"...", ".000000"},
            {"..", ".0000"},
            {".", ".00"},
            {",,,,", "00000000"},
            {",,,", ",000000"},
            {",,", ",0000"},
            {",", ",00"},
        };
        for (const auto& suffix : kSuffixes) {
            if (text.ends_with(suffix.typed))
                text.replace(text.size() - suffix.typed.size(), suffix.typed.size(), suffix.meant);
        }
    }

    std::string twoDigits(std::int64_t number)
    {
        return fmt::format("{}{}", number < 10 ? "0" : "", number);
    }

} // namespace

double KWTimecode::frameRateFromTimebase(int timebase, bool isNTSC)
{
    if (!isNTSC)
        return timebase;
    if (timebase != 24 && timebase != 30 && timebase != 60)
        return 0.0;
    return timebase * 1000.0 / 1001.0;
}

std::string KWTimecode::timecodeFromFrameCount(
    int frameCount, int timebase, bool ntsc, bool dropFrame, int startFrame)
{
    const int base = timebaseOrDefault(timebase);
    const double fps = base;
    const bool drops = dropsFrames(base, dropFrame);
    int n = saturated(static_cast<double>(frameCount) + startFrameOrDefault(startFrame));
    if (drops) {
        const double rate = ntsc ? fps * kSinglePrecisionNtsc : fps;
        n = saturated(n + skippedFrames(std::floor(n / rate / 60.0)));
    }
    const double time = n / fps;
    const auto totalSeconds = static_cast<std::int64_t>(std::floor(time));
    const auto hours = totalSeconds / 3600 % 24;
    const auto minutes = totalSeconds / 60 % 60;
    const auto seconds = totalSeconds - totalSeconds / 60 * 60;
    const auto frames = static_cast<std::int64_t>(std::round(modulus(n, fps)));
    return fmt::format("{:02}:{:02}:{:02}{}{:02}", hours, minutes, seconds, drops ? ';' : ':', frames);
}

int KWTimecode::frameCountFromTimecode(
    std::string_view timecode, int timebase, bool /*ntsc*/, bool dropFrame, int startFrame)
{
    const auto parts = split(trimmed(timecode), kSeparators);
    if (parts.size() < 4)
        return -1;
    const int base = timebaseOrDefault(timebase);
    const double hours = integerValue(parts[0]);
    const double minutes = integerValue(parts[1]);
    const double seconds = integerValue(parts[2]);
    const double frames = integerValue(parts[3]);
    // In double: exact wherever the result fits 32 bits, and never an overflow.
    const double total = (minutes * 60 + hours * 3600 + seconds) * base + frames;
    const double start = startFrameOrDefault(startFrame);
    if (!dropsFrames(base, dropFrame))
        return saturated(total - start);
    return saturated(total - skippedFrames(std::round(total / base / 60.0)) - start);
}

std::string KWTimecode::timecode(
    std::string_view timecode, int incrementBy, int timebase, bool ntsc, bool dropFrame)
{
    const double frame = frameCountFromTimecode(timecode, timebase, ntsc, dropFrame, 0);
    return timecodeFromFrameCount(saturated(frame + incrementBy), timebase, ntsc, dropFrame, 0);
}

bool KWTimecode::timecodeInRange(std::string_view timecode, std::string_view start, std::string_view end)
{
    if (timecode == start || timecode == end)
        return true;
    // Only the order matters, so one timebase serves all. As unsigned numbers, -1 comes last.
    constexpr int kAnyTimebase = 24;
    const auto order = [](std::string_view text) {
        return static_cast<std::uint32_t>(frameCountFromTimecode(text, kAnyTimebase, false, false, 0));
    };
    return order(start) <= order(timecode) && order(timecode) <= order(end);
}

std::string KWTimecode::timecodeFromUserString(
    std::string_view text, bool dropFrame, std::string_view startTimecode)
{
    constexpr std::size_t kFullLength = 11;
    constexpr std::size_t kMostDigits = 8;
    if (characters(text).size() == kFullLength)
        return std::string(text);

    std::string expanded(text);
    expandShorthand(expanded);
    std::string joined;
    for (const auto part : split(expanded, ".,")) {
        if (characters(part).size() == 1)
            joined += '0';
        joined += part;
    }
    std::erase_if(joined, [](char c) { return kSeparators.find(c) != std::string_view::npos; });

    auto typed = characters(joined);
    if (typed.size() > kMostDigits)
        typed.erase(typed.begin(), typed.end() - kMostDigits);
    const std::size_t count = typed.size();
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t left = count - i;
        if (i == 0 && count > 2 && count % 2 == 1)
            result += '0';
        if (i > 0 && left % 2 == 0)
            result += left == 2 && dropFrame ? ';' : ':';
        result += typed[i];
    }

    const std::string_view zeros = dropFrame ? "00:00:00;00" : "00:00:00:00";
    const auto start = characters(startTimecode.empty() ? zeros : startTimecode);
    const auto length = characters(result).size();
    std::string full;
    for (std::size_t i = 0; i + length < start.size(); ++i)
        full += start[i];
    return full + result;
}

std::string KWTimecode::timeOfDayTimecode(
    int timebase, bool ntsc, bool dropFrame, std::chrono::system_clock::time_point now)
{
    using Hundredths = std::chrono::duration<int, std::centi>;
    auto second = std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch());
    auto rest = now.time_since_epoch() - second;
    if (rest.count() < 0) { // before 1970; rounded down only now, so that the earliest time does not overflow
        rest += std::chrono::seconds(1);
        second -= std::chrono::seconds(1);
    }
    const auto hundredths = std::chrono::duration_cast<Hundredths>(rest).count();
    const std::time_t time = second.count();
    std::tm local {};
    localtime_r(&time, &local);
    const auto frames = std::floor(hundredths / 100.0 * frameRateFromTimebase(timebase, ntsc));
    return fmt::format("{}:{}:{}{}{}", twoDigits(local.tm_hour), twoDigits(local.tm_min),
        twoDigits(local.tm_sec), dropFrame ? ';' : ':', twoDigits(static_cast<std::int64_t>(frames)));
}

} // namespace reelwright

#include "movie/FrameRate.h"

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    __extension__ using Wide = __int128;

    /// The whole or NTSC rate that a media has but for the rounding of its sample times, if it has one: 30000
    /// ÷ 1001 for frames that last 20 units of 600 and now and then 21.
    std::optional<FrameRate> nominalRate(double average, double samples)
    {
        constexpr double kNear = 0.0004; // well below the thousandth between 30 and 29.97
        const auto whole = std::llround(average);
        const auto ntsc = std::llround(average * 1.001);
        std::optional<FrameRate> nearest;
        double smallest = std::min(kNear, 1 / samples); // over the whole media less than a frame
        for (const auto& rate : {FrameRate {whole, 1}, FrameRate {ntsc * 1000, 1001}}) {
            if (rate.num <= 0 || (rate.den != 1 && ntsc % 24 != 0 && ntsc % 30 != 0))
                continue;
            const auto error = std::abs(average / rate.perSecond() - 1);
            if (error < smallest) {
                smallest = error;
                nearest = rate;
            }
        }
        return nearest;
    }

    /// The length that all frames have but perhaps the last, which is often cut short or held; 0 where they
    /// differ. A last one that is a unit off may be a matter of rounding, and counts as different.
    std::uint32_t commonFrameLength(const SampleTable& table)
    {
        const auto runs = table.timeRunCount();
        const auto length = table.firstDuration();
        if (runs == 2 && table.timeRun(1).count == 1) {
            const auto last = table.timeRun(1).duration;
            return std::max(length, last) - std::min(length, last) > 1 ? length : 0;
        }
        return runs == 1 ? length : 0;
    }

} // namespace

FrameRate FrameRate::meant(std::int64_t num, std::int64_t den)
{
    if (num <= 0 || den <= 0)
        return {};
    constexpr Wide kMillionths = 5;
    constexpr std::int64_t kFastest = 480; // beyond it a thousandth is no sign of a rounded rate
    const auto whole = (Wide {num} * 1001 * 2 + Wide {den} * 1000) / (Wide {den} * 2000);
    const auto difference = Wide {num} * 1001 - whole * 1000 * den;
    if (whole >= 1 && whole <= kFastest
        && (difference < 0 ? -difference : difference) * 1'000'000 <= kMillionths * whole * 1000 * den)
        return {static_cast<std::int64_t>(whole) * 1000, 1001};
    return {num, den};
}

std::optional<FrameRate> FrameRate::average(const QTMedia& media)
{
    const auto duration = media.duration();
    const auto samples = static_cast<std::int64_t>(media.sampleCount());
    if (samples == 0 || duration.value <= 0 || duration.scale <= 0)
        return std::nullopt;
    return FrameRate {duration.scale * samples, duration.value};
}

std::optional<FrameRate> FrameRate::averageOfPicture(const QTMovie& movie)
{
    const auto video = movie.firstTrackOfMediaType(QTMediaTypeVideo);
    return video ? average(video->media()) : std::nullopt;
}

FrameRate FrameRate::forTimecode(const QTMovie& movie)
{
    const auto video = movie.firstTrackOfMediaType(QTMediaTypeVideo);
    const auto mean = video ? average(video->media()) : std::nullopt;
    if (!mean)
        return {30, 1};
    const auto media = video->media();
    const auto length = commonFrameLength(media.sampleTable());
    const auto rate = length != 0 ? FrameRate {media.timeScale(), length} : *mean;
    const auto rest = rate.num % rate.den;
    const bool roundsUp = rest == 0 || rest >= rate.den - rest;
    if (roundsUp && (rate.isWholeAt(movie.timeScale()) || rate.isWholeAt(media.timeScale())))
        return rate;
    if (const auto nominal = nominalRate(rate.perSecond(), media.sampleCount()))
        return *nominal;
    return {rate.labels(), 1};
}

bool FrameRate::hasDropFrame() const
{
    const auto rate = meant(num, den);
    return rate == FrameRate {30000, 1001} || rate == FrameRate {60000, 1001}
    || rate == FrameRate {120000, 1001};
}

bool FrameRate::isWholeAt(std::int64_t timeScale) const
{
    return num > 0 && Wide {timeScale} * den % num == 0;
}

std::uint32_t FrameRate::frameLengthAt(std::int64_t timeScale) const
{
    const Wide exact = num <= 0 ? 0 : Wide {timeScale} * den / num;
    return exact > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(exact);
}

bool FrameRate::operator==(const FrameRate& other) const
{
    return Wide {num} * other.den == Wide {other.num} * den;
}

} // namespace reelwright

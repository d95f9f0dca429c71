#include "fuzz/FuzzTarget.h"

#include <algorithm>
#include <iterator>

namespace reelwright::fuzz {

namespace {

    constexpr std::size_t kMaxMovie = 64U << 10U;
    constexpr std::size_t kMaxMedia = 128U << 10U; // holds a frame of DV

    constexpr Target kTargets[] = {
        {"open", openMovie, kMaxMovie},
        {"report", reportMovie, kMaxMovie},
        {"save", saveMovie, kMaxMovie},
        {"import", importMedia, kMaxMedia},
        {"times", readTimes, 512},
        {"plist", readPropertyList, 4096},
        {"rules", readRules, 4096},
    };

} // namespace

std::span<const Target> targets()
{
    return kTargets;
}

const Target* findTarget(std::string_view name)
{
    const auto* found
        = std::ranges::find_if(kTargets, [&](const Target& target) { return target.name == name; });
    return found == std::end(kTargets) ? nullptr : found;
}

} // namespace reelwright::fuzz

#include "attributes/ColorCodes.h"

#include <fmt/format.h>

#include <span>

namespace reelwright::colorCodes {
namespace {

    struct Code
    {
        int code;
        const char* name;
    };

    constexpr Code kPrimaries[]
        = {{1, "BT.709"}, {2, "Unspecified"}, {4, "BT.470 System M"}, {5, "BT.601 625 lines (PAL)"},
            {6, "BT.601 525 lines (NTSC)"}, {7, "SMPTE 240M"}, {8, "Film"}, {9, "BT.2020"},
            {10, "SMPTE ST 428 (XYZ)"}, {11, "DCI-P3"}, {12, "Display P3"}, {22, "EBU Tech 3213"}};
    constexpr Code kTransfers[]
        = {{1, "BT.709"}, {2, "Unspecified"}, {4, "Gamma 2.2"}, {5, "Gamma 2.8"}, {6, "BT.601"},
            {7, "SMPTE 240M"}, {8, "Linear"}, {9, "Logarithmic (100:1)"}, {10, "Logarithmic (316:1)"},
            {11, "IEC 61966-2-4 (xvYCC)"}, {12, "BT.1361"}, {13, "sRGB"}, {14, "BT.2020 (10 bits)"},
            {15, "BT.2020 (12 bits)"}, {16, "SMPTE ST 2084 (PQ)"}, {17, "SMPTE ST 428"}, {18, "HLG"}};
    constexpr Code kMatrices[] = {{0, "RGB"}, {1, "BT.709"}, {2, "Unspecified"}, {4, "FCC"},
        {5, "BT.601 625 lines (PAL)"}, {6, "BT.601 525 lines (NTSC)"}, {7, "SMPTE 240M"}, {8, "YCgCo"},
        {9, "BT.2020"}, {10, "BT.2020 (constant luminance)"}, {11, "SMPTE ST 2085"},
        {12, "From the primaries"}, {13, "From the primaries (constant luminance)"}, {14, "ICtCp"}};

    std::string named(std::span<const Code> codes, int code)
    {
        for (const auto& each : codes)
            if (each.code == code)
                return fmt::format("{}  {}", code, each.name);
        return fmt::format("{}  Reserved ({})", code, code);
    }

} // namespace

std::string primaries(int code)
{
    return named(kPrimaries, code);
}

std::string transfer(int code)
{
    return named(kTransfers, code);
}

std::string matrix(int code)
{
    return named(kMatrices, code);
}

} // namespace reelwright::colorCodes

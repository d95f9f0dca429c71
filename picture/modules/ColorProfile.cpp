#include "picture/modules/ColorProfile.h"

#include <lcms2.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>

namespace reelwright::picture {
namespace {

    using File = std::vector<std::uint8_t>;

    struct Primaries
    {
        AVColorPrimaries code;
        cmsCIExyYTRIPLE rgb;
        cmsCIExyY white;
    };
    constexpr cmsCIExyY kD65 {0.3127, 0.3290, 1};
    constexpr Primaries kPrimaries[] = {
        {AVCOL_PRI_BT709, {{0.640, 0.330, 1}, {0.300, 0.600, 1}, {0.150, 0.060, 1}}, kD65},
        {AVCOL_PRI_BT470BG, {{0.640, 0.330, 1}, {0.290, 0.600, 1}, {0.150, 0.060, 1}}, kD65},
        {AVCOL_PRI_SMPTE170M, {{0.630, 0.340, 1}, {0.310, 0.595, 1}, {0.155, 0.070, 1}}, kD65},
        {AVCOL_PRI_SMPTE240M, {{0.630, 0.340, 1}, {0.310, 0.595, 1}, {0.155, 0.070, 1}}, kD65},
        {AVCOL_PRI_BT2020, {{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}}, kD65},
        {AVCOL_PRI_SMPTE431, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}, {0.314, 0.351, 1}},
        {AVCOL_PRI_SMPTE432, {{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}}, kD65},
    };

    /// Light of 0 to 1 for a code of 0 to 1; the two curves of high range end at their own brightest white.
    double pqLight(double code)
    {
        constexpr double kM1 = 2610.0 / 16384;
        constexpr double kM2 = 2523.0 / 4096 * 128;
        constexpr double kC1 = 3424.0 / 4096;
        constexpr double kC2 = 2413.0 / 4096 * 32;
        constexpr double kC3 = 2392.0 / 4096 * 32;
        const double power = std::pow(code, 1 / kM2);
        return std::pow(std::max(power - kC1, 0.0) / (kC2 - kC3 * power), 1 / kM1);
    }

    double hlgLight(double code)
    {
        constexpr double kA = 0.17883277;
        constexpr double kB = 1 - 4 * kA;
        const double kC = 0.5 - kA * std::log(4 * kA);
        return code <= 0.5 ? code * code / 3 : (std::exp((code - kC) / kA) + kB) / 12;
    }

    cmsToneCurve* tableOf(double (*light)(double))
    {
        constexpr std::size_t kEntries = 4096;
        std::vector<std::uint16_t> table;
        for (std::size_t i = 0; i < kEntries; ++i)
            table.push_back(static_cast<std::uint16_t>(
                std::lround(std::clamp(light(static_cast<double>(i) / (kEntries - 1)), 0.0, 1.0) * 65535)));
        return cmsBuildTabulatedToneCurve16(nullptr, kEntries, table.data());
    }

    cmsToneCurve* curveOf(AVColorTransferCharacteristic transfer)
    {
        constexpr int kParametric = 4; // (a x + b) ^ g above d, c x below
        const auto parametric
            = [](std::array<double, 5> values) { return cmsBuildParametricToneCurve(nullptr, kParametric, values.data()); };
        switch (transfer) {
        case AVCOL_TRC_BT709:
        case AVCOL_TRC_SMPTE170M:
        case AVCOL_TRC_BT2020_10:
        case AVCOL_TRC_BT2020_12:
            return parametric({1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081});
        case AVCOL_TRC_IEC61966_2_1:
            return parametric({2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045});
        case AVCOL_TRC_GAMMA22:
            return cmsBuildGamma(nullptr, 2.2);
        case AVCOL_TRC_GAMMA28:
            return cmsBuildGamma(nullptr, 2.8);
        case AVCOL_TRC_LINEAR:
            return cmsBuildGamma(nullptr, 1.0);
        case AVCOL_TRC_SMPTE428:
            return cmsBuildGamma(nullptr, 2.6);
        case AVCOL_TRC_SMPTE2084:
            return tableOf(pqLight);
        case AVCOL_TRC_ARIB_STD_B67:
            return tableOf(hlgLight);
        default:
            return nullptr;
        }
    }

    std::uint32_t big32(const std::uint8_t* at)
    {
        return std::uint32_t {at[0]} << 24U | std::uint32_t {at[1]} << 16U | std::uint32_t {at[2]} << 8U | at[3];
    }

    void append32(File& file, std::uint32_t value)
    {
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            file.push_back(static_cast<std::uint8_t>(value >> shift));
    }

    void appendText(File& file, std::string_view text)
    {
        file.insert(file.end(), text.begin(), text.end());
    }

    /// Behind IHDR, in the place of one that is there.
    File withPngProfile(File file, const File& profile)
    {
        constexpr std::size_t kAfterHeader = 8 + 25;
        if (file.size() < kAfterHeader)
            return file;
        for (auto at = kAfterHeader; at + 12 <= file.size();) {
            const auto length = std::size_t {big32(file.data() + at)} + 12;
            if (length > file.size() - at)
                return file;
            const std::string_view type {reinterpret_cast<const char*>(file.data()) + at + 4, 4};
            if (type == "iCCP" || type == "sRGB" || type == "gAMA" || type == "cHRM")
                file.erase(file.begin() + static_cast<std::ptrdiff_t>(at),
                    file.begin() + static_cast<std::ptrdiff_t>(at + length));
            else
                at += length;
        }
        uLongf size = compressBound(static_cast<uLong>(profile.size()));
        File packed(size);
        if (compress(packed.data(), &size, profile.data(), static_cast<uLong>(profile.size())) != Z_OK)
            return file;
        packed.resize(size);
        File body;
        appendText(body, std::string_view("iCCPICC Profile\0\0", 17));
        body.insert(body.end(), packed.begin(), packed.end());
        File chunk;
        append32(chunk, static_cast<std::uint32_t>(body.size() - 4));
        chunk.insert(chunk.end(), body.begin(), body.end());
        append32(chunk, static_cast<std::uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))));
        file.insert(file.begin() + kAfterHeader, chunk.begin(), chunk.end());
        return file;
    }

    /// As segments behind the first mark.
    File withJpegProfile(File file, const File& profile)
    {
        constexpr std::size_t kMostInSegment = 65519;
        const auto count = (profile.size() + kMostInSegment - 1) / kMostInSegment;
        if (file.size() < 2 || count > 255)
            return file;
        File segments;
        for (std::size_t i = 0; i < count; ++i) {
            const auto begin = i * kMostInSegment;
            const auto size = std::min(kMostInSegment, profile.size() - begin);
            const auto length = size + 16;
            for (const auto byte : {std::size_t {0xFF}, std::size_t {0xE2}, length >> 8U, length & 0xFFU})
                segments.push_back(static_cast<std::uint8_t>(byte));
            appendText(segments, std::string_view("ICC_PROFILE\0", 12));
            segments.push_back(static_cast<std::uint8_t>(i + 1));
            segments.push_back(static_cast<std::uint8_t>(count));
            segments.insert(segments.end(), profile.begin() + static_cast<std::ptrdiff_t>(begin),
                profile.begin() + static_cast<std::ptrdiff_t>(begin + size));
        }
        file.insert(file.begin() + 2, segments.begin(), segments.end());
        return file;
    }

    /// The encoder writes little-endian files of one directory: it is written again behind them with one more
    /// entry.
    File withTiffProfile(File file, const File& profile)
    {
        const auto little16 = [&](std::size_t at) {
            return static_cast<std::uint16_t>(file[at] | file[at + 1] << 8U);
        };
        const auto append = [&](std::uint64_t value, unsigned bytes) {
            for (unsigned i = 0; i < bytes; ++i)
                file.push_back(static_cast<std::uint8_t>(value >> 8U * i));
        };
        if (file.size() < 8 || std::memcmp(file.data(), "II*\0", 4) != 0)
            return file;
        const std::size_t directory
            = file[4] | file[5] << 8U | file[6] << 16U | static_cast<std::size_t>(file[7]) << 24U;
        if (directory + 2 > file.size())
            return file;
        const std::size_t count = little16(directory);
        if (directory + 2 + 12 * count + 4 > file.size())
            return file;
        constexpr std::size_t kProfileTag = 34675;
        const File entries {file.begin() + static_cast<std::ptrdiff_t>(directory + 2),
            file.begin() + static_cast<std::ptrdiff_t>(directory + 2 + 12 * count)};
        for (std::size_t i = 0; i < count; ++i)
            if (std::size_t {entries[12 * i]} + 256U * entries[12 * i + 1] >= kProfileTag)
                return file; // it has one, or entries that would come behind it
        if (file.size() % 2 != 0)
            file.push_back(0);
        const auto place = file.size();
        file.insert(file.end(), profile.begin(), profile.end());
        if (file.size() % 2 != 0)
            file.push_back(0);
        const auto newDirectory = file.size();
        append(count + 1, 2);
        file.insert(file.end(), entries.begin(), entries.end());
        append(kProfileTag, 2);
        append(7, 2); // bytes of no further meaning
        append(profile.size(), 4);
        append(place, 4);
        append(0, 4);
        for (unsigned i = 0; i < 4; ++i)
            file[4 + i] = static_cast<std::uint8_t>(newDirectory >> 8U * i);
        return file;
    }

} // namespace

std::vector<std::uint8_t> colorProfileOf(const AVStream& stream)
{
    std::size_t size = 0;
    if (const auto* own = av_stream_get_side_data(&stream, AV_PKT_DATA_ICC_PROFILE, &size); own && size > 0)
        return {own, own + size};
    const auto& codec = *stream.codecpar;
    const auto* primaries = std::find_if(std::begin(kPrimaries), std::end(kPrimaries),
        [&](const auto& row) { return row.code == codec.color_primaries; });
    auto* curve = primaries != std::end(kPrimaries) ? curveOf(codec.color_trc) : nullptr;
    if (!curve)
        return {};
    cmsToneCurve* curves[] = {curve, curve, curve};
    auto* profile = cmsCreateRGBProfile(&primaries->white, &primaries->rgb, curves);
    cmsFreeToneCurve(curve);
    if (!profile)
        return {};
    cmsUInt32Number bytes = 0;
    File made;
    if (cmsSaveProfileToMem(profile, nullptr, &bytes)) {
        made.resize(bytes);
        if (!cmsSaveProfileToMem(profile, made.data(), &bytes))
            made.clear();
    }
    cmsCloseProfile(profile);
    return made;
}

std::vector<std::uint8_t> withColorProfile(
    std::vector<std::uint8_t> file, const std::string& extension, const std::vector<std::uint8_t>& profile)
{
    if (profile.empty())
        return file;
    if (extension == "png")
        return withPngProfile(std::move(file), profile);
    if (extension == "jpg")
        return withJpegProfile(std::move(file), profile);
    if (extension == "tif")
        return withTiffProfile(std::move(file), profile);
    return file;
}

} // namespace reelwright::picture

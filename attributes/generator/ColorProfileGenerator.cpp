/// Makes the profiles of the named color spaces: prints them as the table that ColorProfileData.cpp holds.
/// They are made once and kept in the tree, because another version of the library may write other bytes,
/// and a profile in a movie is recognized by its bytes.

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

const cmsCIExyY kD50 {0.3457, 0.3585, 1.0};
const cmsCIExyY kD65 {0.3127, 0.3290, 1.0};

void setText(cmsHPROFILE profile, cmsTagSignature tag, const char* text)
{
    cmsMLU* texts = cmsMLUalloc(nullptr, 1);
    cmsMLUsetASCII(texts, "en", "US", text);
    cmsWriteTag(profile, tag, texts);
    cmsMLUfree(texts);
}

cmsHPROFILE gray(const cmsCIExyY& white, double gamma)
{
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsHPROFILE profile = cmsCreateGrayProfile(&white, curve);
    cmsFreeToneCurve(curve);
    return profile;
}

cmsHPROFILE rgb(const cmsCIExyYTRIPLE& primaries, double gamma)
{
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* const curves[] {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&kD65, &primaries, curves);
    cmsFreeToneCurve(curve);
    return profile;
}

/// Inks that take away light without any gain, over linear light of sRGB's primaries.
struct Inks
{
    cmsHTRANSFORM toLab;
    cmsHTRANSFORM toLight;
};

cmsInt32Number labOfInks(const cmsUInt16Number* in, cmsUInt16Number* out, void* inks)
{
    std::array<double, 3> light {};
    for (std::size_t i = 0; i < 3; ++i)
        light[i] = (1 - in[i] / 65535.0) * (1 - in[3] / 65535.0);
    cmsDoTransform(static_cast<Inks*>(inks)->toLab, light.data(), out, 1);
    return 1;
}

cmsInt32Number inksOfLab(const cmsUInt16Number* in, cmsUInt16Number* out, void* inks)
{
    std::array<double, 3> light {};
    cmsDoTransform(static_cast<Inks*>(inks)->toLight, in, light.data(), 1);
    for (auto& channel : light)
        channel = std::clamp(channel, 0.0, 1.0);
    const double brightest = *std::max_element(light.begin(), light.end());
    for (std::size_t i = 0; i < 3; ++i)
        out[i] = static_cast<cmsUInt16Number>(brightest > 0 ? (1 - light[i] / brightest) * 65535.0 + 0.5 : 0);
    out[3] = static_cast<cmsUInt16Number>((1 - brightest) * 65535.0 + 0.5);
    return 1;
}

void writeTable(cmsHPROFILE profile, cmsTagSignature tag, cmsUInt32Number points, cmsUInt32Number inputs,
    cmsUInt32Number outputs, cmsSAMPLER16 sample, Inks& inks)
{
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, inputs, outputs);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, points, inputs, outputs, nullptr);
    cmsStageSampleCLut16bit(table, sample, &inks, 0);
    cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, inputs, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, outputs, nullptr));
    cmsWriteTag(profile, tag, pipeline);
    cmsPipelineFree(pipeline);
}

cmsHPROFILE cmyk(const cmsCIExyYTRIPLE& primaries)
{
    cmsHPROFILE light = rgb(primaries, 1.0);
    cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
    Inks inks {cmsCreateTransform(light, TYPE_RGB_DBL, lab, TYPE_Lab_16, INTENT_RELATIVE_COLORIMETRIC,
                   cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE),
        cmsCreateTransform(lab, TYPE_Lab_16, light, TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC,
            cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE)};
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 4.2);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ());
    writeTable(profile, cmsSigAToB0Tag, 5, 4, 3, labOfInks, inks);
    writeTable(profile, cmsSigBToA0Tag, 7, 3, 4, inksOfLab, inks);
    cmsDeleteTransform(inks.toLab);
    cmsDeleteTransform(inks.toLight);
    cmsCloseProfile(light);
    cmsCloseProfile(lab);
    return profile;
}

std::vector<std::uint8_t> finished(cmsHPROFILE profile, const char* name)
{
    setText(profile, cmsSigProfileDescriptionTag, name);
    setText(profile, cmsSigCopyrightTag, "No copyright, use freely");
    cmsSetProfileVersion(profile, 4.2);
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<std::uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    // The moment of the making is no part of a color space: 2001-01-01 00:00:00, and no platform.
    constexpr std::size_t kDate = 24;
    constexpr std::size_t kPlatform = 40;
    const std::array<std::uint8_t, 12> date {0x07, 0xD1, 0, 1, 0, 1};
    std::copy(date.begin(), date.end(), bytes.begin() + kDate);
    std::fill_n(bytes.begin() + kPlatform, 4, std::uint8_t {0});
    return bytes;
}

std::string base64(const std::vector<std::uint8_t>& bytes)
{
    constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8U | (i + k < bytes.size() ? bytes[i + k] : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            text += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63U];
    }
    return text;
}

} // namespace

int main()
{
    const cmsCIExyYTRIPLE trinitron {{0.625, 0.34, 1}, {0.28, 0.595, 1}, {0.155, 0.07, 1}};
    const cmsCIExyYTRIPLE adobe {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    const cmsCIExyYTRIPLE srgb {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
    const std::vector<std::pair<const char*, cmsHPROFILE>> profiles {
        {"Generic Gray", gray(kD50, 1.8)},
        {"Generic RGB", rgb(trinitron, 1.8)},
        {"Generic CMYK", cmyk(srgb)},
        {"Generic RGB Linear", rgb(srgb, 1.0)},
        {"Adobe RGB 1998", rgb(adobe, 563 / 256.0)},
        {"sRGB", cmsCreate_sRGBProfile()},
        {"Generic Gray 2.2 Gamma", gray(kD50, 2.2)},
    };
    for (const auto& [name, profile] : profiles) {
        const auto text = base64(finished(profile, name));
        std::printf("    {\"%s\",\n", name);
        constexpr std::size_t kColumns = 96;
        for (std::size_t i = 0; i < text.size(); i += kColumns)
            std::printf("        \"%s\"%s\n", text.substr(i, kColumns).c_str(),
                i + kColumns < text.size() ? "" : "},");
    }
}

#include "picture/MovieExport.h"
#include "picture/PictureLoader.h"

#include <algorithm>

namespace reelwright {
namespace {

    using picture::ExportSettings;
    using Options = std::vector<std::pair<std::string, std::string>>;

    ExportSettings made(std::string muxer, std::string video, Options options,
        std::vector<std::string> formats, std::string audio)
    {
        ExportSettings settings;
        settings.muxer = std::move(muxer);
        settings.videoEncoder = std::move(video);
        settings.videoOptions = std::move(options);
        settings.pixelFormats = std::move(formats);
        settings.audioEncoder = std::move(audio);
        return settings;
    }

    ExportSettings proRes(const char* profile)
    {
        return made("mov", "prores_ks", {{"profile", profile}, {"vendor", "apl0"}},
            std::string_view(profile).starts_with("4444")
                ? std::vector<std::string> {"yuv444p10le", "yuva444p10le"}
                : std::vector<std::string> {"yuv422p10le"},
            "pcm_s24le");
    }

    ExportSettings dnx(const char* profile, const char* format)
    {
        return made("mov", "dnxhd", {{"profile", profile}}, {format}, "pcm_s24le");
    }

    ExportSettings delivery(std::string muxer, std::string video, Options options)
    {
        auto settings = made(std::move(muxer), std::move(video), std::move(options), {"yuv420p"}, "aac");
        settings.audioBitRate = 192'000;
        if (settings.muxer == "mp4")
            settings.muxerOptions = {{"movflags", "+faststart"}};
        return settings;
    }

    ExportSettings copied(std::string muxer)
    {
        ExportSettings settings;
        settings.muxer = std::move(muxer);
        settings.copiesMedia = true;
        return settings;
    }

    ExportSettings sound(std::string muxer, std::string encoder)
    {
        ExportSettings settings;
        settings.muxer = std::move(muxer);
        settings.audioEncoder = std::move(encoder);
        settings.mixesSound = true;
        return settings;
    }

    ExportSettings images(std::string encoder, std::vector<std::string> formats, Options options = {})
    {
        auto settings = made("image2", std::move(encoder), std::move(options), std::move(formats), {});
        settings.isImageSequence = true;
        settings.squarePixels = true;
        return settings;
    }

    ExportSettings gif()
    {
        auto settings = made("gif", "gif", {}, {"pal8"}, {});
        settings.squarePixels = true;
        return settings;
    }

    ExportSettings webm()
    {
        auto settings = made("webm", "libvpx-vp9",
            {{"crf", "32"}, {"b", "0"}, {"row-mt", "1"}, {"cpu-used", "4"}}, {"yuv420p"}, "libopus");
        settings.audioBitRate = 128'000;
        return settings;
    }

    ExportSettings mxf()
    {
        auto settings = made("mxf", "mpeg2video",
            {{"g", "12"}, {"bf", "2"}, {"intra_vlc", "1"}, {"non_linear_quant", "1"}}, {"yuv422p"},
            "pcm_s24le");
        settings.videoBitRate = 50'000'000;
        settings.sampleRate = 48'000;
        return settings;
    }

    const std::vector<ExportFormat>& allFormats()
    {
        static const std::vector<ExportFormat> formats {
            {"Animated GIF", "gif", "Moving picture of 256 colours for the web", gif(), 3},
            {"AIFF Sound", "aiff", "All sound that plays, mixed", sound("aiff", "pcm_s24be")},
            {"BMP Image Sequence", "bmp", "One file a picture, numbered", images("bmp", {"bgr24"}), 24},
            {"DNxHR 444", "mov", "Avid's intermediate, 10 bit 4:4:4", dnx("dnxhr_444", "yuv444p10le"), 7.1},
            {"DNxHR HQ", "mov", "Avid's intermediate, 8 bit 4:2:2", dnx("dnxhr_hq", "yuv422p"), 3.54},
            {"DNxHR HQX", "mov", "Avid's intermediate, 10 bit 4:2:2", dnx("dnxhr_hqx", "yuv422p10le"), 3.54},
            {"DNxHR LB", "mov", "Avid's intermediate for offline work", dnx("dnxhr_lb", "yuv422p"), 0.7},
            {"DNxHR SQ", "mov", "Avid's intermediate, smaller", dnx("dnxhr_sq", "yuv422p"), 2.33},
            {"H.264 (MOV)", "mov", "Viewing copy",
                delivery("mov", "libx264", {{"crf", "20"}, {"preset", "medium"}}), 0.12},
            {"H.264 (MP4)", "mp4", "Viewing copy, for the web too",
                delivery("mp4", "libx264", {{"crf", "20"}, {"preset", "medium"}}), 0.12},
            {"HEVC (MOV)", "mov", "Viewing copy, smaller",
                delivery("mov", "libx265",
                    {{"crf", "22"}, {"preset", "medium"}, {"x265-params", "log-level=none"}}), 0.07},
            {"HEVC (MP4)", "mp4", "Viewing copy, smaller",
                delivery("mp4", "libx265",
                    {{"crf", "22"}, {"preset", "medium"}, {"x265-params", "log-level=none"}}), 0.07},
            {"JPEG Image Sequence", "jpg", "One file a picture, numbered",
                images("mjpeg", {"yuvj444p"}, {{"qmin", "2"}, {"qmax", "2"}}), 3},
            {"Lossless (FFV1, Matroska)", "mkv", "Every bit of the picture and the sound",
                made("matroska", "ffv1", {{"level", "3"}, {"slicecrc", "1"}}, {}, "flac"), 8},
            {"MXF (MPEG-2 4:2:2)", "mxf", "For broadcast servers, 50 Mbit/s", mxf()},
            {"PNG Image Sequence", "png", "One file a picture, numbered",
                images("png", {"rgb24", "rgba", "rgb48be", "rgba64be"}), 12},
            {"ProRes 422", "mov", "Intermediate, 10 bit", proRes("standard"), 2.37},
            {"ProRes 422 HQ", "mov", "Intermediate, 10 bit, high quality", proRes("hq"), 3.54},
            {"ProRes 422 LT", "mov", "Intermediate, 10 bit, lighter", proRes("lt"), 1.64},
            {"ProRes 422 Proxy", "mov", "For offline work", proRes("proxy"), 0.72},
            {"ProRes 4444", "mov", "Intermediate with transparency", proRes("4444"), 5.3},
            {"ProRes 4444 XQ", "mov", "Intermediate with transparency, highest quality", proRes("4444xq"), 8},
            {"Same Media (Matroska)", "mkv", "Other container, nothing is encoded", copied("matroska")},
            {"Same Media (MOV)", "mov", "Other container, nothing is encoded", copied("mov")},
            {"Same Media (MP4)", "mp4", "Other container, nothing is encoded", copied("mp4")},
            {"TIFF Image Sequence", "tif", "One file a picture, numbered",
                images("tiff", {"rgb24", "rgba", "rgb48le"}), 24},
            {"Uncompressed (v210)", "mov", "10 bit 4:2:2 as it is",
                made("mov", "v210", {}, {"yuv422p10le"}, "pcm_s24le"), 21.33},
            {"WAV Sound", "wav", "All sound that plays, mixed", sound("wav", "pcm_s24le")},
            {"WebM (VP9)", "webm", "For the web", webm(), 0.06},
        };
        return formats;
    }

    bool sameLetters(std::string_view a, std::string_view b)
    {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) {
            return lower(x) == lower(y);
        });
    }

} // namespace

Result<std::vector<const ExportFormat*>> MovieExport::availableFormats()
{
    RW_TRY(auto* const library, pictureLibrary());
    std::vector<const ExportFormat*> available;
    for (const auto& format : allFormats()) {
        const auto& settings = format.settings;
        if (library->hasMuxer(settings.muxer)
            && (settings.videoEncoder.empty() || library->hasEncoder(settings.videoEncoder))
            && (settings.audioEncoder.empty() || library->hasEncoder(settings.audioEncoder)))
            available.push_back(&format);
    }
    std::sort(available.begin(), available.end(),
        [](const auto* a, const auto* b) { return std::string_view(a->name) < std::string_view(b->name); });
    return available;
}

const ExportFormat* MovieExport::formatNamed(std::string_view name)
{
    for (const auto& format : allFormats())
        if (sameLetters(name, format.name))
            return &format;
    return nullptr;
}

} // namespace reelwright

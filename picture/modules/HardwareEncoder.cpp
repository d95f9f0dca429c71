#include "picture/modules/HardwareEncoder.h"

#include "picture/modules/Handles.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace reelwright::picture {
namespace {

    /// Those that take pictures from ordinary memory.
    struct Row
    {
        const char* software;
        const char* hardware;
    };
    constexpr Row kRows[] = {
        {"libx264", "h264_nvenc"},
        {"libx264", "h264_qsv"},
        {"libx264", "h264_amf"},
        {"libx264", "h264_v4l2m2m"},
        {"libx265", "hevc_nvenc"},
        {"libx265", "hevc_qsv"},
        {"libx265", "hevc_amf"},
        {"libx265", "hevc_v4l2m2m"},
    };
    constexpr int kWidth = 320;
    constexpr int kHeight = 240;

    bool encodesAPicture(const AVCodec& codec)
    {
        constexpr AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12};
        auto format = AV_PIX_FMT_NONE;
        for (const auto* known = codec.pix_fmts; known && *known != AV_PIX_FMT_NONE; ++known)
            if (std::find(std::begin(kFormats), std::end(kFormats), *known) != std::end(kFormats)) {
                format = *known;
                break;
            }
        if (format == AV_PIX_FMT_NONE)
            return false;
        CodecContext encoder {avcodec_alloc_context3(&codec)};
        encoder->width = kWidth;
        encoder->height = kHeight;
        encoder->pix_fmt = format;
        encoder->time_base = {1, 25};
        encoder->framerate = {25, 1};
        encoder->bit_rate = 1'000'000;
        if (avcodec_open2(encoder.get(), &codec, nullptr) < 0)
            return false;
        const auto frame = newFrame();
        frame->width = kWidth;
        frame->height = kHeight;
        frame->format = format;
        if (av_frame_get_buffer(frame.get(), 0) < 0)
            return false;
        for (int plane = 0; plane < AV_NUM_DATA_POINTERS && frame->buf[plane]; ++plane)
            std::fill_n(frame->buf[plane]->data, frame->buf[plane]->size, std::uint8_t {128});
        frame->pts = 0;
        if (avcodec_send_frame(encoder.get(), frame.get()) < 0)
            return false;
        avcodec_send_frame(encoder.get(), nullptr);
        const auto packet = newPacket();
        return avcodec_receive_packet(encoder.get(), packet.get()) >= 0 && packet->size > 0;
    }

} // namespace

std::string workingHardwareEncoder(const std::string& software)
{
    static std::mutex mutex;
    static std::map<std::string, std::string> tried;
    const std::lock_guard lock {mutex};
    if (const auto known = tried.find(software); known != tried.end())
        return known->second;
    std::string found;
    for (const auto& row : kRows) {
        const auto* codec = software == row.software ? avcodec_find_encoder_by_name(row.hardware) : nullptr;
        if (codec && found.empty() && encodesAPicture(*codec))
            found = row.hardware;
    }
    return tried[software] = found;
}

} // namespace reelwright::picture

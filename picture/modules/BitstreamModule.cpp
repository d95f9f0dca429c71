#include "picture/modules/BitstreamModule.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

using namespace reelwright;

struct Codec
{
    AVCodecID id;
    const char* source;
};

bool startsWithAny(FourCC format, std::initializer_list<std::string_view> starts)
{
    const std::array<char, 4> letters {static_cast<char>(format.value >> 24U & 0xFFU),
        static_cast<char>(format.value >> 16U & 0xFFU), static_cast<char>(format.value >> 8U & 0xFFU),
        static_cast<char>(format.value & 0xFFU)};
    const std::string_view text {letters.data(), letters.size()};
    return std::any_of(
        starts.begin(), starts.end(), [&](std::string_view start) { return text.starts_with(start); });
}

/// Formats whose streams describe their pictures.
Codec codecOf(FourCC format)
{
    switch (format.value) {
    case "avc1"_cc.value:
    case "avc3"_cc.value:
        return {AV_CODEC_ID_H264, "H.264 stream"};
    case "hvc1"_cc.value:
    case "hev1"_cc.value:
        return {AV_CODEC_ID_HEVC, "HEVC stream"};
    case "apch"_cc.value:
    case "apcn"_cc.value:
    case "apcs"_cc.value:
    case "apco"_cc.value:
    case "ap4h"_cc.value:
    case "ap4x"_cc.value:
        return {AV_CODEC_ID_PRORES, "ProRes frame header"};
    case "AVdn"_cc.value:
    case "AVdh"_cc.value:
        return {AV_CODEC_ID_DNXHD, "DNxHD frame header"};
    case "av01"_cc.value:
        return {AV_CODEC_ID_AV1, "AV1 sequence header"};
    case "m2v1"_cc.value:
    case "mp2v"_cc.value:
        return {AV_CODEC_ID_MPEG2VIDEO, "MPEG-2 stream"};
    default:
        break;
    }
    if (startsWithAny(format, {"hdv", "xdv", "xd5", "mx"}))
        return {AV_CODEC_ID_MPEG2VIDEO, "MPEG-2 stream"};
    if (startsWithAny(format, {"dvc", "dvp", "dv5", "dvh", "dv1"}))
        return {AV_CODEC_ID_DVVIDEO, "DV stream"};
    return {AV_CODEC_ID_NONE, ""};
}

struct FreeContext
{
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreePacket
{
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeFrame
{
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

bool setConfiguration(AVCodecContext& context, ByteSpan bytes)
{
    if (bytes.empty())
        return true;
    constexpr std::size_t kMost = 1 << 20;
    if (bytes.size() > kMost)
        return false;
    context.extradata = static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!context.extradata)
        return false;
    std::memcpy(context.extradata, bytes.data(), bytes.size());
    context.extradata_size = static_cast<int>(bytes.size());
    return true;
}

/// The code as the libraries have it: the first letter in the low byte.
std::uint32_t tagOf(FourCC format)
{
    const auto value = format.value;
    return value >> 24U | (value >> 8U & 0xFF00U) | (value << 8U & 0xFF0000U) | value << 24U;
}

void take(const AVFrame& frame, const Codec& codec, PictureFacts& facts)
{
    facts.width = frame.width;
    facts.height = frame.height;
    // A DV stream says 4:3 or 16:9; the ratio that the decoder makes of it is one of several in use.
    if (codec.id != AV_CODEC_ID_DVVIDEO && frame.sample_aspect_ratio.num > 0
        && frame.sample_aspect_ratio.den > 0)
        facts.pixelAspectRatio = PixelAspectRatio {static_cast<std::uint32_t>(frame.sample_aspect_ratio.num),
            static_cast<std::uint32_t>(frame.sample_aspect_ratio.den)};
    const bool saysColor = frame.color_primaries != AVCOL_PRI_UNSPECIFIED
        || frame.color_trc != AVCOL_TRC_UNSPECIFIED || frame.colorspace != AVCOL_SPC_UNSPECIFIED;
    const bool isReserved
        = frame.color_primaries == AVCOL_PRI_RESERVED0 && frame.color_trc == AVCOL_TRC_RESERVED0;
    if (saysColor && !isReserved) {
        facts.color = ColorParameters {static_cast<std::uint16_t>(frame.color_primaries),
            static_cast<std::uint16_t>(frame.color_trc), static_cast<std::uint16_t>(frame.colorspace)};
        if (frame.color_range != AVCOL_RANGE_UNSPECIFIED)
            facts.color->fullRange = frame.color_range == AVCOL_RANGE_JPEG;
    }
    if (codec.id == AV_CODEC_ID_AV1) // has no fields
        return;
    facts.interlaced = frame.interlaced_frame != 0;
    if (*facts.interlaced)
        facts.topFieldFirst = frame.top_field_first != 0;
}

} // namespace

extern "C" void reelwrightReadBitstream(
    const BitstreamSample& sample, PictureFacts& facts, std::string& error)
{
    const auto codec = codecOf(sample.format);
    if (codec.id == AV_CODEC_ID_NONE) {
        error = "streams of this format do not describe their pictures";
        return;
    }
    const auto* decoder = avcodec_find_decoder(codec.id);
    const std::unique_ptr<AVCodecContext, FreeContext> context {
        decoder ? avcodec_alloc_context3(decoder) : nullptr};
    const std::unique_ptr<AVPacket, FreePacket> packet {av_packet_alloc()};
    const std::unique_ptr<AVFrame, FreeFrame> frame {av_frame_alloc()};
    if (!context || !packet || !frame || !setConfiguration(*context, sample.configuration)) {
        error = "there is no decoder for it";
        return;
    }
    context->thread_count = 1;
    context->codec_tag = tagOf(sample.format);
    context->skip_loop_filter = AVDISCARD_ALL;
    context->err_recognition = 0;
    av_opt_set_int(context.get(), "log_level_offset", 100, 0); // quiet: what is wrong is told by the result
    if (avcodec_open2(context.get(), decoder, nullptr) < 0
        || av_new_packet(packet.get(), static_cast<int>(sample.sample.size())) < 0) {
        error = "the decoder cannot be opened";
        return;
    }
    if (!sample.sample.empty())
        std::memcpy(packet->data, sample.sample.data(), sample.sample.size());
    packet->flags |= AV_PKT_FLAG_KEY;
    // The end of the stream follows at once, so that the one picture comes out.
    if (avcodec_send_packet(context.get(), packet.get()) < 0
        || avcodec_send_packet(context.get(), nullptr) < 0
        || avcodec_receive_frame(context.get(), frame.get()) < 0) {
        error = "the first picture cannot be decoded";
        return;
    }
    facts.source = codec.source;
    take(*frame, codec, facts);
}

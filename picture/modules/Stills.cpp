#include "picture/modules/Stills.h"

#include <fmt/format.h>

namespace reelwright::picture {
namespace {

    constexpr ImageType kTypes[] = {
        {"png", "png", "rgb24", "rgb48be"},
        {"jpg", "mjpeg", "yuvj444p", "yuvj444p"},
        {"tif", "tiff", "rgb24", "rgb48le"},
        {"bmp", "bmp", "bgr24", "bgr24"},
    };

} // namespace

const ImageType& imageType(const std::string& extension)
{
    for (const auto& type : kTypes)
        if (extension == type.extension)
            return type;
    throw Failure {fmt::format(
        "\"{}\" is no kind of image that can be written; there are png, jpg, tif and bmp", extension)};
}

PacketHandle encodeImage(const AVFrame& frame, const ImageType& type)
{
    const auto* codec = avcodec_find_encoder_by_name(type.encoder);
    if (!codec)
        throw Failure {fmt::format("this machine cannot write {} images", type.extension)};
    CodecContext encoder {avcodec_alloc_context3(codec)};
    encoder->width = frame.width;
    encoder->height = frame.height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    encoder->time_base = {1, 25};
    encoder->color_range = frame.color_range;
    encoder->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    constexpr int kBestJpeg = 2;
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = kBestJpeg * FF_QP2LAMBDA;
    checked(avcodec_open2(encoder.get(), codec, nullptr), "the image cannot be encoded");
    const auto copy = FrameHandle {av_frame_clone(&frame)};
    copy->quality = encoder->global_quality;
    copy->pts = 0;
    checked(avcodec_send_frame(encoder.get(), copy.get()), "the image cannot be encoded");
    avcodec_send_frame(encoder.get(), nullptr);
    auto packet = newPacket();
    checked(avcodec_receive_packet(encoder.get(), packet.get()), "the image cannot be encoded");
    return packet;
}

FrameReader::FrameReader(ByteSource& movie, const std::vector<int>& trackIDs, std::string filters)
    : m_input(movie)
    , m_description(std::move(filters))
    , m_shown(newFrame())
    , m_next(newFrame())
    , m_filtered(newFrame())
    , m_packet(newPacket())
{
    for (unsigned i = 0; i < m_input->nb_streams; ++i) {
        auto& stream = *m_input->streams[i];
        const bool isPicture
            = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && Input::isOf(stream, trackIDs);
        stream.discard = isPicture && !m_stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
        if (isPicture && !m_stream)
            m_stream = &stream;
    }
    if (!m_stream)
        throw Failure {"no track that plays has a picture"};
    m_decoder = openDecoder(*m_stream);
}

void FrameReader::seek(std::int64_t target)
{
    av_seek_frame(m_input.get(), m_stream->index, target, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(m_decoder.get());
    av_frame_unref(m_shown.get());
    av_frame_unref(m_next.get());
    m_hasEnded = false;
}

bool FrameReader::readNext(AVFrame* frame)
{
    while (true) {
        const int got = avcodec_receive_frame(m_decoder.get(), frame);
        if (got >= 0) {
            frame->pts = frame->best_effort_timestamp;
            return true;
        }
        if (got == AVERROR_EOF)
            return false;
        if (got != AVERROR(EAGAIN))
            fail("the picture cannot be decoded", got);
        if (m_hasEnded)
            return false;
        const int read = av_read_frame(m_input.get(), m_packet.get());
        if (read < 0) {
            m_hasEnded = true;
            avcodec_send_packet(m_decoder.get(), nullptr);
            continue;
        }
        if (m_packet->stream_index == m_stream->index)
            avcodec_send_packet(m_decoder.get(), m_packet.get()); // a damaged one costs its picture
        av_packet_unref(m_packet.get());
    }
}

AVFrame* FrameReader::at(const Seconds& time)
{
    const auto target = av_rescale_q_rnd(
        time.value, AVRational {1, static_cast<int>(time.scale)}, m_stream->time_base, AV_ROUND_NEAR_INF);
    const bool isHere = m_shown->buf[0] && m_shown->pts <= target;
    constexpr int kNear = 2; // seconds: further on, seeking is quicker than decoding the way there
    const auto near = static_cast<std::int64_t>(kNear / av_q2d(m_stream->time_base));
    if (!isHere || target - m_shown->pts > near)
        seek(target);
    while (true) {
        if (m_next->buf[0]) {
            if (m_next->pts > target && m_shown->buf[0])
                break;
            std::swap(m_shown, m_next);
            av_frame_unref(m_next.get());
            if (m_shown->pts > target) // the movie begins later
                break;
        }
        if (!readNext(m_next.get()))
            break;
    }
    if (!m_shown->buf[0])
        throw Failure {"no picture can be decoded there"};
    if (!m_filters.isOpen())
        m_filters.openVideo(
            PictureShape::of(*m_decoder, *m_stream), turningFilters(*m_stream) + m_description);
    m_filters.push(0, m_shown.get());
    av_frame_unref(m_filtered.get());
    if (!m_filters.pull(m_filtered.get()))
        throw Failure {"the picture cannot be converted"};
    return m_filtered.get();
}

} // namespace reelwright::picture

#include "picture/modules/Handles.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace reelwright::picture {

void fail(const std::string& what, int error)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text {};
    av_strerror(error, text.data(), text.size());
    throw Failure {fmt::format("{}: {}", what, text.data())};
}

FrameHandle newFrame()
{
    return FrameHandle {av_frame_alloc()};
}

PacketHandle newPacket()
{
    return PacketHandle {av_packet_alloc()};
}

Input::Input(ByteSource& source)
    : m_source(source)
{
    constexpr int kBufferSize = 1 << 16;
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferSize));
    m_io = avio_alloc_context(buffer, kBufferSize, 0, this, &Input::read, nullptr, &Input::seek);
    m_format = avformat_alloc_context();
    m_format->pb = m_io;
    m_format->flags |= AVFMT_FLAG_CUSTOM_IO;
    // A failure frees the context itself.
    if (const int opened = avformat_open_input(&m_format, nullptr, av_find_input_format("mov"), nullptr);
        opened < 0) {
        av_freep(&m_io->buffer);
        avio_context_free(&m_io);
        fail("the movie cannot be read", opened);
    }
    avformat_find_stream_info(m_format, nullptr);
}

Input::~Input()
{
    avformat_close_input(&m_format);
    av_freep(&m_io->buffer);
    avio_context_free(&m_io);
}

int Input::read(void* opaque, std::uint8_t* out, int size)
{
    auto& input = *static_cast<Input*>(opaque);
    const auto count = input.m_source.readAt(static_cast<std::uint64_t>(input.m_position),
        std::as_writable_bytes(std::span {out, static_cast<std::size_t>(size)}));
    if (count < 0)
        return AVERROR(EIO);
    if (count == 0)
        return AVERROR_EOF;
    input.m_position += count;
    return static_cast<int>(count);
}

std::int64_t Input::seek(void* opaque, std::int64_t offset, int whence)
{
    auto& input = *static_cast<Input*>(opaque);
    const auto size = static_cast<std::int64_t>(input.m_source.size());
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return size;
    case SEEK_SET:
        break;
    case SEEK_CUR:
        offset += input.m_position;
        break;
    case SEEK_END:
        offset += size;
        break;
    default:
        return AVERROR(EINVAL);
    }
    if (offset < 0)
        return AVERROR(EINVAL);
    return input.m_position = offset;
}

bool Input::isOf(const AVStream& stream, const std::vector<int>& trackIDs)
{
    return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0
        && std::find(trackIDs.begin(), trackIDs.end(), stream.id) != trackIDs.end();
}

CodecContext openDecoder(const AVStream& stream)
{
    const auto* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec)
        throw Failure {fmt::format("track {}: nothing on this machine decodes its format", stream.id)};
    CodecContext decoder {avcodec_alloc_context3(codec)};
    checked(avcodec_parameters_to_context(decoder.get(), stream.codecpar), "the decoder cannot be set up");
    decoder->pkt_timebase = stream.time_base;
    decoder->thread_count = 0;
    checked(avcodec_open2(decoder.get(), codec, nullptr), "the decoder cannot be opened");
    return decoder;
}

std::string turningFilters(const AVStream& stream)
{
    const auto* matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (!matrix)
        return {};
    // The four numbers of the matrix tell the eight ways in which a picture can lie.
    const auto sign = [&](int index) { return matrix[index] > 0 ? 1 : matrix[index] < 0 ? -1 : 0; };
    const std::array<int, 4> turn {sign(0), sign(1), sign(3), sign(4)};
    struct Row
    {
        std::array<int, 4> turn;
        const char* filters;
    };
    constexpr Row kRows[] = {
        {{1, 0, 0, 1}, ""},
        {{0, 1, -1, 0}, "transpose=clock,"},
        {{-1, 0, 0, -1}, "hflip,vflip,"},
        {{0, -1, 1, 0}, "transpose=cclock,"},
        {{-1, 0, 0, 1}, "hflip,"},
        {{1, 0, 0, -1}, "vflip,"},
        {{0, 1, 1, 0}, "transpose=cclock_flip,"},
        {{0, -1, -1, 0}, "transpose=clock_flip,"},
    };
    for (const auto& row : kRows)
        if (row.turn == turn)
            return row.filters;
    return {};
}

PictureShape PictureShape::of(const AVCodecContext& decoder, const AVStream& stream)
{
    return {decoder.width, decoder.height, decoder.pix_fmt, stream.time_base,
        stream.sample_aspect_ratio.num != 0 ? stream.sample_aspect_ratio : decoder.sample_aspect_ratio,
        stream.avg_frame_rate};
}

void Filters::openVideo(const PictureShape& shape, const std::string& description)
{
    m_graph.reset(avfilter_graph_alloc());
    m_graph->nb_threads = 0;
    auto arguments = fmt::format("video_size={}x{}:pix_fmt={}:time_base={}/{}:pixel_aspect={}/{}",
        shape.width, shape.height, static_cast<int>(shape.format), shape.timeBase.num, shape.timeBase.den,
        shape.aspect.num, std::max(shape.aspect.den, 1));
    if (shape.rate.num > 0 && shape.rate.den > 0)
        arguments += fmt::format(":frame_rate={}/{}", shape.rate.num, shape.rate.den);
    AVFilterContext* source = nullptr;
    checked(avfilter_graph_create_filter(
                &source, avfilter_get_by_name("buffer"), "in", arguments.c_str(), nullptr, m_graph.get()),
        "pictures cannot be filtered");
    m_sources = {source};
    checked(avfilter_graph_create_filter(
                &m_sink, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, m_graph.get()),
        "pictures cannot be filtered");
    parse(description);
}

void Filters::openAudio(const std::vector<const AVCodecContext*>& decoders,
    const std::vector<const AVStream*>& streams, const std::string& description)
{
    m_graph.reset(avfilter_graph_alloc());
    for (std::size_t i = 0; i < decoders.size(); ++i) {
        std::array<char, 128> layout {};
        auto channels = decoders[i]->ch_layout;
        if (channels.order == AV_CHANNEL_ORDER_UNSPEC)
            av_channel_layout_default(&channels, channels.nb_channels);
        av_channel_layout_describe(&channels, layout.data(), layout.size());
        const auto arguments = fmt::format("time_base={}/{}:sample_rate={}:sample_fmt={}:channel_layout={}",
            streams[i]->time_base.num, streams[i]->time_base.den, decoders[i]->sample_rate,
            static_cast<int>(decoders[i]->sample_fmt), layout.data());
        AVFilterContext* source = nullptr;
        checked(avfilter_graph_create_filter(&source, avfilter_get_by_name("abuffer"),
                    fmt::format("in{}", i).c_str(), arguments.c_str(), nullptr, m_graph.get()),
            "sound cannot be filtered");
        m_sources.push_back(source);
    }
    checked(avfilter_graph_create_filter(
                &m_sink, avfilter_get_by_name("abuffersink"), "out", nullptr, nullptr, m_graph.get()),
        "sound cannot be filtered");
    parse(description);
}

void Filters::parse(const std::string& description)
{
    AVFilterInOut* outputs = nullptr;
    for (std::size_t i = m_sources.size(); i-- > 0;) {
        auto* output = avfilter_inout_alloc();
        output->name = av_strdup(m_sources[i]->name);
        output->filter_ctx = m_sources[i];
        output->pad_idx = 0;
        output->next = outputs;
        outputs = output;
    }
    auto* inputs = avfilter_inout_alloc();
    inputs->name = av_strdup("out");
    inputs->filter_ctx = m_sink;
    inputs->pad_idx = 0;
    inputs->next = nullptr;
    const int parsed
        = avfilter_graph_parse_ptr(m_graph.get(), description.c_str(), &inputs, &outputs, nullptr);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    checked(parsed, "the filters cannot be set up");
    checked(avfilter_graph_config(m_graph.get(), nullptr), "the filters cannot be set up");
}

void Filters::push(std::size_t source, AVFrame* frame)
{
    checked(av_buffersrc_add_frame_flags(m_sources[source], frame, AV_BUFFERSRC_FLAG_KEEP_REF),
        "a frame cannot be filtered");
}

bool Filters::pull(AVFrame* frame)
{
    const int got = av_buffersink_get_frame(m_sink, frame);
    if (got == AVERROR(EAGAIN) || got == AVERROR_EOF)
        return false;
    checked(got, "a frame cannot be filtered");
    return true;
}

} // namespace reelwright::picture

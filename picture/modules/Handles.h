#pragma once

#include "picture/modules/PictureModule.h"

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace reelwright::picture {

/// A failure within the module, caught at its border.
struct Failure
{
    std::string text;
};

/// Throws what the library's error number means, behind what was being done.
[[noreturn]] void fail(const std::string& what, int error);
inline int checked(int result, const char* what)
{
    if (result < 0)
        fail(what, result);
    return result;
}

template <class T, void (*release)(T**)> struct Release
{
    void operator()(T* object) const { release(&object); }
};
using CodecContext = std::unique_ptr<AVCodecContext, Release<AVCodecContext, avcodec_free_context>>;
using FrameHandle = std::unique_ptr<AVFrame, Release<AVFrame, av_frame_free>>;
using PacketHandle = std::unique_ptr<AVPacket, Release<AVPacket, av_packet_free>>;
using FilterGraph = std::unique_ptr<AVFilterGraph, Release<AVFilterGraph, avfilter_graph_free>>;

FrameHandle newFrame();
PacketHandle newPacket();

/// A movie opened over its bytes.
class Input
{
public:
    explicit Input(ByteSource& source);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input();

    [[nodiscard]] AVFormatContext* operator->() const { return m_format; }
    [[nodiscard]] AVFormatContext* get() const { return m_format; }
    /// Is the stream that of one of these tracks?
    [[nodiscard]] static bool isOf(const AVStream& stream, const std::vector<int>& trackIDs);

private:
    static int read(void* opaque, std::uint8_t* out, int size);
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence);

    ByteSource& m_source;
    std::int64_t m_position = 0;
    AVIOContext* m_io = nullptr;
    AVFormatContext* m_format = nullptr;
};

/// A decoder for a stream, using all processors.
CodecContext openDecoder(const AVStream& stream);

/// The filters that turn a stream's pictures as its display matrix says; empty for none.
std::string turningFilters(const AVStream& stream);

/// What the filters of pictures have to know of them.
struct PictureShape
{
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    AVRational timeBase {1, 25};
    AVRational aspect {0, 1}; ///< of a pixel
    AVRational rate {0, 1};

    static PictureShape of(const AVCodecContext& decoder, const AVStream& stream);
};

/// Filters between a source of frames and a sink.
class Filters
{
public:
    void openVideo(const PictureShape& shape, const std::string& description);
    /// For sound of several decoders, which `description` calls in0, in1, ...
    void openAudio(const std::vector<const AVCodecContext*>& decoders,
        const std::vector<const AVStream*>& streams, const std::string& description);

    [[nodiscard]] bool isOpen() const { return m_graph != nullptr; }
    /// A frame for a source; null ends it.
    void push(std::size_t source, AVFrame* frame);
    /// The next frame; false when more has to be pushed, or all was taken.
    bool pull(AVFrame* frame);
    [[nodiscard]] AVFilterContext* sink() const { return m_sink; }

private:
    void parse(const std::string& description);

    FilterGraph m_graph;
    std::vector<AVFilterContext*> m_sources;
    AVFilterContext* m_sink = nullptr;
};

} // namespace reelwright::picture

#include "picture/modules/Exporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace reelwright::picture {
namespace {

    double seconds(const Seconds& time)
    {
        return static_cast<double>(time.value) / static_cast<double>(time.scale);
    }

    /// Options of an encoder or muxer; one that it does not know is a failure with its name.
    class Options
    {
    public:
        explicit Options(const std::vector<std::pair<std::string, std::string>>& options)
        {
            for (const auto& [name, value] : options)
                av_dict_set(&m_options, name.c_str(), value.c_str(), 0);
        }
        Options(const Options&) = delete;
        Options& operator=(const Options&) = delete;
        ~Options() { av_dict_free(&m_options); }

        AVDictionary** get() { return &m_options; }
        void checkUsed(const std::string& whose) const
        {
            if (const auto* left = av_dict_get(m_options, "", nullptr, AV_DICT_IGNORE_SUFFIX))
                throw Failure {fmt::format("{} has no option \"{}\"", whose, left->key)};
        }

    private:
        AVDictionary* m_options = nullptr;
    };

    /// Of the formats that the target takes, the one that loses least of the picture.
    AVPixelFormat bestFormat(
        const std::vector<std::string>& names, const AVCodec& encoder, AVPixelFormat source)
    {
        std::vector<AVPixelFormat> formats;
        for (const auto& name : names)
            if (const auto format = av_get_pix_fmt(name.c_str()); format != AV_PIX_FMT_NONE)
                formats.push_back(format);
        if (formats.empty() && encoder.pix_fmts)
            for (const auto* format = encoder.pix_fmts; *format != AV_PIX_FMT_NONE; ++format)
                formats.push_back(*format);
        if (formats.empty())
            return source;
        if (std::find(formats.begin(), formats.end(), source) != formats.end())
            return source;
        formats.push_back(AV_PIX_FMT_NONE);
        int loss = 0;
        return avcodec_find_best_pix_fmt_of_list(formats.data(), source, 1, &loss);
    }

    AVSampleFormat bestSampleFormat(const AVCodec& encoder, AVSampleFormat source)
    {
        if (!encoder.sample_fmts)
            return source;
        for (const auto* format = encoder.sample_fmts; *format != AV_SAMPLE_FMT_NONE; ++format)
            if (av_get_packed_sample_fmt(*format) == av_get_packed_sample_fmt(source))
                return *format;
        return encoder.sample_fmts[0];
    }

    int bestSampleRate(const AVCodec& encoder, int wanted)
    {
        if (!encoder.supported_samplerates)
            return wanted;
        int best = 0;
        for (const auto* rate = encoder.supported_samplerates; *rate != 0; ++rate)
            if (std::abs(*rate - wanted) < std::abs(best - wanted))
                best = *rate;
        return best;
    }

} // namespace

Exporter::Exporter(ByteSource& movie, const ExportSettings& settings, const std::string& path,
    const ExportReport& report)
    : m_settings(settings)
    , m_path(path)
    , m_report(report)
    , m_input(movie)
{
    checked(avformat_alloc_output_context2(&m_target, nullptr, settings.muxer.c_str(), path.c_str()),
        "this kind of file cannot be written on this machine");
}

Exporter::~Exporter()
{
    if (m_target && m_target->pb && (m_target->oformat->flags & AVFMT_NOFILE) == 0)
        avio_closep(&m_target->pb);
    avformat_free_context(m_target);
}

void Exporter::chooseStreams()
{
    std::vector<Source*> sounds;
    bool hasPicture = false;
    for (unsigned i = 0; i < m_input->nb_streams; ++i) {
        auto& stream = *m_input->streams[i];
        stream.discard = AVDISCARD_ALL;
        if (!Input::isOf(stream, m_settings.trackIDs))
            continue;
        const auto type = stream.codecpar->codec_type;
        const bool isVideo = type == AVMEDIA_TYPE_VIDEO;
        const bool isWanted = m_settings.copiesMedia
            ? isVideo || type == AVMEDIA_TYPE_AUDIO || type == AVMEDIA_TYPE_SUBTITLE
            : isVideo ? !m_settings.videoEncoder.empty() && !hasPicture
                      : type == AVMEDIA_TYPE_AUDIO && !m_settings.audioEncoder.empty();
        if (!isWanted)
            continue;
        hasPicture = hasPicture || isVideo;
        stream.discard = AVDISCARD_DEFAULT;
        auto& source = *m_sources.emplace_back(std::make_unique<Source>());
        source.stream = &stream;
        if (m_settings.copiesMedia)
            openCopy(source);
        else if (isVideo)
            openVideo(source);
        else
            sounds.push_back(&source);
    }
    if (m_sources.empty())
        throw Failure {"no track that plays has what this format holds"};
    if (m_settings.mixesSound && !sounds.empty()) {
        openAudio(sounds, *m_outputs.emplace_back(std::make_unique<Output>()));
    } else {
        for (auto* sound : sounds)
            openAudio({sound}, *m_outputs.emplace_back(std::make_unique<Output>()));
    }
}

std::string Exporter::rangeFilter(const char* trim, const char* setPts, const AVStream& stream) const
{
    if (!m_settings.hasRange)
        return {};
    // Half a frame of room keeps roundings of times from losing the first picture or taking one too many.
    const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const auto rate = stream.avg_frame_rate;
    const double room = isVideo && rate.num > 0 ? 0.5 * rate.den / rate.num : 0;
    return fmt::format("{}=start={:.9f}:end={:.9f},{}=PTS-STARTPTS,", trim,
        std::max(0.0, seconds(m_settings.rangeStart) - room),
        std::max(0.0, seconds(m_settings.rangeEnd) - room), setPts);
}

std::string Exporter::timecodeFilter(const AVRational& rate) const
{
    if (m_settings.timecode.empty() || rate.num <= 0)
        return {};
    std::string start;
    for (const char character : m_settings.timecode)
        start += character == ':' ? std::string("\\\\:") : std::string(1, character);
    return fmt::format("drawtext=timecode={}:timecode_rate={}/{}:fontsize=h/18:fontcolor=white:box=1:"
                       "boxcolor=black@0.6:boxborderw=6:x=(w-tw)/2:y=h-2*lh,",
        start, rate.num, rate.den);
}

void Exporter::openVideo(Source& source)
{
    auto& output = *m_outputs.emplace_back(std::make_unique<Output>());
    source.output = &output;
    source.decoder = openDecoder(*source.stream);
    const auto* codec = avcodec_find_encoder_by_name(m_settings.videoEncoder.c_str());
    if (!codec)
        throw Failure {fmt::format("this machine has no encoder \"{}\"", m_settings.videoEncoder)};
    const auto format = bestFormat(m_settings.pixelFormats, *codec, source.decoder->pix_fmt);
    const auto rate = m_settings.rateNumerator > 0
        ? AVRational {m_settings.rateNumerator, m_settings.rateDenominator}
        : av_guess_frame_rate(m_input.get(), source.stream, nullptr);

    auto filters = rangeFilter("trim", "setpts", *source.stream) + turningFilters(*source.stream);
    if (m_settings.rateNumerator > 0)
        filters += fmt::format("fps={}/{},", rate.num, rate.den);
    if (m_settings.width > 0 && m_settings.height > 0)
        filters += fmt::format("scale={}:{},setsar=1,", m_settings.width, m_settings.height);
    else if (m_settings.squarePixels)
        filters += "scale=w='trunc(iw*if(sar,sar,1)+0.5)':h=ih,setsar=1,";
    if (m_settings.burnsTimecode)
        filters += timecodeFilter(rate);
    // Pictures with halved colour planes have even sides.
    const auto* layout = av_pix_fmt_desc_get(format);
    if (layout->log2_chroma_w > 0 || layout->log2_chroma_h > 0)
        filters += fmt::format("crop=w='iw-mod(iw,{})':h='ih-mod(ih,{})',", 1 << layout->log2_chroma_w,
            1 << layout->log2_chroma_h);
    if (format == AV_PIX_FMT_PAL8)
        filters += "split[a][b];[a]palettegen=stats_mode=diff[p];[b][p]paletteuse";
    else
        filters += fmt::format("format={}", layout->name);
    output.filters.openVideo(PictureShape::of(*source.decoder, *source.stream), filters);

    const auto* sink = output.filters.sink();
    CodecContext encoder {avcodec_alloc_context3(codec)};
    encoder->width = av_buffersink_get_w(sink);
    encoder->height = av_buffersink_get_h(sink);
    encoder->sample_aspect_ratio = av_buffersink_get_sample_aspect_ratio(sink);
    encoder->pix_fmt = format;
    encoder->framerate = rate;
    // Containers that time each picture keep the movie's own times; the others count pictures.
    const bool countsPictures
        = m_settings.isImageSequence || m_settings.muxer == "mxf" || m_settings.muxer == "gif";
    encoder->time_base = countsPictures && rate.num > 0 ? av_inv_q(rate) : av_buffersink_get_time_base(sink);
    const auto& in = *source.stream->codecpar;
    const bool isRgb = (layout->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    if (m_settings.keepsColor) {
        encoder->color_primaries = in.color_primaries;
        encoder->color_trc = in.color_trc;
        encoder->colorspace = isRgb           ? AVCOL_SPC_RGB
            : in.color_space == AVCOL_SPC_RGB ? AVCOL_SPC_UNSPECIFIED
                                              : in.color_space;
    }
    encoder->color_range = in.color_range;
    encoder->chroma_sample_location = in.chroma_location;
    encoder->field_order = in.field_order;
    if (m_settings.videoBitRate > 0)
        encoder->bit_rate = m_settings.videoBitRate;
    encoder->thread_count = 0;
    if ((m_target->oformat->flags & AVFMT_GLOBALHEADER) != 0)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    Options options {m_settings.videoOptions};
    checked(avcodec_open2(encoder.get(), codec, options.get()),
        fmt::format("the encoder {} does not take these settings", codec->name).c_str());
    options.checkUsed(codec->name);

    output.stream = avformat_new_stream(m_target, nullptr);
    output.stream->time_base = encoder->time_base;
    output.stream->avg_frame_rate = rate;
    output.stream->sample_aspect_ratio = encoder->sample_aspect_ratio;
    checked(avcodec_parameters_from_context(output.stream->codecpar, encoder.get()),
        "the picture cannot be set up");
    if (!m_settings.timecode.empty())
        av_dict_set(&output.stream->metadata, "timecode", m_settings.timecode.c_str(), 0);
    output.encoder = std::move(encoder);
}

void Exporter::openAudio(const std::vector<Source*>& sources, Output& output)
{
    const auto* codec = avcodec_find_encoder_by_name(m_settings.audioEncoder.c_str());
    if (!codec)
        throw Failure {fmt::format("this machine has no encoder \"{}\"", m_settings.audioEncoder)};
    std::vector<const AVCodecContext*> decoders;
    std::vector<const AVStream*> streams;
    std::string filters;
    std::string mixed;
    for (auto* source : sources) {
        source->decoder = openDecoder(*source->stream);
        source->output = &output;
        source->filterInput = decoders.size();
        filters += fmt::format("[in{0}]{1}aresample=async=0[s{0}];", decoders.size(),
            rangeFilter("atrim", "asetpts", *source->stream));
        mixed += fmt::format("[s{}]", decoders.size());
        decoders.push_back(source->decoder.get());
        streams.push_back(source->stream);
    }
    const auto rate = bestSampleRate(
        *codec, m_settings.sampleRate > 0 ? m_settings.sampleRate : decoders[0]->sample_rate);
    const auto format = bestSampleFormat(*codec, decoders[0]->sample_fmt);
    filters += mixed
        + (sources.size() > 1 ? fmt::format("amix=inputs={}:normalize=0,", sources.size()) : std::string {});
    filters += fmt::format("aformat=sample_fmts={}:sample_rates={}", av_get_sample_fmt_name(format), rate);
    if (m_settings.channels > 0) {
        AVChannelLayout layout {};
        av_channel_layout_default(&layout, m_settings.channels);
        std::array<char, 64> text {};
        av_channel_layout_describe(&layout, text.data(), text.size());
        filters += fmt::format(":channel_layouts={}", text.data());
    }
    output.filters.openAudio(decoders, streams, filters);

    const auto* sink = output.filters.sink();
    CodecContext encoder {avcodec_alloc_context3(codec)};
    encoder->sample_rate = av_buffersink_get_sample_rate(sink);
    encoder->sample_fmt = format;
    checked(av_buffersink_get_ch_layout(sink, &encoder->ch_layout), "the sound's channels are not known");
    encoder->time_base = {1, encoder->sample_rate};
    if (m_settings.audioBitRate > 0)
        encoder->bit_rate = m_settings.audioBitRate;
    if ((m_target->oformat->flags & AVFMT_GLOBALHEADER) != 0)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    checked(avcodec_open2(encoder.get(), codec, nullptr),
        fmt::format("the encoder {} does not take this sound", codec->name).c_str());
    if (encoder->frame_size > 0)
        av_buffersink_set_frame_size(output.filters.sink(), static_cast<unsigned>(encoder->frame_size));
    output.stream = avformat_new_stream(m_target, nullptr);
    output.stream->time_base = encoder->time_base;
    checked(avcodec_parameters_from_context(output.stream->codecpar, encoder.get()),
        "the sound cannot be set up");
    av_dict_copy(&output.stream->metadata, sources[0]->stream->metadata, 0);
    output.encoder = std::move(encoder);
}

void Exporter::openCopy(Source& source)
{
    auto& output = *m_outputs.emplace_back(std::make_unique<Output>());
    source.output = &output;
    output.stream = avformat_new_stream(m_target, nullptr);
    checked(avcodec_parameters_copy(output.stream->codecpar, source.stream->codecpar),
        "the media cannot be copied");
    // The tag stays where the target knows it for this format.
    const auto tag = output.stream->codecpar->codec_tag;
    if (!m_target->oformat->codec_tag
        || av_codec_get_id(m_target->oformat->codec_tag, tag) != source.stream->codecpar->codec_id)
        output.stream->codecpar->codec_tag = 0;
    output.stream->time_base = source.stream->time_base;
    output.stream->avg_frame_rate = source.stream->avg_frame_rate;
    output.stream->sample_aspect_ratio = source.stream->sample_aspect_ratio;
    av_dict_copy(&output.stream->metadata, source.stream->metadata, 0);
    for (int i = 0; i < source.stream->nb_side_data; ++i) {
        const auto& side = source.stream->side_data[i];
        if (auto* data = av_stream_new_side_data(output.stream, side.type, side.size))
            std::copy_n(side.data, side.size, data);
    }
    const bool isVideo = source.stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    if (isVideo && !m_settings.timecode.empty())
        av_dict_set(&output.stream->metadata, "timecode", m_settings.timecode.c_str(), 0);
}

void Exporter::openFile()
{
    for (const auto& [key, value] : m_settings.metadata)
        av_dict_set(&m_target->metadata, key.c_str(), value.c_str(), 0);
    if ((m_target->oformat->flags & AVFMT_NOFILE) == 0)
        checked(avio_open(&m_target->pb, m_path.c_str(), AVIO_FLAG_WRITE), "the file cannot be written");
    Options options {m_settings.muxerOptions};
    checked(avformat_write_header(m_target, options.get()), "this format does not take these media");
}

void Exporter::seekToStart()
{
    if (!m_settings.hasRange || m_settings.rangeStart.value <= 0)
        return;
    constexpr double kRoom = 2; // seconds: pictures are decoded from a key picture on
    const auto target = static_cast<std::int64_t>((seconds(m_settings.rangeStart) - kRoom) * AV_TIME_BASE);
    if (target > 0)
        av_seek_frame(m_input.get(), -1, target, AVSEEK_FLAG_BACKWARD);
}

bool Exporter::isBehindRange(const AVStream& stream, std::int64_t time) const
{
    constexpr double kRoom = 2; // seconds: pictures come in the order of decoding
    return m_settings.hasRange && time != AV_NOPTS_VALUE
        && static_cast<double>(time) * av_q2d(stream.time_base) > seconds(m_settings.rangeEnd) + kRoom;
}

bool Exporter::report(const AVStream& stream, std::int64_t time)
{
    const double total = seconds(m_settings.duration);
    if (time != AV_NOPTS_VALUE && total > 0) {
        const double start = m_settings.hasRange ? seconds(m_settings.rangeStart) : 0;
        const double done = (static_cast<double>(time) * av_q2d(stream.time_base) - start) / total;
        m_done.fraction = std::max(m_done.fraction, std::clamp(done, 0.0, 1.0));
    }
    if (m_target->pb)
        m_done.bytes = std::max(m_done.bytes, static_cast<std::uint64_t>(std::max<std::int64_t>(avio_tell(m_target->pb), 0)));
    return !m_report || m_report(m_done);
}

bool Exporter::run()
{
    chooseStreams();
    openFile();
    seekToStart();
    const auto packet = newPacket();
    std::map<int, Source*> byIndex;
    for (const auto& source : m_sources)
        byIndex[source->stream->index] = source.get();
    int read = 0;
    while ((read = av_read_frame(m_input.get(), packet.get())) >= 0) {
        const auto known = byIndex.find(packet->stream_index);
        if (known != byIndex.end() && !known->second->hasEnded) {
            auto& source = *known->second;
            if (!report(*source.stream, packet->dts))
                return false;
            if (isBehindRange(*source.stream, packet->dts)) {
                source.hasEnded = true;
                if (std::all_of(m_sources.begin(), m_sources.end(),
                        [](const auto& each) { return each->hasEnded; })) {
                    av_packet_unref(packet.get());
                    break;
                }
            } else if (m_settings.copiesMedia) {
                copy(source, packet.get());
            } else {
                decode(source, packet.get());
            }
        }
        av_packet_unref(packet.get());
    }
    if (read < 0 && read != AVERROR_EOF)
        fail("the movie cannot be read", read);
    if (!m_settings.copiesMedia) {
        for (const auto& source : m_sources)
            decode(*source, nullptr);
        for (const auto& source : m_sources)
            source->output->filters.push(source->filterInput, nullptr);
        for (const auto& output : m_outputs) {
            drain(*output);
            encode(*output, nullptr);
        }
    }
    checked(av_write_trailer(m_target), "the file cannot be finished");
    m_done.fraction = 1;
    if (m_target->pb)
        m_done.bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(avio_size(m_target->pb), 0));
    return !m_report || m_report(m_done);
}

void Exporter::decode(Source& source, const AVPacket* packet)
{
    // A damaged packet costs its picture, not the export.
    if (const int sent = avcodec_send_packet(source.decoder.get(), packet);
        sent < 0 && sent != AVERROR_INVALIDDATA && sent != AVERROR_EOF)
        fail("the media cannot be decoded", sent);
    const auto frame = newFrame();
    while (true) {
        const int got = avcodec_receive_frame(source.decoder.get(), frame.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF)
            return;
        if (got < 0)
            fail("the media cannot be decoded", got);
        frame->pts = frame->best_effort_timestamp;
        frame->pict_type = AV_PICTURE_TYPE_NONE;
        source.output->filters.push(source.filterInput, frame.get());
        av_frame_unref(frame.get());
        drain(*source.output);
    }
}

void Exporter::drain(Output& output)
{
    const auto frame = newFrame();
    while (output.filters.pull(frame.get())) {
        frame->pict_type = AV_PICTURE_TYPE_NONE;
        encode(output, frame.get());
        av_frame_unref(frame.get());
    }
}

void Exporter::encode(Output& output, AVFrame* frame)
{
    if (frame && frame->pts != AV_NOPTS_VALUE)
        frame->pts = av_rescale_q(
            frame->pts, av_buffersink_get_time_base(output.filters.sink()), output.encoder->time_base);
    if (frame && output.encoder->codec_type == AVMEDIA_TYPE_VIDEO)
        ++m_done.pictures;
    const int sent = avcodec_send_frame(output.encoder.get(), frame);
    if (sent < 0 && sent != AVERROR_EOF)
        fail("the media cannot be encoded", sent);
    const auto packet = newPacket();
    while (true) {
        const int got = avcodec_receive_packet(output.encoder.get(), packet.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF)
            return;
        checked(got, "the media cannot be encoded");
        packet->stream_index = output.stream->index;
        av_packet_rescale_ts(packet.get(), output.encoder->time_base, output.stream->time_base);
        checked(av_interleaved_write_frame(m_target, packet.get()), "the file cannot be written");
    }
}

void Exporter::copy(Source& source, AVPacket* packet)
{
    const auto& settings = m_settings;
    if (settings.hasRange) {
        const auto time = static_cast<double>(packet->pts) * av_q2d(source.stream->time_base);
        if (source.copyStart == AV_NOPTS_VALUE) {
            const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
            if (!isKey || time + 1e-6 < seconds(settings.rangeStart))
                return;
            source.copyStart = av_rescale_q(settings.rangeStart.value,
                AVRational {1, static_cast<int>(settings.rangeStart.scale)}, source.stream->time_base);
        }
        if (time >= seconds(settings.rangeEnd))
            return;
        packet->pts -= source.copyStart;
        packet->dts -= source.copyStart;
    }
    if (source.stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
        ++m_done.pictures;
    packet->stream_index = source.output->stream->index;
    packet->pos = -1;
    av_packet_rescale_ts(packet, source.stream->time_base, source.output->stream->time_base);
    checked(av_interleaved_write_frame(m_target, packet), "the file cannot be written");
}

} // namespace reelwright::picture

#pragma once

#include "picture/modules/Handles.h"

#include <map>
#include <vector>

namespace reelwright::picture {

/// One export: reads the movie's tracks that play, makes the target's streams of them, writes the file.
class Exporter
{
public:
    Exporter(ByteSource& movie, const ExportSettings& settings, const std::string& path,
        const ExportReport& report);
    Exporter(const Exporter&) = delete;
    Exporter& operator=(const Exporter&) = delete;
    ~Exporter();

    /// Throws a Failure. False when the report stopped it.
    bool run();

private:
    /// One stream of the target, and how it is made.
    struct Output
    {
        AVStream* stream = nullptr;
        CodecContext encoder; ///< null where the media are copied
        Filters filters;
        bool hasEnded = false;
    };
    /// One stream of the movie that is used.
    struct Source
    {
        AVStream* stream = nullptr;
        CodecContext decoder; ///< null where the media are copied
        Output* output = nullptr;
        std::size_t filterInput = 0;
        std::int64_t copyStart = AV_NOPTS_VALUE;
        bool hasEnded = false;
    };

    void chooseStreams();
    void openVideo(Source& source);
    void openAudio(const std::vector<Source*>& sources, Output& output);
    void openCopy(Source& source);
    void openFile();
    void seekToStart();
    void decode(Source& source, const AVPacket* packet);
    void drain(Output& output);
    void encode(Output& output, AVFrame* frame);
    void copy(Source& source, AVPacket* packet);
    /// Is what follows of this stream behind the range?
    [[nodiscard]] bool isBehindRange(const AVStream& stream, std::int64_t time) const;
    [[nodiscard]] std::string rangeFilter(const char* trim, const char* setPts, const AVStream& stream) const;
    bool report(const AVStream& stream, std::int64_t time);
    [[nodiscard]] std::string timecodeFilter(const AVRational& rate) const;

    const ExportSettings& m_settings;
    const std::string& m_path;
    const ExportReport& m_report;
    Input m_input;
    AVFormatContext* m_target = nullptr;
    std::vector<std::unique_ptr<Source>> m_sources;
    std::vector<std::unique_ptr<Output>> m_outputs;
    ExportProgress m_done;
};

} // namespace reelwright::picture

#pragma once

#include "picture/modules/Handles.h"

namespace reelwright::picture {

/// Reads the pictures that a movie shows at given times, turned as they are shown.
class FrameReader
{
public:
    /// `filters` stand behind the turning, such as "format=rgb24". Throws a Failure where there is no
    /// picture.
    FrameReader(ByteSource& movie, const std::vector<int>& trackIDs, std::string filters);

    /// The picture at that time; the last one behind the movie's end. Throws a Failure.
    AVFrame* at(const Seconds& time);

    [[nodiscard]] const AVStream& stream() const { return *m_stream; }

private:
    bool readNext(AVFrame* frame);
    void seek(std::int64_t target);

    Input m_input;
    AVStream* m_stream = nullptr;
    CodecContext m_decoder;
    Filters m_filters;
    std::string m_description;
    FrameHandle m_shown; ///< the last one that was decoded at or before the time
    FrameHandle m_next; ///< the one behind it
    FrameHandle m_filtered;
    PacketHandle m_packet;
    bool m_hasEnded = false;
};

/// The file of an image type ("png", "jpg", "tif", "bmp") as filters that stand in front of the encoder, and
/// the encoder's name.
struct ImageType
{
    const char* extension;
    const char* encoder;
    const char* format; ///< for pictures of 8 bits
    const char* deepFormat; ///< for pictures of more
};
const ImageType& imageType(const std::string& extension);

/// The picture as the bytes of a file.
PacketHandle encodeImage(const AVFrame& frame, const ImageType& type);

} // namespace reelwright::picture

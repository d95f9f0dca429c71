#pragma once

#include "movie/QTTrack.h"
#include "movie/samples/PictureFacts.h"

namespace reelwright {

/// Reads what the bitstream of a video track says of its picture: decodes its first sample, without the
/// values that the file has beside it.
class BitstreamFacts
{
public:
    /// Do streams of that format describe their pictures?
    static bool isReadable(FourCC format);
    /// Reads the disk, and loads the decoders' module with its first use. Safe to call from several threads.
    /// Errors: Unsupported for other formats and where the module is not there; Io, Truncated and Corrupt
    /// when the sample cannot be read or decoded.
    static Result<PictureFacts> of(const QTTrack& track);
};

} // namespace reelwright

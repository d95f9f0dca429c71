#pragma once

#include "movie/atoms/Bytes.h"
#include "movie/atoms/FourCC.h"
#include "movie/samples/PictureFacts.h"

#include <string>

namespace reelwright {

/// A function of the module that PictureModule.h tells of.
inline constexpr const char* kReadBitstream = "reelwrightReadBitstream";

/// What is needed to decode one picture. Nothing that the file says of it beside the decoder's own
/// configuration.
struct BitstreamSample
{
    FourCC format; ///< of the sample description
    ByteSpan configuration; ///< of the decoder (`avcC`, `hvcC`, `av1C`), may be empty
    ByteSpan sample;
};

/// `facts` become what the bitstream says, `error` the reason why it cannot be read. Safe to call from
/// several threads.
using ReadBitstream = void(const BitstreamSample& sample, PictureFacts& facts, std::string& error);

} // namespace reelwright

extern "C" reelwright::ReadBitstream reelwrightReadBitstream;

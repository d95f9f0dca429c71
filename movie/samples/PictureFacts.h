#pragma once

#include "movie/samples/SampleDescription.h"

namespace reelwright {

/// What a track's own bitstream says of its picture, whatever the file says beside it; nothing where it does
/// not say.
struct PictureFacts
{
    std::string source; ///< "H.264 stream"
    int width = 0; ///< pixels that are shown; 0 unless said
    int height = 0;
    std::optional<PixelAspectRatio> pixelAspectRatio {};
    std::optional<ColorParameters> color {};
    std::optional<bool> interlaced {};
    std::optional<bool> topFieldFirst {}; ///< of interlaced pictures
};

} // namespace reelwright

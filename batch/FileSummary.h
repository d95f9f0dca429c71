#pragma once

#include "movie/files/Storage.h"

#include <memory>
#include <string>

namespace reelwright {

/// What a list of files says of one of them, without its media.
struct FileSummary
{
    std::string format; ///< of the picture: "apch"
    std::string duration; ///< as timecode at the movie's rate
    double seconds = 0;
    double frameRate = 0; ///< 0 without a picture
    int width = 0; ///< 0 without a picture
    int height = 0;
    std::string sound; ///< "2 tracks, 3 channels"; empty without one
    std::string startTimecode; ///< empty without a timecode track
    std::string reel;
    std::uint64_t headerBytes = 0;
    std::string hindrance; ///< why it is not updated in place; empty when it is
    std::string error; ///< why it cannot be opened; empty when it can

    static FileSummary of(const std::string& path, const std::shared_ptr<Storage>& storage);
};

} // namespace reelwright

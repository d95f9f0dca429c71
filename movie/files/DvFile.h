#pragma once

#include "movie/files/Storage.h"

#include <cstdint>
#include <optional>

namespace reelwright {

class Atom;

/// What the first frame of a raw DV stream says of the stream (IEC 61834, SMPTE 314M and 370M).
struct DvStream
{
    /// How frames of one kind are stored and shown.
    struct Profile
    {
        bool is50Hz = false;
        std::uint32_t signalType = 0; ///< the field of that name in the source pack
        std::uint32_t frameSize = 0; ///< bytes
        std::uint16_t width = 0;
        std::uint16_t height = 0;
        std::uint32_t timeScale = 0;
        std::uint32_t frameDuration = 0;
        std::uint32_t format = 0; ///< a four-character code
        const char* name = "";
    };

    Profile profile;
    bool isWide = false; ///< 16:9
    std::uint64_t frameCount = 0; ///< whole frames

    /// Nothing when the file does not start with a frame.
    /// Errors: Io; Unsupported for a stream of a kind that is not known.
    static Result<std::optional<DvStream>> read(StorageFile& file, const std::string& path);

    /// The movie of the stream: one video track. Its sound is woven into the frames, where a sample table
    /// cannot point at it. `time` as in NewTrack. Errors: Refused when the stream is too long for a media.
    [[nodiscard]] Result<Atom> makeMovie(std::uint64_t time) const;
};

} // namespace reelwright

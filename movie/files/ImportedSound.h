#pragma once

#include "movie/samples/SampleDescription.h"

#include <cstdint>

namespace reelwright {

/// Sound in a file of its own (WAV, AIFF): how it is stored and where it lies.
struct ImportedSound
{
    FourCC format; ///< of the sample description
    bool isLittleEndian = false;
    bool isFloat = false;
    bool isSigned = true;
    std::uint32_t channels = 0;
    std::uint32_t bitsPerChannel = 0;
    double sampleRate = 0; ///< Hz
    SoundPacking packing;
    std::uint64_t dataOffset = 0; ///< bytes
    std::uint64_t dataSize = 0; ///< bytes
    Bytes channelLayout; ///< payload of a `chan` atom, or empty

    /// Integer samples of `bytes` bytes a channel; the format that names them best. Nothing for a size that
    /// no format has.
    static std::optional<FourCC> integerFormat(std::uint32_t bytes, bool isLittleEndian, bool isSigned);
};

/// The movie of that sound: one enabled sound track, movie and media in the sound's own time scale. `time` as
/// in NewTrack. Errors: Unsupported for what a media cannot count; `where` names the file.
Result<Atom> makeSoundMovie(const ImportedSound& sound, std::uint64_t time, const std::string& where);

/// The payload of a `chan` atom that lists the channels of a speaker mask as WAV files have it, in the mask's
/// order; empty for a mask that names none of them.
Bytes channelLayoutOfMask(std::uint32_t mask, std::uint32_t channels);

} // namespace reelwright

#pragma once

#include "movie/Matrix.h"
#include "movie/QTTime.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace reelwright {

/// A duration field of all ones: not known. Held as 64 bits whatever the version of the atom.
constexpr std::uint64_t kUnknownDuration = UINT64_MAX;

/// Pixels as the headers have them: 16.16 fixed point, cut to what fits.
std::uint32_t fixed16(double pixels);

/// Movie header (`mvhd`, ISO/IEC 14496-12 8.2.2; QuickTime File Format "Movie Header Atoms").
/// Times are seconds since 1904-01-01 UTC. `parse` takes the payload; `write` gives a payload, in version 1
/// only when the atom had it or a value needs it. Bytes behind the known fields are kept.
struct MovieHeader
{
    std::uint8_t version = 0;
    std::uint32_t flags = 0;
    std::uint64_t creationTime = 0;
    std::uint64_t modificationTime = 0;
    std::uint32_t timeScale = 600;
    std::uint64_t duration = 0; ///< in the time scale; kUnknownDuration
    std::int32_t preferredRate = 1 << 16;
    std::int16_t preferredVolume = 1 << 8;
    Bytes reserved; ///< 10 bytes as found
    Matrix matrix;
    Bytes preview; ///< preview, poster, selection and current times: 24 bytes as found
    std::uint32_t nextTrackID = 1;
    Bytes rest;

    static Result<MovieHeader> parse(const Bytes& payload);
    [[nodiscard]] Bytes write() const;
};

/// Track header (`tkhd`, ISO/IEC 14496-12 8.3.2). Width and height are 16.16 pixels before the matrix.
struct TrackHeader
{
    static constexpr std::uint32_t kEnabled = 1;
    static constexpr std::uint32_t kInMovie = 2;
    static constexpr std::uint32_t kInPreview = 4;

    std::uint8_t version = 0;
    std::uint32_t flags = kEnabled | kInMovie | kInPreview;
    std::uint64_t creationTime = 0;
    std::uint64_t modificationTime = 0;
    std::uint32_t trackID = 0;
    std::uint32_t reserved = 0;
    std::uint64_t duration = 0; ///< in the movie's time scale; kUnknownDuration
    Bytes reserved2; ///< 8 bytes as found
    std::int16_t layer = 0;
    std::int16_t alternateGroup = 0;
    std::int16_t volume = 0;
    std::uint16_t reserved3 = 0;
    Matrix matrix;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Bytes rest;

    static Result<TrackHeader> parse(const Bytes& payload);
    [[nodiscard]] Bytes write() const;
};

/// Media header (`mdhd`, ISO/IEC 14496-12 8.4.2). Language is a Macintosh code or, from 0x400 on, packed ISO
/// 639-2.
struct MediaHeader
{
    std::uint8_t version = 0;
    std::uint32_t flags = 0;
    std::uint64_t creationTime = 0;
    std::uint64_t modificationTime = 0;
    std::uint32_t timeScale = 600;
    std::uint64_t duration = 0; ///< in the media's time scale; kUnknownDuration
    std::uint16_t language = 0;
    std::uint16_t quality = 0;
    Bytes rest;

    static Result<MediaHeader> parse(const Bytes& payload);
    [[nodiscard]] Bytes write() const;
};

/// Edit list (`elst`, ISO/IEC 14496-12 8.6.6): which media a track shows, in the order of movie time.
struct EditList
{
    struct Edit
    {
        std::uint64_t duration = 0; ///< movie time scale
        std::int64_t mediaTime = 0; ///< media time scale; -1 is an empty edit
        std::int32_t rate = 1 << 16; ///< 16.16; 0 holds one picture (dwell)

        [[nodiscard]] bool isEmpty() const { return mediaTime == -1; }
        bool operator==(const Edit&) const = default;
    };

    std::uint8_t version = 0;
    std::uint32_t flags = 0;
    std::vector<Edit> edits;
    Bytes rest;

    /// Errors: Corrupt when the payload cannot hold the count; Unsupported for a version above 1.
    static Result<EditList> parse(const Bytes& payload);
    [[nodiscard]] Bytes write() const;
    /// Sum of the edits' durations, saturating.
    [[nodiscard]] std::uint64_t duration() const;
};

} // namespace reelwright

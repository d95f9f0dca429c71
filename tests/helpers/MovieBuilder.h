#pragma once

#include "movie/atoms/HeaderAtoms.h"

#include <string>
#include <vector>

namespace reelwright::test {

/// One track of a MovieBuilder: raw video with samples of many sizes, or 16-bit mono sound.
struct BuiltTrack
{
    FourCC mediaType = "vide"_cc; ///< or "soun"_cc
    std::uint32_t samples = 12;
    std::uint32_t samplesPerChunk = 4;
    std::vector<EditList::Edit> edits {}; ///< no edit list when empty

    [[nodiscard]] bool isVideo() const { return mediaType == "vide"_cc; }
    [[nodiscard]] std::uint32_t timeScale() const { return isVideo() ? 600 : 48000; }
    [[nodiscard]] std::uint32_t sampleDuration() const { return isVideo() ? 24 : 1; }
    /// Of a sample (1-based), in bytes.
    [[nodiscard]] std::uint32_t sampleSize(std::uint32_t sample) const;
};

/// Makes small movie files. Their atoms are written out here, without the engine's help. Media bytes follow
/// from the track's number and their place in its media alone, so that a test can tell every sample wherever
/// it comes to lie. Track IDs are 1, 2, ... in the order of `tracks`.
struct MovieBuilder
{
    enum class HeaderPlace { First, Last, BetweenMedia };

    HeaderPlace headerPlace = HeaderPlace::First;
    std::uint32_t freeBefore = 0; ///< size of a free atom before the header; 8 or more, 0 for none
    std::uint32_t freeAfter = 0; ///< the same behind it
    std::string brand = "qt  "; ///< empty: no ftyp
    std::uint32_t frontSize = 0; ///< size of an unknown atom that shifts everything; 8 or more, 0 for none
    std::vector<BuiltTrack> tracks {BuiltTrack {}, BuiltTrack {"soun"_cc, 600, 200}};
    bool hasWideMediaSize = false; ///< media atoms with 64-bit sizes
    bool hasWideOffsets = false; ///< co64
    bool hasUnknownAtoms = false; ///< everywhere: in the file, the header, its tracks and user data
    bool isUserDataTerminated = false; ///< 32 zero bits end the movie's user data
    std::uint32_t commentSize = 0; ///< bytes of text in the movie's `©cmt` item; 0 for none

    [[nodiscard]] std::vector<std::byte> build() const;
    /// The bytes of a sample (1-based) of the track with that ID.
    [[nodiscard]] std::vector<std::byte> sample(std::uint32_t trackID, std::uint32_t number) const;

    /// A whole `trak` atom with these chunk offsets. `movieDuration` receives its duration at 600 a second.
    static std::vector<std::byte> buildTrack(const BuiltTrack& track, std::uint32_t trackID,
        const std::vector<std::uint64_t>& chunkOffsets, bool wideOffsets, bool unknownAtoms = false);
    /// The media of a track, all samples one after the other.
    static std::vector<std::byte> media(const BuiltTrack& track, std::uint32_t trackID);

    /// Type of the atoms that no program knows.
    static constexpr FourCC kUnknown = "qZx7"_cc;

private:
    [[nodiscard]] std::vector<std::byte> header(
        const std::vector<std::vector<std::uint64_t>>& chunkOffsets) const;
};

/// An atom with a compact size.
std::vector<std::byte> atomBytes(FourCC type, ByteSpan payload);

} // namespace reelwright::test

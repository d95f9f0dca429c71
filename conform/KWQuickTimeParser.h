#pragma once

#include "movie/files/RandomReader.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// Finds atoms of a movie file by walking over it eight bytes at a time, without the engine's knowledge of
/// which atoms hold atoms: it enters every atom, and jumps to the end of the last one that had contents as
/// soon as what it finds there makes no sense. Which atoms it reaches, and where it stalls, is what the
/// frame-rate conform goes by, so its lists, its limits and the order of its tests are fixed. Keeps no state.
class KWQuickTimeParser
{
public:
    /// Where atoms begin: file offsets of their size fields.
    using Offsets = std::vector<std::uint64_t>;
    /// The same by type, in the order met. Types not met have no key.
    using AtomOffsets = std::map<std::string, Offsets, std::less<>>;

    /// Shall each atom that is met be logged?
    enum class Notes { Log, Quiet };

    /// Nothing for a file that is empty or cannot be read.
    static std::optional<AtomOffsets> offsetsForFile(
        const std::string& path, const std::vector<std::string>& desiredAtoms);

    struct Walk
    {
        AtomOffsets offsets;
        bool ranAway = false; ///< the limit of iterations ended it
        std::uint64_t end = 0; ///< where it was when it ended
        std::string lastType; ///< of the last atom read, as text
    };
    /// The same of any bytes; nothing when there are none.
    static std::optional<Walk> walk(
        const RandomReader& bytes, const std::vector<std::string>& desiredAtoms, Notes notes);
    static constexpr int kMostIterations = 10'000;

    /// The first 2 or 4 bytes as a big-endian number; bytes that are not there count as zero.
    static std::uint16_t unsignedInt16FromData(ByteSpan data);
    static std::uint32_t unsignedInt32FromData(ByteSpan data);

    /// The smallest candidate above `offset` (with `reverse`: the smallest one below it) that lies at or
    /// below the absolute position `maxDistance` (0: anywhere). With a source array, such as the positions of
    /// all tracks, nothing is answered when that lies `increment` or more of its elements further on.
    static std::optional<std::uint64_t> closestAtomToOffset(std::uint64_t offset, Offsets inArray,
        const Offsets* sourceArray, std::int64_t increment = 1, std::uint64_t maxDistance = 0,
        bool reverse = false);
    /// The last element below `offset` of an ascending array.
    static std::optional<std::uint64_t> closestParentToOffset(std::uint64_t offset, const Offsets& inArray);
    /// The first candidate in the track that `offset` lies in.
    static std::optional<std::uint64_t> closestTrackSiblingToOffset(
        std::uint64_t offset, Offsets inArray, Offsets trackArray);
};

} // namespace reelwright

#pragma once

#include "movie/QTTrack.h"

#include <string>
#include <vector>

namespace reelwright {

/// A fast hash of a stream of bytes, 64 bits. Tells damage, not malice.
class StreamHash
{
public:
    void update(ByteSpan bytes);
    /// The hash of everything so far.
    [[nodiscard]] std::uint64_t value() const;

private:
    static constexpr std::size_t kLanes = 4;
    static constexpr std::size_t kBlock = kLanes * 8;

    void mix(const std::byte* block);

    std::uint64_t m_lanes[kLanes] = {1, 2, 3, 4};
    std::byte m_pending[kBlock] = {};
    std::size_t m_pendingSize = 0;
    std::uint64_t m_length = 0;
};

/// The checksum of one track's media: the bytes and sizes of its samples in order, wherever they lie.
struct TrackChecksum
{
    std::uint32_t trackID = 0;
    std::string text; ///< hexadecimal
    bool operator==(const TrackChecksum&) const = default;
};

/// Of every track, in the order of the header. Reads all media, a megabyte at a time; `goOn` is asked before
/// each. Media that lie behind the end of their file count as missing, which is no error.
/// Errors: Io when a file cannot be read; Cancelled when `goOn` answers false.
Result<std::vector<TrackChecksum>> mediaChecksums(const QTMovie& movie, const std::function<bool()>& goOn);

} // namespace reelwright

#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace reelwright::test {

struct PacketChecksum
{
    std::string times; ///< decode and presentation time from the stream's first packet on
    std::uint64_t size = 0; ///< bytes
    std::string hash;
    bool isKey = false;
    bool operator==(const PacketChecksum&) const = default;
};
std::ostream& operator<<(std::ostream& out, const PacketChecksum& packet);

/// Every packet of every stream of a media file, as ffprobe reads it, by stream index: the judge of whether
/// media came through a save. Streams of unknown kinds count too. Edit lists are ignored, so that only the
/// media speak. It is a test failure when ffprobe cannot read the file. Needs ffprobe (hasProgram).
std::map<int, std::vector<PacketChecksum>> packetChecksums(const std::string& path);

} // namespace reelwright::test

#include "tests/helpers/PacketChecksums.h"

#include "tests/helpers/Process.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

namespace reelwright::test {

std::ostream& operator<<(std::ostream& out, const PacketChecksum& packet)
{
    return out << packet.hash << " (" << packet.size << " bytes)";
}

std::map<int, std::vector<PacketChecksum>> packetChecksums(const std::string& path)
{
    const auto probe = runProcess({"ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_packets",
        "-show_data_hash", "md5", "-show_entries", "packet=stream_index,size,data_hash", "-of",
        "compact=print_section=0:nokey=1:item_sep=\\ ", path});
    EXPECT_EQ(probe.exitCode, 0) << path << ": " << probe.errors;
    std::map<int, std::vector<PacketChecksum>> streams;
    std::istringstream lines {probe.output};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields {line};
        int stream = 0;
        PacketChecksum packet;
        fields >> stream >> packet.size >> packet.hash; // an empty packet has no hash
        EXPECT_FALSE(packet.hash.empty() && packet.size > 0) << path << ": " << line;
        streams[stream].push_back(std::move(packet));
    }
    return streams;
}

} // namespace reelwright::test

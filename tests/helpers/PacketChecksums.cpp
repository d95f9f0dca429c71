#include "tests/helpers/PacketChecksums.h"

#include "tests/helpers/Process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <sstream>

namespace reelwright::test {

std::ostream& operator<<(std::ostream& out, const PacketChecksum& packet)
{
    return out << packet.hash << " (" << packet.size << " bytes) at " << packet.times << ' '
               << (packet.isKey ? "key" : "");
}

std::map<int, std::vector<PacketChecksum>> packetChecksums(const std::string& path)
{
    const auto probe = runProcess({"ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_packets",
        "-show_data_hash", "md5", "-show_entries", "packet=stream_index,dts,pts,size,flags,data_hash", "-of",
        "compact=print_section=0:nokey=1:item_sep=\\ ", path});
    EXPECT_EQ(probe.exitCode, 0) << path << ": " << probe.errors;
    std::map<int, std::vector<PacketChecksum>> streams;
    std::map<int, std::int64_t> starts;
    std::istringstream lines {probe.output};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields {line};
        int stream = 0;
        std::string presentation;
        std::string decoding;
        std::string flags;
        PacketChecksum packet;
        fields >> stream >> presentation >> decoding >> packet.size >> flags;
        fields >> packet.hash; // an empty packet has none
        packet.isKey = flags.starts_with('K');
        EXPECT_FALSE(packet.hash.empty() && packet.size > 0) << path << ": " << line;
        for (const auto& time : {decoding, presentation}) {
            const auto value = std::atoll(time.c_str()); // 0 for what is not known
            packet.times += std::to_string(value - starts.emplace(stream, value).first->second) + ' ';
        }
        streams[stream].push_back(std::move(packet));
    }
    return streams;
}

} // namespace reelwright::test

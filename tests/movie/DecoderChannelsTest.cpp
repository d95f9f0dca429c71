#include "movie/samples/DecoderChannels.h"

#include <gtest/gtest.h>

#include <string>

namespace reelwright {
namespace {

    std::string esds(const std::string& configuration)
    {
        const auto descriptor = [](char tag, const std::string& content) {
            return std::string {tag, static_cast<char>(content.size())} + content;
        };
        const auto decoder = std::string("\x40\x15", 2) + std::string(11, '\0') + descriptor(5, configuration);
        return std::string(4, '\0') + descriptor(3, std::string("\0\1\0", 3) + descriptor(4, decoder));
    }

    TEST(DecoderChannelsTest, TheDecoderKnowsItsChannels)
    {
        struct Row
        {
            FourCC type;
            std::string payload;
            std::uint32_t channels;
            const char* why;
        };
        using namespace std::string_literals;
        const Row rows[] = {
            {"esds"_cc, esds("\x12\x08"s), 1, "AAC of low complexity, 44100 Hz, mono"},
            {"esds"_cc, esds("\x11\x90"s), 2, "48000 Hz, stereo"},
            {"esds"_cc, esds("\x11\xB0"s), 6, "5.1"},
            {"esds"_cc, esds("\x11\xB8"s), 8, "7.1 has the number 7"},
            {"esds"_cc, esds("\xEB\x09\x88\x00"s), 2, "parametric stereo: one channel is coded"},
            {"esds"_cc, esds("\x13\x88\x56\xE5\xA5\x48\x80"s), 2, "the same, said behind everything else"},
            {"esds"_cc, esds("\x11\x80\x04\xC8\x04\x00\x00\x00\x00\x00\x00"s), 3,
                "a list of its own: one in front, one pair behind"},
            {"dac3"_cc, "\x10\x3D\xE0"s, 6, "AC-3: 3/2 and low frequencies"},
            {"dac3"_cc, "\x10\x08\x20"s, 1, "1/0"},
            {"dec3"_cc, "\x00\x00\x20\x0F\x00"s, 6, "E-AC-3"},
            {"alac"_cc, std::string(13, '\0') + "\x02" + std::string(14, '\0'), 2, "Apple Lossless"},
            {"dOps"_cc, "\0\x06"s, 6, "Opus"},
            {"dfLa"_cc, std::string(4, '\0') + "\x80\0\0\x22"s + std::string(10, '\0') + "\x0B\xB8\x02"s, 2, "FLAC"},
        };
        for (const auto& row : rows) {
            const auto bytes = std::as_bytes(std::span {row.payload});
            EXPECT_EQ(decoderChannels(row.type, bytes).value_or(0), row.channels) << row.why;
            for (std::size_t size = 0; size < bytes.size(); ++size) // what is cut off is read without harm
                static_cast<void>(decoderChannels(row.type, bytes.first(size)));
        }
        EXPECT_FALSE(decoderChannels("wave"_cc, {}));
    }

} // namespace
} // namespace reelwright

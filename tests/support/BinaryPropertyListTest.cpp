#include "support/BinaryPropertyList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>

namespace reelwright::test {
namespace {

    using namespace std::string_literals;

    /// A list of these objects, the first one on top, one byte an offset and a reference.
    std::string listOf(std::initializer_list<std::string> objects)
    {
        auto bytes = "bplist00"s;
        std::string offsets;
        for (const auto& object : objects) {
            offsets += static_cast<char>(bytes.size());
            bytes += object;
        }
        const auto table = static_cast<char>(bytes.size());
        bytes += offsets + "\0\0\0\0\0\0\1\1"s;
        bytes += "\0\0\0\0\0\0\0"s + static_cast<char>(objects.size());
        bytes += "\0\0\0\0\0\0\0\0"s;
        return bytes + "\0\0\0\0\0\0\0"s + table;
    }

    struct ListFact
    {
        const char* what;
        std::string bytes;
        bool sound;
    };

    TEST(BinaryPropertyList, IsSoundOnlyWhenItCanBeReadWithoutHarm)
    {
        const ListFact facts[] = {
            {"a dictionary of one text", listOf({"\xD1\1\2"s, "\x51k"s, "\x51v"s}), true},
            {"a number, a real, a date, data",
                listOf({"\xA4\1\2\3\4"s, "\x10\7"s, "\x22\0\0\0\0"s, "\x33\0\0\0\0\0\0\0\0"s, "\x42\1\2"s}),
                true},
            {"a text outside ASCII in its own form", listOf({"\xD1\1\2"s, "\x61\0\xFC"s, "\x09"s}), true},
            {"a length that has its own object",
                listOf({"\x5F\x10\2"
                        "ab"s}),
                true},
            {"a key that is no text", listOf({"\xD1\1\1"s, "\x09"s}), false},
            {"a text of bytes above 127", listOf({"\x51\x84"s}), false},
            {"a text with a zero character", listOf({"\x62\0a\0\0"s}), false},
            {"half a surrogate pair", listOf({"\x61\xD8\0"s}), false},
            {"a list that holds itself", listOf({"\xA1\0"s}), false},
            {"a reference to no object", listOf({"\xA1\5"s}), false},
            {"a text that reaches into the table",
                listOf({"\x54"
                        "ab"s}),
                false},
            {"a list longer than the file", listOf({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), false},
            {"references that multiply",
                listOf({"\xA8\1\1\1\1\1\1\1\1"s, "\xA8\2\2\2\2\2\2\2\2"s, "\xA8\3\3\3\3\3\3\3\3"s,
                    "\xA8\4\4\4\4\4\4\4\4"s, "\xA8\5\5\5\5\5\5\5\5"s, "\xA8\6\6\6\6\6\6\6\6"s, "\x09"s}),
                false},
            {"a length that is no number", listOf({"\x5F\x22\0\0\0\0"s}), false},
            {"a length of an unknown size", listOf({"\x5F\x14\2"s}), false},
            {"an object before the first place for one", listOf({"\x09"s}).replace(9, 1, "\0"s), false},
            {"an object of the table", listOf({"\x09"s}).replace(9, 1, "\x09"s), false},
            {"a real of two bytes", listOf({"\x21\0\0"s}), false},
            {"a date of four bytes", listOf({"\x32\0\0\0\0\0\0\0\0"s}), false},
            {"a key that is a number", listOf({"\xD1\1\2"s, "\x10\1"s, "\x09"s}), false},
            {"a reference to no object for a key", listOf({"\xD1\7\1"s, "\x09"s}), false},
            {"an unknown kind of object", listOf({"\x70"s}), false},
            {"nothing behind the beginning", "bplist00", false},
        };
        for (const auto& fact : facts) {
            EXPECT_EQ(isSoundBinaryPropertyList(fact.bytes), fact.sound) << fact.what;
            for (std::size_t cut = 1; cut < 32; ++cut)
                EXPECT_FALSE(isSoundBinaryPropertyList(std::string_view {fact.bytes}.substr(
                    0, fact.bytes.size() - std::min(cut, fact.bytes.size()))))
                    << fact.what << ", without its last " << cut << " bytes";
        }
    }

} // namespace
} // namespace reelwright::test

#include "movie/atoms/Atom.h"

#include "movie/atoms/AtomInfo.h"
#include "movie/atoms/ByteReader.h"

#include <gmock/gmock.h>

#include <string>

namespace reelwright {
namespace {

    using testing::ElementsAre;
    using testing::IsEmpty;
    using testing::SizeIs;

    std::string text(const Bytes& bytes)
    {
        return {reinterpret_cast<const char*>(bytes.span().data()), bytes.size()};
    }

    /// The 32-bit number as four big-endian characters.
    std::string number(std::uint32_t value)
    {
        std::string result;
        for (int shift = 24; shift >= 0; shift -= 8)
            result += static_cast<char>(value >> shift & 0xFFU);
        return result;
    }

    /// A compact atom; `extra` is added to the size it claims, to make it lie.
    std::string atom(const std::string& type, const std::string& payload, int extra = 0)
    {
        return number(static_cast<std::uint32_t>(static_cast<int>(payload.size()) + 8 + extra)) + type
            + payload;
    }

    /// An atom with the 64-bit form of the size.
    std::string wideAtom(const std::string& type, const std::string& payload)
    {
        return number(1) + type + number(0) + number(static_cast<std::uint32_t>(payload.size() + 16))
            + payload;
    }

    Atom parsed(
        const std::string& bytes, std::vector<MovieWarning>* warnings = nullptr, std::uint64_t offset = 0)
    {
        auto result = Atom::parse(Bytes::copyOf(bytes), offset, warnings);
        EXPECT_TRUE(result.has_value()) << (result ? "" : result.error().message());
        return result ? *result : Atom {};
    }

    std::vector<std::string> childTypes(const Atom& parent)
    {
        std::vector<std::string> types;
        for (const auto& child : parent.children)
            types.push_back(child->type.text());
        return types;
    }

    const std::string kZeros4(4, '\0');

    struct ShapeFact
    {
        const char* why;
        std::string bytes;
        std::vector<std::string> children;
        std::size_t headSize;
        std::size_t tailSize;
        std::size_t warnings;
    };

    std::vector<ShapeFact> shapes()
    {
        const auto mvhd = atom("mvhd", "not looked into");
        const auto item = atom("\xA9nam", "a name");
        const auto keys = atom("keys", kZeros4 + number(1) + atom("mdta", "com.example.key"));
        return {
            {"a leaf keeps its payload as head", atom("mvhd", "12345678"), {}, 8, 0, 0},
            {"an empty leaf is eight bytes", atom("free", ""), {}, 0, 0, 0},
            {"an empty container", atom("udta", ""), {}, 0, 0, 0},
            {"children stand in file order, repeated ones too",
                atom("moov", mvhd + atom("trak", "") + atom("trak", "")), {"mvhd", "trak", "trak"}, 0, 0, 0},
            {"a 64-bit size that would fit 32 bits stays 64 bits wide",
                wideAtom("moov", wideAtom("trak", mvhd)), {"trak"}, 0, 0, 0},
            {"size zero reaches to the end", number(0) + "moov" + mvhd, {"mvhd"}, 0, 0, 0},
            {"a user data list ends with 32 zero bits", atom("udta", item + kZeros4), {"\u00A9nam"}, 0, 4, 0},
            {"a user data list without its terminator", atom("udta", item), {"\u00A9nam"}, 0, 0, 0},
            {"a user data list of nothing but the terminator", atom("udta", kZeros4), {}, 0, 4, 0},
            {"eight zero bytes are no child that reaches to the end", atom("udta", item + kZeros4 + kZeros4),
                {"\u00A9nam"}, 0, 8, 0},
            {"QuickTime meta: children at once", atom("meta", atom("hdlr", "mdta") + keys), {"hdlr", "keys"},
                0, 0, 0},
            {"ISO meta: version and flags first", atom("meta", kZeros4 + atom("hdlr", "mdir") + keys),
                {"hdlr", "keys"}, 4, 0, 0},
            {"ISO meta without children", atom("meta", kZeros4), {}, 4, 0, 0},
            {"meta that holds no atoms is a leaf", atom("meta", "what is this"), {}, 12, 0, 0},
            {"a counted list has version, flags and count before its children",
                atom("dinf", atom("dref", kZeros4 + number(1) + atom("url ", number(1)))), {"dref"}, 0, 0, 0},
            {"a counted list too short for its count is a leaf", atom("dinf", atom("dref", kZeros4)),
                {"dref"}, 0, 0, 0},
            {"a child that claims more than its parent holds is kept as tail",
                atom("trak", mvhd + atom("edts", "abc", 100)), {"mvhd"}, 0, 11, 1},
            {"a child smaller than its own header is kept as tail", atom("trak", mvhd + number(7) + "edts"),
                {"mvhd"}, 0, 8, 1},
            {"a 64-bit child cut within its size is kept as tail", atom("trak", number(1) + "edts" + kZeros4),
                {}, 0, 12, 1},
            {"a few bytes that are no header are kept as tail", atom("trak", mvhd + "xyz"), {"mvhd"}, 0, 3,
                1},
        };
    }

    TEST(Atom, IsReadAsTheBytesSayWrittenAsReadAndRefusedWhenCut)
    {
        for (const auto& fact : shapes()) {
            SCOPED_TRACE(fact.why);
            std::vector<MovieWarning> warnings;
            const auto tree = parsed(fact.bytes, &warnings);
            EXPECT_EQ(childTypes(tree), fact.children);
            EXPECT_EQ(tree.head.size(), fact.headSize);
            EXPECT_EQ(tree.tail.size(), fact.tailSize);
            EXPECT_THAT(warnings, SizeIs(fact.warnings));
            EXPECT_EQ(text(tree.toBytes()), fact.bytes) << "written again";
            EXPECT_EQ(tree.size(), fact.bytes.size());
            if (fact.bytes.starts_with(kZeros4))
                continue; // an atom that reaches to the end is whole wherever it ends
            for (std::size_t length = 0; length < fact.bytes.size(); ++length) {
                const auto result = Atom::parse(Bytes::copyOf(fact.bytes.substr(0, length)), 4096);
                ASSERT_FALSE(result.has_value()) << length << " bytes";
                EXPECT_EQ(result.error().offset, 4096U);
            }
        }
    }

    TEST(Atom, WarningsAndAtomsKnowTheirPlaceInTheFile)
    {
        std::vector<MovieWarning> warnings;
        const auto tree
            = parsed(atom("moov", atom("mvhd", "12345678") + wideAtom("trak", "xyz")), &warnings, 1000);
        EXPECT_EQ(tree.sourceOffset, 1000U);
        EXPECT_EQ(tree.find("mvhd"_cc)->sourceOffset, 1008U);
        EXPECT_EQ(tree.find("trak"_cc)->sourceOffset, 1024U);
        ASSERT_THAT(warnings, SizeIs(1));
        EXPECT_EQ(warnings[0].offset, 1040U) << "after the 16-byte header";
        EXPECT_EQ(warnings[0].where, "trak");
    }

    TEST(Atom, NestingDeeperThanTheLimitIsKeptAsBytes)
    {
        std::string bytes = atom("trak", "innermost");
        for (int i = 0; i < 10'000; ++i)
            bytes = atom("trak", bytes);
        const auto tree = parsed(bytes);
        int depth = 0;
        const Atom* last = &tree;
        while (const auto* next = last->find("trak"_cc)) {
            last = next;
            ++depth;
        }
        EXPECT_EQ(depth, Atom::kMaxDepth);
        EXPECT_FALSE(last->isContainer);
        EXPECT_EQ(text(tree.toBytes()), bytes);
    }

    TEST(Atom, MoreAtomsThanTheLimitAreKeptAsBytes)
    {
        std::string payload;
        for (int i = 0; i < Atom::kMaxAtoms + 10; ++i)
            payload += atom("free", "");
        const auto bytes = atom("moov", payload);
        const auto tree = parsed(bytes);
        EXPECT_THAT(tree.children, SizeIs(Atom::kMaxAtoms - 1)) << "the moov counts too";
        EXPECT_EQ(tree.tail.size(), 11U * 8U);
        EXPECT_EQ(text(tree.toBytes()), bytes);
    }

    TEST(Atom, ChangingACopyLeavesTheOriginalAlone)
    {
        const auto bytes
            = atom("moov", atom("mvhd", "old") + atom("trak", atom("edts", atom("elst", "old"))));
        const auto original = parsed(bytes);
        auto copy = original;
        copy.edit({"trak"_cc, "edts"_cc})->setLeaf("elst"_cc, Bytes::copyOf("new!"));

        EXPECT_EQ(text(original.toBytes()), bytes);
        EXPECT_EQ(text(copy.toBytes()),
            atom("moov", atom("mvhd", "old") + atom("trak", atom("edts", atom("elst", "new!")))));
        EXPECT_EQ(copy.find("mvhd"_cc), original.find("mvhd"_cc)) << "what was not changed is shared";
        EXPECT_NE(copy.find("trak"_cc), original.find("trak"_cc));
        EXPECT_EQ(copy.find("trak"_cc)->id, original.find("trak"_cc)->id) << "an edit keeps the identity";
    }

    TEST(Atom, TreesAreComparedByTheBytesThatTheyWrite)
    {
        const auto original
            = parsed(atom("moov", atom("mvhd", "abc") + atom("udta", atom("name", "x") + kZeros4)));
        struct ChangeFact
        {
            void (*change)(Atom& moov);
            bool same;
            const char* why;
        };
        const ChangeFact facts[] = {
            {[](Atom&) {}, true, "nothing was changed"},
            {[](Atom& moov) { moov.setLeaf("mvhd"_cc, Bytes::copyOf("abc")); }, true,
                "the same payload again"},
            {[](Atom& moov) { moov.setLeaf("mvhd"_cc, Bytes::copyOf("abd")); }, false, "another payload"},
            {[](Atom& moov) { moov.edit("mvhd"_cc)->sizeForm = SizeForm::Extended; }, false, "a wider size"},
            {[](Atom& moov) { moov.edit("mvhd"_cc)->type = "mvhe"_cc; }, false, "another type"},
            {[](Atom& moov) { moov.edit("udta"_cc)->tail = {}; }, false, "no terminator"},
            {[](Atom& moov) { moov.edit("udta"_cc)->remove("name"_cc); }, false, "a child less"},
            {[](Atom& moov) { moov.append(Atom {"free"_cc}); }, false, "a child more"},
            {[](Atom& moov) { std::swap(moov.children[0], moov.children[1]); }, false, "another order"},
            {[](Atom& moov) { moov.setLeaf("udta"_cc, moov.find("udta"_cc)->toBytes().slice(8)); }, true,
                "a leaf of the bytes that the container had"},
        };
        for (const auto& fact : facts) {
            auto copy = original;
            fact.change(copy);
            EXPECT_EQ(copy.writesSameAs(original), fact.same) << fact.why;
            EXPECT_EQ(original.writesSameAs(copy), fact.same) << fact.why;
            EXPECT_EQ(copy.toBytes() == original.toBytes(), fact.same) << fact.why;
        }
    }

    TEST(Atom, EditingWhatIsNotThereChangesNothing)
    {
        const auto bytes = atom("moov", atom("trak", atom("edts", "")));
        const auto original = parsed(bytes);
        auto copy = original;
        EXPECT_EQ(copy.edit("udta"_cc), nullptr);
        EXPECT_EQ(copy.edit({"trak"_cc, "edts"_cc, "elst"_cc}), nullptr);
        EXPECT_EQ(copy.find("trak"_cc), original.find("trak"_cc)) << "the way to it is still shared";
    }

    TEST(Atom, ChildrenAreAddedAndRemovedInPlace)
    {
        auto moov
            = parsed(atom("moov", atom("mvhd", "") + atom("trak", "") + atom("free", "") + atom("trak", "")));
        moov.insertBefore("trak"_cc, Atom {"iods"_cc});
        moov.insertBefore("none"_cc, Atom {"last"_cc});
        EXPECT_THAT(childTypes(moov), ElementsAre("mvhd", "iods", "trak", "free", "trak", "last"));
        EXPECT_EQ(moov.remove("trak"_cc), 2U);
        EXPECT_EQ(moov.remove("trak"_cc), 0U);
        EXPECT_THAT(childTypes(moov), ElementsAre("mvhd", "iods", "free", "last"));

        auto& udta = moov.ensure("udta"_cc);
        EXPECT_TRUE(udta.isContainer) << "the table knows that it holds atoms";
        udta.setLeaf("AllF"_cc, Bytes::copyOf("\x01"));
        EXPECT_EQ(&moov.ensure("udta"_cc), &udta) << "the one that is there";
        EXPECT_EQ(text(moov.find("udta"_cc)->toBytes()), atom("udta", atom("AllF", "\x01")));
    }

    TEST(Atom, PayloadSetOverAContainerReplacesItsChildrenAndTail)
    {
        auto moov = parsed(atom("moov", atom("udta", atom("name", "x") + kZeros4)));
        moov.setLeaf("udta"_cc, Bytes::copyOf("plain"));
        EXPECT_EQ(text(moov.toBytes()), atom("moov", atom("udta", "plain")));
    }

    TEST(Atom, NewItemsStandBeforeTheTerminatorOfUserData)
    {
        auto udta = parsed(atom("udta", atom("name", "x") + kZeros4));
        udta.append(Atom {"LOOP"_cc, Bytes::copyOf(number(1))});
        EXPECT_EQ(text(udta.toBytes()), atom("udta", atom("name", "x") + atom("LOOP", number(1)) + kZeros4));
    }

    TEST(AtomHeader, SizesSmallerThanTheHeaderAreRefused)
    {
        struct HeaderFact
        {
            std::string bytes;
            bool good;
            std::uint64_t headerSize;
            std::uint64_t size;
            const char* why;
        };
        const HeaderFact facts[] = {
            {number(8) + "free", true, 8, 8, "the smallest atom"},
            {number(7) + "free", false, 0, 0, "smaller than its header"},
            {number(2) + "free", false, 0, 0, "two is no form of its own"},
            {number(0) + "mdat", true, 8, 0, "reaches to the end: size unknown yet"},
            {number(1) + "mdat" + number(0) + number(16), true, 16, 16, "the smallest with a 64-bit size"},
            {number(1) + "mdat" + number(0) + number(15), false, 0, 0, "smaller than its 16-byte header"},
            {number(1) + "mdat" + number(0x10) + number(5), true, 16, 0x10'0000'0005, "more than 32 bits"},
            {number(1) + "mdat" + number(0), false, 0, 0, "the 64-bit size is cut"},
            {std::string(7, '\0'), false, 0, 0, "no header at all"},
        };
        for (const auto& fact : facts) {
            const auto bytes = Bytes::copyOf(fact.bytes);
            const auto header = AtomHeader::parse(bytes.span());
            ASSERT_EQ(header.has_value(), fact.good) << fact.why;
            if (!header)
                continue;
            EXPECT_EQ(header->headerSize, fact.headerSize) << fact.why;
            EXPECT_EQ(header->size, fact.size) << fact.why;
        }
    }

    TEST(AtomTable, MeaningOfATypeDependsOnItsParent)
    {
        EXPECT_EQ(childrenOffset("tmcd"_cc, "gmhd"_cc, {}), 0U);
        EXPECT_EQ(childrenOffset("tmcd"_cc, "tref"_cc, {}), std::nullopt) << "a list of track ids";
        EXPECT_EQ(childrenOffset("imap"_cc, "trak"_cc, {}), std::nullopt);
        EXPECT_EQ(childrenOffset("mdat"_cc, {}, {}), std::nullopt);
        const auto item = Bytes::copyOf(atom("data", "value"));
        EXPECT_EQ(childrenOffset(FourCC {1}, "ilst"_cc, item.span()), 0U)
            << "an item named by its key's number";
        EXPECT_EQ(childrenOffset(FourCC {1}, "udta"_cc, item.span()), std::nullopt);
    }

    TEST(ByteReader, FieldsAreBigEndianAndSigned)
    {
        const auto bytes = Bytes::copyOf(
            std::string_view("\x01\x02\x03\xFF\xFE\xFF\xFF\xFF\xFDmoov\x80\0\0\0\0\0\0\x05", 21));
        ByteReader in {bytes.span(), "test"};
        EXPECT_EQ(in.u24(), 0x010203U);
        EXPECT_EQ(in.i16(), -2);
        EXPECT_EQ(in.i32(), -3);
        EXPECT_EQ(in.fourCC(), "moov"_cc);
        EXPECT_EQ(in.u64(), 0x8000000000000005U);
        EXPECT_EQ(in.left(), 0U);
        EXPECT_EQ(in.finish(7).value(), 7);
    }

    TEST(ByteReader, FirstErrorIsTheOneReported)
    {
        const auto bytes = Bytes::copyOf("abcde");
        ByteReader in {bytes.span(), "stsz"};
        EXPECT_EQ(in.u16(), 0x6162);
        EXPECT_EQ(in.u32(), 0U) << "three bytes are left";
        EXPECT_EQ(in.u8(), 0U) << "a read that would fit gives zero after a failure";
        EXPECT_THAT(in.bytes(1), IsEmpty());
        EXPECT_EQ(in.count32(1), 0U);
        EXPECT_FALSE(in.ok());

        const auto result = in.finish(0);
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().code, MovieError::Code::Truncated);
        EXPECT_EQ(result.error().offset, 2U);
        EXPECT_EQ(result.error().where, "stsz");
        EXPECT_THAT(result.error().detail, testing::HasSubstr("4 more bytes expected, 3 left"));
    }

    TEST(ByteReader, CountsThatTheBytesCannotHoldAreRefused)
    {
        struct CountFact
        {
            std::size_t elementSize;
            std::uint32_t count;
            bool good;
            const char* why;
        };
        constexpr CountFact kFacts[] = {
            {12, 0, true, "nothing fits everywhere"},
            {12, 2, true, "exactly what is there"},
            {12, 3, false, "one more than is there"},
            {1, 24, true, "single bytes"},
            {12, 0x1555'5556, false, "12 times it wraps to 8 in 32 bits"},
            {1, 0xFFFF'FFFF, false, "all bits set"},
        };
        for (const auto& fact : kFacts) {
            const auto bytes = Bytes::copyOf(number(fact.count) + std::string(24, 'x'));
            ByteReader in {bytes.span(), "stts"};
            EXPECT_EQ(in.count32(fact.elementSize), fact.good ? fact.count : 0) << fact.why;
            EXPECT_EQ(in.ok(), fact.good) << fact.why;
            if (!fact.good) {
                EXPECT_EQ(in.finish(0).error().code, MovieError::Code::Corrupt) << fact.why;
            }
        }
    }

} // namespace
} // namespace reelwright

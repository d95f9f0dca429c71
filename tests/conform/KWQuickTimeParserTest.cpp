#include "conform/KWQuickTimeParser.h"

#include "movie/atoms/ByteWriter.h"
#include "tests/helpers/LogTest.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using Parser = KWQuickTimeParser;
    using Offsets = Parser::Offsets;
    using testing::ElementsAre;
    using testing::HasSubstr;
    using testing::Pair;

    class WalkTest : public test::LogTest
    {
    protected:
        Parser::AtomOffsets walk(const ByteWriter& bytes, const std::vector<std::string>& desired)
        {
            const auto path = m_folder.file("movie.mov");
            test::writeFile(path, bytes.span());
            auto found = Parser::offsetsForFile(path, desired);
            EXPECT_TRUE(found);
            return found.value_or(Parser::AtomOffsets {});
        }
        static ByteWriter& atom(ByteWriter& out, const char* type, const ByteWriter& content)
        {
            return out.u32(static_cast<std::uint32_t>(content.size() + 8)).text(type).bytes(content.span());
        }
        static ByteWriter atom(const char* type, const ByteWriter& content)
        {
            ByteWriter out;
            atom(out, type, content);
            return out;
        }

        test::TempFolder m_folder;
    };

    TEST_F(WalkTest, FindsNestedAtomsBehindMediaInTheOrderOfTheFile)
    {
        ByteWriter tracks;
        for (int i = 0; i < 2; ++i)
            atom(tracks, "trak", atom("mdia", atom("mdhd", ByteWriter {}.zeros(24))));
        ByteWriter whole;
        atom(whole, "ftyp", ByteWriter {}.text("qt  ").u32(0));
        whole.u32(8).text("wide"); // 16
        whole.u32(1).text("mdat").u64(16 + 32).zeros(4).text("trak").zeros(24); // 24
        atom(whole, "moov", tracks); // 72: traks at 80 and 128
        EXPECT_THAT(walk(whole, {"trak", "mdhd", "moov"}),
            ElementsAre(Pair("mdhd", ElementsAre(96, 144)), Pair("moov", ElementsAre(72)),
                Pair("trak", ElementsAre(80, 128))));
        EXPECT_THAT(messages(), testing::Contains("Atom: 24 mdat 48"));
    }

    TEST_F(WalkTest, OrderOfTheTestsDecidesWhatIsReached)
    {
        struct Fact
        {
            ByteWriter bytes;
            Offsets traks;
            const char* why;
        };
        const auto trak = atom("trak", ByteWriter {}.zeros(8)); // 16 bytes
        const auto with
            = [&](const ByteWriter& first) { return ByteWriter {}.bytes(first.span()).bytes(trak.span()); };
        const Fact facts[] = {
            {with(atom("udta", trak)), {24}, "what is skipped is not entered"},
            {with(atom("stsd", trak)), {24}, "nor is a leaf"},
            {with(atom("zzzz", trak)), {8, 24}, "any other atom is"},
            {with(atom("stsd", ByteWriter {}.u32(16).text("free").zeros(8).bytes(trak.span()))), {24, 40},
                "a leaf's contents that spell an atom to skip move the walk past them"},
            {with(ByteWriter {}.u32(1).text("zzzz")), {8}, "a size of 1 is none but for media"},
            {with(ByteWriter {}.u32(8).text("junk")), {8}, "an empty atom to skip"},
        };
        for (const auto& fact : facts) {
            const auto found = walk(fact.bytes, {"trak", "udta"});
            EXPECT_EQ(found.contains("trak") ? found.at("trak") : Offsets {}, fact.traks) << fact.why;
            EXPECT_FALSE(found.contains("udta")) << fact.why;
        }
    }

    TEST_F(WalkTest, AnAtomOfAnUnknownAlphabetStallsItAndWhatWasFoundIsAnswered)
    {
        ByteWriter file;
        atom(file, "moov", atom("mvhd", ByteWriter {}.zeros(8)));
        atom(file, "\xA9xyz", ByteWriter {}.zeros(8));
        atom(file, "trak", ByteWriter {}.zeros(8));
        EXPECT_THAT(walk(file, {"mvhd", "trak"}), ElementsAre(Pair("mvhd", ElementsAre(8))));
        EXPECT_EQ(messages().back(), "Error: Infinite loop when iterating through file");
        EXPECT_TRUE(walk(ByteWriter {}.u32(0).text("free").zeros(8), {"trak"}).empty())
            << "read in place again";
        EXPECT_EQ(messages().back(), "Error: Infinite loop when iterating through file");
    }

    TEST_F(WalkTest, TheLimitCountsAtoms)
    {
        // Each atom is met, and the size of 0 in it makes the walk jump to its end: two iterations, and one
        // more at the end of the file.
        const auto runsAway = [&](std::size_t atoms) {
            ByteWriter file;
            for (std::size_t i = 0; i < atoms; ++i)
                atom(file, "atom", ByteWriter {}.zeros(8));
            const auto walked = Parser::walk(BytesReader {file.toBytes()}, {"atom"}, Parser::Notes::Quiet);
            return std::pair {walked->ranAway, walked->offsets.at("atom").size()};
        };
        EXPECT_EQ(runsAway(4999), std::pair(false, std::size_t {4999}));
        EXPECT_EQ(runsAway(5001), std::pair(true, std::size_t {5000}));
    }

    TEST_F(WalkTest, EmptyAndShortFiles)
    {
        const auto path = m_folder.file("empty.mov");
        test::writeFile(path, {});
        EXPECT_FALSE(Parser::offsetsForFile(path, {"moov"}));
        EXPECT_FALSE(Parser::offsetsForFile(m_folder.file("none.mov"), {"moov"}));
        EXPECT_TRUE(walk(ByteWriter {}.zeros(7), {"moov"}).empty());
    }

    TEST(ClosestAtom, GoesByAbsolutePositionsAndTracks)
    {
        const Offsets tracks {100, 300, 500};
        const Offsets headers {520, 120, 320};
        EXPECT_EQ(Parser::closestAtomToOffset(100, headers, nullptr), 120);
        EXPECT_EQ(Parser::closestAtomToOffset(100, {320}, &tracks), std::nullopt) << "of the next track";
        EXPECT_EQ(Parser::closestAtomToOffset(100, {320}, &tracks, 2), 320);
        EXPECT_EQ(Parser::closestAtomToOffset(100, {520}, &tracks, 2), std::nullopt);
        EXPECT_EQ(Parser::closestAtomToOffset(100, headers, nullptr, 1, 110), std::nullopt);
        EXPECT_EQ(Parser::closestAtomToOffset(400, headers, nullptr, 1, 0, true), 120)
            << "the smallest below";
        EXPECT_EQ(Parser::closestParentToOffset(320, tracks), 300);
        EXPECT_EQ(Parser::closestParentToOffset(100, tracks), std::nullopt);
        EXPECT_EQ(Parser::closestTrackSiblingToOffset(310, headers, {500, 100, 300}), 320);
        EXPECT_EQ(Parser::closestTrackSiblingToOffset(310, {120, 520}, tracks), std::nullopt);
        EXPECT_EQ(Parser::closestTrackSiblingToOffset(50, headers, tracks), std::nullopt);
    }

    TEST(Integers, AreBigEndianAndFilledUpWithZeros)
    {
        const auto bytes = ByteWriter {}.u32(0x12345678).take();
        const ByteSpan span {bytes};
        EXPECT_EQ(Parser::unsignedInt16FromData(span), 0x1234);
        EXPECT_EQ(Parser::unsignedInt32FromData(span), 0x12345678U);
        EXPECT_EQ(Parser::unsignedInt32FromData(span.first(3)), 0x12345600U);
        EXPECT_EQ(Parser::unsignedInt16FromData(span.first(1)), 0x1200);
    }

} // namespace
} // namespace reelwright

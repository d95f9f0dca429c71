#include "movie/QTMetaData.h"

#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using Storage = QTMetaData::Storage;
    using test::box;
    using ::testing::Contains;
    using ::testing::ElementsAre;
    using ::testing::SizeIs;

    Atom leaf(FourCC type, std::string_view payload)
    {
        return Atom {type, Bytes::copyOf(payload)};
    }

    /// As a file has it: parsed from its bytes.
    Atom read(const Atom& atom)
    {
        auto parsed = Atom::parse(atom.toBytes(), 1000);
        EXPECT_TRUE(parsed);
        return std::move(*parsed);
    }

    Atom international(FourCC type, const std::vector<std::pair<std::uint16_t, std::string_view>>& texts)
    {
        ByteWriter out;
        for (const auto& [language, text] : texts)
            out.u16(static_cast<std::uint16_t>(text.size())).u16(language).text(text);
        return Atom {type, out.toBytes()};
    }

    Atom data(std::uint32_t type, std::string_view value, std::uint32_t locale = 0)
    {
        return Atom {"data"_cc, ByteWriter {}.u32(type).u32(locale).text(value).toBytes()};
    }

    Atom handler(FourCC subtype)
    {
        return Atom {"hdlr"_cc, ByteWriter {}.zeros(8).fourCC(subtype).zeros(13).toBytes()};
    }

    enum class Form { Plain, Versioned };

    Atom meta(Form form, const std::vector<Atom>& children)
    {
        auto atom = box("meta"_cc, children);
        if (form == Form::Versioned)
            atom.head = ByteWriter {}.u32(0).toBytes();
        return atom;
    }

    Atom keys(const std::vector<std::pair<FourCC, std::string_view>>& names)
    {
        ByteWriter out;
        out.u32(0).u32(static_cast<std::uint32_t>(names.size()));
        for (const auto& [space, name] : names)
            out.u32(static_cast<std::uint32_t>(name.size() + 8)).fourCC(space).text(name);
        return Atom {"keys"_cc, out.toBytes()};
    }

    /// "shown key=text", "?" for what is no text.
    std::vector<std::string> lines(const QTMetaData& metadata)
    {
        std::vector<std::string> result;
        for (const auto& item : metadata.items())
            result.push_back(item.shownKey() + '=' + item.text().value_or("?"));
        return result;
    }

    TEST(QTMetaData, UserDataKeysAreHandedOutInReverse)
    {
        const auto movie = read(box("moov"_cc,
            {box("udta"_cc,
                {leaf("XMP_"_cc, "<x/>"), international("\xA9TIM"_cc, {{0, "01:02:03;04"}}),
                    leaf("\x80x\xC9y"_cc, "")})}));
        const auto metadata = QTMetaData::of(movie);
        ASSERT_THAT(metadata.items(), SizeIs(3));
        EXPECT_EQ(metadata.items()[0].key, "_PMX");
        EXPECT_EQ(metadata.items()[0].shownKey(), "XMP_");
        EXPECT_EQ(metadata.items()[0].dataType, QTMetaData::kBinary);
        EXPECT_EQ(metadata.items()[0].value, Bytes::copyOf("<x/>"));
        EXPECT_EQ(metadata.items()[1].key, "MIT\u00A9");
        EXPECT_EQ(metadata.items()[1].shownKey(), "\u00A9TIM");
        EXPECT_EQ(metadata.items()[1].keyFormat, "udta"_cc);
        EXPECT_EQ(metadata.items()[2].key, "y\u2026x\u00C4") << "Mac Roman, characters in reverse";
    }

    TEST(QTMetaData, EachLanguageOfAUserDataTextIsAnItem)
    {
        const auto metadata = QTMetaData::of(read(box("moov"_cc,
            {box("udta"_cc,
                {international("\xA9nam"_cc, {{0, "caf\x8E"}, {0x15C7, "caf\xC3\xA9"}, {0x55C4, "caf\x8E"}}),
                    leaf("\xA9"
                         "cut"_cc,
                        std::string_view("\0\x09\0\0abc", 7)),
                    leaf("\xA9"
                         "emp"_cc,
                        ""),
                    international("\xA9nul"_cc, {{0, std::string_view("ab\0cd", 5)}})})})));
        EXPECT_THAT(lines(metadata),
            ElementsAre("\u00A9nam=caf\u00E9", "\u00A9nam=caf\u00E9", "\u00A9nam=caf\u00E9", "\u00A9cut=?",
                "\u00A9"
                "emp=?",
                "\u00A9nul=ab"));
        EXPECT_EQ(metadata.items()[0].dataType, QTMetaData::kMacRoman) << "a Macintosh language";
        EXPECT_EQ(metadata.items()[1].dataType, QTMetaData::kUtf8);
        EXPECT_EQ(metadata.items()[1].locale, 0x15C7U);
    }

    TEST(QTMetaData, AllStoragesAreOneListInTheirOrderPlainOrVersioned)
    {
        for (const auto form : {Form::Plain, Form::Versioned}) {
            const auto named = meta(form,
                {handler("mdta"_cc),
                    keys({{"mdta"_cc, "com.x.title"}, {"udta"_cc, "\xC2\xA9TIM"}, {"mdta"_cc, "n"}}),
                    box("ilst"_cc,
                        {box(FourCC {3}, {data(28, "drei")}),
                            box(FourCC {1}, {data(1, "eins"), data(1, "uno", 0x15C7)}),
                            box(FourCC {2}, {data(3, "\x8E")}), box(FourCC {4}, {data(1, "no such key")}),
                            box(FourCC {}, {data(1, "nor this")})})});
            const auto shortKeys = meta(form,
                {handler("mdir"_cc),
                    box("ilst"_cc,
                        {box("\xA9nam"_cc, {data(1, "name")}), box("cpil"_cc, {data(21, "\x01")}),
                            box("----"_cc,
                                {leaf("mean"_cc, std::string_view("\0\0\0\0com.m", 9)),
                                    leaf("name"_cc, std::string_view("\0\0\0\0N", 5)), data(1, "long")}),
                            box("\xA9wrt"_cc, {data(2, std::string_view("\0x", 2))})})});
            const auto metadata = QTMetaData::of(read(box("moov"_cc,
                {named, box("udta"_cc, {shortKeys, international("\xA9inf"_cc, {{0, "user"}})})})));
            EXPECT_THAT(lines(metadata),
                ElementsAre("\u00A9inf=user", "n=drei", "com.x.title=eins", "com.x.title=uno",
                    "\u00A9TIM=\u00E9", "\u00A9nam=name", "cpil=?", "com.m.N=long", "\u00A9wrt=?"));
            EXPECT_EQ(metadata.items()[1].keyFormat, "mdta"_cc);
            EXPECT_EQ(metadata.items()[3].locale, 0x15C7U);
            EXPECT_EQ(metadata.items()[5].storage, Storage::ShortKeys);
            EXPECT_EQ(metadata.items()[5].keyFormat, "itsk"_cc);
            EXPECT_EQ(metadata.items()[7].keyFormat, "itlk"_cc);
            EXPECT_EQ(metadata.items()[8].dataType, QTMetaData::kUtf16);
        }
    }

    TEST(QTMetaData, TextsThatAreNoUtf8AreMacRoman)
    {
        QTMetaData::Item item;
        item.value = Bytes::copyOf("caf\x8E");
        for (const auto type : {QTMetaData::kUtf8, QTMetaData::kMacRoman, QTMetaData::kOtherText}) {
            item.dataType = type;
            EXPECT_EQ(item.text(), "caf\u00E9");
        }
        item.value = Bytes::copyOf("caf\u00E9");
        item.dataType = QTMetaData::kMacRoman;
        EXPECT_EQ(item.text(), "caf\u221A\u00A9") << "what says it is Mac Roman is taken at its word";
    }

    TEST(QTMetaData, DamageEndsNothingButTheItem)
    {
        const auto metadata = QTMetaData::of(read(box("moov"_cc,
            {meta(Form::Plain,
                 {handler("mdta"_cc), box("ilst"_cc, {box(FourCC {1}, {data(1, "no keys at all")})})}),
                meta(Form::Plain,
                    {keys({{"mdta"_cc, "k"}}), // no handler: the keys tell
                        box("ilst"_cc,
                            {box(FourCC {1}, {leaf("data"_cc, "short"), data(1, "whole")}),
                                leaf(FourCC {1}, "")})}),
                meta(Form::Plain, {handler("mdta"_cc)}), leaf("meta"_cc, ""), leaf("udta"_cc, "xyz")})));
        EXPECT_THAT(lines(metadata), ElementsAre("k=whole"));
    }

    /// One item in each storage and form that a text can have, and what is no text between them.
    Atom everyKind(Form form)
    {
        const auto named = meta(form,
            {handler("mdta"_cc), keys({{"mdta"_cc, "a"}, {"mdta"_cc, "hole"}, {"mdta"_cc, "b"}}),
                box("ilst"_cc,
                    {box(FourCC {1}, {data(1, "one", 0x12345678), data(1, "uno")}),
                        box(FourCC {3}, {data(13, "\xFF\xD8"), data(28, "b")})})});
        const auto shortKeys = meta(Form::Versioned,
            {handler("mdir"_cc),
                box("ilst"_cc,
                    {box("\xA9nam"_cc, {data(2, std::string_view("\0n", 2))}), leaf("free"_cc, "x")})});
        auto texts
            = international("\xA9nam"_cc, {{0, "caf\x8E"}, {0x15C7, "caf\u00E9"}, {0x15C7, "\xFE\xFF"}});
        texts.head = ByteWriter {}.bytes(texts.head.span()).text("behind").toBytes();
        return read(box("moov"_cc,
            {box("udta"_cc,
                 {leaf("XMP_"_cc, "<x/>"), texts,
                     leaf("titl"_cc,
                         std::string_view("\0\0\0\0\x15\xC7"
                                          "caf\xC3\xA9\0",
                             12)),
                     leaf("dscp"_cc, std::string_view("\0\0\0\0\x15\xC7\xFE\xFF\0d\0\0more", 16)),
                     shortKeys}),
                leaf("free"_cc, "f"), named}));
    }

    TEST(QTMetaData, AChangedItemKeepsItsPlaceTypeAndLanguageAndTheRestItsBytes)
    {
        for (const auto form : {Form::Plain, Form::Versioned}) {
            const auto before = everyKind(form);
            const auto metadata = QTMetaData::of(before);
            for (std::size_t i = 0; i < metadata.items().size(); ++i) {
                const auto& item = metadata.items()[i];
                if (!item.isText())
                    continue;
                auto after = before;
                const auto bytes = item.encode("\u00E9\u00E8 longer");
                ASSERT_TRUE(bytes);
                metadata.apply(after, {{i, *bytes}});
                const auto again = QTMetaData::of(read(after));
                ASSERT_EQ(again.items().size(), metadata.items().size());
                for (std::size_t k = 0; k < again.items().size(); ++k) {
                    const auto& other = again.items()[k];
                    EXPECT_EQ(other.key, metadata.items()[k].key);
                    EXPECT_EQ(other.dataType, metadata.items()[k].dataType);
                    EXPECT_EQ(other.locale, metadata.items()[k].locale);
                    EXPECT_EQ(other.value, k == i ? *bytes : metadata.items()[k].value) << i << ' ' << k;
                }
                QTMetaData::of(after).apply(after, {{i, item.value}});
                EXPECT_TRUE(after.writesSameAs(before)) << "the old text brings the old bytes back: " << i;
            }
        }
    }

    TEST(QTMetaData, RemovedItemsLeaveTheOthersAsTheyWere)
    {
        const auto before = everyKind(Form::Plain);
        const auto metadata = QTMetaData::of(before);
        const auto all = lines(metadata);
        for (std::size_t i = 0; i < all.size(); ++i) {
            auto after = before;
            metadata.apply(after, {{i, std::nullopt}});
            auto expected = all;
            expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(i));
            EXPECT_EQ(lines(QTMetaData::of(read(after))), expected) << i;
        }
        std::vector<QTMetaData::Change> everything;
        for (std::size_t i = 0; i < all.size(); ++i)
            everything.push_back({i, std::nullopt});
        auto after = before;
        metadata.apply(after, everything);
        EXPECT_THAT(lines(QTMetaData::of(read(after))), ElementsAre());
        EXPECT_FALSE(after.find("meta"_cc)) << "an empty list is no use";
        EXPECT_TRUE(after.find({"udta"_cc, "meta"_cc, "ilst"_cc, "free"_cc})) << "one that holds more stays";
        EXPECT_TRUE(after.find("free"_cc));
    }

    TEST(QTMetaData, AddedKeysUseTheTableThatIsThereOrMakeAPlainOne)
    {
        const auto before = everyKind(Form::Versioned);
        auto after = before;
        ASSERT_TRUE(QTMetaData::add(after, {{"hole", "filled"}, {"c\u00E9", "new"}}));
        auto expected = lines(QTMetaData::of(before));
        expected.insert(expected.end() - 1, {"hole=filled", "c\u00E9=new"});
        EXPECT_EQ(lines(QTMetaData::of(read(after))), expected);
        EXPECT_EQ(after.find({"meta"_cc, "keys"_cc})->children.size(), 4U) << "the hole had its key already";

        const auto count = expected.size();
        QTMetaData::of(after).apply(after, {{count - 3, std::nullopt}, {count - 2, std::nullopt}});
        EXPECT_EQ(after.find({"meta"_cc, "keys"_cc})->children.size(), 3U)
            << "keys in the middle keep their numbers";
        EXPECT_TRUE(after.writesSameAs(before));

        const auto empty = read(box("moov"_cc, {leaf("mvhd"_cc, "")}));
        auto made = empty;
        ASSERT_TRUE(QTMetaData::add(made, {{"k", ""}}));
        EXPECT_EQ(made.find("meta"_cc)->head.size(), 0U) << "plain";
        const auto metadata = QTMetaData::of(read(made));
        EXPECT_THAT(lines(metadata), ElementsAre("k="));
        metadata.apply(made, {{0, std::nullopt}});
        EXPECT_TRUE(made.writesSameAs(empty));

        auto damaged = read(box("moov"_cc,
            {meta(Form::Plain,
                {handler("mdta"_cc), leaf("keys"_cc, std::string_view("\0\0\0\0\0\0\0\x09", 8))})}));
        EXPECT_FALSE(QTMetaData::add(damaged, {{"k", "v"}}));
    }

    TEST(QTMetaData, TextsThatAnItemCannotHoldAreRefused)
    {
        struct EncodingFact
        {
            Storage storage;
            std::uint32_t type;
            std::string text;
            std::optional<std::string> bytes;
            const char* why;
        };
        const EncodingFact facts[] = {
            {Storage::UserData, 3, "caf\u00E9", "caf\x8E", "Mac Roman"},
            {Storage::UserData, 3, "\u65E5", std::nullopt, "not in Mac Roman"},
            {Storage::NamedKeys, 3, "caf\u00E9", std::nullopt, "under keys readers disagree on type 3"},
            {Storage::NamedKeys, 3, "cafe", "cafe", "but not on ASCII"},
            {Storage::ShortKeys, 2, "a\U0001F3A5", std::string("\0a\xD8\x3C\xDF\xA5", 6), "a surrogate pair"},
            {Storage::UserData, 1, std::string(65'534, 'x'), std::nullopt, "the length is a 16-bit number"},
            {Storage::NamedKeys, 1, std::string("a\0b", 3), std::nullopt, "readers end at the zero"},
        };
        for (const auto& fact : facts) {
            QTMetaData::Item item;
            item.storage = fact.storage;
            item.dataType = fact.type;
            const auto bytes = item.encode(fact.text);
            ASSERT_EQ(bytes.has_value(), fact.bytes.has_value()) << fact.why;
            if (bytes) {
                EXPECT_EQ(*bytes, Bytes::copyOf(*fact.bytes)) << fact.why;
            }
        }
        QTMetaData::Item nested;
        nested.dataType = QTMetaData::kOtherText;
        nested.value = leaf("abcd"_cc, "x").toBytes();
        EXPECT_FALSE(nested.isText()) << "atoms";
    }

    TEST(QTMetaData, RealFilesSayWhatTheirMakersWrote)
    {
        REELWRIGHT_NEEDS_CORPUS();
        struct RealFact
        {
            const char* file;
            const char* line;
        };
        constexpr RealFact kFacts[] = {
            {"iphone-sideways-udta-and-mdta.mov", "com.apple.quicktime.make=Apple"},
            {"iphone-sideways-udta-and-mdta.mov", "\u00A9mak=Apple"},
            {"h264-mdta-author.mov", "com.apple.quicktime.author=ReplayKitRecording"},
            {"adobe-uuid-xmp-timecode-udta.mp4", "\u00A9TIM=00:00:00:00"},
            {"itunes-tags.m4a", "\u00A9nam=Test Title"},
        };
        for (const auto& fact : kFacts) {
            const auto movie = QTMovie::open(test::corpusFolder() + "/movies/" + fact.file);
            ASSERT_TRUE(movie);
            EXPECT_THAT(lines(QTMetaData::ofMovie(*movie)), Contains(fact.line)) << fact.file;
        }
    }

} // namespace
} // namespace reelwright

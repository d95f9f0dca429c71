#include "attributes/KWMetadataController.h"

#include "attributes/MetadataPresets.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using ::testing::Contains;
    using ::testing::ElementsAre;

    using KWMetadataControllerTest = test::LogTest;

    Atom text(FourCC type, std::string_view value, std::uint16_t language = 0)
    {
        return Atom {type,
            ByteWriter {}.u16(static_cast<std::uint16_t>(value.size())).u16(language).text(value).toBytes()};
    }

    Atom data(std::uint32_t type, std::string_view value)
    {
        return Atom {"data"_cc, ByteWriter {}.u32(type).u32(0).text(value).toBytes()};
    }

    QTMovie movieWith(const std::vector<Atom>& userData, const std::vector<Atom>& keyed = {})
    {
        auto movie = test::emptyMovie();
        const EditableScope editable {movie};
        movie.editHeader().append(test::box("udta"_cc, userData));
        if (keyed.empty())
            return movie;
        std::vector<QTMetaData::NewItem> keys;
        for (std::size_t i = 0; i < keyed.size(); ++i)
            keys.push_back({fmt::format("key{}", i + 1), ""});
        EXPECT_TRUE(QTMetaData::add(movie.editHeader(), keys));
        auto& list = *movie.editHeader().edit({"meta"_cc, "ilst"_cc});
        for (std::size_t i = 0; i < keyed.size(); ++i)
            list.children[i].edit().children = {Cow<Atom>(keyed[i])};
        return movie;
    }

    /// What the movie's metadata are, as "key=value" and the type.
    std::vector<std::string> lines(const QTMovie& movie)
    {
        std::vector<std::string> result;
        for (const auto& row : KWMetadataController::allItems(QTMetaData::ofMovie(movie)))
            result.push_back(fmt::format("{}={} {}", row.key, row.value, row.item.dataType));
        return result;
    }

    TEST_F(KWMetadataControllerTest, ListsTextsUnderTheirNamesAndLogsWhatIsNone)
    {
        const auto movie
            = movieWith({text("\xA9TIM"_cc, "01:00:00:00"), Atom {"XMP_"_cc, Bytes::copyOf("<x/>")}},
                {data(1, "one"), data(2, std::string_view("\0u", 2)), data(13, "\xFF\xD8")});
        auto copy = movie;
        ASSERT_TRUE(KWMetadataController::setMetaDataValue("n", "com.apple.quicktime.displayname", copy));
        const auto rows
            = KWMetadataController::metaDataArrayFromMetaDataReference(QTMetaDataReference::ofMovie(copy));
        ASSERT_EQ(rows.size(), 2U) << "no UTF-16, no pictures, no display name";
        EXPECT_EQ(rows[0].key, "\u00A9TIM");
        EXPECT_EQ(rows[0].storedKey, "MIT\u00A9");
        EXPECT_EQ(rows[0].description, "User data: Start timecode");
        EXPECT_EQ(rows[1].description, "key1") << "a key that is not offered";
        const auto logged = messages();
        for (const auto* line : {"Non-string value of type 13 for key key3", "meta key: key1",
                 "meta val size: 3", "type: 1", "val: one", "set key: com.apple.quicktime.displayname"})
            EXPECT_THAT(logged, Contains(line));
        EXPECT_TRUE(KWMetadataController::metaDataArrayFromMetaDataReference(std::nullopt).empty());
    }

    TEST_F(KWMetadataControllerTest, SetsEveryItemOfTheKeyInItsTypeElseAddsOne)
    {
        struct SettingFact
        {
            const char* key;
            std::vector<std::string> after;
            const char* why;
        };
        const SettingFact facts[] = {
            {"\u00A9TIM", {"\u00A9TIM=neu 3", "\u00A9TIM=neu 1", "key1=x 2", "key2= 21", "key3= 28"},
                "all languages, compared in reading order"},
            {"\u00ACTIM",
                {"\u00A9TIM=a 3", "\u00A9TIM=b 1", "key1=x 2", "key2= 21", "key3= 28", "\u00ACTIM=neu 1"},
                "the other sign only counts at the end"},
            {"MIT\u00AC",
                {"\u00A9TIM=a 3", "\u00A9TIM=b 1", "key1=x 2", "key2= 21", "key3= 28", "MIT\u00A9=neu 1"},
                "there it is a copyright sign, and the stored form is not what is compared"},
            {"key1", {"\u00A9TIM=a 3", "\u00A9TIM=b 1", "key1=neu 2", "key2= 21", "key3= 28"},
                "UTF-16 stays so"},
            {"key2", {"\u00A9TIM=a 3", "\u00A9TIM=b 1", "key1=x 2", "key2= 21", "key3= 28", "key2=neu 1"},
                "a number stays"},
            {"key3", {"\u00A9TIM=a 3", "\u00A9TIM=b 1", "key1=x 2", "key2= 21", "key3= 28", "key3=neu 1"},
                "atoms stay"},
        };
        const auto before = movieWith({text("\xA9TIM"_cc, "a"), text("\xA9TIM"_cc, "b", 0x15C7)},
            {data(2, std::string_view("\0x", 2)), data(21, "\x01"),
                data(28,
                    std::string_view("\0\0\0\x08"
                                     "free",
                        8))});
        for (const auto& fact : facts) {
            auto movie = before;
            ASSERT_TRUE(KWMetadataController::setMetaDataValue("neu", fact.key, movie));
            EXPECT_EQ(lines(movie), fact.after) << fact.why;
            EXPECT_FALSE(movie.isEditable());
        }
        auto movie = before;
        EXPECT_FALSE(KWMetadataController::setMetaDataValue("x", "k", std::nullopt, movie));
        EXPECT_THAT(messages(), Contains("Unable to set metadata - no metadata ref specified"));
        EXPECT_FALSE(KWMetadataController::setMetaDataValue("\u65E5", "\u00A9TIM", movie));
        EXPECT_EQ(lines(movie), lines(before)) << "what one of the items cannot hold changes none";
    }

    TEST_F(KWMetadataControllerTest, RemovesTheFirstItemWithTheStoredKeyAndRowsByTheirPlace)
    {
        const auto before = movieWith({text("\xA9TIM"_cc, "a"), text("\xA9TIM"_cc, "b")}, {data(1, "one")});
        const auto reference = QTMetaDataReference::ofMovie(before);
        auto movie = before;
        ASSERT_TRUE(KWMetadataController::removeMetaDataKey("\u00A9TIM", reference, movie));
        EXPECT_EQ(lines(movie), lines(before)) << "that is not how it is stored";
        ASSERT_TRUE(KWMetadataController::removeMetaDataKey("MIT\u00A9", reference, movie));
        EXPECT_THAT(lines(movie), ElementsAre("\u00A9TIM=b 3", "key1=one 1"));

        movie = before;
        const auto rows = KWMetadataController::metaDataArrayFromMetaDataReference(reference);
        ASSERT_TRUE(KWMetadataController::removeMetaData(rows.at(1), movie));
        EXPECT_THAT(lines(movie), ElementsAre("\u00A9TIM=a 3", "key1=one 1"));

        movie = before;
        EXPECT_EQ(KWMetadataController::removeMetaDataKeys({"\u00A9TIM", "key1"}, reference, movie), 3U);
        EXPECT_TRUE(lines(movie).empty());
    }

    TEST_F(KWMetadataControllerTest, TitleAndCopyrightAreWrittenWhereTheyAre)
    {
        auto movie = test::emptyMovie();
        EXPECT_EQ(KWMetadataController::copyright(movie), std::nullopt);
        ASSERT_TRUE(KWMetadataController::setCopyright("", movie));
        EXPECT_TRUE(lines(movie).empty()) << "nothing is no item";
        ASSERT_TRUE(KWMetadataController::setCopyright("me", movie));
        ASSERT_TRUE(KWMetadataController::setDisplayName("clip", movie));
        EXPECT_THAT(lines(movie),
            ElementsAre("com.apple.quicktime.copyright=me 1", "com.apple.quicktime.displayname=clip 1"));
        KWMetadataItem row;
        row.attribute = kCopyrightAttribute;
        ASSERT_TRUE(KWMetadataController::removeMetaData(row, movie));
        EXPECT_EQ(KWMetadataController::copyright(movie), "");

        auto old = movieWith({text("\xA9nam"_cc, "old"),
            text("\xA9"
                 "cpy"_cc,
                "old")});
        EXPECT_EQ(KWMetadataController::displayName(old), "old");
        ASSERT_TRUE(KWMetadataController::setDisplayName("new", old));
        ASSERT_TRUE(KWMetadataController::setCopyright("new", old));
        EXPECT_THAT(lines(old),
            ElementsAre("\u00A9nam=new 3",
                "\u00A9"
                "cpy=new 3"));
    }

    TEST_F(KWMetadataControllerTest, ManyItemsAreSetInOnePass)
    {
        constexpr std::size_t kCount = 25'000;
        auto movie = test::emptyMovie();
        std::vector<KWMetadataValue> values;
        for (std::size_t i = 0; i < kCount; ++i)
            values.push_back({fmt::format("key{}", i), "a"});
        const auto reference = QTMetaDataReference::ofMovie(movie);
        ASSERT_TRUE(KWMetadataController::setMetaDataValues(values, reference, movie));
        for (auto& value : values)
            value.value = value.key;
        ASSERT_TRUE(KWMetadataController::setMetaDataValues(values, reference, movie));
        const auto rows = KWMetadataController::metaDataArrayFromMetaDataReference(reference);
        ASSERT_EQ(rows.size(), kCount);
        EXPECT_EQ(rows.back().value, "key24999");
    }

    TEST(MetadataPresets, HaveTheirGroups)
    {
        std::vector<std::string> names;
        for (const auto& group : MetadataPresets::groups())
            names.push_back(group.name);
        EXPECT_THAT(names, ElementsAre("General", "Camera", "Production", "Final Cut", "ARRI", "User data"));
        EXPECT_EQ(MetadataPresets::description("com.apple.quicktime.make"), "Camera: Make");
    }

} // namespace
} // namespace reelwright

#include "attributes/MetadataList.h"

#include "attributes/MetadataTable.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using Format = MetadataList::Format;
    using ::testing::ElementsAre;

    constexpr auto kHard = "a \"quoted\", \n\r\n<text>\twith everything \u00E9\U0001F3A5 ";

    QTMovie movieWith(const std::vector<KWMetadataValue>& values)
    {
        auto movie = test::emptyMovie();
        const auto refused
            = KWMetadataController::importMetaDataValues(values, QTMetaDataReference::ofMovie(movie), movie);
        EXPECT_TRUE(refused && refused->empty());
        return movie;
    }

    std::vector<std::string> pairs(const std::vector<KWMetadataItem>& rows)
    {
        std::vector<std::string> result;
        for (const auto& row : rows)
            result.push_back(row.key + '=' + row.value);
        return result;
    }

    std::vector<std::string> parsed(std::string_view text, std::string_view ending)
    {
        const auto rows = MetadataList::parse(std::as_bytes(std::span {text}), ending);
        return rows ? pairs(*rows) : std::vector<std::string> {rows.error().detail};
    }

    TEST(MetadataList, TellsTheDialectsOfAListApart)
    {
        struct ListFact
        {
            const char* ending;
            std::string text;
            std::vector<std::string> rows;
            const char* why;
        };
        const ListFact facts[] = {
            {"csv", "Description,Value\n", {}, "a header alone"},
            {"csv", "Description,Value\na,b,c\n", {"a=b"}, "further fields are nobody's"},
            {"csv", "Description,Value\n\"a\",\"say \"hi\", you\"\n\"c\",\"d\"\n",
                {"a=say \"hi\", you", "c=d"}, "quotes that are not doubled, as this program writes them"},
            {"csv", "Description,Value\n\"a\",\"one\ntwo\"\n\"c\",\"d\"\n", {"a=one\ntwo", "c=d"},
                "a value of two lines"},
            {"csv", "Description,Value\n\"Camera: Make\",\"X\"\n", {"com.apple.quicktime.make=X"},
                "the description of a known key is that key"},
            {"csv", "Value;Key\r\n\"x;\"\"y\"\"\";k\r\n", {"k=x;\"y\""}, "a spreadsheet of another country"},
            {"csv", "\xEF\xBB\xBFKey,Value\r\nk,v\r\n", {"k=v"}, "a byte-order mark"},
            {"csv", std::string("\xFF\xFEK\0,\0V\0\n\0k\0,\0\xE9\0", 16), {"k=\u00E9"}, "UTF-16"},
            {"txt", "k\tv\tmore\nno tab\n", {"k=v"}, "tabs"},
            {"txt", "[{\"key\": \"k\", \"value\": \"v\"}, {\"key\": \"n\", \"value\": null}]", {"k=v"},
                "JSON under another ending; what is no text"},
            {"json", "{\"metadata\": 3}", {"the list is no JSON array of objects with key and value"},
                "no list"},
            {"csv", "Key,Value\n\xFF\xFF,v\n",
                {"the list is neither UTF-8 nor UTF-16 text; save it as UTF-8"}, "another encoding"},
        };
        for (const auto& fact : facts)
            EXPECT_EQ(parsed(fact.text, fact.ending), fact.rows) << fact.why;
    }

    TEST(MetadataList, ExactFormatsBringEveryTextBack)
    {
        const std::vector<KWMetadataValue> values
            = {{"Title", "t"}, {"k", kHard}, {"k", "second"}, {"com.apple.quicktime.make", ""}};
        const auto movie = movieWith(values);
        for (const auto format : {Format::QuotedCsv, Format::JsonList}) {
            const auto text = MetadataList::text(KWMetadataController::movieRows(movie), format, &movie);
            const auto again = MetadataList::parse(
                std::as_bytes(std::span {text}), format == Format::QuotedCsv ? "csv" : "json");
            ASSERT_TRUE(again);
            auto copy = movie;
            const auto refused = KWMetadataController::importMetaDataValues(
                MetadataList::selectedValues(*again), QTMetaDataReference::ofMovie(copy), copy);
            ASSERT_TRUE(refused && refused->empty());
            EXPECT_TRUE(copy.header().writesSameAs(movie.header())) << "it says what is there";
            EXPECT_TRUE(movieWith(MetadataList::selectedValues(*again))
                            .header()
                            .find("meta"_cc)
                            ->writesSameAs(*movie.header().find("meta"_cc)));
        }
        const auto plain = MetadataList::text(
            KWMetadataController::movieRows(movieWith({{"k", "a \"b\""}})), Format::Csv, &movie);
        EXPECT_EQ(plain, "Description,Value\n\"Copyright\",\"\"\n\"Title\",\"\"\n\"k\",\"a \"b\"\"\n");
    }

    TEST(MetadataTable, ChangesWhatItsCellsSay)
    {
        const auto before = movieWith({{"Title", "t"}, {"k", "<old"}, {"gone", "x"}, {"kept", "y"}});
        const auto text = MetadataTable::text({MetadataTable::rowsOf("clip.mov", before)});
        EXPECT_EQ(text, "File,Title,Copyright,k,gone,kept\r\nclip.mov,t,,<<old,x,y\r\n");

        const test::TempFolder folder;
        const auto table
            = [](std::string_view csv) { return MetadataTable::parse(std::as_bytes(std::span {csv})); };
        auto movie = before; // a movie without a file has the name ""
        const auto changes = table("File,Title,k,gone,kept,Camera: Make\r\n,T2,<<new,<remove>,,ARRI\r\n");
        ASSERT_TRUE(changes);
        ASSERT_TRUE(changes->apply(movie));
        EXPECT_THAT(pairs(KWMetadataController::allItems(QTMetaData::ofMovie(movie))),
            ElementsAre(
                "com.apple.quicktime.displayname=T2", "k=<new", "kept=y", "com.apple.quicktime.make=ARRI"));

        const auto other = table("File,k\nother.mov,x\n");
        ASSERT_TRUE(other);
        EXPECT_FALSE(other->apply(movie));
        // A cell that is wrong is told, and the others are done.
        const auto half = table("File,k,kept\n,<x,z\n");
        ASSERT_TRUE(half);
        const auto applied = half->apply(movie);
        ASSERT_TRUE(applied);
        EXPECT_EQ(applied->cells, 2U);
        EXPECT_THAT(applied->refused, ElementsAre(testing::HasSubstr("\"<x\" under k")));
        EXPECT_THAT(pairs(KWMetadataController::allItems(QTMetaData::ofMovie(movie))),
            ElementsAre(
                "com.apple.quicktime.displayname=T2", "k=<new", "kept=z", "com.apple.quicktime.make=ARRI"));
        for (const auto* wrong : {"k,v\n", "File,k,k\n", "File,k\n,a\n,b\n", "File\na,b\n"})
            EXPECT_FALSE(table(wrong)) << wrong;
    }

} // namespace
} // namespace reelwright

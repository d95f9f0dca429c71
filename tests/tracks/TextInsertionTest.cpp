#include "tracks/TextInsertion.h"

#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tracks/TextLists.h"
#include "tracks/TextStyleJson.h"
#include "tracks/TrackInsertion.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::HasSubstr;

    Bytes fromHex(std::string_view text)
    {
        std::vector<std::byte> bytes;
        for (std::size_t i = 0; i + 1 < text.size(); i += 2)
            bytes.push_back(static_cast<std::byte>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
        return Bytes::adopt(std::move(bytes));
    }

    TEST(TextStyle, DescriptionsAreReadAndWrittenAsFilesHaveThem)
    {
        struct Fact
        {
            FourCC format;
            const char* payload;
            const char* json;
            const char* why;
        };
        const Fact facts[] = {
            {"text"_cc,
                "0000000000000001"
                "00000000"
                "00000001"
                "ff00ff00ff00"
                "00000000005a0258"
                "00000000"
                "0024001b"
                "0014"
                "0200"
                "0024"
                "000000000000"
                "0554696d6573",
                R"({"box":[0,0,600,90],"align":"center","size":36,"color":"#000000","background":"#FFFFFF",)"
                R"("bold":false,"italic":true,"underline":false,"font":"Times"})",
                "a player of the nineties wrote this: the face is one byte and a filler"},
            {"tx3g"_cc,
                "0000000000000001"
                "00000000"
                "01ff"
                "00000000"
                "0000006c05000000"
                "00000000"
                "0001"
                "00"
                "24"
                "ffffffff"
                "00000012"
                "66746162"
                "0001"
                "0001"
                "05"
                "417269616c",
                R"({"box":[108,0,-108,1280],"align":"center","size":36,"color":"#FFFFFF","background":null,)"
                R"("bold":false,"italic":false,"underline":false,"font":"Arial"})",
                "a subtitle encoder's, whose box has left and right exchanged"},
        };
        for (const auto& [format, payload, json, why] : facts) {
            const Atom entry {format, fromHex(payload)};
            const auto style = TextStyle::of(SampleDescription {entry});
            ASSERT_TRUE(style) << why;
            EXPECT_EQ(textStyle::json(*style), json) << why;
            EXPECT_EQ(style->description(format).head, entry.head) << why;
            for (std::size_t size = 0; size < 38; ++size)
                EXPECT_FALSE(TextStyle::of(SampleDescription {Atom {format, entry.head.slice(0, size)}}))
                    << size;
        }
    }

    class TextInsertionTest : public testing::Test
    {
    protected:
        TextInsertionTest()
        {
            test::writeFile(path, test::readFile(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/pal-25.mov"));
            movie = QTMovie::open(path).value();
            track.emplace(TrackInsertion::insertEmptyTrack(KWMovTrack::kText, {}, movie).value().track());
        }

        Result<TextNotes> add(const std::string& text, QTTime start, QTTime duration)
        {
            const auto box = TextInsertion::usualBox(track->size().width, track->size().height);
            return TextInsertion::addText(
                text, *track, box, TextAlignment::Center, 24, {0xFFFF, 0xFFFF, 0xFFFF}, duration, start);
        }

        /// "text start-end", in seconds.
        std::vector<std::string> shown() const
        {
            std::vector<std::string> all;
            const auto texts = TextInsertion::texts(*track).value();
            for (const auto& text : texts)
                all.push_back(
                    fmt::format("{} {:g}-{:g}", text.text, text.start.seconds(), text.end.seconds()));
            return all;
        }

        test::TempFolder folder;
        const std::string path = folder.file("movie.mov");
        QTMovie movie;
        std::optional<QTTrack> track;
    };

    TEST_F(TextInsertionTest, ATextEndsWhereTheNextOneBeginsAndNothingIsLostWithoutAWord)
    {
        ASSERT_TRUE(add("A", {0, 1}, {4, 10}));
        EXPECT_THAT(
            add("B", {2, 10}, {1, 10})->remarks, testing::ElementsAre(HasSubstr("\"A\" ends at 0.2 s")));
        EXPECT_THAT(add("C", {1, 10}, {5, 10})->remarks, testing::Contains(HasSubstr("\"C\" ends at 0.2 s")));
        EXPECT_THAT(shown(), testing::ElementsAre("A 0-0.1", "C 0.1-0.2", "B 0.2-0.3"));
        const auto before = shown();
        EXPECT_THAT(add("D", {1, 10}, {1, 10}).error().detail, HasSubstr("begins at 0.1 s already"));
        EXPECT_THAT(add("E", {1000, 1}, {1, 1}).error().detail, HasSubstr("the movie ends at"));
        EXPECT_FALSE(add("", {3, 10}, {1, 10}));
        EXPECT_FALSE(add("F", {3, 10}, {0, 10}));
        EXPECT_FALSE(add(std::string(70'000, 'x'), {3, 10}, {1, 10})) << "no sample holds that";
        EXPECT_EQ(shown(), before);
    }

    TEST_F(TextInsertionTest, TimesAreExactAndSamplesThatNobodyTouchedStayByteForByte)
    {
        ASSERT_TRUE(add("Grüße\n日本語", {1001, 30000}, {1001, 30000}));
        auto texts = TextInsertion::texts(*track).value();
        ASSERT_EQ(texts.size(), 1U);
        EXPECT_EQ(texts[0].start, (QTTime {1001, 30000}));
        EXPECT_EQ(texts[0].end, (QTTime {2002, 30000}));
        // Styles of single characters are another program's: they stay until the text is changed.
        auto sample = texts[0].sample;
        ByteWriter styled;
        styled.bytes(sample.span()).u32(12).fourCC("hclr"_cc).u32(7);
        texts[0].sample = styled.toBytes();
        ASSERT_TRUE(TextInsertion::setTexts(texts, *track));
        ASSERT_TRUE(add("later", {5, 10}, {1, 10}));
        const auto kept = TextInsertion::texts(*track).value();
        EXPECT_EQ(kept[0].sample, texts[0].sample);
        EXPECT_EQ(track->media().sampleDescriptionCount(), 1U);
        ASSERT_TRUE(MovieSaver::writeToFile(movie, path));
        const auto saved = QTMovie::open(path).value();
        EXPECT_EQ(TextInsertion::texts(saved.tracksOfMediaType(QTMediaTypeText).front()).value(), kept);
    }

    TEST_F(TextInsertionTest, OneDescriptionServesTextsThatDifferInWhatASampleCanSay)
    {
        ASSERT_TRUE(add("plain", {0, 1}, {1, 10}));
        auto texts = TextInsertion::texts(*track).value();
        auto red = texts[0];
        red.start = {2, 10};
        red.end = {3, 10};
        ASSERT_TRUE(textStyle::apply(R"({"color": "#FF0000", "size": 40, "bold": true})", red.style));
        red.setText("red");
        auto right = red;
        right.start = {4, 10};
        right.end = {5, 10};
        right.setAlignment(TextAlignment::Right);
        ASSERT_TRUE(TextInsertion::setTexts({texts[0], red, right}, *track));
        const auto read = TextInsertion::texts(*track).value();
        ASSERT_EQ(read.size(), 3U);
        EXPECT_EQ(textStyle::json(read[1].style), textStyle::json(red.style));
        EXPECT_EQ(read[2].alignment(), TextAlignment::Right);
        EXPECT_EQ(read[1].description, 1U);
        EXPECT_EQ(track->media().sampleDescriptionCount(), 2U) << "no sample can say an alignment";
        // Without texts the track is as a new one.
        ASSERT_TRUE(TextInsertion::setTexts({}, *track));
        EXPECT_EQ(track->range().duration.value, 1);
        EXPECT_TRUE(shown().empty());
    }

    TEST(TextLists, BothFormsAreReadWithWhatOthersPutIntoThem)
    {
        struct Fact
        {
            const char* list;
            const char* entries; ///< "start-end text" in milliseconds, "|" between them
            std::size_t refused;
            const char* why;
        };
        const Fact facts[] = {
            {"1\n00:00:01,000 --> 00:00:02,500\nHello\nthere\n\n2\n00:00:03,000 --> 00:00:04,000\nBye\n",
                "1000-2500 Hello\nthere|3000-4000 Bye", 0, "SubRip"},
            {"\r\n1\r\n00:00:01.0 --> 00:00:02,5  X1:10 X2:20\r\n{\\an8}<b>A</b> < B &amp;\r\n",
                "1000-2500 A < B &amp;", 0,
                "SubRip as it occurs: coordinates, positions, tags, a point, short fractions"},
            {"1\n00:00:01,000 --> 00:00:02,000\nA\n2\n00:00:02,000 --> 00:00:03,000\nB",
                "1000-2000 A|2000-3000 B", 0, "no blank line between, no line end at the end"},
            {"1\n00:00:61,000 --> 00:00:02,000\nA\n\n2\n00:00:05,000 --> 00:00:04,000\nB\n\n3\n00:00:06,000 "
             "--> "
             "00:00:07,000\nC\n",
                "6000-7000 C", 2, "seconds above 59, an end before its start"},
            {"WEBVTT - title\n\nNOTE a\nb\n\nSTYLE\n::cue { }\n\nintro\n00:01.000 --> 00:02.000 "
             "align:left\n<v Ann>Hi "
             "&amp; &lt;you&gt;</v>\n",
                "1000-2000 Hi & <you>", 0, "WebVTT with a name, notes, settings, voices"},
        };
        for (const auto& [list, entries, refused, why] : facts) {
            const auto parsed = TextLists::parsed(list);
            ASSERT_TRUE(parsed) << why;
            std::string all;
            for (const auto& entry : parsed->entries)
                all += fmt::format(
                    "{}{}-{} {}", all.empty() ? "" : "|", entry.start.value, entry.end.value, entry.text);
            EXPECT_EQ(all, entries) << why;
            EXPECT_EQ(parsed->refused.size(), refused) << why;
        }
        EXPECT_FALSE(TextLists::parsed("no list\n"));
    }

    TEST(TextLists, WhatIsWrittenIsReadAsItWas)
    {
        TextCue cue;
        cue.setText("a & <b>\n\n--> c");
        cue.start = {3723004, 1000};
        cue.end = {3724000, 1000};
        cue.style.fontFace = TextStyle::kItalic;
        cue.setAlignment(TextAlignment::Right);
        EXPECT_EQ(TextLists::written(TextLists::Format::WebVtt, {cue}),
            "WEBVTT\n\n01:02:03.004 --> 01:02:04.000 align:right\n<i>a &amp; &lt;b&gt;\n\u00A0\n--&gt; "
            "c</i>\n");
        const auto read = TextLists::parsed(TextLists::written(TextLists::Format::WebVtt, {cue}));
        ASSERT_EQ(read->entries.size(), 1U);
        EXPECT_EQ(read->entries[0].text, "a & <b>\n\u00A0\n--> c") << "an empty line would end the text";
        EXPECT_EQ(read->entries[0].face, TextStyle::kItalic);
        EXPECT_EQ(read->entries[0].alignment, TextAlignment::Right);
        EXPECT_EQ(TextLists::written(TextLists::Format::Srt, {cue}).substr(0, 33),
            "1\n01:02:03,004 --> 01:02:04,000\n<");
    }

} // namespace
} // namespace reelwright

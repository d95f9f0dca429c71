#include "movie/ChapterList.h"

#include "movie/TextTrack.h"
#include "movie/files/MediaSources.h"
#include "movie/samples/SampleTableBuilder.h"
#include "movie/saving/MovieSaver.h"
#include "tests/helpers/TestFiles.h"
#include "tests/helpers/TestMovie.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using test::TempFolder;
    using ::testing::ElementsAre;
    using Chapters = std::vector<Chapter>;

    /// A movie of ten seconds at 23.976 frames a second.
    QTMovie film(std::uint32_t movieScale = 600)
    {
        auto movie = test::emptyMovie(movieScale);
        test::TestTrack video;
        video.mediaScale = 24000;
        video.times = {{240, 1001}};
        video.samples.resize(240);
        test::addTrack(movie, video);
        return movie;
    }

    Chapters chaptersOf(const QTMovie& movie)
    {
        const auto chapters = chapterList::read(movie);
        EXPECT_TRUE(chapters) << chapters.error().message();
        return chapters.value_or(Chapters {});
    }

    void replace(QTMovie& movie, const Chapters& chapters)
    {
        const EditableScope editable {movie};
        const auto done = chapterList::replace(movie, chapters);
        EXPECT_TRUE(done) << done.error().message();
    }

    /// A text track over these samples, with that edit list, which a track of the movie refers to.
    QTTrack addTexts(
        QTMovie& movie, const std::vector<Bytes>& samples, const EditList& edits, FourCC format = "text"_cc)
    {
        ByteWriter media;
        SampleTableBuilder tables;
        for (const auto& sample : samples)
            media.bytes(sample.span());
        tables.beginChunk(movie.sources().addMemory(media.toBytes()), 1);
        for (const auto& sample : samples)
            EXPECT_TRUE(tables.add({1000, static_cast<std::uint32_t>(sample.size())}));
        test::TestTrack text;
        text.mediaType = QTMediaTypeText;
        text.trackID = 20 + static_cast<std::uint32_t>(movie.tracks().size());
        text.mediaScale = 1000;
        text.edits = edits;
        auto description = TextStyle {}.description(textMedia::kQuickTimeText);
        description.type = format;
        text.descriptions = {description};
        const auto track = test::addTrack(movie, text);
        const EditableScope editable {movie};
        tables.write(*track.editAtom()->edit({"mdia"_cc, "minf"_cc, "stbl"_cc}));
        EXPECT_TRUE(movie.tracks().front().addReference("chap"_cc, track.trackID()));
        return track;
    }

    Bytes sample(std::string_view text, const Bytes& extension = {})
    {
        ByteWriter out;
        out.u16(static_cast<std::uint16_t>(text.size())).text(text).bytes(extension.span());
        return out.toBytes();
    }

    TEST(ChapterList, ReadsBackWhatWasWrittenToTheFileInPlace)
    {
        const Chapters cases[] = {
            {{"From the start", {0, 600}}, {"Later", {1001 * 24, 24000}}},
            {{"A first chapter between two units of the movie", {1001, 24000}}, {"Next", {2002, 24000}}},
            {{"", {3, 1}}, {"Zwei „Ü“ 四 🎬", {7, 2}}, {std::string(65'535, 'x'), {9, 1}}},
            {{"Two at one time", {4, 1}}, {"and one at the end", {4, 1}}, {"", {6006, 600}}},
        };
        for (const auto& chapters : cases) {
            const TempFolder folder;
            const auto path = folder.file("film.mov");
            ASSERT_TRUE(MovieSaver::writeToFile(film(), path));
            auto movie = QTMovie::open(path).value();
            const auto size = movie.file()->state.size;
            replace(movie, chapters);
            const SaveOptions anyVolume {{}, VolumeRule::Any};
            ASSERT_TRUE(MovieSaver::updateMovieFile(movie, anyVolume));
            const auto saved = QTMovie::open(path).value();
            // The first start is one of the movie's own scale, rounded up to it.
            auto expected = chapters;
            if (atScale(expected.front().start, 600) != expected.front().start)
                expected.front().start = {26, 600};
            EXPECT_EQ(chaptersOf(saved), expected);
            EXPECT_EQ(saved.duration(), movie.duration());
            EXPECT_GT(saved.file()->state.size, size);
            ASSERT_EQ(saved.tracks().size(), 2U);
            EXPECT_FALSE(saved.tracks()[1].isEnabled());
            EXPECT_THAT(
                saved.tracks()[0].references().at("chap"_cc), ElementsAre(saved.tracks()[1].trackID()));
        }
    }

    TEST(ChapterList, RewritesTheTrackThatIsThereAndRemovesAllOfThemWithTheLast)
    {
        auto movie = film();
        const auto first = addTexts(movie, {sample("one"), sample("two")}, {}, "tx3g"_cc);
        const auto second = addTexts(movie, {sample("eins")}, {});
        replace(movie, {{"drei", {1, 1}}, {"Ü", {2, 1}}});
        EXPECT_EQ(chaptersOf(movie), (Chapters {{"drei", {1, 1}}, {"Ü", {2, 1}}}));
        EXPECT_EQ(first.media().sampleDescription(1)->format(), "tx3g"_cc);
        EXPECT_EQ(first.media().sampleData(2).value(), sample("Ü")); // no extension says UTF-8 in 3GPP text
        EXPECT_EQ(second.media().sampleCount(), 1U);
        EXPECT_EQ(movie.tracks().size(), 3U);
        replace(movie, {});
        EXPECT_EQ(movie.tracks().size(), 1U);
        EXPECT_TRUE(movie.tracks()[0].references().empty());
    }

    TEST(ChapterList, GoesThroughTheEditListOfTheTrack)
    {
        constexpr std::int32_t kNormal = 1 << 16;
        struct Case
        {
            std::vector<EditList::Edit> edits;
            Chapters expected;
            const char* why;
        };
        const Case cases[] = {
            {{{600, -1, kNormal}, {1800, 0, kNormal}}, {{"a", {1, 1}}, {"b", {2, 1}}, {"c", {3, 1}}},
                "a gap in front"},
            {{{600, 1500, kNormal}}, {{"b", {0, 1}}, {"c", {1, 2}}}, "cut at both ends, within a sample"},
            {{{600, 2000, kNormal}, {600, 0, kNormal}}, {{"c", {0, 1}}, {"a", {1, 1}}, {"b", {2, 1}}},
                "turned round; the last edit ends where a sample of no length might begin"},
            {{{300, 0, 2 * kNormal}, {600, 1000, 0}}, {{"a", {0, 1}}, {"b", {1, 2}}},
                "double speed, then one held"},
        };
        for (const auto& [edits, expected, why] : cases) {
            auto movie = film();
            EditList list;
            list.edits = edits;
            addTexts(movie, {sample("a"), sample("b"), sample("c")}, list);
            EXPECT_EQ(chaptersOf(movie), expected) << why;
        }
    }

    TEST(ChapterList, KeepsTheListOfTheUserDataInStepAndReadsItAlone)
    {
        auto movie = film();
        const auto listOf = [](std::uint8_t version, std::string_view name) {
            ByteWriter out;
            out.u8(version).u24(0);
            if (version != 0)
                out.u32(0);
            out.u8(1).u64(5'000'000).u8(static_cast<std::uint8_t>(name.size())).text(name);
            return out.toBytes();
        };
        for (const auto version : {std::uint8_t {0}, std::uint8_t {1}}) {
            const EditableScope editable {movie};
            ASSERT_TRUE(movie.setUserDataItem("chpl"_cc, listOf(version, "alone")));
            EXPECT_EQ(chaptersOf(movie), (Chapters {{"alone", {1, 2}}}));
            // Names are cut at a character.
            ASSERT_TRUE(chapterList::replace(movie, {{std::string(254, 'x') + "ü", {1, 2}}}));
            EXPECT_EQ(movie.userDataItem("chpl"_cc), listOf(version, std::string(254, 'x')));
            ASSERT_TRUE(chapterList::replace(movie, {}));
            EXPECT_FALSE(movie.userDataItem("chpl"_cc));
        }
    }

    TEST(TextMedia, DecodesTheEncodingsThatOccur)
    {
        const auto unicode = ByteWriter {}.u32(12).fourCC("encd"_cc).u32(0x100).toBytes();
        struct Case
        {
            Bytes sample;
            const char* text;
            const char* why;
        };
        using namespace std::string_view_literals;
        const Case cases[] = {
            {sample("Ü"), "Ü", "UTF-8 without a word of it"},
            {sample("\xDC\x62"), "‹b", "Mac Roman"},
            {sample("\xFE\xFF\x56\xDB\xD8\x3C\xDF\xAC"), "四🎬", "UTF-16 with its mark"},
            {sample("\xFF\xFE\xDB\x56"), "四", "the other byte order"},
            {sample("\0\xDC\x56\xDB"sv, unicode), "Ü四", "UTF-16 that only the extension tells"},
            {sample("Ü", unicode), "Ü", "UTF-8 and the extension"},
            {Bytes::copyOf("\0\x40zwei"sv), "zwei", "claims more than there is"},
            {Bytes::copyOf("\0"sv), "", "too short for its length"},
        };
        for (const auto& [bytes, text, why] : cases)
            EXPECT_EQ(textMedia::decode(bytes.span()), text) << why;
        EXPECT_EQ(textMedia::decode(textMedia::encode("Ünd", "text"_cc).span()), "Ünd");
        EXPECT_EQ(textMedia::encode(std::string(65'534, 'x') + "ü", "text"_cc).size(), 65'536U);
    }

    TEST(TextMedia, RefusesTracksWithTooManyTexts)
    {
        auto movie = film();
        test::TestTrack text;
        text.mediaType = QTMediaTypeText;
        text.trackID = 7;
        text.descriptions = {TextStyle {}.description(textMedia::kQuickTimeText)};
        text.times = {{static_cast<std::uint32_t>(textMedia::kMaxSamples) + 1, 1}};
        const auto track = test::addTrack(movie, text);
        EXPECT_FALSE(textMedia::shownTexts(track));
    }

} // namespace
} // namespace reelwright

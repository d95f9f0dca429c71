#include "conform/ExactConform.h"

#include "movie/ChapterList.h"
#include "tests/conform/ConformTest.h"
#include "tracks/KWQuickTime.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using testing::HasSubstr;

    struct RateFact
    {
        const char* text;
        ExactRate rate; ///< 0 for none
    };

    TEST(ExactRate, TextsAreExactRates)
    {
        const RateFact facts[] = {
            {"25", {25, 1}},
            {"23.976", {24000, 1001}},
            {"23,98", {24000, 1001}},
            {"29.97", {30000, 1001}},
            {"119.88", {120000, 1001}},
            {"12.5", {25, 2}},
            {"48000/2002", {24000, 1001}},
            {"0.5", {0, 1}},
            {"24p", {0, 1}},
            {"1/0", {0, 1}},
            {"-25", {0, 1}},
        };
        for (const auto& fact : facts)
            EXPECT_EQ(ExactRate::parse(fact.text).value_or(ExactRate {}), fact.rate) << fact.text;
    }

    struct ExactFact
    {
        std::uint32_t movieScale;
        std::uint32_t mediaScale;
        std::vector<SampleTable::TimeRun> times;
        ExactRate from;
        ExactRate to;
        std::uint32_t newScale; ///< of the picture
        std::vector<SampleTable::TimeRun> newTimes;
        const char* why;
    };

    TEST(ExactConform, ChoosesAScaleInWhichFramesAreWhole)
    {
        const ExactFact facts[] = {
            {600, 600, {{900'000, 24}}, {25, 1}, {24000, 1001}, 24000, {{900'000, 1001}}, "ten hours"},
            {600, 25, {{100, 1}}, {25, 1}, {24, 1}, 24000, {{100, 1000}}, "one unit a frame"},
            {1000, 30000, {{100, 1001}}, {30000, 1001}, {25, 1}, 25000, {{100, 1000}}, "a film rate"},
            {600, 600, {{99, 24}, {1, 36}}, {25, 1}, {24, 1}, 24000, {{99, 1000}, {1, 1500}},
                "a last frame held"},
            {600, 600, {{49, 20}, {1, 21}}, {30000, 1001}, {24, 1}, 12012, {{49, 500}, {1, 525}},
                "29.97 rounded to 600ths: every length by the same factor"},
            {600, 600, {{10, 20}, {10, 40}}, {20, 1}, {25, 1}, 750, {{10, 20}, {10, 40}}, "varying lengths"},
        };
        for (const auto& fact : facts) {
            auto movie = test::emptyMovie(fact.movieScale);
            test::TestTrack video;
            video.mediaScale = fact.mediaScale;
            video.times = fact.times;
            test::addTrack(movie, video);
            ASSERT_EQ(ExactConform::pictureRate(movie), fact.from) << fact.why;
            ASSERT_TRUE(ExactConform::apply(movie, {fact.to})) << fact.why;
            const auto media = movie.tracks()[0].media();
            const auto table = media.sampleTable();
            EXPECT_EQ(media.header().timeScale, fact.newScale) << fact.why;
            ASSERT_EQ(table.timeRunCount(), fact.newTimes.size()) << fact.why;
            for (std::size_t i = 0; i < fact.newTimes.size(); ++i)
                EXPECT_EQ(table.timeRun(i).duration, fact.newTimes[i].duration) << fact.why;
            EXPECT_EQ(media.header().duration, table.duration()) << fact.why;
        }
    }

    TEST(ExactConform, EverythingInTheMovieKeepsStep)
    {
        auto movie = test::offRateMovie(
            {.movieScale = 600, .mediaScale = 600, .rate = 25, .soundTracks = 1, .hasTimecode = true});
        test::TestTrack text;
        text.mediaType = "text"_cc;
        text.trackID = 7;
        text.mediaScale = 600;
        text.times = {{2, 600}};
        test::addTrack(movie, text);
        {
            const EditableScope scope {movie};
            ASSERT_TRUE(movie.setUserDataItem("chpl"_cc,
                ByteWriter {}.u32(1 << 24).u8(0).u32(1).u64(10'000'000).u8(1).text("a").toBytes()));
        }
        const auto report = ExactConform::apply(movie, {{24000, 1001}});
        ASSERT_TRUE(report) << report.error().message();
        const auto tracks = movie.tracks();
        EXPECT_EQ(movie.timeScale(), 24000);
        EXPECT_EQ(movie.duration(), (QTTime {50 * 1001, 24000}));
        EXPECT_EQ(tracks[0].editList()->edits[1].mediaTime, 1001);
        EXPECT_EQ(tracks[0].editList()->duration(), 50U * 1001);
        EXPECT_EQ(tracks[1].media().timeScale(), 46034);
        EXPECT_EQ(tracks[1].media().sampleDescription(1)->sound()->sampleRate, 46034);
        EXPECT_EQ(tracks[1].media().sampleTable().firstDuration(), 1U);
        ASSERT_EQ(report->sounds.size(), 1U);
        EXPECT_LT(report->sounds[0].driftFrames, 0.001);
        const auto& chapters = tracks[2];
        EXPECT_EQ(chapters.media().timeScale(), 24000);
        EXPECT_EQ(chapters.media().sampleTable().firstDuration(), 25025U) << "a second of 25 frames";
        EXPECT_EQ(chapterList::read(movie)->front().start.value, 10'427'083) << "in 100 ns, as 25025";
        const auto timecode = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        ASSERT_EQ(timecode.size(), 1U);
        const auto definition = timecode[0].media().sampleDescription(1)->timecode()->definition;
        EXPECT_EQ(definition.numberOfFrames, 24);
        EXPECT_EQ(definition.timeScale, 24000U);
        EXPECT_EQ(definition.frameDuration, 1001U);
        EXPECT_FALSE(movie.isEditable());
    }

    TEST(ExactConform, DriftOfMoreThanAFrameHasToBeAccepted)
    {
        auto movie = test::emptyMovie(600);
        test::TestTrack video;
        video.mediaScale = 600;
        video.times = {{1'800'000, 24}}; // twenty hours
        test::addTrack(movie, video);
        test::TestTrack sound;
        sound.mediaType = QTMediaTypeSound;
        sound.trackID = 2;
        sound.mediaScale = 48000;
        sound.times = {{48000, 1}};
        test::addTrack(movie, sound);
        const auto before = movie;
        const auto refused = ExactConform::apply(movie, {{24000, 1001}});
        ASSERT_FALSE(refused);
        EXPECT_THAT(
            refused.error().detail, HasSubstr("46034 samples a second, where 46033.966 would be exact"));
        EXPECT_TRUE(movie.header().writesSameAs(before.header()));
        const auto accepted = ExactConform::apply(movie, {{24000, 1001}, true});
        ASSERT_TRUE(accepted);
        EXPECT_GT(accepted->sounds[0].driftFrames, 1);
        EXPECT_THAT(accepted->warnings, testing::ElementsAre(HasSubstr("frames off the picture at the end")));
    }

    TEST(ExactConform, HighSoundRatesGetADescriptionThatHoldsThem)
    {
        auto movie = test::offRateMovie({.rate = 25});
        ASSERT_TRUE(ExactConform::apply(movie, {{50, 1}}));
        const auto description = movie.tracks()[1].media().sampleDescription(1);
        EXPECT_EQ(description->format(), "lpcm"_cc);
        const auto sound = description->sound().value();
        EXPECT_EQ(sound.version, 2);
        EXPECT_EQ(sound.sampleRate, 96000);
        EXPECT_EQ(sound.channels, 2U);
        EXPECT_EQ(sound.bitsPerChannel, 16U);
        EXPECT_EQ(movie.tracks()[1].media().timeScale(), 96000);
    }

} // namespace
} // namespace reelwright

#include "tests/cli/CliTest.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using testing::HasSubstr;

    TEST_F(CliTest, TextsOfALineComeOutOfAnotherProgramsDecoderInWords)
    {
        constexpr auto kList = "1\n00:00:00,200 --> 00:00:00,400\nGrüße\n日本語\n\n"
                               "2\n00:01:00,000 --> 00:01:01,000\ntoo late\n";
        writeFile(path("list.srt"), std::as_bytes(std::span {std::string_view {kList}}));
        for (const char* clip : {"pal-25.mov", "rotated.mp4"}) {
            const auto file = sample(clip);
            const auto added = edit({"--add-track", "text", "--import-text", "tx1=list.srt", "--add-text",
                                        "tx1@0.5s/5f=One\\nTwo", "--text-style", R"({"color": "#FF0000"})"},
                clip);
            EXPECT_EQ(added.exitCode, 1) << clip << ": a part was refused";
            EXPECT_THAT(added.errors, HasSubstr("list.srt, line 7"));
            // Numbers are those of the movie as it was opened.
            EXPECT_EQ(edit({"--remove-text", "tx1@1", "--change-text", "tx1@2=Only"}, clip).exitCode, 0);
            EXPECT_EQ(edit({"--add-text", "tx1@0/4f=Grüße\\n日本語"}, clip).exitCode, 0);
            EXPECT_EQ(edit({"--remove-text", "tx1@7"}, clip).exitCode, 1);
            const auto texts = json({"texts", "--json", clip}).at("tracks").at(0).at("texts");
            ASSERT_EQ(texts.size(), 2U);
            EXPECT_EQ(texts.at(1).at("text"), "Only");
            EXPECT_EQ(texts.at(1).at("style").at("color"), "#FF0000");
            EXPECT_EQ(json({"info", "--json", clip}).at("tracks").back().at("texts"), texts);
            const auto seen
                = runProcess({"ffmpeg", "-v", "error", "-i", file, "-map", "0:s", "-f", "webvtt", "-"});
            EXPECT_THAT(seen.output, HasSubstr("Grüße\n日本語")) << clip;
            EXPECT_THAT(seen.output, HasSubstr("Only")) << clip;
            const auto list = cli({"texts", "--format", "webvtt", clip}).output;
            EXPECT_THAT(list, HasSubstr("00:00:00.500 --> ")) << clip;
        }
        EXPECT_EQ(edit({"--add-text", "tx1@now/1s=Hi"}, "pal-25.mov").exitCode, 2);
        EXPECT_EQ(edit({"--text-style", "{}"}, "pal-25.mov").exitCode, 2);
        EXPECT_EQ(edit({"--add-text", "v1@0/1s=Hi"}, "pal-25.mov").exitCode, 1)
            << "a video track holds no text";
    }

    TEST_F(CliTest, ATrackIsExtractedAsItIsAtItsPlaceAmongTheOptions)
    {
        sample("two-audio.mov");
        const auto before = json({"tracks", "--json", "two-audio.mov"}).at("tracks").at(2);
        EXPECT_EQ(edit({"--extract", "a2=two-audio.mov", "--overwrite"}, "two-audio.mov").exitCode, 1)
            << "it would replace the movie";
        EXPECT_EQ(edit({"-n", "--extract", "a2=out.mov"}, "two-audio.mov").exitCode, 0);
        EXPECT_EQ(names(), (std::vector<std::string> {"two-audio.mov"}));
        const auto done = json({"edit", "--json", "--extract", "a2=out.mov", "--remove-track", "a2", "--extract",
            "a1=one.mov", "two-audio.mov"});
        EXPECT_EQ(done.at("extracted").size(), 2U);
        EXPECT_EQ(done.at("extracted").at(0).at("output"), "out.mov");
        const auto tracks = json({"tracks", "--json", "out.mov"}).at("tracks");
        ASSERT_EQ(tracks.size(), 1U);
        EXPECT_EQ(tracks.at(0).at("sampleCount"), before.at("sampleCount"));
        EXPECT_EQ(tracks.at(0).at("duration").at("timecode"), before.at("duration").at("timecode"));
        EXPECT_EQ(cli({"verify", "out.mov", "one.mov"}).exitCode, 0);
        EXPECT_EQ(json({"tracks", "--json", "two-audio.mov"}).at("tracks").size(), 2U);
        EXPECT_EQ(edit({"--extract", "v1=out.mov"}, "two-audio.mov").exitCode, 1) << "it exists";
    }

} // namespace
} // namespace reelwright::test

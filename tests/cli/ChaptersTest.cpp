#include "tests/cli/CliTest.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using ::testing::AllOf;
    using ::testing::ElementsAre;
    using ::testing::HasSubstr;

    class Chapters : public CliTest
    {
    protected:
        /// "START NAME" of each chapter, as the tool reads them.
        [[nodiscard]] std::vector<std::string> chapters(const std::string& name) const
        {
            std::vector<std::string> all;
            const auto info = json({"info", "--json", name});
            for (const auto& chapter : info["chapters"])
                all.push_back(chapter["start"]["timecode"].get<std::string>() + ' '
                    + chapter["name"].get<std::string>());
            return all;
        }

        /// The same as ffprobe reads them, in seconds.
        [[nodiscard]] static std::vector<std::string> probed(const std::string& file)
        {
            std::vector<std::string> all;
            const auto said
                = Json::parse(run({"ffprobe", "-v", "error", "-of", "json", "-show_chapters", file}));
            for (const auto& chapter : said["chapters"])
                all.push_back(chapter["start_time"].get<std::string>() + ' '
                    + chapter["tags"]["title"].get<std::string>());
            return all;
        }

        /// Thirty seconds at 25 frames a second.
        [[nodiscard]] std::string clip(const std::string& name = "clip.mov") const
        {
            ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:d=30:r=25", "-c:v", "mpeg4"}, path(name));
            return path(name);
        }
    };

    TEST_F(Chapters, CopyTakesWhatItCanAndNamesTheRest)
    {
        const auto from = clip("from.mov");
        ASSERT_EQ(edit({"--add-chapter", "1.=A", "--add-chapter", "20.=late", "--metadata", "make=ARRI",
                           "--pixel-aspect", "4:3"},
                      from)
                      .exitCode,
            0);
        const auto to = sample("pal-25.mov");
        ASSERT_EQ(edit({"--add-chapter", "1.=mine", "--add-chapter", "0=first"}, to).exitCode, 0);
        const std::vector<std::string> copy {
            "--copy-from", from, "--copy", "attributes,metadata,timecode,settings,chapters"};
        const auto copied = edit(copy, to);
        EXPECT_EQ(copied.exitCode, 1);
        EXPECT_THAT(copied.errors,
            AllOf(HasSubstr("Timecode: the movie to copy from has no timecode track"),
                HasSubstr("\"late\" not copied: Chapters cannot start beyond the movie's duration.")));
        EXPECT_THAT(chapters(to), ElementsAre("00:00:00:00 first", "00:00:01:00 A"));
        const auto info = json({"info", "--json", to});
        EXPECT_EQ(info["tracks"][0]["attributes"]["pixelAspectRatio"], "4:3");
        EXPECT_THAT(info["metadata"].dump(), HasSubstr("ARRI"));

        const auto none = edit({"--copy-from", from, "--copy", "timecode"}, to);
        EXPECT_EQ(none.exitCode, 1);
        EXPECT_THAT(none.errors, HasSubstr("the movie to copy from has no timecode track"));
        EXPECT_EQ(edit({"--copy-from", from, "--copy", "chapter"}, to).exitCode, 2);
    }

    TEST_F(Chapters, OptionsCountChaptersAsTheMovieWasOpened)
    {
        const auto file = clip();
        ASSERT_EQ(
            edit({"--add-chapter", "10.=Zehn = 10", "--add-chapter", "20.=四", "--add-chapter", "0=A"}, file)
                .exitCode,
            0);
        EXPECT_THAT(probed(file), ElementsAre("0.000000 A", "10.000000 Zehn = 10", "20.000000 四"));
        ASSERT_EQ(edit({"--remove-chapter", "1", "--shift-chapters", "+00:00:01:00", "--rename-chapter",
                           "3=last", "--add-chapter", "2.=new"},
                      file)
                      .exitCode,
            0);
        EXPECT_THAT(
            chapters(file), ElementsAre("00:00:02:00 new", "00:00:11:00 Zehn = 10", "00:00:21:00 last"));
        EXPECT_THAT(edit({"--rename-chapter", "4=x"}, file).errors, HasSubstr("there is no chapter 4"));
        EXPECT_EQ(edit({"--chapter-format", "fcp"}, file).exitCode, 2);
        ASSERT_EQ(edit({"--timecode", "01:00:00:00", "--remove-chapter", "all"}, file).exitCode, 0);
        ASSERT_EQ(
            edit({"--add-chapter", "tc:01:00:12:05=labelled", "--chapter-every", "15."}, file).exitCode, 0);
        EXPECT_THAT(
            probed(file), ElementsAre("0.000000 Chapter 1", "12.200000 labelled", "15.000000 Chapter 2"));
    }

    TEST_F(Chapters, AnImportThatIsPartlyRefusedKeepsTheRestAndSaysSo)
    {
        const auto file = clip();
        writeFile(path("list.txt"),
            std::as_bytes(std::span {std::string_view("00:00:05:00\tin\n00:00:50:00\tout\n")}));
        const auto done = edit({"--import-chapters", path("list.txt"), "--chapter-format", "text"}, file);
        EXPECT_EQ(done.exitCode, 1);
        EXPECT_THAT(done.errors, HasSubstr("\"out\" was not imported: Chapters cannot start beyond"));
        EXPECT_THAT(done.output, HasSubstr("chapters/00:00:05:00: none -> in"));
        EXPECT_THAT(chapters(file), ElementsAre("00:00:05:00 in"));
    }

    TEST_F(Chapters, ListsGoOutAndOtherProgramsTakeThem)
    {
        const auto file = clip();
        ASSERT_EQ(edit({"--add-chapter", "0=a;b", "--add-chapter", "00:00:05:07=c"}, file).exitCode, 0);
        ASSERT_EQ(cli({"chapters", "--format", "ffmetadata", "-o", path("list.ffmeta"), file}).exitCode, 0);
        ffmpeg({"-i", clip("plain.mov"), "-i", path("list.ffmeta"), "-map_chapters", "1", "-map", "0", "-c",
                   "copy"},
            path("other.mov"));
        EXPECT_EQ(chapters(path("other.mov")), chapters(file));
        EXPECT_EQ(cli({"chapters", "--format", "text", file}).output, "00:00:00:00\ta;b\n00:00:05:07\tc\n");
        EXPECT_EQ(cli({"chapters", "-o", path("x"), file}).exitCode, 2);
    }

} // namespace
} // namespace reelwright::test

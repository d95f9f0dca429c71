#include "movie/QTMovie.h"
#include "tests/cli/CliTest.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

namespace reelwright::test {
namespace {

    namespace fs = std::filesystem;
    using ::testing::ElementsAre;
    using ::testing::HasSubstr;

    using EditOutput = CliTest;

    bool playsAtOnce(const std::string& path)
    {
        const auto movie = QTMovie::open(path);
        return movie && movie->userDataItem("play"_cc).has_value();
    }

    TEST_F(EditOutput, InPlaceTheFileStaysTheSameInode)
    {
        const auto clip = sample("two-audio.mov");
        fs::create_hard_link(clip, path("link.mov"));
        EXPECT_EQ(json({"edit", "--json", "--autoplay", "on", "two-audio.mov"})["mode"], "in-place");
        EXPECT_TRUE(fs::equivalent(clip, path("link.mov")));
        EXPECT_TRUE(playsAtOnce(path("link.mov")));
    }

    TEST_F(EditOutput, WhereThatIsImpossibleTheFileIsReplacedAndAWarningSaysWhy)
    {
        const auto clip = sample("fragmented.mp4");
        fs::permissions(clip, fs::perms::owner_read | fs::perms::owner_write);
        const auto result = json({"edit", "--json", "--autoplay", "on", "fragmented.mp4"});
        EXPECT_EQ(result["status"], "updated");
        EXPECT_EQ(result["mode"], "flattened");
        EXPECT_THAT(result["warnings"].at(0).get<std::string>(), HasSubstr("fragmented"));
        EXPECT_TRUE(playsAtOnce(clip));
        EXPECT_FALSE(QTMovie::open(clip)->isFragmented());
        EXPECT_EQ(fs::status(clip).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_THAT(names(), ElementsAre("fragmented.mp4"));
    }

    TEST_F(EditOutput, AHardLinkThatIsLeftBehindIsWarnedOf)
    {
        fs::create_hard_link(sample("fragmented.mp4"), path("link.mp4"));
        EXPECT_THAT(cli({"edit", "--autoplay", "on", "fragmented.mp4"}).errors, HasSubstr("2 hard links"));
    }

    TEST_F(EditOutput, ForceResaveWritesTheWholeMovieHeaderFirst)
    {
        const auto clip = sample("header-last.mov");
        const auto result = json({"edit", "--json", "--force-resave", "header-last.mov"});
        EXPECT_EQ(result["status"], "updated");
        EXPECT_EQ(result["mode"], "flattened");
        EXPECT_EQ(result["bytesWritten"], fs::file_size(clip));
        const auto atoms = json({"atoms", "--json", "header-last.mov"})["atoms"];
        const auto place = [&](const char* type) {
            return std::find_if(
                atoms.begin(), atoms.end(), [&](const auto& atom) { return atom["type"] == type; });
        };
        EXPECT_LT(place("moov"), place("mdat"));
    }

    TEST_F(EditOutput, ASuffixMakesACopyBesideTheFile)
    {
        const auto clip = sample("two-audio.mov");
        const auto before = readFile(clip);
        const auto result = json({"edit", "--json", "--autoplay", "on", "--suffix", "-new", "two-audio.mov"});
        EXPECT_EQ(result["output"], "two-audio-new.mov");
        EXPECT_EQ(result["mode"], "flattened");
        EXPECT_TRUE(playsAtOnce(path("two-audio-new.mov")));
        EXPECT_EQ(readFile(clip), before);
        EXPECT_THAT(names(), ElementsAre("two-audio-new.mov", "two-audio.mov"));
    }

    TEST_F(EditOutput, AFolderIsMadeForCopies)
    {
        sample("two-audio.mov", "a/clip.mov");
        sample("rotated.mp4", "b/other.mp4");
        EXPECT_EQ(cli({"edit", "--autoplay", "on", "--output-dir", "out/new", "a/clip.mov", "b/other.mp4"})
                      .exitCode,
            0);
        EXPECT_THAT(names("out/new"), ElementsAre("clip.mov", "other.mp4"));
        EXPECT_TRUE(playsAtOnce(path("out/new/other.mp4")));
        EXPECT_FALSE(playsAtOnce(path("b/other.mp4")));
    }

    TEST_F(EditOutput, AnUnchangedMovieIsCopiedAllTheSame)
    {
        sample("two-audio.mov");
        const auto result = json({"edit", "--json", "-o", "copy.mov", "two-audio.mov"});
        EXPECT_EQ(result["status"], "updated");
        EXPECT_TRUE(QTMovie::open(path("copy.mov")).has_value());
    }

    TEST_F(EditOutput, ExistingFilesAreReplacedOnlyWhenAllowed)
    {
        const auto clip = sample("two-audio.mov");
        const auto other = sample("rotated.mp4", "copy.mov");
        const auto before = readFile(other);
        const auto refused = cli({"edit", "--autoplay", "on", "-o", "copy.mov", "two-audio.mov"});
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.errors, HasSubstr("reelwright-cli: two-audio.mov: the output copy.mov exists"));
        EXPECT_EQ(readFile(other), before);
        EXPECT_EQ(
            cli({"edit", "--autoplay", "on", "-o", "copy.mov", "--overwrite", "two-audio.mov"}).exitCode, 0);
        EXPECT_TRUE(playsAtOnce(other));
        const auto itself
            = cli({"edit", "--autoplay", "on", "-o", "./two-audio.mov", "--overwrite", "two-audio.mov"});
        EXPECT_EQ(itself.exitCode, 1);
        EXPECT_THAT(itself.errors, HasSubstr("the file itself"));
        EXPECT_FALSE(playsAtOnce(clip));
    }

    TEST_F(EditOutput, ASoundFileIsNeverReplacedByAMovieButSavedAsOne)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        ffmpeg({"-i", REELWRIGHT_SOURCE_DIR "/samples/audio-only.mov"}, path("take.wav"));
        const auto before = readFile(path("take.wav"));
        const auto refused = cli({"edit", "--autoplay", "on", "take.wav"});
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.errors, HasSubstr("--suffix"));
        EXPECT_EQ(readFile(path("take.wav")), before);
        EXPECT_EQ(cli({"edit", "--autoplay", "on", "--suffix", "-m", "take.wav"}).exitCode, 0);
        EXPECT_TRUE(playsAtOnce(path("take-m.mov")));
    }

    TEST_F(EditOutput, ADryRunTellsTheSameAndWritesNothing)
    {
        const auto clip = sample("two-audio.mov");
        const auto fragmented = sample("fragmented.mp4");
        const auto bytes = readFile(clip);
        const auto time = fs::last_write_time(clip);
        auto dry = json(
            {"edit", "--json", "-n", "--verify", "--rotate", "left", "two-audio.mov", "fragmented.mp4"});
        EXPECT_EQ(readFile(clip), bytes);
        EXPECT_EQ(fs::last_write_time(clip), time);
        EXPECT_EQ(readFile(fragmented), readFile(REELWRIGHT_SOURCE_DIR "/samples/fragmented.mp4"));
        EXPECT_EQ(json({"edit", "--json", "-n", "--flip", "--output-dir", "out", "two-audio.mov"})["output"],
            "out/two-audio.mov");
        EXPECT_THAT(names(), ElementsAre("fragmented.mp4", "two-audio.mov"));
        const auto wet = json({"edit", "--json", "--rotate", "left", "two-audio.mov", "fragmented.mp4"});
        for (std::size_t i = 0; i < 2; ++i) {
            EXPECT_EQ(dry[i]["dryRun"], true);
            EXPECT_EQ(dry[i]["bytesWritten"], 0);
            for (const auto* same : {"status", "mode", "output", "changes", "warnings"})
                EXPECT_EQ(dry[i][same], wet[i][same]) << same;
        }
    }

    TEST_F(EditOutput, TimesAreKeptOnRequest)
    {
        const auto clip = sample("two-audio.mov");
        const auto past = fs::last_write_time(clip) - std::chrono::hours(1000);
        fs::last_write_time(clip, past);
        EXPECT_EQ(cli({"edit", "--flip", "--preserve-times", "--verify", "two-audio.mov"}).exitCode, 0);
        EXPECT_EQ(fs::last_write_time(clip), past);
        EXPECT_EQ(cli({"edit", "--flip", "--preserve-times", "-o", "copy.mov", "two-audio.mov"}).exitCode, 0);
        EXPECT_EQ(fs::last_write_time(path("copy.mov")), past);
        EXPECT_EQ(cli({"edit", "--flip", "two-audio.mov"}).exitCode, 0);
        EXPECT_NE(fs::last_write_time(clip), past);
    }

    TEST_F(EditOutput, AFileThatMayNotBeWrittenIsLeftAlone)
    {
        if (::geteuid() == 0)
            GTEST_SKIP() << "permissions do not bind the superuser";
        for (const auto* name : {"two-audio.mov", "fragmented.mp4"}) { // in place, and replaced
            const auto clip = sample(name);
            const auto before = readFile(clip);
            fs::permissions(clip, fs::perms::owner_read);
            for (const auto* mode : {"--verify", "-n"}) {
                const auto result = cli({"edit", "--autoplay", "on", mode, name});
                EXPECT_EQ(result.exitCode, 1);
                EXPECT_THAT(result.errors, HasSubstr(name));
            }
            EXPECT_EQ(readFile(clip), before);
        }
    }

    TEST_F(EditOutput, TwentyFilesAreEditedByFourAtATimeAndReportedInOrder)
    {
        std::vector<std::string> arguments {"edit", "--json", "--jobs", "4", "--autoplay", "on"};
        std::vector<std::string> files;
        for (int i = 0; i < 20; ++i) {
            files.push_back("clip" + std::to_string(i) + ".mov");
            sample(i % 3 == 0 ? "header-first.mp4" : "two-audio.mov", files.back());
        }
        arguments.insert(arguments.end(), files.begin(), files.end());
        const auto results = json(arguments);
        ASSERT_EQ(results.size(), files.size());
        for (std::size_t i = 0; i < files.size(); ++i) {
            EXPECT_EQ(results[i]["file"], files[i]);
            EXPECT_EQ(results[i]["status"], "updated");
            EXPECT_TRUE(playsAtOnce(path(files[i])));
        }
        arguments[1] = "--json-lines";
        const auto lines = cli(arguments).output;
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 20);
        EXPECT_EQ(lines.find("updated"), std::string::npos) << "they are as they should be by now";
    }

    TEST_F(EditOutput, AFileNamedTwiceIsEditedOnce)
    {
        sample("two-audio.mov");
        const auto result = cli({"edit", "--json", "--rotate", "right", "two-audio.mov", "./two-audio.mov"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(Json::parse(result.output)["file"], "two-audio.mov") << "one result";
        EXPECT_THAT(result.errors, HasSubstr("same file"));
        EXPECT_EQ(json({"tracks", "--json", "two-audio.mov"})["tracks"][0]["matrix"][1], 1)
            << "a quarter, not a half";
    }

    TEST_F(EditOutput, NamesFromAListAreEdited)
    {
        sample("two-audio.mov", "a b.mov");
        sample("rotated.mp4", "c\nd.mp4");
        const auto result = shell(
            "find . -name '*.m*' -print0 | reelwright-cli edit --json --autoplay on --files-from - -0");
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_TRUE(playsAtOnce(path("a b.mov")));
        EXPECT_TRUE(playsAtOnce(path("c\nd.mp4")));
        // As other systems write lists.
        const auto lines = shell(R"(
            printf '\357\273\277a b.mov\r\n' | reelwright-cli edit --json --autoplay off --files-from -)");
        EXPECT_EQ(lines.exitCode, 0) << lines.errors;
        EXPECT_FALSE(playsAtOnce(path("a b.mov")));
        for (const auto* list : {"none.txt", "."}) {
            const auto failed = cli({"edit", "--json", "--autoplay", "on", "--files-from", list});
            EXPECT_EQ(failed.exitCode, 1);
            EXPECT_EQ(Json::parse(failed.output)["file"], list) << "a script reads what went wrong";
        }
        EXPECT_THAT(shell("printf '\\377\\376a\\0' | reelwright-cli info --files-from -").errors,
            HasSubstr("UTF-16"));
    }

    TEST_F(EditOutput, AFileThatMayNotBeSoLongIsRefusedInASentence)
    {
        const auto clip = sample("two-audio.mov");
        const auto before = readFile(clip);
        for (const auto* how : {"--force-resave", "--force-resave -n", "-o copy.mov"}) {
            const auto result
                = shell("ulimit -f 2; reelwright-cli edit --autoplay on " + std::string(how) + " two-audio.mov");
            EXPECT_EQ(result.exitCode, 1) << how;
            EXPECT_THAT(result.errors, HasSubstr("ulimit")) << how;
            EXPECT_EQ(readFile(clip), before);
            EXPECT_THAT(names(), ElementsAre("two-audio.mov"));
        }
    }

    TEST_F(EditOutput, WithoutFlushingTheResultIsTheSame)
    {
        const auto one = sample("two-audio.mov", "one.mov");
        const auto two = sample("two-audio.mov", "two.mov");
        EXPECT_EQ(cli({"edit", "--flop", "one.mov"}).exitCode, 0);
        EXPECT_EQ(cli({"edit", "--flop", "--no-sync", "two.mov"}).exitCode, 0);
        EXPECT_EQ(readFile(one), readFile(two));
    }

    TEST_F(EditOutput, ResultsThatNobodyReadsDoNotStopTheEdits)
    {
        sample("two-audio.mov", "one.mov");
        sample("two-audio.mov", "two.mov");
        EXPECT_EQ(
            shell("{ reelwright-cli edit --autoplay on one.mov two.mov; echo $? >status; } | true").exitCode,
            0);
        EXPECT_TRUE(playsAtOnce(path("two.mov")));
    }

    TEST_F(EditOutput, AnInterruptedRunLeavesNothingHalfDone)
    {
        writeSilence(path("one.wav"), 2'000'000'000);
        sample("two-audio.mov");
        // The signal comes as soon as the hidden file is there that becomes the copy. (A shell without a
        // terminal would have its background jobs ignore it.)
        const auto result = shell(R"(
            env --default-signal=INT reelwright-cli edit --json --no-sync --autoplay on --suffix -x one.wav two-audio.mov >.out &
            for i in $(seq 1000); do ls -a | grep -q '^[.]one-x' && break; sleep 0.005; done
            kill -INT $!
            wait $!)");
        if (fs::exists(path("one-x.mov")))
            GTEST_SKIP() << "the copy was made faster than it could be stopped";
        EXPECT_EQ(result.exitCode, 130);
        EXPECT_THAT(result.errors, HasSubstr("one.wav: one-x.mov: the save was cancelled"));
        EXPECT_THAT(result.errors, HasSubstr("stopped by signal 2"));
        EXPECT_THAT(names(), ElementsAre(".out", "one.wav", "two-audio.mov"));
        const auto results = Json::parse(std::ifstream(path(".out")));
        ASSERT_EQ(results.size(), 2U);
        for (const auto& each : results)
            EXPECT_EQ(each["status"], "failed");
    }

} // namespace
} // namespace reelwright::test

#include "tests/cli/CliTest.h"

#include <gmock/gmock.h>

#include <chrono>
#include <optional>
#include <random>

namespace reelwright::test {
namespace {

    using ::testing::Contains;
    using ::testing::HasSubstr;
    using ::testing::Not;
    using JournalTest = CliTest;

    ByteSpan asBytes(std::string_view text)
    {
        return std::as_bytes(std::span {text});
    }

    Json withoutFile(Json info)
    {
        for (const auto* member : {"file", "size"})
            info.erase(member);
        return info;
    }

    /// How often a run is killed at most before it may end.
    constexpr int kMostKills = 12;

    TEST_F(JournalTest, ABatchKilledAnywhereAndStartedAgainTurnsEachFileOnce)
    {
        const char* const samples[]
            = {"header-first.mp4", "header-last.mov", "fragmented.mp4", "pal-25.mov", "timecode-25.mov"};
        std::map<std::string, Json> expected;
        for (const auto* name : samples) {
            const auto file = sample(name);
            ASSERT_EQ(edit({"--rotate", "left"}, file).exitCode, 0);
            expected[name] = withoutFile(json({"info", "--json", file}));
        }
        std::mt19937 random {17};
        int kills = 0;
        std::optional<double> whole; // seconds that a run takes which nobody stops
        for (int round = 0; round < 13; ++round) {
            const auto folder = path(std::to_string(round));
            std::filesystem::create_directory(folder);
            std::vector<std::string> files;
            for (int i = 0; i < 30; ++i) {
                const std::string name = samples[static_cast<std::size_t>(i) % std::size(samples)];
                files.push_back(copyOf(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name,
                    fmt::format("{}/{:02}-{}", round, i, name)));
            }
            const bool isCopied = round % 3 == 2;
            const auto journal = folder + ".journal";
            const auto command
                = fmt::format("reelwright-cli edit --rotate left --no-sync --journal {} --jobs {} {} {}/*.m*",
                    journal, 1 + round % 2, isCopied ? "--output-dir " + folder + "-out" : "", folder);
            ProcessResult result;
            for (int kill = 0; whole && kill < kMostKills; ++kill) {
                const double seconds = std::uniform_real_distribution {0.1, 0.8}(random) * *whole;
                result = shell(fmt::format("timeout -s KILL {:.6f} {}", seconds, command));
                if (result.exitCode == 0)
                    break;
                ++kills;
            }
            const auto start = std::chrono::steady_clock::now();
            result = shell(command);
            if (!whole)
                whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            ASSERT_EQ(result.exitCode, 0) << result.errors;
            const auto where = isCopied ? std::to_string(round) + "-out" : std::to_string(round);
            EXPECT_EQ(names(where).size(), files.size()) << "nothing is left over";
            std::vector<std::string> question {"info", "--json"};
            for (const auto& file : names(where))
                question.push_back(path(where) + '/' + file);
            for (const auto& info : json(question)) {
                const auto name = info["file"].get<std::string>();
                EXPECT_EQ(withoutFile(info), expected[name.substr(name.rfind('/') + 4)])
                    << name << ": turned once, and one header";
            }
        }
        EXPECT_GE(kills, 12) << "the kills came too late to mean anything";
    }

    TEST_F(JournalTest, IsOfOneSetOfEdits)
    {
        const auto file = sample("pal-25.mov");
        const auto journal = path("j");
        ASSERT_EQ(edit({"--rotate", "left", "--journal", journal}, file).exitCode, 0);
        EXPECT_THAT(edit({"--rotate", "left", "--journal", journal}, file).output, HasSubstr("done before"));
        const auto other = edit({"--rotate", "right", "--journal", journal}, file);
        EXPECT_EQ(other.exitCode, 1);
        EXPECT_THAT(other.errors, HasSubstr("belongs to other edits"));
        // Another file of that name is another file.
        std::filesystem::remove(file);
        copyOf(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/header-last.mov", "pal-25.mov");
        EXPECT_THAT(edit({"--rotate", "left", "--journal", journal}, file).output, HasSubstr("updated"));
    }

    TEST_F(JournalTest, OptionsFromAFileStandWhereTheFileIsNamed)
    {
        const auto file = sample("pal-25.mov");
        writeFile(path("a.repair"),
            asBytes("# turns and names\n\n--rotate left --title 'Day 3'  # both\n--autoplay on\n"));
        const auto result
            = json({"edit", "-n", "--autoplay", "off", "--options-from", path("a.repair"), "--json", file});
        std::vector<std::string> changed;
        for (const auto& change : result["changes"])
            changed.push_back(change["path"]);
        EXPECT_THAT(changed, Contains("settings/autoPlay"));
        EXPECT_THAT(changed, Contains(HasSubstr("matrix")));
        const std::pair<const char*, const char*> wrong[] = {
            {"--flip\nclip.mov\n", "a.repair:2: \"clip.mov\" is no option"},
            {"--title 'Day\n", "a.repair:1: a ' is not closed"},
            {"--flop --options-from b\n", "cannot read another one"},
            {"\n\n--mend\n", "a.repair:3: there is no option \"--mend\""},
        };
        for (const auto& [text, why] : wrong) {
            writeFile(path("a.repair"), asBytes(text));
            const auto refused = edit({"--options-from", path("a.repair")}, file);
            EXPECT_EQ(refused.exitCode, 2) << text;
            EXPECT_THAT(refused.errors, HasSubstr(why));
        }
        EXPECT_EQ(edit({"--options-from", path("none")}, file).exitCode, 2);
    }

    TEST_F(JournalTest, AWatchedFolderIsEditedOnceAndGrowingFilesAreLeft)
    {
        std::filesystem::create_directory(path("in"));
        copyOf(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/pal-25.mov", "in/a.mov");
        copyOf(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/pal-25.mov", "in/notes.txt");
        const auto growing = fmt::format("(for i in 1 2 3 4 5 6 7 8 9 10 11 12; do head -c 5000 "
                                         "{0}/samples/pal-25.mov >> {1}/in/b.mov; sleep 0.1; done) & ",
            REELWRIGHT_SOURCE_DIR, path(""));
        const auto watch
            = fmt::format("reelwright-cli watch --rotate left --settle 0.4 --journal {} ", path("j"));
        const auto once = shell(growing + watch + "--once in; status=$?; wait; exit $status");
        EXPECT_EQ(once.exitCode, 0) << once.errors;
        EXPECT_THAT(once.output, HasSubstr("a.mov: updated"));
        EXPECT_THAT(once.output + once.errors, Not(HasSubstr("b.mov")));
        EXPECT_THAT(once.errors, HasSubstr("still growing"));
        std::filesystem::remove(path("in/b.mov"));

        // Another start, ended by a signal: the file that is there is done, the one that comes later is not.
        const auto later = shell(watch
            + "--json in & sleep 1; cp in/a.mov in/.c; mv in/.c in/c.mov; sleep 2.5; kill -TERM $!; wait $!");
        EXPECT_EQ(later.exitCode, 0) << later.errors;
        EXPECT_THAT(later.output, HasSubstr("c.mov\",\"status\":\"updated\""));
        EXPECT_THAT(later.output, Not(HasSubstr("a.mov\"")));
        for (const auto& wrong : {path("in/a.mov"), path("none")})
            EXPECT_EQ(shell(watch + wrong).exitCode, 2);
    }

    TEST_F(JournalTest, ACheckSaysWhichFilesFailAndHowToMendThem)
    {
        const auto file = sample("ntsc-2997.mov");
        writeFile(path("r.json"), asBytes(R"({"name": "R", "rules": [
            {"field": "settings.autoPlay", "comparison": "equals", "value": true, "edit": "--autoplay on"}]})"));
        const auto failed = cli({"check", "--rules", path("r.json"), file});
        EXPECT_EQ(failed.exitCode, 1);
        EXPECT_THAT(failed.output, HasSubstr("failed: 1 error"));
        EXPECT_THAT(failed.output, HasSubstr("reelwright-cli edit --autoplay on "));
        ASSERT_EQ(edit({"--autoplay", "on"}, file).exitCode, 0);
        const auto passed = json({"check", "--json", "--rules", path("r.json"), file});
        EXPECT_EQ(passed["status"], "passed");
        EXPECT_EQ(cli({"check", "--rules", path("none"), file}).exitCode, 2);
        EXPECT_EQ(cli({"check", "--rules", "web-upload", path("none.mov")}).exitCode, 1);
        EXPECT_THAT(cli({"check", "--list"}).output, HasSubstr("broadcast-hd-25"));
    }

} // namespace
} // namespace reelwright::test

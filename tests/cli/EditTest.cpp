#include "movie/QTTrack.h"
#include "tests/cli/CliTest.h"
#include "tests/helpers/PacketChecksums.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <set>

namespace reelwright::test {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;
    using ::testing::IsEmpty;

    using Edit = CliTest;

    /// The change of that path; null when there is none.
    Json changeOf(const Json& result, const std::string& path)
    {
        for (const auto& change : result["changes"])
            if (change["path"] == path)
                return change;
        return {};
    }

    // What each option does.

    struct SettingFact
    {
        std::vector<std::string> option;
        FourCC item;
        std::optional<std::string> stored; ///< nothing: the item is gone
        const char* path;
        Json after;
    };

    TEST_F(Edit, SettingsAreStoredAsUserDataAndTakenAway)
    {
        const std::string one {'\x01'};
        const SettingFact facts[] = {
            {{"--autoplay", "on"}, "play"_cc, one, "settings/autoPlay", true},
            {{"--autoplay", "off"}, "play"_cc, {}, "settings/autoPlay", false},
            {{"--autoclose", "on"}, "aclo"_cc, one, "settings/autoClose", true},
            {{"--autoclose", "off"}, "aclo"_cc, {}, "settings/autoClose", false},
            {{"--autoquit", "on"}, "aqui"_cc, one, "settings/autoQuit", true},
            {{"--autoquit", "off"}, "aqui"_cc, {}, "settings/autoQuit", false},
            {{"--controller", "hide"}, "ctyp"_cc, "none", "settings/controller", "hide"},
            {{"--controller", "show"}, "ctyp"_cc, {}, "settings/controller", "show"},
            {{"--aperture", "clean"}, "apmd"_cc, "clea", "settings/apertureMode", "clean"},
            {{"--aperture", "production"}, "apmd"_cc, "prod", "settings/apertureMode", "production"},
            {{"--aperture", "encoded"}, "apmd"_cc, "enco", "settings/apertureMode", "encoded"},
            {{"--aperture", "classic"}, "apmd"_cc, "clas", "settings/apertureMode", "classic"},
        };
        const auto clip = sample("two-audio.mov");
        for (const auto& fact : facts) {
            const auto arguments = joined({{"edit", "--json"}, fact.option, {"two-audio.mov"}});
            const auto result = json(arguments);
            EXPECT_EQ(result["status"], "updated") << fact.option[0];
            EXPECT_EQ(changeOf(result, fact.path)["after"], fact.after) << fact.option[0];
            const auto item = QTMovie::open(clip)->userDataItem(fact.item);
            ASSERT_EQ(item.has_value(), fact.stored.has_value()) << fact.option[0] << fact.option[1];
            if (item) {
                EXPECT_EQ(*item, Bytes::copyOf(*fact.stored));
            }
            EXPECT_EQ(json(arguments)["status"], "unchanged") << "a second time";
        }
    }

    TEST_F(Edit, AnotherProgramSeesTheApertureModes)
    {
        REELWRIGHT_NEEDS_PROGRAM("exiftool");
        const auto clip = sample("ntsc-2997.mov"); // 720 x 480, pixels 10:11
        EXPECT_EQ(cli({"edit", "--aperture", "clean", "ntsc-2997.mov"}).exitCode, 0);
        EXPECT_THAT(
            exifValue(clip, "ProductionApertureDimensions"), ::testing::MatchesRegex("654\\.5[0-9]* 480"));
        EXPECT_EQ(exifValue(clip, "EncodedPixelsDimensions"), "720 480");
    }

    struct TurnFact
    {
        std::vector<std::string> options;
        std::vector<int> matrix; ///< a b u c d v x y w
    };

    TEST_F(Edit, TurnsCompoundInTheOrderGiven)
    {
        const TurnFact facts[] = {
            {{"--rotate", "right"}, {0, 1, 0, -1, 0, 0, 0, 0, 1}},
            {{"--rotate", "left"}, {0, -1, 0, 1, 0, 0, 0, 0, 1}},
            {{"--flip"}, {-1, 0, 0, 0, -1, 0, 0, 0, 1}},
            {{"--flop"}, {-1, 0, 0, 0, 1, 0, 0, 0, 1}},
            {{"--rotate", "right", "--flop"}, {0, 1, 0, 1, 0, 0, 0, 0, 1}},
            {{"--flop", "--rotate", "right"}, {0, -1, 0, -1, 0, 0, 0, 0, 1}},
            {{"--rotate", "right", "--flip", "--rotate", "right", "--flop"}, {-1, 0, 0, 0, 1, 0, 0, 0, 1}},
        };
        for (std::size_t i = 0; i < std::size(facts); ++i) {
            const auto name = "clip" + std::to_string(i) + ".mov";
            sample("two-audio.mov", name);
            const auto result = json(joined({{"edit", "--json", name}, facts[i].options}));
            EXPECT_EQ(changeOf(result, "tracks/1/matrix")["after"], Json(facts[i].matrix))
                << ::testing::PrintToString(facts[i].options);
        }
    }

    TEST_F(Edit, TurnsThatCancelOutLeaveTheFileAlone)
    {
        const auto clip = sample("two-audio.mov");
        const auto before = readFile(clip);
        const auto result
            = json({"edit", "--json", "--rotate", "left", "--rotate", "right", "two-audio.mov"});
        EXPECT_EQ(result["status"], "unchanged");
        EXPECT_EQ(result["mode"], "none");
        EXPECT_EQ(result["output"], nullptr);
        EXPECT_THAT(result["changes"], IsEmpty());
        EXPECT_EQ(readFile(clip), before);
    }

    TEST_F(Edit, TracksAreSwitchedInTheOrderGiven)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        const auto clip = sample("two-audio.mov");
        const auto result = json(
            {"edit", "--json", "--track", "a*:enabled=off", "--track", "a2:enabled=on", "two-audio.mov"});
        ASSERT_EQ(result["changes"].size(), 1U);
        EXPECT_EQ(result["changes"][0],
            (Json {{"path", "tracks/2/enabled"}, {"before", true}, {"after", false}}));
        EXPECT_EQ(run({"ffprobe", "-v", "error", "-show_entries", "stream_disposition=default", "-of",
                      "csv=p=0", clip}),
            "1\n0\n1\n");
    }

    struct RangeFact
    {
        const char* value;
        std::int64_t in;
        std::int64_t duration;
        const char* why;
    };

    TEST_F(Edit, TracksAreMovedAndCutByTypedTimecodes)
    {
        const RangeFact facts[] = {
            {"a1:in=00:00:01:00", 1000, 1000, "a full timecode"},
            {"a1:in=1.", 1000, 1000, "a period stands for the frames"},
            {"a1:in=10", 400, 1000, "ten frames of the picture's 25, not of the sound's own samples"},
            {"2:duration=00:00:00:12", 0, 480, "cut at the end"},
        };
        for (std::size_t i = 0; i < std::size(facts); ++i) {
            const auto name = "clip" + std::to_string(i) + ".mov";
            const auto clip = sample("two-audio.mov", name);
            EXPECT_EQ(json({"edit", "--json", "--track", facts[i].value, name})["status"], "updated");
            const auto range = QTMovie::open(clip)->tracks()[1].range();
            EXPECT_EQ(range.time.value, facts[i].in) << facts[i].why;
            EXPECT_EQ(range.duration.value, facts[i].duration) << facts[i].why;
        }
    }

    TEST_F(Edit, ATrackThatIsNotThereFailsThatFileAndNothingIsWritten)
    {
        const auto one = sample("audio-only.mov");
        sample("two-audio.mov");
        const auto before = readFile(one);
        const auto result = json({"edit", "--json", "--autoplay", "on", "--track", "a2:enabled=off",
                                     "audio-only.mov", "two-audio.mov"},
            1);
        EXPECT_EQ(result[0]["status"], "failed");
        EXPECT_EQ(result[0]["mode"], "none");
        EXPECT_THAT(result[0]["error"].get<std::string>(), HasSubstr("no track a2"));
        EXPECT_EQ(result[1]["status"], "updated");
        EXPECT_EQ(readFile(one), before);
    }

    TEST_F(Edit, MediaAreUntouchedByEveryWayOfSaving)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        const std::vector<std::string> edits {"--rotate", "right", "--autoplay", "on", "--aperture", "clean",
            "--track", "*:enabled=on", "--controller", "hide"};
        for (const auto& entry : std::filesystem::directory_iterator(REELWRIGHT_SOURCE_DIR "/samples")) {
            if (entry.path().extension() != ".mov" && entry.path().extension() != ".mp4")
                continue;
            const auto clip = entry.path().filename().string();
            const auto inPlace = sample(clip);
            const auto before = packetChecksums(inPlace);
            EXPECT_THAT(before, ::testing::Not(IsEmpty())) << clip;
            EXPECT_EQ(edit(joined({edits, {"--verify", "--suffix", "-copy"}}), clip).exitCode, 0) << clip;
            EXPECT_EQ(edit(joined({edits, {"--verify"}}), clip).exitCode, 0) << clip;
            EXPECT_EQ(packetChecksums(inPlace), before) << clip;
            const auto copy
                = path(entry.path().stem().string() + "-copy" + entry.path().extension().string());
            EXPECT_EQ(packetChecksums(copy), before) << copy;
        }
    }

    // Reports.

    TEST_F(Edit, JsonHasEveryFieldOfItsShape)
    {
        sample("two-audio.mov");
        const auto result = json({"edit", "--json", "--verify", "--autoplay", "on", "two-audio.mov"});
        std::vector<std::string> keys;
        for (const auto& [key, value] : result.items())
            keys.push_back(key);
        EXPECT_THAT(keys,
            ElementsAre(
                "file", "status", "mode", "output", "bytesWritten", "changes", "warnings", "error", "media"));
        EXPECT_EQ(result["mode"], "in-place");
        EXPECT_EQ(result["output"], "two-audio.mov");
        EXPECT_GT(result["bytesWritten"], 0);
        EXPECT_EQ(result["error"], nullptr);
        ASSERT_EQ(result["media"].size(), 3U);
        std::set<std::string> sums;
        for (const auto& track : result["media"]) {
            EXPECT_EQ(track["before"], track["after"]);
            sums.insert(track["before"].get<std::string>());
        }
        EXPECT_EQ(sums.size(), 3U) << "each track has media of its own";
    }

    TEST_F(Edit, TextTellsWhatWasDone)
    {
        sample("two-audio.mov");
        const auto text = cli({"edit", "--autoplay", "on", "--track", "a1:in=1.", "two-audio.mov"}).output;
        EXPECT_THAT(text, HasSubstr("two-audio.mov: updated in place, "));
        EXPECT_THAT(text, HasSubstr("  settings/autoPlay: off -> on\n"));
        EXPECT_THAT(text, HasSubstr("  tracks/2/in: 00:00:00:00 (0/1000) -> 00:00:01:00 (1000/1000)\n"));
    }

    TEST_F(Edit, AFailureIsLoggedAndWithoutOneThereIsNoLog)
    {
        sample("two-audio.mov");
        EXPECT_EQ(cli({"edit", "--flip", "two-audio.mov"}).exitCode, 0);
        EXPECT_FALSE(std::filesystem::exists(path(".library")));
        EXPECT_EQ(cli({"edit", "--flip", "missing.mov"}).exitCode, 1);
        EXPECT_THAT(
            readText(path(".library/Logs/Kestrelwick/reelwright-cli.1.log")), HasSubstr("missing.mov"));
    }

} // namespace
} // namespace reelwright::test

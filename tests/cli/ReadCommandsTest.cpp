#include "tests/cli/CliTest.h"
#include "tests/helpers/MovieBuilder.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace reelwright::test {
namespace {

    using ::testing::AllOf;
    using ::testing::ElementsAre;
    using ::testing::EndsWith;
    using ::testing::HasSubstr;
    using ::testing::IsEmpty;
    using ::testing::Not;
    using ::testing::StartsWith;

    using ReadCommands = CliTest;

    std::vector<std::string> keysOf(const Json& object)
    {
        std::vector<std::string> keys;
        for (const auto& [key, value] : object.items())
            keys.push_back(key);
        return keys;
    }

    void expectKeys(const Json& object, const std::vector<std::string>& wanted)
    {
        const auto keys = keysOf(object);
        for (const auto& key : wanted)
            EXPECT_THAT(keys, ::testing::Contains(key));
    }

    constexpr const char* kGoldenClips[] = {"two-audio.mov", "timecode-2997-drop.mov", "rotated.mp4",
        "fragmented.mp4", "chapters.mov", "audio-only.mov"};

    TEST_F(ReadCommands, InfoTellsAPersonWhatTheMovieIs)
    {
        for (const auto* clip : kGoldenClips) {
            sample(clip);
            expectGolden(std::string("info-") + clip + ".txt", cli({"info", clip}).output);
        }
    }

    TEST_F(ReadCommands, TracksGivesATable)
    {
        sample("two-audio.mov");
        sample("timecode-2997-drop.mov");
        expectGolden("tracks.txt", cli({"tracks", "two-audio.mov", "timecode-2997-drop.mov"}).output);
    }

    TEST_F(ReadCommands, AtomsShowsTheTreeWithPlaces)
    {
        sample("two-audio.mov");
        sample("fragmented.mp4");
        expectGolden("atoms-two-audio.mov.txt", cli({"atoms", "two-audio.mov"}).output);
        expectGolden("atoms-fragmented.mp4.txt", cli({"atoms", "--depth", "2", "fragmented.mp4"}).output);
    }

    TEST_F(ReadCommands, InfoJsonHasEveryFieldOfItsShape)
    {
        sample("timecode-2997-drop.mov");
        const auto info = json({"info", "--json", "timecode-2997-drop.mov"});
        expectKeys(info,
            {"file", "size", "brand", "canUpdate", "needsFlattening", "fragmented", "timeScale", "duration",
                "frameRate", "timing", "naturalSize", "settings", "startTimecode", "tracks"});
        EXPECT_THAT(keysOf(info["duration"]), ElementsAre("value", "scale", "timecode"));
        EXPECT_THAT(keysOf(info["timing"]), ElementsAre("timebase", "ntsc", "dropFrame"));
        EXPECT_THAT(keysOf(info["naturalSize"]), ElementsAre("width", "height"));
        EXPECT_THAT(keysOf(info["settings"]),
            ElementsAre("autoPlay", "autoClose", "autoQuit", "controller", "apertureMode"));
        EXPECT_EQ(info["startTimecode"], "01:00:58;00");
        EXPECT_EQ(info["timing"]["dropFrame"], true);
        for (const auto& track : info["tracks"]) {
            expectKeys(track,
                {"id", "type", "typeCode", "name", "enabled", "in", "duration", "mediaTimeScale",
                    "mediaDuration", "sampleCount", "frameRate", "format", "width", "height", "matrix",
                    "channels", "channelLabel", "references"});
            EXPECT_EQ(track["matrix"].size(), 9U);
        }
        const auto& timecode = info["tracks"].back();
        EXPECT_EQ(timecode["typeCode"], 3);
        EXPECT_THAT(keysOf(timecode["timecode"]),
            ElementsAre("start", "reel", "flags", "timeScale", "frameDuration", "numberOfFrames", "counter"));
        EXPECT_EQ(timecode["timecode"]["start"], "01:00:58;00");
        EXPECT_EQ(info["tracks"][0]["references"]["tmcd"][0], timecode["id"]);
    }

    TEST_F(ReadCommands, InfoAgreesWithFfprobe)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const auto* clip :
            {"two-audio.mov", "rotated.mp4", "ntsc-2997.mov", "rate-5994.mp4", "pal-25.mov"}) {
            const auto file = sample(clip);
            const auto info = json({"info", "--json", clip});
            const auto probed = Json::parse(run({"ffprobe", "-v", "error", "-of", "json", "-show_entries",
                "stream=codec_type,width,height,nb_frames,channels,sample_rate:format=duration,size", file}));
            EXPECT_EQ(std::to_string(info["size"].get<int>()), probed["format"]["size"]) << clip;
            EXPECT_NEAR(info["duration"]["value"].get<double>() / info["duration"]["scale"].get<double>(),
                std::stod(probed["format"]["duration"].get<std::string>()), 0.001)
                << clip;
            ASSERT_EQ(info["tracks"].size(), probed["streams"].size());
            for (std::size_t i = 0; i < info["tracks"].size(); ++i) {
                const auto& track = info["tracks"][i];
                const auto& stream = probed["streams"][i];
                const bool isVideo = stream["codec_type"] == "video";
                EXPECT_EQ(track["type"], isVideo ? "Video" : "Audio");
                EXPECT_EQ(track["width"], isVideo ? stream["width"] : Json {});
                EXPECT_EQ(track["channels"], isVideo ? Json {} : stream["channels"]);
                if (isVideo) {
                    EXPECT_EQ(std::to_string(track["sampleCount"].get<int>()), stream["nb_frames"]);
                }
            }
        }
    }

    TEST_F(ReadCommands, SeveralFilesGiveAnArrayAndLinesGiveOneObjectEach)
    {
        sample("two-audio.mov");
        sample("rotated.mp4");
        for (const auto* command : {"info", "tracks", "timecode", "atoms"}) {
            const auto array = json({command, "--json", "rotated.mp4", "two-audio.mov"});
            ASSERT_TRUE(array.is_array());
            EXPECT_EQ(array[0]["file"], "rotated.mp4");
            EXPECT_EQ(array[1]["file"], "two-audio.mov");
            EXPECT_EQ(json({command, "--json", "rotated.mp4"}), array[0]);
            const auto lines = cli({command, "--json-lines", "rotated.mp4", "two-audio.mov"}).output;
            EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
            EXPECT_EQ(Json::parse(lines.substr(0, lines.find('\n'))), array[0]);
        }
    }

    TEST_F(ReadCommands, AFileThatCannotBeOpenedIsNamedAndTheOthersAreReported)
    {
        sample("rotated.mp4");
        writeFile(path("text.mov"), std::as_bytes(std::span {"not a movie", 11}));
        const auto result = cli({"info", "text.mov", "missing.mov", "rotated.mp4"});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.output, StartsWith("rotated.mp4\n"));
        EXPECT_THAT(result.errors, HasSubstr("reelwright-cli: text.mov: "));
        EXPECT_THAT(result.errors, HasSubstr("reelwright-cli: missing.mov: cannot be opened"));
        const auto array = json({"info", "--json", "missing.mov", "rotated.mp4"}, 1);
        EXPECT_THAT(keysOf(array[0]), ElementsAre("file", "error"));
        EXPECT_EQ(array[1]["brand"], "isom");
    }

    TEST_F(ReadCommands, OddFileNamesCannotDisturbTheOutput)
    {
        const std::string name = "a\nb\x1b[31m\xff.mov";
        sample("rotated.mp4", name);
        EXPECT_THAT(cli({"info", name}).output, StartsWith("a\\nb\\x1b[31m\\xff.mov\n"));
        EXPECT_THAT(cli({"info", "no\nsuch"}).errors, HasSubstr("no\\nsuch: "));
        EXPECT_EQ(json({"info", "--json", name})["file"], "a\nb\x1b[31m\xef\xbf\xbd.mov");
        sample("rotated.mp4", "[x,y]");
        EXPECT_EQ(json({"info", "--json", "[x,y]"})["file"], "[x,y]");
        sample("rotated.mp4", "-dash.mov");
        EXPECT_EQ(json({"info", "--json", "./-dash.mov"})["file"], "./-dash.mov");
        EXPECT_EQ(json({"info", "--json", "--", "-dash.mov"})["file"], "-dash.mov");
    }

    TEST_F(ReadCommands, FilesComeFromAList)
    {
        sample("rotated.mp4");
        sample("two-audio.mov", "with\nline end.mov");
        const auto byLine
            = shell("printf 'rotated.mp4\\n\\nrotated.mp4' | reelwright-cli info --json --files-from -");
        EXPECT_EQ(Json::parse(byLine.output).size(), 2U);
        const auto byNul = shell("printf 'rotated.mp4\\0with\\nline end.mov\\0' >list; "
                                 "reelwright-cli info --json --files-from list -0");
        EXPECT_EQ(Json::parse(byNul.output).at(1)["file"], "with\nline end.mov");
        EXPECT_EQ(cli({"info", "--files-from", "no-list"}).exitCode, 1);
        EXPECT_EQ(shell("reelwright-cli info --json --files-from - </dev/null").output, "[]\n");
    }

    TEST_F(ReadCommands, ResultsThatCannotBeWrittenAreAFailure)
    {
        sample("rotated.mp4");
        const auto result = shell("reelwright-cli info rotated.mp4 >/dev/full");
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.errors, HasSubstr("could not be written"));
    }

    TEST_F(ReadCommands, MessagesHaveNoProgressBarWhereThereIsNoTerminal)
    {
        sample("rotated.mp4");
        EXPECT_EQ(cli({"info", "rotated.mp4"}).errors, "");
        EXPECT_EQ(cli({"edit", "--flip", "rotated.mp4"}).errors, "");
    }

    // Damaged files.

    TEST_F(ReadCommands, AtomsShowsWhatIsThereOfAFileThatIsCutShort)
    {
        auto bytes = readFile(sample("rotated.mp4")); // ftyp, free, mdat, moov
        bytes.erase(bytes.end() - 300, bytes.end());
        writeFile(path("rotated.mp4"), bytes);
        const auto result = cli({"atoms", "rotated.mp4"});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.output, AllOf(HasSubstr("cut short: claims 907 bytes"), HasSubstr("tkhd")));
        EXPECT_THAT(result.errors, HasSubstr("the last atom (moov) is cut short"));
        const auto tree = json({"atoms", "--json", "rotated.mp4"}, 1);
        EXPECT_EQ(tree["atoms"].back()["claimedSize"], 907);
        EXPECT_EQ(tree["atoms"].back()["size"], 607);
        EXPECT_EQ(tree["problems"].size(), 1U);
    }

    TEST_F(ReadCommands, AtomsTellsAnAtomWithoutSizeFromDamage)
    {
        auto bytes = readFile(sample("rotated.mp4")); // its last atom is the header, at 8096
        std::fill_n(bytes.begin() + 8096, 4, std::byte {});
        writeFile(path("rotated.mp4"), bytes);
        const auto result = cli({"atoms", "rotated.mp4"});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_THAT(result.output, AllOf(HasSubstr("  no size\n"), HasSubstr("reaches to the end")));
    }

    TEST_F(ReadCommands, AtomsNamesFieldsWithTheirPlaces)
    {
        const auto file = sample("rotated.mp4");
        const auto found
            = json({"atoms", "--find", "trak/tkhd", "--fields", "--hex", "--json", "rotated.mp4"});
        const auto& track = found["atoms"].at(0);
        EXPECT_EQ(track["path"], "moov/trak/tkhd");
        const auto bytes = readFile(file);
        for (const auto& field : track["fields"])
            if (field["name"] == "width") {
                const auto at = bytes.begin() + field["offset"].get<std::ptrdiff_t>();
                EXPECT_EQ(field["value"],
                    std::to_string(std::to_integer<int>(at[0]) << 8 | std::to_integer<int>(at[1])));
            }
        EXPECT_EQ(track["hex"].get<std::string>().size(), 2 * track["size"].get<std::size_t>());
        const auto description = cli({"atoms", "--find", "stsd/mp4v", "--fields", "rotated.mp4"}).output;
        EXPECT_THAT(description, AllOf(HasSubstr("extension esds"), HasSubstr("horizontal spacing 1")));
        EXPECT_THAT(cli({"atoms", "--find", "nope", "rotated.mp4"}).output, HasSubstr("no atom \"nope\""));
    }

    TEST_F(ReadCommands, AtomsBoundsWhatItShowsOfManyAlike)
    {
        auto bytes = readFile(sample("rotated.mp4"));
        const auto free = atomBytes("free"_cc, {});
        for (int i = 0; i < 50; ++i)
            bytes.insert(bytes.end(), free.begin(), free.end());
        writeFile(path("rotated.mp4"), bytes);
        const auto few = json({"atoms", "--json", "rotated.mp4"});
        EXPECT_EQ(few["atoms"].size(), 3U + 20 + 1) << "twenty and the last";
        EXPECT_EQ(few["omitted"]["free"], 51 - 21);
        EXPECT_EQ(json({"atoms", "--json", "--all", "rotated.mp4"})["atoms"].size(), 54U);
        EXPECT_THAT(cli({"atoms", "--depth", "1", "rotated.mp4"}).output, Not(HasSubstr("mvhd")));
    }

    TEST_F(ReadCommands, SurviveEveryFileOfTheCorpus)
    {
        REELWRIGHT_NEEDS_CORPUS();
        std::vector<std::string> files;
        for (const auto* folder : {"movies", "bad", "audio", "stills"})
            for (const auto& file : corpusFiles(folder))
                files.push_back(file);
        for (const auto* command : {"info", "tracks", "timecode", "atoms"}) {
            const auto results = json(joined({{command, "--json"}, files}), 1); // some are damaged
            EXPECT_EQ(results.size(), files.size());
        }
    }

    TEST_F(ReadCommands, VerifyFailsWhereASampleCannotBeRead)
    {
        const auto clip = sample("header-first.mp4");
        const auto whole = json({"verify", "--json", "header-first.mp4"});
        EXPECT_EQ(whole["readable"], true);
        EXPECT_GT(whole["tracks"][0]["bytes"], 0);
        std::filesystem::resize_file(clip, std::filesystem::file_size(clip) - 1);
        const auto text = cli({"verify", "header-first.mp4"});
        EXPECT_EQ(text.exitCode, 1);
        EXPECT_THAT(text.output, HasSubstr("cannot be read at byte"));
        EXPECT_THAT(text.errors, HasSubstr("1 sample cannot be read"));
        const auto cut = Json::parse(cli({"verify", "--json-lines", "header-first.mp4"}).output);
        EXPECT_EQ(cut["readable"], false);
    }

} // namespace
} // namespace reelwright::test

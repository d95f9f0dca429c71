#include "tests/cli/CliTest.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using ::testing::AllOf;
    using ::testing::HasSubstr;

    class TimecodeCommand : public CliTest
    {
    protected:
        /// The first timecode track's member "at" for these options.
        [[nodiscard]] Json at(const std::string& file, const std::vector<std::string>& options) const
        {
            const auto result = json(joined({{"timecode", "--json", file}, options}));
            return result["tracks"].at(0).value("at", Json {});
        }
    };

    TEST_F(TimecodeCommand, TellsAPersonWhatTheTracksSay)
    {
        sample("timecode-2997-drop.mov");
        sample("rotated.mp4");
        const auto text = cli({"timecode", "--frame", "60", "timecode-2997-drop.mov", "rotated.mp4"}).output;
        EXPECT_EQ(text,
            "timecode-2997-drop.mov\n"
            "  tc1 (track 2, disabled)\n"
            "    Start       01:00:58;00\n"
            "    Reel        none\n"
            "    Flags       drop frame\n"
            "    Rate        29.97 frames a second (30 labels)\n"
            "    Last frame  01:01:01;01 (at 89089/30000 s)\n"
            "    Frame 60    01:01:00;02 (at 60060/30000 s)\n"
            "\n"
            "rotated.mp4\n"
            "  no timecode track\n");
    }

    TEST_F(TimecodeCommand, JsonHasEveryFieldOfItsShape)
    {
        sample("timecode-25.mov");
        ASSERT_EQ(cli({"edit", "--reel", "A 1", "--limit-24h", "timecode-25.mov"}).exitCode, 0);
        const auto result = json({"timecode", "--json", "--at", "1.", "timecode-25.mov"});
        EXPECT_EQ(result["tracks"],
            Json::parse(R"([{"id": 3, "place": "tc1", "enabled": false, "start": "10:00:00:00",
                "startFrame": 900000, "reel": "A 1", "dropFrame": false, "limit24h": true, "negative": false,
                "counter": false, "flags": 2, "frameRate": 25.0, "timeScale": 12800, "frameDuration": 512,
                "numberOfFrames": 25,
                "first": {"time": {"value": 0, "scale": 1000}, "timecode": "10:00:00:00", "frame": 900000},
                "last": {"time": {"value": 125440, "scale": 64000}, "timecode": "10:00:01:24", "frame": 900049},
                "at": {"time": {"value": 1, "scale": 1}, "timecode": "10:00:01:00", "frame": 900025}}])"));
    }

    struct MomentFact
    {
        std::vector<std::string> options;
        Json timecode;
        const char* why;
    };

    TEST_F(TimecodeCommand, AnyTimeOfTheMovieHasItsTimecode)
    {
        const MomentFact facts[] = {
            {{"--frame", "0"}, "01:00:58;00", "the beginning"},
            {{"--frame", "59"}, "01:00:59;29", "before the drop"},
            {{"--frame", "60"}, "01:01:00;02", "after it"},
            {{"--at", "1"}, "01:00:58;01", "a frame typed"},
            {{"--at", "00:00:00:29"}, "01:00:58;29", "29 frames"},
            {{"--at", "2."}, "01:00:59;29", "two seconds of time are not yet 60 frames"},
            {{"--at", "60060/30000"}, "01:01:00;02", "the exact time of frame 60"},
            {{"--at", "60059/30000"}, "01:00:59;29", "and a unit before it"},
            {{"--frame", "90"}, nullptr, "past the end"},
        };
        sample("timecode-2997-drop.mov");
        for (const auto& fact : facts)
            EXPECT_EQ(at("timecode-2997-drop.mov", fact.options)["timecode"], fact.timecode) << fact.why;
    }

    TEST_F(TimecodeCommand, ALateTrackHasNoTimecodeBeforeItsStart)
    {
        sample("timecode-25.mov");
        ASSERT_EQ(cli({"edit", "--track", "tc1:in=1.", "timecode-25.mov"}).exitCode, 0);
        EXPECT_EQ(at("timecode-25.mov", {"--frame", "24"})["timecode"], nullptr);
        EXPECT_EQ(at("timecode-25.mov", {"--frame", "25"})["timecode"], "10:00:00:00");
        EXPECT_EQ(at("timecode-25.mov", {"--frame", "26"})["timecode"], "10:00:00:01");
        EXPECT_THAT(cli({"timecode", "timecode-25.mov"}).output,
            HasSubstr("First shown  10:00:00:00 (at 1000/1000 s)"));
    }

    TEST_F(TimecodeCommand, TwoTracksAreToldOneAfterTheOther)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:d=1:r=25", "-f", "lavfi", "-i",
                   "testsrc2=s=32x32:d=1:r=25", "-map", "0", "-map", "1", "-c:v", "mpeg4", "-metadata:s:v:0",
                   "timecode=01:00:00:00", "-metadata:s:v:1", "timecode=02:00:00:00"},
            path("two.mov"));
        const auto tracks = json({"timecode", "--json", "two.mov"})["tracks"];
        ASSERT_EQ(tracks.size(), 2U);
        EXPECT_EQ(tracks[0]["start"], "01:00:00:00");
        EXPECT_EQ(tracks[1]["start"], "02:00:00:00");
        // An edit changes the first and leaves the other alone.
        ASSERT_EQ(cli({"edit", "--timecode", "03:00:00:00", "two.mov"}).exitCode, 0);
        const auto after = json({"timecode", "--json", "two.mov"})["tracks"];
        EXPECT_EQ(after[0]["start"], "03:00:00:00");
        EXPECT_EQ(after[1]["start"], "02:00:00:00");
    }

    TEST_F(TimecodeCommand, WithoutAPictureTheTimecodesOwnFramesCount)
    {
        sample("audio-only.mov");
        ASSERT_EQ(cli({"edit", "--timecode", "05:00:00:00", "audio-only.mov"}).exitCode, 0);
        EXPECT_EQ(at("audio-only.mov", {"--frame", "31"})["timecode"], "05:00:01:01");
        const auto track = json({"timecode", "--json", "audio-only.mov"})["tracks"][0];
        EXPECT_EQ(track["last"]["timecode"], "05:00:01:29") << "two seconds at 30";
    }

    TEST_F(TimecodeCommand, AllTimecodesOfAFileAreListedAndComparedWithTheOneInUse)
    {
        REELWRIGHT_NEEDS_PROGRAM("exiftool");
        sample("timecode-25.mov");
        const auto sources = [&](int exitCode) {
            const auto result = json({"timecode", "--all", "--json", "timecode-25.mov"}, exitCode);
            EXPECT_EQ(result["agree"], exitCode == 0);
            return result["timecodes"];
        };
        const auto alone = sources(0);
        EXPECT_EQ(alone[0]["inUse"], true);
        EXPECT_EQ(alone[0]["start"], "10:00:00:00");
        // Another program's note says the same, then twelve frames more.
        run({"exiftool", "-q", "-overwrite_original", "-UserData:StartTimecode=10:00:00:00",
            path("timecode-25.mov")});
        const auto same = sources(0);
        ASSERT_GE(same.size(), 2U);
        EXPECT_EQ(same[1]["start"], "10:00:00:00");
        EXPECT_EQ(same[1]["difference"], 0);
        run({"exiftool", "-q", "-overwrite_original", "-UserData:StartTimecode=10:00:00:12",
            path("timecode-25.mov")});
        const auto other = sources(1);
        EXPECT_EQ(other[1]["difference"], 12);
        EXPECT_EQ(other[1]["disagrees"], true);
        EXPECT_THAT(cli({"timecode", "--all", "timecode-25.mov"}).output, HasSubstr("! +12 fr"));
        EXPECT_THAT(
            cli({"info", "timecode-25.mov"}).output, AllOf(HasSubstr("disagree"), HasSubstr("10:00:00:12")));
        ASSERT_EQ(cli({"edit", "--timecode-offset", "+00:00:00:12", "timecode-25.mov"}).exitCode, 0);
        sources(0);
    }

    TEST_F(TimecodeCommand, AgreesWithFfprobeOnEveryRealFile)
    {
        REELWRIGHT_NEEDS_CORPUS();
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        std::size_t compared = 0;
        for (const auto& file : corpusFiles("movies")) {
            const auto parsed = Json::parse(cli({"timecode", "--json", file}).output, nullptr, false);
            if (parsed.is_discarded() || !parsed.contains("tracks") || parsed["tracks"].empty())
                continue;
            const auto probed = Json::parse(run(
                {"ffprobe", "-v", "quiet", "-of", "json", "-show_streams", "-select_streams", "d", file}));
            std::vector<std::string> starts;
            for (const auto& stream : probed["streams"])
                if (stream.value("codec_tag_string", "") == "tmcd")
                    starts.push_back(stream["tags"]["timecode"]);
            std::vector<std::string> ours;
            for (const auto& track : parsed["tracks"])
                ours.push_back(track["start"]);
            EXPECT_EQ(ours, starts) << file;
            ++compared;
        }
        EXPECT_GE(compared, 9U);
    }

} // namespace
} // namespace reelwright::test

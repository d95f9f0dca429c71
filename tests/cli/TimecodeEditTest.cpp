#include "movie/samples/TimecodeMedia.h"
#include "tests/cli/CliTest.h"
#include "tests/helpers/PacketChecksums.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

namespace reelwright::test {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;

    /// What the first timecode track of a movie says, as a row of texts.
    struct Said
    {
        std::string start;
        std::string reel;
        std::uint32_t flags = 0;
        bool operator==(const Said&) const = default;

        friend void PrintTo(const Said& said, std::ostream* out)
        {
            *out << said.start << " reel \"" << said.reel << "\" flags " << said.flags;
        }
    };

    class TimecodeEdit : public CliTest
    {
    protected:
        [[nodiscard]] Said said(const std::string& name) const
        {
            const auto info = json({"info", "--json", name});
            for (const auto& track : info["tracks"])
                if (track.contains("timecode") && !track["timecode"].is_null())
                    return {
                        track["timecode"]["start"], track["timecode"]["reel"], track["timecode"]["flags"]};
            return {};
        }

        /// Makes a clip of a second at a rate.
        std::string clip(const std::string& rate, const std::string& name = "clip.mov",
            const std::vector<std::string>& more = {}) const
        {
            ffmpeg(joined({{"-f", "lavfi", "-i", "testsrc2=s=64x48:d=1:r=" + rate, "-c:v", "mpeg4"}, more}),
                path(name));
            return path(name);
        }

        /// One entry of each stream that another program sees, without those that have none.
        static std::vector<std::string> probed(const std::string& file, const std::string& entry)
        {
            const auto streams = Json::parse(run(
                {"ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format", file}))["streams"];
            std::vector<std::string> values;
            for (const auto& stream : streams)
                if (stream.contains("tags") && stream["tags"].contains(entry))
                    values.push_back(stream["tags"][entry]);
            return values;
        }
    };

    struct EditFact
    {
        std::vector<std::string> options;
        Said after;
        const char* why;
    };

    TEST_F(TimecodeEdit, OptionsMakeAndChangeOneTrackOneAfterTheOther)
    {
        const EditFact facts[] = {
            {{"--timecode", "10:11:12:13", "--reel", "A001"}, {"10:11:12:13", "A001", 0}, "a new track"},
            {{"--reel", "B\xC3\xA4r 2", "--limit-24h"}, {"10:11:12:13", "B\xC3\xA4r 2", 2},
                "the start stays"},
            {{"--timecode", "00:01:00;02"}, {"00:01:00;02", "B\xC3\xA4r 2", 3},
                "\";\" means drop frame; all else stays"},
            {{"--reel", "(C)"}, {"00:01:00;02", "C", 3}, "the flags stay; a reel is trimmed"},
            {{"--negative"}, {"00:01:00;02", "C", 7}, "a flag alone is added"},
            {{"--timecode", "1..", "--drop-frame", "--negative", "--limit-24h"}, {"00:01:00;02", "C", 7},
                "no label"},
            {{"--timecode", "01000000", "--reel", ""}, {"01:00:00:00", "", 6},
                "digits alone, so no drop frame; the reel goes, what was not named stays"},
            {{"--counter", "255"}, {"255", "", 8}, "a counter drops all other flags"},
            {{"--reel", "D"}, {"255", "D", 8}, "and stays one"},
            {{"--timecode", "23:59:59;29", "--limit-24h"}, {"23:59:59;29", "D", 3}, "and becomes a timecode"},
            {{"--timecode-offset", "+00:00:00:01"}, {"00:00:00;00", "D", 3}, "a frame on, behind midnight"},
            {{"--timecode-offset", "-01:00:00:00"}, {"23:00:00;00", "D", 3}, "an hour back, before it"},
            {{"--counter", "100000"}, {"100000", "D", 8}, "more than a byte"},
        };
        sample("ntsc-2997.mov");
        for (const auto& fact : facts) {
            const bool exists = std::string_view(fact.why) != "no label";
            EXPECT_EQ(edit(fact.options, "ntsc-2997.mov").exitCode, exists ? 0 : 1) << fact.why;
            if (exists) {
                EXPECT_EQ(said("ntsc-2997.mov"), fact.after) << fact.why;
            }
        }
        const auto tracks = json({"tracks", "--json", "ntsc-2997.mov"})["tracks"];
        ASSERT_EQ(tracks.size(), 2U) << "one timecode track";
        EXPECT_EQ(tracks[0]["references"]["tmcd"], Json::array({tracks[1]["id"]}));
    }

    struct RefusalFact
    {
        const char* clip;
        std::vector<std::string> options;
        const char* message;
    };

    TEST_F(TimecodeEdit, WhatCannotBeWrittenIsRefusedAndTheFileStays)
    {
        const RefusalFact facts[] = {
            {"pal-25.mov", {"--timecode", "10:00:00:25"},
                "no timecode 10:00:00:25 at 25 frames a second; the nearest is 10:00:01:00"},
            {"pal-25.mov", {"--timecode", "10:00:00;00"}, "drop frame is for 29.97 and 59.94"},
            {"pal-25.mov", {"--timecode", "24:00:00:00", "--limit-24h"}, "within 24 hours"},
            {"ntsc-2997.mov", {"--timecode", "00:01:00;00"},
                "at 29.97 frames a second in drop frame; the nearest is 00:01:00;02"},
            {"ntsc-2997.mov", {"--reel", "A"}, "no timecode track yet"},
            {"rotated.mp4", {"--timecode", "1"}, "Timecode tracks are not supported for this file format"},
            {"rotated.mp4", {"--counter", "1"}, "Timecode tracks are not supported for this file format"},
        };
        for (const auto* name : {"pal-25.mov", "ntsc-2997.mov", "rotated.mp4"})
            sample(name);
        for (const auto& fact : facts) {
            const auto before = readFile(path(fact.clip));
            const auto result = edit(fact.options, fact.clip);
            EXPECT_EQ(result.exitCode, 1) << fact.message;
            EXPECT_THAT(result.errors, HasSubstr(fact.message));
            EXPECT_THAT(result.errors, HasSubstr(fact.clip));
            EXPECT_EQ(readFile(path(fact.clip)), before) << fact.message;
        }
    }

    TEST_F(TimecodeEdit, AnMp4FileThatHasATimecodeTrackKeepsItAndCanChangeIt)
    {
        sample("timecode-25.mov", "timecode.mp4");
        EXPECT_EQ(cli({"edit", "--timecode", "02:00:00:00", "timecode.mp4"}).exitCode, 0);
        EXPECT_EQ(said("timecode.mp4").start, "02:00:00:00");
    }

    TEST_F(TimecodeEdit, DryRunVerifyAndJobsWorkWithIt)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        std::vector<std::string> files;
        for (int i = 0; i < 6; ++i) {
            files.push_back(fmt::format("clip{}.mov", i));
            sample("two-audio.mov", files.back());
        }
        const auto original = readFile(path(files[0]));
        const auto packets = packetChecksums(path(files[0]));
        const std::vector<std::string> arguments {"edit", "--json", "--timecode", "10:00:00:00"};
        const auto planned = json(joined({arguments, {"--dry-run"}, files}));
        EXPECT_EQ(readFile(path(files[0])), original);
        const auto done = json(joined({arguments, {"--verify", "--jobs", "2"}, files}));
        ASSERT_EQ(done.size(), files.size());
        for (std::size_t i = 0; i < files.size(); ++i) {
            EXPECT_EQ(done[i]["changes"], planned[i]["changes"]);
            EXPECT_EQ(done[i]["media"].size(), 4U) << "the new track is verified too";
            auto saved = packetChecksums(path(files[i]));
            EXPECT_EQ(saved.erase(3), 1U);
            EXPECT_EQ(saved, packets);
        }
    }

    TEST_F(TimecodeEdit, TheStepStandsWhereTheFirstOfItsOptionsDoes)
    {
        sample("rotated.mp4", "plain.mov");
        const auto result
            = json({"edit", "--json", "--track", "tc1:enabled=off", "--timecode", "1.", "plain.mov"}, 1);
        EXPECT_THAT(result["error"].get<std::string>(), HasSubstr("tc1")) << "there is none yet";
        EXPECT_EQ(cli({"edit", "--reel", "A", "--track", "tc1:enabled=off", "--timecode", "1.", "plain.mov"})
                      .exitCode,
            0);
        EXPECT_EQ(json({"tracks", "--json", "plain.mov"})["tracks"][1]["enabled"], false);
    }

    // Judged by other programs.

    struct RateFact
    {
        const char* rate;
        const char* timecode;
        bool drop;
    };
    constexpr RateFact kRates[] = {
        {"24000/1001", "01:02:03:04", false},
        {"24", "01:02:03:04", false},
        {"25", "01:02:03:04", false},
        {"30000/1001", "01:02:03;04", true},
        {"30000/1001", "01:02:03:04", false},
        {"30", "01:02:03:04", false},
        {"50", "01:02:03:49", false},
        {"60000/1001", "01:02:03;58", true},
        {"60000/1001", "01:02:03:58", false},
        {"60", "01:02:03:59", false},
    };

    TEST_F(TimecodeEdit, OtherProgramsReadWhatWasWritten)
    {
        for (const auto* program : {"ffmpeg", "ffprobe", "mediainfo", "exiftool"})
            REELWRIGHT_NEEDS_PROGRAM(program);
        for (const auto& fact : kRates) {
            // A time scale in which frames of that rate have a whole length, and others in which they have
            // none.
            const bool isNtsc = std::string_view(fact.rate).find('/') != std::string_view::npos;
            for (const std::vector<std::string>& scales :
                {std::vector<std::string> {}, {"-movie_timescale", "1000"},
                    {"-movie_timescale", "600", "-video_track_timescale", "600"}}) {
                if (!isNtsc && scales.size() == 2)
                    continue; // whole rates fit thousandths or have a whole frame in the picture's own scale
                if (fact.drop && scales.size() == 4)
                    continue; // so short a clip in 600ths says 30, where there is no drop frame
                SCOPED_TRACE(fmt::format("{} at {}, {}", fact.timecode, fact.rate, fmt::join(scales, " ")));
                const auto file = clip(fact.rate, "clip.mov", scales);
                const auto packets = packetChecksums(file).at(0);
                const auto edited
                    = cli({"edit", "--timecode", fact.timecode, "--reel", "A001C002", "clip.mov"});
                ASSERT_EQ(edited.exitCode, 0) << edited.errors;
                EXPECT_EQ(said("clip.mov"), (Said {fact.timecode, "A001C002", fact.drop ? 1U : 0U}));
                EXPECT_THAT(probed(file, "timecode"), ElementsAre(fact.timecode, fact.timecode))
                    << "on the picture and on the track";
                EXPECT_THAT(probed(file, "reel_name"), ElementsAre("A001C002"));
                EXPECT_THAT(
                    run({"mediainfo", "--Output=Other;%TimeCode_FirstFrame% %TimeCode_DropFrame%\\n", file}),
                    HasSubstr(fact.timecode + std::string(fact.drop ? " Yes" : " No")));
                if (scales.size() < 4) { // in 600ths the other program counts a frame more than there is
                    const auto track = json({"timecode", "--json", "clip.mov"})["tracks"][0];
                    EXPECT_EQ(track["last"]["timecode"].get<std::string>() + '\n',
                        run({"mediainfo", "--Output=Other;%TimeCode_LastFrame%", file}));
                }
                EXPECT_EQ(exifValue(file, "TimeCode"), "2") << "the reference from the picture";
                EXPECT_EQ(exifValue(file, "Warning"), "");
                EXPECT_EQ(packetChecksums(file).at(0), packets);
            }
        }
    }

    TEST_F(TimecodeEdit, WhatOtherProgramsWriteIsReadAsTheyMeanIt)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        for (const auto& fact : kRates) {
            SCOPED_TRACE(fact.timecode);
            clip(fact.rate, "clip.mov", {"-timecode", fact.timecode, "-metadata:s:v", "reel_name=R7"});
            const auto read = said("clip.mov");
            EXPECT_EQ(read.start, fact.timecode);
            EXPECT_EQ((read.flags & TimecodeDefinition::kDropFrame) != 0, fact.drop);
        }
    }

    TEST_F(TimecodeEdit, ReelsAreReadByOtherProgramsAsTheyWereGiven)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffprobe");
        const auto file = sample("ntsc-2997.mov");
        for (const auto& reel : {std::string("A"), std::string(255, 'R'),
                 std::string("R\xC3\xB6lle 7 \xE5\xB7\xBB"), std::string("a \" quoted ; name 1")}) {
            ASSERT_EQ(cli({"edit", "--timecode", "1..", "--reel", reel, "ntsc-2997.mov"}).exitCode, 0);
            EXPECT_EQ(said("ntsc-2997.mov").reel, reel);
            EXPECT_THAT(probed(file, "reel_name"), ElementsAre(reel));
        }
    }

    TEST_F(TimecodeEdit, FramesOfDifferentLengthsKeepTheMediaAndAStart)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        // Frames 1 to 10 at 25 a second, the rest at 12.5.
        const auto file
            = clip("25", "clip.mov", {"-vf", "select='lt(n,10)+not(mod(n,2))'", "-fps_mode", "vfr"});
        const auto packets = packetChecksums(file).at(0);
        ASSERT_EQ(cli({"edit", "--timecode", "10:00:00:00", "--verify", "clip.mov"}).exitCode, 0);
        EXPECT_EQ(said("clip.mov").start, "10:00:00:00");
        EXPECT_THAT(probed(file, "timecode"), ElementsAre("10:00:00:00", "10:00:00:00"));
        EXPECT_EQ(packetChecksums(file).at(0), packets);
    }

    TEST_F(TimecodeEdit, AHundredGigabytesOfMediaAreNotTouched)
    {
        REELWRIGHT_NEEDS_PROGRAM("python3");
        for (const auto* place : {"first", "last"}) {
            auto file = run({"python3", "-B", REELWRIGHT_SOURCE_DIR "/bench/make-movies.py", "--header",
                place, path(""), "media", "100G"});
            file.pop_back();
            struct stat before = {};
            ASSERT_EQ(::stat(file.c_str(), &before), 0);
            ASSERT_GT(before.st_size, 100'000'000'000);
            const auto result = json({"edit", "--json", "--timecode", "10:00:00:00", file});
            EXPECT_EQ(result["mode"], "in-place");
            struct stat after = {};
            ASSERT_EQ(::stat(file.c_str(), &after), 0);
            EXPECT_LT(after.st_blocks * 512, before.st_blocks * 512 + 8'000'000) << "the hole is still one";
            EXPECT_LT(result["bytesWritten"], 8'000'000) << "headers of 100,000 samples";
            EXPECT_EQ(after.st_ino, before.st_ino);
            EXPECT_EQ(said(file).start, "10:00:00:00");
            std::filesystem::remove(file);
        }
    }

    // Sources.

    struct SourceFact
    {
        std::string source;
        const char* start; ///< or
        const char* message;
    };

    TEST_F(TimecodeEdit, TheStartComesFromWhereTheMovieWasMade)
    {
        REELWRIGHT_NEEDS_PROGRAM("ffmpeg");
        REELWRIGHT_NEEDS_PROGRAM("exiftool");
        // In a time zone of its own, so that a universal time is not taken for a local one.
        clip("25", "clip.mov",
            {"-metadata", "creation_time=2024-07-01T12:34:56Z", "-metadata", "timecode=01:00:00:00"});
        ASSERT_EQ(cli({"edit", "--timecode", "09:08:07:06", "--reel", "OTHER", "-o", "done.mov", "clip.mov"})
                      .exitCode,
            0);
        std::filesystem::create_directories(path("movies"));
        std::filesystem::rename(path("done.mov"), path("movies/clip.mov"));
        std::filesystem::create_directories(path("stills"));
        ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=32x32:d=1:r=1", "-frames:v", "1", "-f", "mjpeg"},
            path("stills/CLIP.THM"));
        run({"exiftool", "-q", "-overwrite_original", "-DateTimeOriginal=2024:07:01 03:04:05",
            path("stills/CLIP.THM")});
        const SourceFact facts[] = {
            {"creation", "18:34:56:00", nullptr},
            {"thm:stills/CLIP.THM", "03:04:05:00", nullptr},
            {"thm-folder:stills", "03:04:05:00", nullptr},
            {"movies:movies", "09:08:07:06", nullptr},
            {"udta", nullptr, "no timecode under \u00A9TIM"},
            {"thm:missing.THM", nullptr, "missing.THM"},
            {"thm-folder:movies", nullptr, "movies"},
            {"movies:stills", nullptr, "stills"},
        };
        for (const auto& fact : facts) {
            const auto result
                = shell("TZ=XST-6 reelwright-cli edit --timecode-from '" + fact.source + "' clip.mov");
            EXPECT_EQ(result.exitCode, fact.start ? 0 : 1) << fact.source << result.errors;
            if (fact.start) {
                EXPECT_EQ(said("clip.mov").start, fact.start) << fact.source;
            } else {
                EXPECT_THAT(result.errors, HasSubstr(fact.message));
            }
        }
        EXPECT_EQ(said("clip.mov").reel, "OTHER") << "the reel came with the movie";
        EXPECT_EQ(json({"timecode", "--json", "clip.mov"})["tracks"].size(), 1U) << "the one track, changed";
    }

    TEST_F(TimecodeEdit, NowIsOneTimeForAllFiles)
    {
        std::vector<std::string> arguments {"edit", "--timecode-from", "now", "--jobs", "2"};
        for (int i = 0; i < 4; ++i) {
            arguments.push_back(fmt::format("clip{}.mov", i));
            sample("pal-25.mov", arguments.back());
        }
        ASSERT_EQ(cli(arguments).exitCode, 0);
        const auto start = said("clip0.mov").start;
        EXPECT_THAT(start, ::testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]:00"));
        for (int i = 1; i < 4; ++i)
            EXPECT_EQ(said(fmt::format("clip{}.mov", i)).start, start);
    }

    TEST_F(TimecodeEdit, TheTimecodeThatAnotherProgramLeftInTheUserDataIsTaken)
    {
        REELWRIGHT_NEEDS_CORPUS();
        copyOf(corpusFolder() + "/movies/adobe-uuid-xmp-timecode-udta.mp4", "adobe.mov");
        ASSERT_EQ(cli({"edit", "--timecode", "05:00:00:00", "adobe.mov"}).exitCode, 0);
        ASSERT_EQ(cli({"edit", "--timecode-from", "udta", "adobe.mov"}).exitCode, 0);
        EXPECT_EQ(said("adobe.mov").start, "00:00:00:00");
        copyOf(corpusFolder() + "/movies/adobe-uuid-xmp-timecode-udta.mp4", "adobe.mp4");
        EXPECT_THAT(cli({"edit", "--timecode-from", "udta", "adobe.mp4"}).errors,
            HasSubstr("not supported for this file"));
    }

} // namespace
} // namespace reelwright::test

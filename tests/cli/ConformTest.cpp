#include "tests/cli/CliTest.h"
#include "tests/helpers/PacketChecksums.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright::test {
namespace {

    using ::testing::HasSubstr;

    class ConformCommand : public CliTest
    {
    protected:
        [[nodiscard]] std::string rateOf(const std::string& name) const
        {
            auto text = run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                "stream=avg_frame_rate", "-of", "csv=p=0", path(name)});
            while (!text.empty() && text.back() == '\n')
                text.pop_back();
            return text;
        }
        [[nodiscard]] Json result(
            const std::vector<std::string>& options, const std::string& name, int exit = 0)
        {
            std::vector<std::string> arguments {"edit", "--json"};
            arguments.insert(arguments.end(), options.begin(), options.end());
            arguments.push_back(name);
            return json(arguments, exit);
        }
        [[nodiscard]] static Json after(const Json& result, const std::string& change)
        {
            for (const auto& one : result["changes"])
                if (one["path"] == change)
                    return one["after"];
            return {};
        }
    };

    TEST_F(ConformCommand, IsOneSaveWithTheEditsBeforeItAndShownBeforehand)
    {
        const auto file = sample("timecode-25.mov");
        const auto before = readFile(file);
        const std::vector<std::string> options {"--autoplay", "on", "--reel", "C003", "--conform", "24"};
        auto shown = options;
        shown.emplace_back("-n");
        const auto forecast = result(shown, "timecode-25.mov");
        EXPECT_EQ(readFile(file), before);
        auto verified = options;
        verified.emplace_back("--verify");
        const auto done = result(verified, "timecode-25.mov");
        EXPECT_EQ(done["status"], "updated");
        EXPECT_EQ(done["mode"], "in-place");
        EXPECT_EQ(done["changes"], forecast["changes"]);
        EXPECT_EQ(after(done, "frameRate"), 24);
        EXPECT_EQ(after(done, "settings/autoPlay"), true);
        EXPECT_EQ(rateOf("timecode-25.mov"), "24/1");
        const auto info = json({"info", "--json", "timecode-25.mov"});
        for (const auto& track : info["tracks"])
            EXPECT_EQ(track.contains("timecode") ? track["timecode"]["numberOfFrames"] : Json(24), 24);
        EXPECT_EQ(info["warnings"], Json::array());
    }

    TEST_F(ConformCommand, WritesACopyWhereThatIsAskedFor)
    {
        const auto before = readFile(sample("pal-25.mov"));
        const auto done
            = result({"--conform", "23,976", "--strip-edit-lists", "--suffix", "-film"}, "pal-25.mov");
        EXPECT_EQ(done["mode"], "flattened");
        EXPECT_EQ(readFile(path("pal-25.mov")), before);
        EXPECT_NEAR(after(done, "frameRate").get<double>(), 23.976, 0.001) << "as its rounded time scale has it";
    }

    TEST_F(ConformCommand, ExactlyIsExactAndTheOldHeaderCanBePutBack)
    {
        const auto file = sample("pal-25.mov");
        const auto before = packetChecksums(file);
        std::filesystem::create_directory(path("kept"));
        const auto done = result({"--conform-exact", "23.976", "--keep-header", "kept"}, "pal-25.mov");
        EXPECT_EQ(done["status"], "updated") << done;
        EXPECT_EQ(rateOf("pal-25.mov"), "24000/1001");
        EXPECT_EQ(names("kept"), std::vector<std::string> {"pal-25.mov.header"});
        EXPECT_EQ(cli({"edit", "--restore-header", "kept/pal-25.mov.header", "pal-25.mov"}).exitCode, 0);
        EXPECT_EQ(rateOf("pal-25.mov"), "25/1");
        EXPECT_EQ(packetChecksums(file), before);
        sample("ntsc-2997.mov");
        EXPECT_THAT(cli({"edit", "--restore-header", "kept/pal-25.mov.header", "ntsc-2997.mov"}).errors,
            HasSubstr("is not the header of this movie"));
    }

    TEST_F(ConformCommand, OptionsThatDoNotGoTogetherAreWrongUsage)
    {
        sample("pal-25.mov");
        const std::pair<std::vector<std::string>, const char*> wrong[] = {
            {{"--conform", "0.5"}, "Frame rate must be at least 1 frame per second."},
            {{"--conform", "fast"}, "--conform takes a frame rate"},
            {{"--conform", "25", "--conform-exact", "25"}, "exclude each other"},
            {{"--strip-edit-lists"}, "go with --conform"},
            {{"--conform-exact", "25", "--strip-edit-lists"}, "goes with --conform;"},
            {{"--restore-header", "x", "--autoplay", "on"}, "goes with no other edit"},
        };
        for (const auto& [options, says] : wrong) {
            const auto done = edit(options, "pal-25.mov");
            EXPECT_EQ(done.exitCode, 2) << says;
            EXPECT_THAT(done.errors, HasSubstr(says));
        }
    }

} // namespace
} // namespace reelwright::test

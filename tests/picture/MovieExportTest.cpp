#include "picture/MovieExport.h"

#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright {
namespace {

    using ::testing::HasSubstr;

    class MovieExportTest : public testing::Test
    {
    protected:
        static std::string sample(const std::string& name)
        {
            return std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name;
        }
        /// Checksums of all decoded pictures, as another program decodes them.
        static std::string pictures(const std::string& path)
        {
            return test::run({"ffmpeg", "-v", "error", "-i", path, "-map", "0:v:0", "-fps_mode",
                "passthrough", "-f", "hash", "-"});
        }
        Result<void> exportTo(const std::string& source, const char* format, const std::string& name,
            const picture::ExportReport& progress = {}, std::optional<ExportRange> range = {})
        {
            ExportJob job;
            job.format = MovieExport::formatNamed(format);
            job.path = folder.file(name);
            job.range = range;
            return MovieExport::run(QTMovie::open(sample(source)).value(), job, progress);
        }
        [[nodiscard]] bool isEmpty() const { return std::filesystem::is_empty(folder.path()); }

        test::TempFolder folder;
    };

    TEST_F(MovieExportTest, LosslessPicturesAreThoseOfTheMovieTurnedAsItIs)
    {
        for (const auto* name : {"pal-25.mov", "rotated.mp4", "fragmented.mp4"}) {
            ASSERT_TRUE(exportTo(name, "lossless (ffv1, matroska)", std::string(name) + ".mkv")) << name;
            EXPECT_EQ(pictures(folder.file(std::string(name) + ".mkv")), pictures(sample(name))) << name;
        }
    }

    TEST_F(MovieExportTest, TimecodeAndRangeComeAlong)
    {
        ASSERT_TRUE(
            exportTo("timecode-25.mov", "ProRes 422 Proxy", "out.mov", {}, ExportRange {{10, 25}, {20, 25}}));
        EXPECT_THAT(test::run({"ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0",
                        "-show_entries", "stream=codec_name,nb_read_packets:stream_tags=timecode", "-of",
                        "compact", folder.file("out.mov")}),
            testing::AllOf(
                HasSubstr("codec_name=prores"), HasSubstr("nb_read_packets=10"), HasSubstr(":10")));
    }

    TEST_F(MovieExportTest, StoppedAndRefusedExportsLeaveNothing)
    {
        const auto stopped = exportTo("pal-25.mov", "H.264 (MP4)", "out.mp4", [](const auto&) { return false; });
        ASSERT_FALSE(stopped);
        EXPECT_EQ(stopped.error().code, MovieError::Code::Cancelled);
        EXPECT_TRUE(isEmpty());
        const auto noPicture = exportTo("audio-only.mov", "PNG Image Sequence", "out");
        ASSERT_FALSE(noPicture);
        EXPECT_THAT(noPicture.error().detail, HasSubstr("no track that plays"));
        EXPECT_TRUE(isEmpty());
        test::writeFile(folder.file("there.mov"), {});
        EXPECT_FALSE(exportTo("pal-25.mov", "Same Media (MOV)", "there.mov")) << "it exists";
    }

    TEST_F(MovieExportTest, SettingsAreReadBackAndWrongOnesNamed)
    {
        const auto choices = ExportChoices::parse(R"({"quality": 18, "frameRate": 29.97, "audio": false})");
        ASSERT_TRUE(choices);
        EXPECT_EQ(choices->frameRate, (std::pair {30000, 1001}));
        EXPECT_EQ(ExportChoices::parse(choices->toJson())->toJson(), choices->toJson());
        for (const auto* text : {"", "[]", R"({"qualty": 1})", R"({"width": 100})", R"({"quality": "high"})",
                 R"({"frameRate": "x"})", R"({"video": 1})"})
            EXPECT_FALSE(ExportChoices::parse(text)) << text;
    }

    TEST_F(MovieExportTest, StillsCarryTheColorsOfTheMovie)
    {
        const auto movie = QTMovie::open(sample("two-audio.mov")).value();
        for (const auto* type : {"png", "jpg", "tif"}) {
            const auto name = std::string("still.") + type;
            const auto image = FrameExport::image(movie, {0, 25}, type);
            ASSERT_TRUE(image) << type;
            ASSERT_TRUE(FrameExport::write(folder.file(name), *image, false));
            EXPECT_FALSE(FrameExport::write(folder.file(name), *image, false)) << "it exists";
            EXPECT_THAT(test::run({"ffprobe", "-v", "error", "-show_frames", folder.file(name)}), HasSubstr("ICC"))
                << type;
            EXPECT_EQ(test::run({"ffmpeg", "-v", "error", "-i", folder.file(name), "-f", "null", "-"}), "") << type;
        }
    }

    TEST_F(MovieExportTest, ProgressTellsPicturesAndBytes)
    {
        picture::ExportProgress last;
        ASSERT_TRUE(exportTo("pal-25.mov", "ProRes 422", "out.mov", [&](const picture::ExportProgress& progress) {
            last = progress;
            return true;
        }));
        ExportJob job;
        job.format = MovieExport::formatNamed("ProRes 422");
        const auto estimate = MovieExport::estimate(QTMovie::open(sample("pal-25.mov")).value(), job);
        EXPECT_EQ(last.fraction, 1);
        EXPECT_EQ(last.pictures, estimate.pictures);
        EXPECT_EQ(last.bytes, std::filesystem::file_size(folder.file("out.mov")));
        EXPECT_GT(estimate.bytes, 0U);
    }

    TEST_F(MovieExportTest, AStillIsThePictureThatAnotherProgramDecodes)
    {
        const auto movie = QTMovie::open(sample("rotated.mp4")).value();
        const auto image = FrameExport::image(movie, {12, 25}, "png");
        ASSERT_TRUE(image);
        test::writeFile(folder.file("still.png"), {image->span().begin(), image->span().end()});
        const auto hash = [](std::vector<std::string> input) {
            std::vector<std::string> command {"ffmpeg", "-v", "error"};
            command.insert(command.end(), input.begin(), input.end());
            for (const auto* more : {"-frames:v", "1", "-pix_fmt", "rgb24", "-f", "hash", "-"})
                command.emplace_back(more);
            return test::run(command);
        };
        EXPECT_EQ(hash({"-i", folder.file("still.png")}), hash({"-ss", "0.48", "-i", sample("rotated.mp4")}));
        EXPECT_FALSE(FrameExport::image(movie, {12, 25}, "xyz"));
    }

} // namespace
} // namespace reelwright

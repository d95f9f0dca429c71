#include "document/ExportController.h"

#include "tests/document/DocumentTest.h"

#include <strings.h>

#include <chrono>
#include <thread>

namespace reelwright::test {
namespace {

    class ExportControllerTest : public DocumentTest
    {
    protected:
        static void finish(MyDocument& document)
        {
            while (document.exporter().update())
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        static const ExportFormat& format(const char* name) { return *MovieExport::formatNamed(name); }
        static std::string exported(const std::string& path)
        {
            return run({"ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_entries",
                "stream=codec_name,width,height,nb_read_packets", "-of", "csv=p=0", path});
        }
    };

    TEST_F(ExportControllerTest, FormatAndSettingsAreThereAgain)
    {
        const auto opened = open(sample("pal-25.mov"));
        auto& exporter = opened->document.exporter();
        auto panel = exporter.exportQTMovie();
        ASSERT_TRUE(panel);
        EXPECT_STREQ(panel->formats[panel->selected]->name, "H.264 (MP4)") << "the first time";
        EXPECT_EQ(panel->suggestedPath, folder.file("pal-25"));
        exporter.changeQTExportFileType(format("WebM (VP9)"));
        ExportChoices choices;
        choices.quality = 40;
        exporter.takeSettings(choices);
        EXPECT_EQ(preferences.text("selectedExportComponentName"), "WebM (VP9)");
        panel = exporter.exportQTMovie();
        EXPECT_STREQ(panel->formats[panel->selected]->name, "WebM (VP9)");
        EXPECT_EQ(panel->choices.quality, 40);

        // Another format has other settings.
        exporter.changeQTExportFileType(format("ProRes 422"));
        EXPECT_EQ(preferences.text("selectedExportComponentSettings"), "");
        EXPECT_FALSE(exporter.exportQTMovie()->choices.quality);
        for (std::size_t i = 1; i < panel->formats.size(); ++i)
            EXPECT_LE(strcasecmp(panel->formats[i - 1]->name, panel->formats[i]->name), 0);
    }

    TEST_F(ExportControllerTest, TheEditedMovieIsExportedWithTheSettings)
    {
        const auto opened = open(sample("pal-25.mov"));
        auto& [window, document] = *opened;
        document.movieSettingsRotateLeft(); // stays unsaved
        const auto before = readFile(document.path());
        ExportChoices choices;
        choices.quality = 30;
        document.exporter().takeSettings(choices);
        ASSERT_TRUE(document.exporter().exportTo(format("H.264 (MOV)"), folder.file("out.mov"), ExportRange {{5, 25}, {15, 25}}));
        EXPECT_FALSE(document.exporter().exportTo(format("H.264 (MOV)"), folder.file("two.mov"))) << "one at a time";
        finish(document);
        EXPECT_THAT(window.alerts, testing::IsEmpty());
        const auto size = document.movie().naturalSize();
        EXPECT_EQ(exported(folder.file("out.mov")),
            "h264," + std::to_string(int(size.width)) + ',' + std::to_string(int(size.height)) + ",10\n");
        EXPECT_EQ(readFile(document.path()), before);
        EXPECT_TRUE(document.isEdited());
    }

    TEST_F(ExportControllerTest, WhatFailsIsToldAndWhatIsCancelledIsNot)
    {
        const auto opened = open(sample("audio-only.mov"));
        auto& [window, document] = *opened;
        document.exporter().exportTo(format("Animated GIF"), folder.file("out.gif"));
        finish(document);
        ASSERT_EQ(window.alerts.size(), 1U);
        EXPECT_EQ(window.alerts[0].title, "Unable to export file");
        window.alerts.clear();
        document.exporter().exportTo(format("WAV Sound"), document.path());
        finish(document);
        ASSERT_EQ(window.alerts.size(), 1U) << "never over the source";
        window.alerts.clear();

        const auto other = open(sample("pal-25.mov"));
        other->document.exporter().exportTo(format("Lossless (FFV1, Matroska)"), folder.file("out.mkv"));
        other->document.exporter().cancelProgress();
        finish(other->document);
        EXPECT_THAT(other->window.alerts, testing::IsEmpty());
        EXPECT_THAT(filesInFolder(), testing::ElementsAre("audio-only.mov", "pal-25.mov"));
    }

    TEST_F(ExportControllerTest, ADocumentMayGoWhileItExports)
    {
        auto opened = open(sample("pal-25.mov"));
        opened->document.exporter().exportTo(format("ProRes 4444 XQ"), folder.file("out.mov"));
        opened.reset();
        EXPECT_THAT(filesInFolder(), testing::ElementsAre("pal-25.mov"));
    }

    TEST_F(ExportControllerTest, FramesAreWrittenAsTheKindThatWasChosenLast)
    {
        const auto opened = open(sample("rotated.mp4"));
        auto& [window, document] = *opened;
        auto& exporter = document.exporter();
        const auto& formats = ExportController::imageFormats();
        ASSERT_EQ(formats.size(), 4U);
        EXPECT_STREQ(formats[3].title, "Bitmap");
        EXPECT_EQ(exporter.suggestedImageName(formats[3]), folder.file("rotated.bmp"));
        exporter.exportFrame(formats[3], {12, 25}, folder.file("still.bmp"));
        finish(document);
        EXPECT_EQ(exporter.selectedImageFormat(), 3U);
        EXPECT_EQ(readFile(folder.file("still.bmp")).at(0), std::byte {0x42});

        exporter.exportFrames(formats[1], {*FrameExport::timesEvery(document.movie(), {1, 5})}, folder.file("s.jpg"));
        finish(document);
        EXPECT_TRUE(std::filesystem::exists(folder.file("s-000001.jpg")));
        EXPECT_TRUE(std::filesystem::exists(folder.file("s-000005.jpg")));
        exporter.exportFrames(formats[0], {{}, 3, 2}, folder.file("sheet.png"));
        finish(document);
        EXPECT_TRUE(std::filesystem::exists(folder.file("sheet.png")));
        EXPECT_THAT(window.alerts, testing::IsEmpty());

        exporter.exportFrame(formats[0], {0, 25}, folder.file("nowhere/still.png"));
        finish(document);
        ASSERT_EQ(window.alerts.size(), 1U);
        EXPECT_EQ(window.alerts[0].title, "Unable to save file");
        EXPECT_EQ(window.alerts[0].text, "Could not write to disk.");
        const auto silent = open(sample("audio-only.mov"));
        silent->document.exporter().exportFrame(formats[0], {0, 25}, folder.file("x.png"));
        finish(silent->document);
        EXPECT_EQ(silent->window.alerts.at(0).title, "Unable to save frame image");
    }

} // namespace
} // namespace reelwright::test

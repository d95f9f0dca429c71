#include "movie/QTMovie.h"
#include "saving/MediaChecksum.h"
#include "tests/batch/BatchTest.h"
#include "timecode/KWTimecodeController.h"

#include <filesystem>

namespace reelwright::test {
namespace {

    namespace fs = std::filesystem;
    using ::testing::Contains;
    using ::testing::ElementsAre;
    using ::testing::HasSubstr;
    using ::testing::IsEmpty;
    using ::testing::Not;

    using KWBatchDocument = BatchTest;

    // Files and queue

    TEST_F(KWBatchDocument, AFileIsInTheListOnceAndComesOutAgain)
    {
        batch->addFiles({"/a/1.mov", "/a/2.mov", "/a/1.mov", "/a/3.mov"});
        EXPECT_THAT(batch->fileArray(), ElementsAre("/a/1.mov", "/a/2.mov", "/a/3.mov"));
        EXPECT_THAT(messages(),
            ElementsAre("Adding 4 file(s) to batch list...", "Adding file /a/1.mov to batch",
                "Adding file /a/2.mov to batch", "Adding file /a/1.mov to batch",
                "File already exists in batch list", "Adding file /a/3.mov to batch"));
        batch->removeFiles({0, 2});
        EXPECT_THAT(batch->fileArray(), ElementsAre("/a/2.mov"));
        batch->addFiles({"/a/1.mov"});
        EXPECT_THAT(batch->fileArray(), ElementsAre("/a/2.mov", "/a/1.mov"));
    }

    TEST_F(KWBatchDocument, EachActionQueuesUnderItsLabel)
    {
        panels().movieSettingsAutoplayToggle(true);
        panels().movieSettingsControllerShowHide(true);
        panels().movieSettingsApertureChange(7);
        panels().rotateLeft();
        EXPECT_TRUE(panels().setTimecode({.start = "1...", .reel = "A1", .dropFrame = true}));
        EXPECT_TRUE(panels().setTimecode({.isCounter = true, .start = "7", .reel = ""}));
        EXPECT_TRUE(panels().conformFrameRate("29,97"));
        panels().performQuickTask(1);
        panels().performQuickTask(99);
        panels().performQuickTask(7);
        EXPECT_THAT(labels(),
            ElementsAre("Toggle autoplay", "Hide movie controller", "Change aperture mode", "Rotate left",
                "Set timecode to 01:00:00:00 and reel to A1", "Set counter to 7 and reel to ",
                "Conform movie to 29,97 fps", "Quick Task: Remove empty tracks"));
        EXPECT_DOUBLE_EQ(batch->conformFPS(), 29.97);
        EXPECT_TRUE(window.canSubmit);
        const std::string queued
            = "Quick Task queued | You can now process the files or continue making changes.";
        EXPECT_THAT(window.alerts,
            ElementsAre("Conform queued | Continue making changes or click the Submit Batch button to begin "
                        "processing the batch.",
                queued, queued, queued));
        batch->moveQueueEntry(3, 0);
        batch->removeQueueEntry(6);
        EXPECT_THAT(labels(),
            ElementsAre("Rotate left", "Toggle autoplay", "Hide movie controller", "Change aperture mode",
                "Set timecode to 01:00:00:00 and reel to A1", "Set counter to 7 and reel to ",
                "Quick Task: Remove empty tracks"))
            << "a conform is removed like any other";
        EXPECT_EQ(batch->conformFPS(), 0);
    }

    TEST_F(KWBatchDocument, WhatCannotBeReadIsRefusedWhereItWasTyped)
    {
        EXPECT_FALSE(panels().setTimecode({.start = "noon", .reel = ""}));
        EXPECT_FALSE(panels().conformFrameRate("fast"));
        EXPECT_THAT(batch->taskQueue(), IsEmpty());
        EXPECT_FALSE(window.canSubmit);
        EXPECT_EQ(
            window.alerts.front(), "Invalid timecode format | Timecode must take the format 00:00:00:00.");
    }

    TEST_F(KWBatchDocument, TheStillTaskLooksBesideTheFirstFileAndAsksOtherwise)
    {
        const auto file = sample("pal-25.mov");
        batch->addFiles({file});
        panels().performQuickTask(7); // the chooser is cancelled
        window.folder = "/stills";
        panels().performQuickTask(7);
        panels().performQuickTask(23);
        writeFile(folder.file("pal-25.THM"), {});
        panels().performQuickTask(7);
        EXPECT_THAT(labels(),
            ElementsAre("Quick Task: Set timecode from THM file",
                "Quick Task: Set timecode from QuickTime movie",
                "Quick Task: Import timecode from THM file"));
        EXPECT_EQ(batch->taskQueue().back().value, folder.path());
    }

    // Runs

    TEST_F(KWBatchDocument, InPlaceEachFileIsChangedAndTheQueueUsedUp)
    {
        const auto one = sample("pal-25.mov");
        const auto two = sample("header-first.mp4");
        batch->addFiles({one, two});
        panels().movieSettingsAutoplayToggle(true);
        process();
        EXPECT_TRUE(playsAtOnce(one));
        EXPECT_TRUE(playsAtOnce(two));
        EXPECT_THAT(statuses(), ElementsAre("done", "done"));
        EXPECT_EQ(batch->results().front().road, BatchResult::Road::InPlace);
        EXPECT_THAT(batch->taskQueue(), IsEmpty());
        EXPECT_FALSE(window.canSubmit);
        EXPECT_THAT(window.calls,
            ElementsAre("progress of 2", "Processing pal-25.mov...", "1", "Processing header-first.mp4...",
                "2", "end of progress"));
        EXPECT_THAT(window.alerts, ElementsAre("Batch complete | Batch processing was successful."));
        EXPECT_THAT(messages(), Contains("placeholder found"));
        EXPECT_THAT(messages(), Contains("Saving to " + one + "..."));
        EXPECT_THAT(trashed, IsEmpty());

        panels().movieSettingsAutoplayToggle(true);
        process();
        EXPECT_THAT(statuses(), ElementsAre("unchanged", "unchanged"));
    }

    TEST_F(KWBatchDocument, CopiesGetTheirNamesAndWhatStoodThereGoesToTheTrash)
    {
        const auto one = sample("pal-25.mov");
        const auto bare = sample("pal-25.mov", "bare");
        writeFile(folder.file("pal-25-processed.mov"), {});
        batch->addFiles({one, bare});
        panels().movieSettingsAutoplayToggle(true);
        process(BatchMode::AppendText);
        EXPECT_TRUE(playsAtOnce(folder.file("pal-25-processed.mov")));
        EXPECT_TRUE(playsAtOnce(folder.file("bare-processed")));
        EXPECT_FALSE(playsAtOnce(one));
        EXPECT_THAT(trashed, ElementsAre(folder.file("pal-25-processed.mov")));
        EXPECT_TRUE(fs::is_empty(trash.file("1")));

        TempFolder out;
        preferences.set("batchDirectory", out.file("new/folder"));
        panels().rotateLeft();
        process(BatchMode::OutputFolder);
        EXPECT_TRUE(fs::exists(out.file("new/folder/pal-25.mov")));
        EXPECT_TRUE(fs::exists(out.file("new/folder/bare")));
        EXPECT_THAT(
            filesInFolder(), ElementsAre("bare", "bare-processed", "pal-25-processed.mov", "pal-25.mov"));
    }

    TEST_F(KWBatchDocument, AForcedSaveKeepsTheOldFileInTheTrash)
    {
        const auto one = sample("pal-25.mov");
        const auto old = readFile(one);
        preferences.set("batchForceResave", std::int64_t {1});
        batch->addFiles({one});
        panels().movieSettingsAutoplayToggle(true);
        trashFails = true;
        process();
        EXPECT_EQ(readFile(one), old) << "what cannot be kept is not replaced";
        EXPECT_THAT(
            window.alerts, ElementsAre("Batch failed | The following files failed to process:\n\n" + one));
        EXPECT_THAT(messages(), Contains("Failed to remove old file"));
        EXPECT_THAT(filesInFolder(), ElementsAre("pal-25.mov"));

        trashFails = false;
        batch->retryFailed();
        finish();
        EXPECT_TRUE(playsAtOnce(one));
        EXPECT_EQ(readFile(trash.file("1")), old);
        EXPECT_THAT(statuses(), ElementsAre("done"));
        EXPECT_THAT(messages(), Contains("Removing existing file at " + one));
    }

    TEST_F(KWBatchDocument, AFailedFileIsNamedAndTheOthersAreDone)
    {
        const auto bad = folder.file("bad.mov");
        const auto good = sample("pal-25.mov");
        writeFile(bad, std::vector<std::byte>(100));
        const auto old = readFile(bad);
        batch->addFiles({bad, folder.file("none.mov"), good});
        panels().movieSettingsAutoplayToggle(true);
        process();
        EXPECT_THAT(statuses(), ElementsAre("failed", "failed", "done"));
        EXPECT_THAT(batch->failedFiles(), ElementsAre(bad, folder.file("none.mov")));
        EXPECT_THAT(messages(), Contains("Unable to init QuickTime movie for batch processing"));
        EXPECT_EQ(readFile(bad), old);
        EXPECT_THAT(batch->results().front().error, Not(IsEmpty()));
    }

    TEST_F(KWBatchDocument, AChangeThatCannotBeAppliedIsAWarning)
    {
        const auto file = sample("pal-25.mov");
        batch->addFiles({file});
        panels().performQuickTask(12); // there is no such field
        panels().movieSettingsAutoplayToggle(true);
        process();
        EXPECT_THAT(statuses(), ElementsAre("done"));
        const auto& result = batch->results().front();
        EXPECT_THAT(result.steps, ElementsAre(StepOutcome::Failed, StepOutcome::Changed));
        ASSERT_EQ(result.warnings.size(), 1U);
        EXPECT_THAT(result.warnings.front(), HasSubstr("no timecode under"));
        EXPECT_TRUE(playsAtOnce(file));
    }

    TEST_F(KWBatchDocument, ACancelIsHeardBetweenFilesAndKeepsTheQueue)
    {
        std::vector<std::string> paths;
        for (const auto* name : {"1.mov", "2.mov", "3.mov"})
            paths.push_back(sample("pal-25.mov", name));
        batch->addFiles(paths);
        panels().movieSettingsAutoplayToggle(true);
        window.onLabel = [&](const std::string& label) {
            if (label == "Processing 2.mov...")
                batch->cancelProcessing();
        };
        process();
        EXPECT_THAT(statuses(), ElementsAre("done", "done", "not begun"));
        EXPECT_THAT(window.calls, Contains("Cancelling..."));
        EXPECT_THAT(window.alerts, IsEmpty());
        EXPECT_THAT(labels(), ElementsAre("Toggle autoplay"));
        EXPECT_TRUE(window.canSubmit);
    }

    TEST_F(KWBatchDocument, ARunThatCannotBeginSaysSoAndKeepsItsQueue)
    {
        fs::create_directory(folder.file("other"));
        const auto one = sample("pal-25.mov");
        const auto two = sample("pal-25.mov", "other/pal-25.mov");
        batch->addFiles({one, two});
        panels().movieSettingsAutoplayToggle(true);
        preferences.set("batchDirectory", folder.file("pal-25.mov/below"));
        process(BatchMode::OutputFolder);
        EXPECT_THAT(window.alerts,
            ElementsAre("Unable to process batch | Directory " + folder.file("pal-25.mov/below")
                + " does not exist."));
        preferences.set("batchDirectory", folder.file("out"));
        process(BatchMode::OutputFolder);
        EXPECT_THAT(window.alerts.back(), HasSubstr("would both be written to"));
        EXPECT_THAT(labels(), ElementsAre("Toggle autoplay"));
        EXPECT_TRUE(window.canSubmit);
    }

    TEST_F(KWBatchDocument, SeveralFilesAtATimeComeOutTheSame)
    {
        std::vector<std::string> paths;
        for (int i = 0; i < 20; ++i)
            paths.push_back(sample("pal-25.mov", std::to_string(i) + ".mov"));
        batch->addFiles(paths);
        preferences.set("batchJobs", std::int64_t {4});
        preferences.set("batchVerify", true);
        panels().movieSettingsAutoplayToggle(true);
        process();
        for (std::size_t i = 0; i < paths.size(); ++i) {
            EXPECT_EQ(batch->results()[i].file, paths[i]);
            EXPECT_EQ(batch->results()[i].verified, true);
            EXPECT_TRUE(playsAtOnce(paths[i]));
        }
    }

    TEST_F(KWBatchDocument, OfRealFilesEachIsDoneOrLeftAsItWasAndAPreviewSaidSo)
    {
        REELWRIGHT_NEEDS_CORPUS();
        auto originals = corpusFiles("movies");
        originals.resize(std::min<std::size_t>(originals.size(), 48));
        for (const auto& bad : corpusFiles("bad"))
            originals.push_back(bad);
        std::vector<std::string> paths;
        for (const auto& original : originals) {
            const auto number = std::to_string(paths.size());
            paths.push_back(folder.file(number + fs::path(original).filename().string()));
            fs::copy_file(original, paths.back());
            fs::permissions(paths.back(), fs::perms::owner_write, fs::perm_options::add);
        }
        batch->addFiles(paths);
        preferences.set("batchJobs", std::int64_t {4});
        panels().movieSettingsAutoplayToggle(true);
        panels().rotateLeft();
        panels().addMetadata("com.apple.quicktime.artist", "Ilse");
        batch->previewChanges(BatchMode::InPlace);
        while (batch->collectPreviews())
            std::this_thread::yield();
        const auto previews = batch->previews();
        process();
        const auto media = [](const std::string& path) {
            return mediaChecksums(QTMovie::open(path).value(), [] { return true; })
                .value_or(std::vector<TrackChecksum> {});
        };
        std::size_t done = 0;
        for (std::size_t i = 0; i < paths.size(); ++i) {
            const auto& result = batch->results()[i];
            EXPECT_EQ(result.status, previews[i]->status) << paths[i] << ": " << result.error;
            EXPECT_EQ(result.road, previews[i]->road) << paths[i];
            if (result.status == BatchResult::Status::Done) {
                ++done;
                EXPECT_EQ(media(paths[i]), media(originals[i])) << paths[i];
                continue;
            }
            EXPECT_EQ(readFile(paths[i]), readFile(originals[i])) << paths[i];
            EXPECT_EQ(result.error.empty(), result.status != BatchResult::Status::Failed) << paths[i];
        }
        EXPECT_GT(done, 30U);
    }

    TEST_F(KWBatchDocument, APreviewTellsWhatARunWouldDoAndWritesNothing)
    {
        const auto file = sample("pal-25.mov");
        const auto old = readFile(file);
        batch->addFiles({file, folder.file("none.mov")});
        panels().movieSettingsAutoplayToggle(true);
        panels().movieSettingsAutoCloseToggle(false);
        batch->previewChanges(BatchMode::InPlace);
        while (batch->collectPreviews())
            std::this_thread::yield();
        const auto& result = *batch->previews()[0];
        EXPECT_EQ(result.status, BatchResult::Status::Done);
        EXPECT_THAT(result.steps, ElementsAre(StepOutcome::Changed, StepOutcome::Nothing));
        EXPECT_EQ(batch->previews()[1]->status, BatchResult::Status::Failed);
        const auto full = batch->previewTask(file, BatchMode::InPlace)();
        ASSERT_EQ(full.changes.size(), 1U);
        EXPECT_EQ(full.changes.front().path, "settings/autoPlay");
        EXPECT_EQ(readFile(file), old);
        panels().flip();
        EXPECT_FALSE(batch->previews()[0]) << "it is old now";
    }

    // Submitting and closing

    TEST_F(KWBatchDocument, SubmittingAsksWhereResultsGoWhenThereAreFiles)
    {
        batch->showBatchProcessWindow();
        EXPECT_THAT(window.alerts,
            ElementsAre("No files in batch | Please add at least one file before processing the batch."));
        batch->addFiles({"/a.mov"});
        batch->showBatchProcessWindow();
        EXPECT_THAT(window.calls, ElementsAre("sheet"));
    }

    TEST_F(KWBatchDocument, ClosingWithAQueueAsksAndEachButtonDoesWhatItSays)
    {
        EXPECT_TRUE(batch->windowShouldClose());
        EXPECT_THAT(window.alerts, IsEmpty());
        batch->addFiles({"/a.mov"});
        panels().flip();
        const std::pair<std::size_t, bool> answers[] = {{0, false}, {1, true}, {2, false}};
        for (const auto& [answer, closes] : answers) {
            window.answer = answer;
            EXPECT_EQ(batch->windowShouldClose(), closes) << answer;
        }
        EXPECT_THAT(window.calls, ElementsAre("sheet")) << "once, for the first button";
        EXPECT_EQ(window.alerts.front(),
            "You haven't submitted a batch yet | You have tasks queued that have not been executed.");
    }

} // namespace
} // namespace reelwright::test

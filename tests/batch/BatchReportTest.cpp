#include "batch/BatchReport.h"

#include "edits/QuickTasks.h"
#include "edits/SettingsEdits.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using ::testing::HasSubstr;

    TEST(BatchReport, TheCommandDoesTheSameAndSurvivesAShell)
    {
        const BatchQueue queue {QueueEntry::of(edits::rotate(edits::Turn::Left)),
            QueueEntry::of(edits::flip()),
            QueueEntry::of(edits::quickTask(*quickTaskWithTag(23), "/my movies/it's")),
            QueueEntry::conform("Conform movie to 25 fps", 25)};
        BatchSettings settings;
        settings.mode = BatchMode::AppendText;
        settings.jobs = 3;
        EXPECT_EQ(batchCommandLine(queue, settings, {}),
            "reelwright-cli edit --rotate left --flip --task "
            "'set-timecode-from-quicktime-movie=/my movies/it'\\''s' --conform 25 --suffix -processed "
            "--overwrite --jobs 3 FILE...");
        const std::string files[] = {"-a.mov", "b c.mov", "d.mov"};
        EXPECT_EQ(batchCommandLine({QueueEntry::of(edits::flip())}, {}, files),
            "reelwright-cli edit --flip ./-a.mov 'b c.mov' d.mov");
    }

    TEST(BatchReport, EachFormTellsEveryFile)
    {
        BatchResult done;
        done.file = "a, \"b\".mov";
        done.output = done.file;
        done.status = BatchResult::Status::Done;
        done.road = BatchResult::Road::InPlace;
        done.bytesWritten = 1234;
        done.steps = {StepOutcome::Changed};
        done.verified = true;
        BatchResult failed;
        failed.file = "c.mov";
        failed.status = BatchResult::Status::Failed;
        failed.error = "the header ends early";
        failed.warnings = {"one", "two"};
        const BatchResult results[] = {done, failed};
        EXPECT_EQ(batchReportCsv(results),
            "File,Status,Result,Output,Mode,Bytes written,Verified,Warnings\r\n"
            "\"a, \"\"b\"\".mov\",done,1 change,\"a, \"\"b\"\".mov\",in-place,1234,same media,\r\n"
            "c.mov,failed,the header ends early,,none,0,,\"one\ntwo\"\r\n");
        const BatchQueue queue {QueueEntry::of(edits::flip())};
        const auto json = batchReportJson(queue, results);
        EXPECT_EQ(json["totals"]["failed"], 1);
        EXPECT_EQ(json["files"][0]["steps"][0], "changed");
        const auto text = batchReportText(queue, results);
        EXPECT_LT(text.find("c.mov"), text.find("a, ")) << "failures first";
        EXPECT_THAT(text, HasSubstr("2 files: 1 done, 0 unchanged, 1 failed; 1.2 KB written"));
    }

} // namespace
} // namespace reelwright

#include "cli/FileEdit.h"

#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

namespace reelwright::cli {
namespace {

    TEST(FileEdit, AChangeThatNoReportKnowsIsStillAChange)
    {
        const test::TempFolder folder;
        const auto path = folder.file("clip.mov");
        test::writeFile(path, test::MovieBuilder {}.build());
        EditOptions options;
        options.plan.edits = {makeEdit("test", "Test", "Test", [](QTMovie& movie) {
            const EditableScope scope {movie};
            movie.editHeader().setLeaf("zzzz"_cc, Bytes::copyOf("of no known meaning"));
            return Result<void> {};
        })};
        const auto result = FileEdit(options, Storage::posix(Storage::Sync::Off), {}).run(path, {});
        EXPECT_EQ(result.status, EditStatus::Updated);
        ASSERT_EQ(result.changes.size(), 1U);
        EXPECT_EQ(result.changes[0].path, "header/size");
        EXPECT_LT(result.changes[0].before, result.changes[0].after);
    }

} // namespace
} // namespace reelwright::cli

#include "support/Trash.h"

#include "tests/helpers/Process.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;
    using ::testing::HasSubstr;

    TEST(Trash, FilesOfOneNameLieThereSideBySideWithTheirNotes)
    {
        const test::TempFolder data;
        const test::TempFolder folder;
        const auto* before = std::getenv("XDG_DATA_HOME");
        const std::string saved = before ? before : "";
        ::setenv("XDG_DATA_HOME", data.path().c_str(), 1);
        const auto path = folder.file("my cl\u00EFp.mov");
        for (const auto* text : {"one", "two"}) {
            std::ofstream {path} << text;
            EXPECT_FALSE(Trash::put(path, std::chrono::seconds(20)));
            EXPECT_FALSE(fs::exists(path));
        }
        EXPECT_EQ(test::readText(data.file("Trash/files/my cl\u00EFp.mov")), "one");
        EXPECT_EQ(test::readText(data.file("Trash/files/my cl\u00EFp.2.mov")), "two");
        const auto note = test::readText(data.file("Trash/info/my cl\u00EFp.2.mov.trashinfo"));
        EXPECT_THAT(
            note, HasSubstr("[Trash Info]\nPath=" + folder.path() + "/my%20cl%C3%AFp.mov\nDeletionDate="));
        EXPECT_TRUE(Trash::put(path, std::chrono::seconds(20))) << "there is none";
        EXPECT_EQ(std::distance(fs::directory_iterator(data.file("Trash/info")), {}), 2);
        if (before)
            ::setenv("XDG_DATA_HOME", saved.c_str(), 1);
        else
            ::unsetenv("XDG_DATA_HOME");
    }

} // namespace
} // namespace reelwright

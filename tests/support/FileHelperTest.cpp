#include "support/FileHelper.h"

#include "support/MainThread.h"
#include "tests/support/SupportTest.h"

#include <sys/stat.h>

#include <thread>

namespace reelwright::test {
namespace {

    using namespace std::chrono_literals;

    class FileHelperTest : public SupportTest
    {
    protected:
        [[nodiscard]] std::string path(const std::string& name) const { return m_folder / name; }
    };

    TEST_F(FileHelperTest, UniqueNameIsTheGivenOneOrNumberedBeforeTheExtension)
    {
        EXPECT_EQ(FileHelper::uniqueFilename(path("clip.mov")), path("clip.mov"));
        writeText(path("clip.mov"), "");
        EXPECT_EQ(FileHelper::uniqueFilename(path("clip.mov")), path("clip-1.mov"));
        std::filesystem::create_symlink("nowhere", path("clip-1.mov"));
        EXPECT_EQ(FileHelper::uniqueFilename(path("clip.mov")), path("clip-2.mov"))
            << "a broken link is in the way too";
        writeText(path(".clip"), "");
        EXPECT_EQ(FileHelper::uniqueFilename(path(".clip")), path(".clip-1"))
            << "a hidden file has no extension";
        std::filesystem::create_directory(path("a.b"));
        writeText(path("a.b/c"), "");
        EXPECT_EQ(FileHelper::uniqueFilename(path("a.b/c")), path("a.b/c-1"));
    }

    TEST_F(FileHelperTest, UniqueNameFitsTheFileSystem)
    {
        std::string longName;
        while (longName.size() < 250)
            longName += "\u00E9";
        const auto hidden = FileHelper::uniqueFilename(path("." + longName + ".mov"));
        const auto name = std::filesystem::path(hidden).filename().string();
        EXPECT_LE(name.size(), 255U);
        EXPECT_THAT(name, testing::EndsWith("\u00E9.mov")) << "cut between characters";
        writeText(hidden, "");
        EXPECT_TRUE(FileHelper::fileExistsAtPath(hidden));
        EXPECT_NE(FileHelper::uniqueFilename(hidden), hidden);
        EXPECT_LE(std::filesystem::path(FileHelper::uniqueFilename(hidden)).filename().string().size(), 255U);
    }

    TEST_F(FileHelperTest, MovingNeverReplacesAFile)
    {
        writeText(path("from"), "new");
        writeText(path("to"), "old");
        EXPECT_EQ(FileHelper::moveFile(path("from"), path("to"), 5s), std::errc::file_exists);
        EXPECT_EQ(readText(path("to")), "old");
        EXPECT_FALSE(FileHelper::removeFile(path("to"), 5s));
        EXPECT_FALSE(FileHelper::moveFile(path("from"), path("to"), 5s));
        EXPECT_EQ(readText(path("to")), "new");
        EXPECT_FALSE(FileHelper::fileExistsAtPath(path("from")));
        EXPECT_EQ(FileHelper::moveFile(path("from"), path("other")), std::errc::no_such_file_or_directory);
        EXPECT_EQ(FileHelper::removeFile(path("from"), 5s), std::errc::no_such_file_or_directory);
        EXPECT_EQ(FileHelper::removeFile(m_folder, 5s), std::errc::is_a_directory);
    }

    TEST_F(FileHelperTest, ExtremeTimeLimitsDoNotOverflow)
    {
        writeText(path("a"), "");
        EXPECT_FALSE(FileHelper::moveFile(path("a"), path("b"), std::chrono::milliseconds::max()));
        const auto error = FileHelper::moveFile(path("b"), path("c"), std::chrono::milliseconds::min());
        EXPECT_TRUE(!error || error == std::errc::timed_out);
    }

    TEST_F(FileHelperTest, ExistenceFollowsLinks)
    {
        std::filesystem::create_symlink("nowhere", path("link"));
        EXPECT_FALSE(FileHelper::fileExistsAtPath(path("link")));
        writeText(path("nowhere"), "");
        EXPECT_TRUE(FileHelper::fileExistsAtPath(path("link")));
        EXPECT_TRUE(FileHelper::fileExistsAtPath(m_folder));
    }

    TEST_F(FileHelperTest, SizesReadLikeSizes)
    {
        struct SizeFact
        {
            std::uint64_t bytes;
            const char* text;
        };
        constexpr SizeFact kFacts[] = {
            {0, "0 bytes"},
            {1, "1 byte"},
            {999, "999 bytes"},
            {1000, "1.0 KB"},
            {1550, "1.6 KB"},
            {999'949, "999.9 KB"},
            {999'950, "1.0 MB"},
            {23'400'000, "23.4 MB"},
            {100'000'000'000, "100.0 GB"},
            {UINT64_MAX, "18.4 EB"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(FileHelper::formatFileSize(fact.bytes), fact.text);
    }

    TEST(InlineMainThread, RunsWorkOneAtATimeAndWithinWork)
    {
        InlineMainThread mainThread;
        int count = 0; // no atomic: the thread sanitizer sees work that is not kept apart
        const auto add = [&] { mainThread.run([&] { mainThread.run([&] { ++count; }); }); };
        bool isCurrentElsewhere = true;
        std::thread other([&] {
            isCurrentElsewhere = mainThread.isCurrent();
            for (int i = 0; i < 1000; ++i)
                add();
        });
        for (int i = 0; i < 1000; ++i)
            add();
        other.join();
        EXPECT_EQ(count, 2000);
        EXPECT_TRUE(mainThread.isCurrent());
        EXPECT_FALSE(isCurrentElsewhere);
    }

} // namespace
} // namespace reelwright::test

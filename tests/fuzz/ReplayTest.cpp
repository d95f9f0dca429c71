// The inputs that fuzzing found, through the same functions, with any compiler and under any sanitizer.

#include "fuzz/FuzzTarget.h"
#include "support/KWLog.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#if defined(__SANITIZE_ADDRESS__)
// The same limit that the fuzzing programs have.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    static_assert(reelwright::fuzz::kMaxAllocation == 160U << 20U);
    return "max_allocation_size_mb=160";
}
#endif

namespace reelwright::fuzz {

void broken(const char* promise)
{
    throw std::runtime_error(promise);
}

namespace {

    std::vector<std::filesystem::path> corpusOf(const Target& target)
    {
        std::vector<std::filesystem::path> paths;
        const auto folder = std::filesystem::path(REELWRIGHT_SOURCE_DIR "/fuzz/corpus") / target.name;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            if (entry.is_regular_file())
                paths.push_back(entry.path());
        std::ranges::sort(paths);
        return paths;
    }

    double processorSeconds()
    {
        timespec now {};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    }

    /// Memory that the whole process may take, where no sanitizer keeps its own accounts there.
    void limitMemory()
    {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        const rlimit limit {kMaxMemory, kMaxMemory};
        ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
#endif
    }

    class Replay : public testing::TestWithParam<Target>
    {
    };

    TEST_P(Replay, EveryInputKeepsThePromisesWithinItsLimits)
    {
        KWLog::willTerminate();
        limitMemory();
        const auto paths = corpusOf(GetParam());
        double slowest = 0;
        for (const auto& path : paths) {
            std::cout << path.filename().string() << std::endl; // what a crash leaves as the last line
            const auto bytes = test::readFile(path.string());
            const auto start = processorSeconds();
            EXPECT_NO_THROW(GetParam().run(bytes)) << path;
            slowest = std::max(slowest, processorSeconds() - start);
            EXPECT_LT(slowest, kMaxSeconds) << path;
        }
        EXPECT_FALSE(paths.empty());
        std::cout << paths.size() << " inputs, the slowest took " << slowest << " s of processor time\n";
    }

    TEST_P(Replay, NothingAndEveryCutOfAnInputAreInputs)
    {
        KWLog::willTerminate();
        limitMemory();
        const auto paths = corpusOf(GetParam());
        EXPECT_NO_THROW(GetParam().run({}));
        for (std::size_t i = 0; i < paths.size(); i += std::max<std::size_t>(paths.size() / 8, 1)) {
            const auto bytes = test::readFile(paths[i].string());
            const auto step = std::max<std::size_t>(bytes.size() / 32, 1);
            for (std::size_t size = 1; size < bytes.size(); size += step)
                EXPECT_NO_THROW(GetParam().run(ByteSpan {bytes}.first(size)))
                    << paths[i] << " cut to " << size << " bytes";
        }
    }

    INSTANTIATE_TEST_SUITE_P(Fuzz, Replay, testing::ValuesIn(targets().begin(), targets().end()),
        [](const auto& one) { return std::string(one.param.name); });

    TEST(ReplayOfTheCorpus, HasAFolderForEachTargetAndNoOther)
    {
        std::size_t folders = 0;
        for (const auto& entry : std::filesystem::directory_iterator(REELWRIGHT_SOURCE_DIR "/fuzz/corpus")) {
            ++folders;
            EXPECT_NE(findTarget(entry.path().filename().string()), nullptr) << entry.path();
        }
        EXPECT_EQ(folders, targets().size());
    }

} // namespace
} // namespace reelwright::fuzz

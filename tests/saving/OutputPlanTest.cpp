#include "saving/OutputPlan.h"

#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace reelwright {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;
    using ::testing::Pair;

    TEST(PathWithSuffix, KeepsTheExtensionLast)
    {
        struct
        {
            const char* path;
            const char* copy;
        } constexpr kFacts[] = {
            {"clip.mov", "clip-x.mov"},
            {"/a.b/clip", "/a.b/clip-x"},
            {"a/b.tar.mov", "a/b.tar-x.mov"},
            {".hidden", ".hidden-x"},
            {"a/.b.mp4", "a/.b-x.mp4"},
        };
        for (const auto& fact : kFacts)
            EXPECT_EQ(pathWithSuffix(fact.path, "-x"), fact.copy);
    }

    class OutputPlanTest : public ::testing::Test
    {
    protected:
        std::string file(const std::string& name)
        {
            const auto path = m_folder.file(name);
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            test::writeFile(path, {});
            return path;
        }
        std::vector<PlannedOutput> plan(const std::vector<std::string>& files)
        {
            return planOutputs(files, m_rule, [this](const std::string& alias, const std::string& kept) {
                m_aliases.emplace_back(alias, kept);
            });
        }

        test::TempFolder m_folder;
        OutputRule m_rule;
        std::vector<std::pair<std::string, std::string>> m_aliases;
    };

    TEST_F(OutputPlanTest, InPlaceAFileNamedTwiceIsEditedOnce)
    {
        const auto clip = file("clip.mov");
        const auto link = m_folder.file("link.mov");
        std::filesystem::create_symlink("clip.mov", link);
        EXPECT_EQ(plan({clip, link, m_folder.path() + "/./clip.mov"}).size(), 1U);
        EXPECT_THAT(m_aliases, ElementsAre(Pair(link, clip), Pair(m_folder.path() + "/./clip.mov", clip)));
    }

    TEST_F(OutputPlanTest, TwoFilesCannotHaveOneOutput)
    {
        m_rule.outputFolder = m_folder.file("not-there-yet");
        const auto edits = plan({file("a/clip.mov"), file("b/clip.mov"), file("c/other.mov")});
        EXPECT_EQ(edits.at(0).refusal, "");
        EXPECT_THAT(edits.at(1).refusal, HasSubstr("a/clip.mov"));
        EXPECT_EQ(edits.at(2).refusal, "");
    }

    TEST_F(OutputPlanTest, AnOutputIsNeverTheFileItselfNorAnotherInput)
    {
        m_rule.overwrite = true;
        m_rule.suffix = "-x";
        const auto edits = plan({file("clip.mov"), file("clip-x.mov")});
        EXPECT_THAT(edits.at(0).refusal, HasSubstr("another input"));
        EXPECT_EQ(edits.at(1).refusal, "");

        m_rule.suffix.reset();
        m_rule.outputFolder = m_folder.path();
        EXPECT_THAT(plan({file("clip.mov")}).at(0).refusal, HasSubstr("the file itself"));
    }

    TEST_F(OutputPlanTest, AnExistingOutputNeedsOverwrite)
    {
        m_rule.outputFile = file("there.mov");
        EXPECT_THAT(plan({file("clip.mov")}).at(0).refusal, HasSubstr("--overwrite"));
        m_rule.overwrite = true;
        EXPECT_EQ(plan({file("clip.mov")}).at(0).refusal, "");
        m_rule.outputFile = m_folder.path();
        EXPECT_THAT(plan({file("clip.mov")}).at(0).refusal, HasSubstr("is a folder"));
    }

    TEST_F(OutputPlanTest, SoundAndDvFilesBecomeMovies)
    {
        m_rule.suffix = "-x";
        EXPECT_TRUE(plan({file("Take.WAV")}).at(0).output.ends_with("/Take-x.mov"));
        EXPECT_TRUE(plan({file("clip.m4v")}).at(0).output.ends_with("/clip-x.m4v"));
    }

} // namespace
} // namespace reelwright

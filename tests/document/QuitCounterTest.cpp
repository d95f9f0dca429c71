#include "document/QuitCounter.h"

#include "tests/document/DocumentTest.h"

#include <cerrno>

namespace reelwright::test {
namespace {

    using testing::Contains;
    using testing::ElementsAre;
    using testing::IsEmpty;

    class QuitCounterTest : public DocumentTest
    {
    protected:
        Open& openClip(const std::string& name)
        {
            opened.push_back(open(build({}, name)));
            return *opened.back();
        }
        static void edit(Open& clip) { clip.document.movieSettingsAutoplayToggle(true); }
        bool isSaved(const std::string& name)
        {
            const auto movie = QTMovie::open(folder.file(name));
            return movie && movie->userDataItem("play"_cc);
        }

        std::vector<std::unique_ptr<Open>> opened;
        int terminated = 0;
        QuitCounter counter {notifications,
            [this] {
                std::vector<MyDocument*> documents;
                for (const auto& clip : opened)
                    documents.push_back(&clip->document);
                return documents;
            },
            [this] { ++terminated; }};
    };

    TEST_F(QuitCounterTest, EndsAtOnceWhenNothingIsUnsaved)
    {
        openClip("a.mov");
        counter.quit();
        EXPECT_EQ(terminated, 1);
        EXPECT_THAT(messages(), Contains("w: 0"));
    }

    TEST_F(QuitCounterTest, CountsOnTopOfWhatItStillWaitsFor)
    {
        edit(openClip("a.mov"));
        openClip("b.mov");
        EXPECT_EQ(counter.applicationShouldTerminate(), QuitCounter::Reply::TerminateLater);
        EXPECT_EQ(counter.writingDocs(), 1);
        EXPECT_EQ(counter.applicationShouldTerminate(), QuitCounter::Reply::TerminateLater);
        EXPECT_EQ(counter.writingDocs(), 2);
        counter.docFinishedWriting();
        EXPECT_EQ(terminated, 0);
    }

    TEST_F(QuitCounterTest, SavesOnTheMainThreadAndThenEnds)
    {
        auto& first = openClip("a.mov");
        auto& second = openClip("b.mov");
        openClip("c.mov");
        edit(first);
        edit(second);
        first.window.answers = {0};
        second.window.answers = {1};
        counter.quit();
        EXPECT_EQ(terminated, 1);
        EXPECT_THAT(messages(), testing::IsSupersetOf({"w: 2", "Saving on main thread: 1"}));
        EXPECT_TRUE(isSaved("a.mov"));
        EXPECT_FALSE(isSaved("b.mov")) << "the user did not want it";
        EXPECT_EQ(counter.writingDocs(), 0);
    }

    TEST_F(QuitCounterTest, CancelKeepsEverything)
    {
        auto& first = openClip("a.mov");
        auto& second = openClip("b.mov");
        edit(first);
        edit(second);
        first.window.answers = {1};
        second.window.answers = {2};
        counter.quit();
        EXPECT_EQ(terminated, 0);
        EXPECT_TRUE(first.document.isEdited()) << "given up for the quitting only";
        // Saves have their thread again, and the next quit begins anew.
        EXPECT_TRUE(first.document.saveDocument());
        finish(first.document);
        EXPECT_THAT(messages(), Contains("Saving on main thread: 0"));
        second.window.answers = {1};
        counter.quit();
        EXPECT_EQ(terminated, 1);
    }

    TEST_F(QuitCounterTest, WaitsForASaveThatIsBeingWritten)
    {
        auto& clip = openClip("a.mov");
        edit(clip);
        storage->before = [&](TestStorage::Call call, const std::string&) {
            if (call == TestStorage::Call::OpenForWriting)
                mainThread.run([&] {
                    counter.quit();
                    EXPECT_EQ(terminated, 0);
                    counter.quit();
                    EXPECT_EQ(counter.writingDocs(), 1) << "asking twice does not count twice";
                });
            return 0;
        };
        EXPECT_TRUE(clip.document.saveDocument());
        finish(clip.document);
        EXPECT_EQ(terminated, 1);
        EXPECT_TRUE(isSaved("a.mov"));
        EXPECT_THAT(clip.window.alerts, IsEmpty());
    }

    TEST_F(QuitCounterTest, WaitsForASaveThatBeganDuringAQuestion)
    {
        auto& asked = openClip("a.mov");
        edit(asked);
        asked.window.answers = {1};
        Open* late = nullptr;
        asked.window.duringAlert = [&](const FakeWindow::Alert&) {
            late = &openClip("b.mov");
            edit(*late);
            EXPECT_TRUE(late->document.saveDocument());
        };
        counter.quit();
        ASSERT_TRUE(late->document.isWriting());
        EXPECT_EQ(terminated, 0);
        finish(late->document);
        EXPECT_EQ(terminated, 1);
        EXPECT_TRUE(isSaved("b.mov"));
    }

    TEST_F(QuitCounterTest, AFailedSaveKeepsTheApplication)
    {
        auto& clip = openClip("a.mov");
        auto& other = openClip("b.mov");
        edit(clip);
        edit(other);
        storage->volume = "vfat";
        storage->before = [](TestStorage::Call call, const std::string&) {
            return call == TestStorage::Call::CreateSibling ? ENOSPC : 0;
        };
        counter.quit();
        EXPECT_EQ(terminated, 0);
        EXPECT_EQ(clip.window.alerts.size(), 2U) << "the question, and why it failed";
        EXPECT_THAT(other.window.alerts, IsEmpty()) << "not asked any more";
        EXPECT_TRUE(clip.document.isEdited());
    }

    TEST_F(QuitCounterTest, ADocumentWithoutANameIsGivenOneOrKeepsTheApplication)
    {
        opened.push_back(std::make_unique<Open>(*this));
        auto& clip = *opened.back();
        clip.document.windowControllerDidLoadNib(clip.window);
        edit(clip);
        counter.quit();
        EXPECT_EQ(terminated, 0) << "the save panel was cancelled";
        clip.window.savePath = folder.file("named.mov");
        counter.quit();
        EXPECT_EQ(terminated, 1);
        EXPECT_TRUE(isSaved("named.mov"));
    }

    TEST_F(QuitCounterTest, ADocumentCanQuitWhenItIsCleanAndIdle)
    {
        auto& clip = openClip("a.mov");
        EXPECT_TRUE(clip.document.documentCanQuit());
        edit(clip);
        EXPECT_FALSE(clip.document.documentCanQuit());
        EXPECT_TRUE(clip.document.saveDocument());
        EXPECT_FALSE(clip.document.isWriting()) << "written before the call returns";
        EXPECT_TRUE(clip.document.documentCanQuit());
    }

} // namespace
} // namespace reelwright::test

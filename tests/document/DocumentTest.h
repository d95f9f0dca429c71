#pragma once

#include "document/MyDocument.h"
#include "movie/saving/MovieSaver.h"
#include "support/Preferences.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/MovieBuilder.h"
#include "tests/helpers/MovieChecks.h"
#include "tests/helpers/QueueMainThread.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <utility>

namespace reelwright::test {

/// The real file system on a volume of a chosen type, which can be made to fail and to do things on the way.
class TestStorage final : public ForwardingStorage
{
public:
    enum class Call { OpenForWriting, CreateSibling, Rename };

    std::string volume = "ext4";
    /// Called before each such call; answers the errno to fail with, or 0.
    std::function<int(Call call, const std::string& path)> before;

    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
    {
        if (access == Access::ReadWrite)
            RW_CHECK(ask(Call::OpenForWriting, path));
        return ForwardingStorage::open(path, access);
    }
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override
    {
        RW_CHECK(ask(Call::CreateSibling, path));
        return ForwardingStorage::createSibling(path, siblingPath);
    }
    Result<void> rename(const std::string& from, const std::string& to,
        const std::optional<FileState>& replaced, const Disposal& dispose) override
    {
        RW_CHECK(ask(Call::Rename, to));
        return ForwardingStorage::rename(from, to, replaced, dispose);
    }
    std::string volumeType(const std::string&) override { return volume; }

private:
    Result<void> ask(Call call, const std::string& path) const
    {
        const int error = before ? before(call, path) : 0;
        if (error != 0)
            return systemFailure(error, path, "the test does not want it");
        return {};
    }
};

/// Writes down what the document tells its window, and answers what the test wants.
class FakeWindow final : public DocumentWindow
{
public:
    explicit FakeWindow(const MainThread& mainThread)
        : m_mainThread(mainThread)
    {
    }

    struct Alert
    {
        std::string title;
        std::string text;
        std::vector<std::string> buttons;
    };

    std::vector<std::string> calls; ///< in order
    std::vector<Alert> alerts;
    std::deque<std::size_t> answers; ///< to the next alerts; then the first button
    std::function<void(const Alert&)> duringAlert;
    std::optional<std::string> savePath;
    std::string suggestedPath;
    std::vector<double> fractions;
    std::function<void(double)> duringProgress;
    QTTime time {0, 600};
    bool hasFocus = false;
    std::string timecode;
    std::function<void()> onClose;

    std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons) override
    {
        note("alert");
        alerts.push_back({title, text, buttons});
        if (duringAlert)
            duringAlert(alerts.back());
        if (answers.empty())
            return 0;
        const auto answer = answers.front();
        answers.pop_front();
        return answer;
    }
    std::optional<std::string> chooseSavePath(const std::string&, const std::string& suggested) override
    {
        note("chooseSavePath");
        suggestedPath = suggested;
        return savePath;
    }
    void updateProgressLabel(const std::string& label) override { note("label " + label); }
    void showProgress() override { note("showProgress"); }
    void setProgress(double fraction) override
    {
        EXPECT_TRUE(m_mainThread.isCurrent());
        fractions.push_back(fraction);
        if (duringProgress)
            duringProgress(fraction);
    }
    void endProgress() override { note("endProgress"); }
    void reloadTrackList() override { note("reloadTrackList"); }
    void reloadSelection() override { note("reloadSelection"); }
    void movieReplaced() override { note("movieReplaced"); }
    void movieReleased() override { note("movieReleased"); }
    [[nodiscard]] QTTime currentTime() const override { return time; }
    void setCurrentTime(const QTTime& newTime) override
    {
        note("setCurrentTime");
        time = newTime;
    }
    void titleChanged() override { note("titleChanged"); }
    void editedChanged() override { note("editedChanged"); }
    void undoChanged() override { note("undoChanged"); }
    void closeWindow() override
    {
        note("closeWindow");
        if (const auto last = onClose) // this window may go with it
            last();
    }
    [[nodiscard]] bool timecodeFieldHasFocus() const override { return hasFocus; }
    [[nodiscard]] std::string timecodeFieldText() const override { return timecode; }
    void setTimecodeFieldText(const std::string& text) override { timecode = text; }
    void focusNextControl() override { note("focusNextControl"); }

    [[nodiscard]] std::size_t count(const std::string& call) const
    {
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
    }

private:
    void note(std::string call)
    {
        EXPECT_TRUE(m_mainThread.isCurrent()) << call;
        calls.push_back(std::move(call));
    }

    const MainThread& m_mainThread;
};

/// A folder, a main thread, preferences and documents with windows.
class DocumentTest : public LogTest
{
protected:
    struct Open
    {
        explicit Open(DocumentTest& test, std::shared_ptr<Storage> volume = nullptr)
            : window(test.mainThread)
            , document({test.mainThread, test.notifications, test.preferences,
                  volume ? std::move(volume) : test.storage, test.files,
                  [&test] { return test.openDocuments; }})
        {
        }

        FakeWindow window;
        MyDocument document;
    };

    DocumentTest()
    {
        preferences.registerDefault("nonHFSResave", true);
        preferences.registerDefault("autoFlatten", std::int64_t {1});
    }

    /// A document of that file in its window.
    std::unique_ptr<Open> open(const std::string& path)
    {
        auto opened = std::make_unique<Open>(*this);
        EXPECT_TRUE(opened->document.readFromURL(path)) << path;
        opened->document.windowControllerDidLoadNib(opened->window);
        return opened;
    }
    /// A copy of a sample clip in the test's folder.
    std::string sample(const std::string& name, const std::string& as = {}) const
    {
        const auto path = folder.file(as.empty() ? name : as);
        std::filesystem::copy_file(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name, path);
        return path;
    }
    std::string build(const MovieBuilder& builder, const std::string& name = "built.mov") const
    {
        writeFile(folder.file(name), builder.build());
        return folder.file(name);
    }
    /// Waits for the end of a save.
    void finish(const MyDocument& document)
    {
        mainThread.runUntil([&] { return !document.isWriting(); });
    }
    [[nodiscard]] std::vector<std::string> filesInFolder() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    TempFolder folder;
    QueueMainThread mainThread;
    NotificationCenter notifications;
    TempFolder preferencesFolder;
    Preferences preferences {preferencesFolder.file("test.plist")};
    std::shared_ptr<TestStorage> storage = std::make_shared<TestStorage>();
    SaveFiles files = SaveFiles::real();
    std::vector<MyDocument*> openDocuments; ///< those that know of each other
};

} // namespace reelwright::test

#pragma once

#include "batch/BatchPanels.h"
#include "support/FileHelper.h"
#include "support/Preferences.h"
#include "tests/helpers/ForwardingStorage.h"
#include "tests/helpers/LogTest.h"
#include "tests/helpers/QueueMainThread.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

namespace reelwright::test {

/// Writes down what the batch tells its window, and answers what the test wants.
class FakeBatchWindow final : public BatchWindow
{
public:
    std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons) override
    {
        alerts.push_back(title + " | " + text);
        return answer < buttons.size() ? answer : buttons.size() - 1;
    }
    std::optional<std::string> chooseFolder(const std::string&) override { return folder; }
    void showBatchProcessSheet() override { calls.emplace_back("sheet"); }
    void showProgress(std::size_t count) override { calls.push_back("progress of " + std::to_string(count)); }
    void updateProgressLabel(const std::string& label) override
    {
        calls.push_back(label);
        if (onLabel)
            onLabel(label);
    }
    void setProgress(std::size_t done) override { calls.push_back(std::to_string(done)); }
    void endProgress() override { calls.emplace_back("end of progress"); }
    void reloadFiles() override { }
    void fileChanged(std::size_t) override { }
    void reloadTaskQueue() override { }
    void enableSubmit(bool isEnabled) override { canSubmit = isEnabled; }
    void previewCleared() override { }
    void runEnded() override { }
    void closeWindow() override { }

    std::size_t answer = 0;
    std::optional<std::string> folder;
    std::function<void(const std::string& label)> onLabel;
    std::vector<std::string> alerts;
    std::vector<std::string> calls;
    bool canSubmit = false;
};

/// The real file system on a volume that is updated in place, whatever it is.
class JournalledStorage final : public ForwardingStorage
{
public:
    std::string volumeType(const std::string&) override { return "ext4"; }
};

/// A batch with its window, and a folder.
class BatchTest : public LogTest
{
protected:
    BatchTest()
    {
        preferences.registerDefault("nonHFSResave", true);
        preferences.registerDefault("batchExtension", std::string("-processed"));
        BatchFiles moves = BatchFiles::real();
        moves.trash
            = [this](const std::string& path, const std::string& original, std::chrono::milliseconds) {
                  if (trashFails)
                      return std::make_error_code(std::errc::io_error);
                  trashed.push_back(original);
                  return FileHelper::moveFile(path, trash.file(std::to_string(trashed.size())));
              };
        batch = std::make_unique<KWBatchDocument>(
            BatchEnvironment {mainThread, preferences, std::make_shared<JournalledStorage>(), moves});
        batch->windowDidLoad(window);
    }

    void process(BatchMode mode = BatchMode::InPlace)
    {
        batch->batchProcess(mode);
        finish();
    }
    void finish()
    {
        mainThread.runUntil([&] { return !batch->isProcessing(); });
    }
    [[nodiscard]] std::vector<std::string> labels() const
    {
        std::vector<std::string> all;
        for (const auto& entry : batch->taskQueue())
            all.push_back(entry.desc);
        return all;
    }
    static bool playsAtOnce(const std::string& path)
    {
        const auto movie = QTMovie::open(path);
        return movie && movie->userDataItem("play"_cc).has_value();
    }
    /// "done" and so on, one after the other.
    [[nodiscard]] std::vector<std::string> statuses() const
    {
        std::vector<std::string> all;
        for (const auto& result : batch->results())
            all.emplace_back(BatchResult::statusName(result.status));
        return all;
    }

    BatchPanels& panels()
    {
        if (!m_panels)
            m_panels = std::make_unique<BatchPanels>(*batch);
        return *m_panels;
    }
    /// A copy of a sample clip in the test's folder.
    [[nodiscard]] std::string sample(const std::string& name, const std::string& as = {}) const
    {
        const auto path = folder.file(as.empty() ? name : as);
        std::filesystem::copy_file(std::string(REELWRIGHT_SOURCE_DIR) + "/samples/" + name, path);
        return path;
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
    TempFolder trash;
    TempFolder preferencesFolder;
    Preferences preferences {preferencesFolder.file("test.plist")};
    QueueMainThread mainThread;
    FakeBatchWindow window;
    std::vector<std::string> trashed;
    bool trashFails = false;
    std::unique_ptr<KWBatchDocument> batch;

private:
    std::unique_ptr<BatchPanels> m_panels;
};

} // namespace reelwright::test

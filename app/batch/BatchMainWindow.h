#pragma once

#include "app/batch/BatchFileModel.h"
#include "app/shell/ApplicationActions.h"
#include "batch/BatchPanels.h"

#include <QMainWindow>
#include <QTimer>

#include <memory>

class QComboBox;
class QFrame;
class QLabel;
class QPushButton;
class QSplitter;
class QTabWidget;
class QTableView;
class QTextBrowser;

namespace reelwright {

class BatchFilter;
class BatchPane;
class BatchQueueModel;
class ChangesView;
class FilePreview;
class RunStrip;

/// The window of one batch: the files and the queue on the left, the selected file and what can be queued on
/// the right. It shows and asks; all rules are the batch's.
class BatchMainWindow final : public QMainWindow, public BatchWindow
{
    Q_OBJECT

public:
    BatchMainWindow(
        BatchEnvironment environment, const ApplicationActions& actions, const QStringList& paths = {});
    ~BatchMainWindow() override;

    [[nodiscard]] KWBatchDocument& batch() { return m_batch; }
    /// Adds files, and the movies in folders. Returns at once; the disk is asked elsewhere.
    void addPaths(const QStringList& paths);
    /// Queues a quick task.
    void queueTask(int tag);
    /// May it go? Asks as closing does.
    bool mayClose() { return m_batch.windowShouldClose(); }

    // What the batch asks of its window.

    std::size_t alert(
        const std::string& title, const std::string& text, const std::vector<std::string>& buttons) override;
    std::optional<std::string> chooseFolder(const std::string& title) override;
    void showBatchProcessSheet() override;
    void showProgress(std::size_t fileCount) override;
    void updateProgressLabel(const std::string& label) override;
    void setProgress(std::size_t done) override;
    void endProgress() override;
    void reloadFiles() override;
    void fileChanged(std::size_t index) override;
    void reloadTaskQueue() override;
    void enableSubmit(bool isEnabled) override;
    void previewCleared() override;
    void runEnded() override;
    void closeWindow() override;

signals:
    void openAsked(const QStringList& paths);
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* makeFileList();
    QWidget* makeQueue();
    QWidget* makeTabs();
    QWidget* makeSubmitRow();
    QWidget* makeBanner();
    void makeMenus(const ApplicationActions& actions);
    QAction* addAction(
        QMenu& menu, const QString& text, const QKeySequence& keys, void (BatchMainWindow::*work)());

    void addFiles();
    void addFolder();
    void removeFiles();
    void removeQueueEntries();
    void moveQueueEntry(int by);
    void submit();
    void previewChanges();
    void checkFiles();
    void copyAsCommand();
    void saveReport();
    void retryFailed() { m_batch.retryFailed(); }
    void openSelected();

    void summarise();
    void collect();
    void showSelection();
    void showChanges();
    void showResultColumns(bool isOn);
    void updateStatus();
    [[nodiscard]] std::vector<std::size_t> selectedFiles() const;
    [[nodiscard]] std::string selectedPath() const;

    KWBatchDocument m_batch;
    BatchPanels m_panels;
    BatchFileModel* m_files;
    BatchFilter* m_filter;
    BatchQueueModel* m_queueModel;
    std::vector<BatchPane*> m_panes;

    QTableView* m_table = nullptr;
    QComboBox* m_shown = nullptr;
    QTableView* m_queue = nullptr;
    QLabel* m_queueTitle = nullptr;
    ChangesView* m_changes = nullptr;
    FilePreview* m_file = nullptr;
    QTabWidget* m_tabs = nullptr;
    QTextBrowser* m_information = nullptr;
    QComboBox* m_mode = nullptr;
    QPushButton* m_preview = nullptr;
    QPushButton* m_submit = nullptr;
    RunStrip* m_strip = nullptr;
    QFrame* m_banner = nullptr;
    QLabel* m_bannerText = nullptr;
    QPushButton* m_retry = nullptr;
    QLabel* m_status = nullptr;

    std::unique_ptr<BackgroundScan<FileSummary>> m_summaries;
    bool m_isPreviewing = false;
    std::size_t m_ended = 0; ///< files of the run, failed ones too
    std::shared_ptr<Storage> m_storage;
    QTimer m_timer; ///< collects what threads found out
    bool m_isClosed = false;
};

} // namespace reelwright

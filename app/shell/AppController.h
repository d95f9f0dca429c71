#pragma once

#include "app/shell/ApplicationActions.h"
#include "app/shell/MovieOpener.h"
#include "app/shell/PreferencesDialog.h"
#include "app/shell/QtMainThread.h"
#include "app/shell/RecentFiles.h"
#include "document/MyDocument.h"
#include "document/NotificationCenter.h"
#include "document/QuitCounter.h"
#include "support/Preferences.h"

#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>
#include <vector>

namespace reelwright {

class BatchMainWindow;
class ManualWindow;
class MovieWindow;
class StartWindow;

/// The application: opens movie files, each as a document in a window of its own, keeps the menus' common
/// actions, and lets the program end when all documents can. There is one, and it has to go before the
/// QApplication does.
class AppController : public QObject
{
    Q_OBJECT

public:
    explicit AppController(Preferences& preferences = Preferences::standard(),
        std::shared_ptr<Storage> storage = Storage::posix());
    ~AppController() override;

    /// Launching has finished: opens the files that were handed over, or does what "startupType" says.
    void start(const QStringList& files);
    /// Absolute paths. A file that is open already comes to the front. Returns at once.
    void openFiles(const QStringList& paths);
    /// Another start of the program: opens its files, or only comes to the front.
    void activate(const QStringList& files, const QString& token);
    /// The file chooser. Several files that are chosen together make a batch.
    void openDocument();
    /// A batch in a window of its own, with these files and the movies in these folders.
    BatchMainWindow* newBatch(const QStringList& paths = {});
    void showPreferences();
    void showAbout();
    /// Asks where to, and writes an archive of logs and of facts about the system.
    void saveDiagnostics();
    /// After a run that crashed: says so, and offers that archive.
    void offerDiagnostics();
    /// The manual, at that page ("chapters"); its first one for an empty name.
    void showManual(const QString& page);

    /// Emits `terminated` once nothing is unsaved or being written; see QuitCounter.
    void quit();
    /// The session is about to end: the same questions and saves, but answers when all is done. False: the
    /// user wants to stay. `mayAsk`: without that, only what is being written is waited for.
    bool prepareSessionEnd(bool mayAsk);

    /// In the order in which they were opened.
    [[nodiscard]] std::vector<MovieWindow*> windows() const { return m_open; }
    [[nodiscard]] const std::vector<BatchMainWindow*>& batchWindows() const { return m_openBatches; }
    [[nodiscard]] const ApplicationActions& actions() const { return m_actions; }
    [[nodiscard]] RecentFiles& recentFiles() { return m_recentFiles; }
    [[nodiscard]] StartWindow& startWindow() { return *m_startWindow; }
    [[nodiscard]] QFileDialog* chooser() const { return m_chooser; }

signals:
    void movieOpened(reelwright::MovieWindow* window);
    /// All files of one openFiles are open or have failed.
    void openingFinished();
    /// Nothing keeps the program any more.
    void terminated();

private:
    void makeActions();
    std::optional<MovieError> makeDocument(MyDocument::OpenedMovie opened);
    void showFailures(const std::vector<MovieOpener::Failure>& failures);
    void pathChanged(const MovieWindow* window);
    void windowClosed(MovieWindow* window);
    void batchClosed(BatchMainWindow* window);
    /// May all batches go? Asks each.
    bool mayCloseBatches();
    /// May the exports that run be stopped? Asks each.
    bool mayStopExports();
    /// One question for several movies with unsaved changes.
    QuitCounter::All askAboutAll(const std::vector<MyDocument*>& unsaved);
    void chooseFiles(const QStringList& paths);
    void deleteClosedWindows();
    void showStartWindow();
    void showStartWindowIfEmpty();
    void fillWindowsMenu();
    void terminate();
    /// The window that questions and choosers belong to.
    [[nodiscard]] QWidget* frontWindow() const;
    [[nodiscard]] std::vector<MyDocument*> documents() const;

    QtMainThread m_mainThread;
    NotificationCenter m_notifications;
    Preferences& m_preferences;
    Preferences m_sharedPreferences {Preferences::sharedFilePath()};
    DocumentEnvironment m_environment;
    QuitCounter m_quitCounter;

    ApplicationActions m_actions;
    QMenu m_windowsMenu;
    RecentFiles m_recentFiles;
    MovieOpener m_opener;

    std::vector<MovieWindow*> m_open;
    std::vector<std::unique_ptr<MovieWindow>> m_closed; ///< until nothing can be at work in them any more
    std::vector<BatchMainWindow*> m_openBatches;
    std::vector<std::unique_ptr<BatchMainWindow>> m_closedBatches;
    QTimer m_burial;
    std::unique_ptr<StartWindow> m_startWindow;
    std::unique_ptr<ManualWindow> m_manual;
    QPointer<QFileDialog> m_chooser;
    QPointer<PreferencesDialog> m_preferencesDialog;
    QPointer<QMessageBox> m_aboutBox;
    bool m_isTerminating = false;
    bool m_isEndingSession = false; ///< within prepareSessionEnd
    bool m_mayEndSession = false;
};

} // namespace reelwright

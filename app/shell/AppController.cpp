#include "app/shell/AppController.h"

#include "app/batch/BatchMainWindow.h"
#include "app/shell/AboutBox.h"
#include "app/shell/Appearance.h"
#include "app/shell/Background.h"
#include "app/shell/Diagnostics.h"
#include "app/shell/ErrorText.h"
#include "app/shell/FileChooser.h"
#include "app/shell/ManualWindow.h"
#include "app/shell/PreferencesDialog.h"
#include "app/shell/StartWindow.h"
#include "app/window/MovieWindow.h"
#include "support/KWLog.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSessionManager>
#include <QThread>
#include <QTimer>

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    void bringToFront(QWidget& window)
    {
        window.setWindowState((window.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
        window.show();
        window.raise();
        window.activateWindow();
    }

    constexpr int kBurialMilliseconds = 50;

    /// "*.mov *.MOV …": not every desktop's chooser takes the two for the same.
    QString patterns(std::initializer_list<const char*> extensions)
    {
        QStringList all;
        for (const auto* extension : extensions) {
            const auto pattern = QStringLiteral("*.") + QLatin1String(extension);
            all << pattern << pattern.toUpper();
        }
        return QLatin1Char('(') + all.join(QLatin1Char(' ')) + QLatin1Char(')');
    }

    QString quoted(const QString& path)
    {
        return QStringLiteral("\u201C%1\u201D").arg(QFileInfo {path}.fileName());
    }

} // namespace

AppController::AppController(Preferences& preferences, std::shared_ptr<Storage> storage)
    : m_preferences(preferences)
    , m_environment {m_mainThread, m_notifications, m_preferences, storage, SaveFiles::real(),
          [this] { return documents(); }}
    , m_quitCounter(
          m_notifications, [this] { return documents(); }, [this] { terminate(); })
    , m_windowsMenu(tr("&Window"))
    , m_recentFiles(preferences)
    , m_opener(std::move(storage),
          [this](MyDocument::OpenedMovie opened) { return makeDocument(std::move(opened)); })
{
    // The program ends when the user says so, not when a window goes.
    QApplication::setQuitOnLastWindowClosed(false);
    Appearance::apply(Appearance::wanted(m_preferences));
    makeActions();
    m_quitCounter.setAskAboutAll([this](const std::vector<MyDocument*>& unsaved) { return askAboutAll(unsaved); });
    m_burial.setInterval(kBurialMilliseconds);
    connect(&m_burial, &QTimer::timeout, this, &AppController::deleteClosedWindows);
    m_startWindow = std::make_unique<StartWindow>(m_actions);
    connect(m_startWindow.get(), &StartWindow::filesDropped, this, &AppController::openFiles);
    connect(m_startWindow.get(), &StartWindow::closed, this, &AppController::quit);
    connect(&m_recentFiles, &RecentFiles::chosen, this, [this](const QString& path) { openFiles({path}); });
    connect(&m_windowsMenu, &QMenu::aboutToShow, this, &AppController::fillWindowsMenu);
    connect(&m_opener, &MovieOpener::busyChanged, m_startWindow.get(), &StartWindow::setBusy);
    connect(&m_opener, &MovieOpener::finished, this, &AppController::showFailures);
    connect(
        qApp, &QGuiApplication::commitDataRequest, this,
        [this](QSessionManager& session) {
            const bool mayAsk = session.allowsInteraction();
            if (!prepareSessionEnd(mayAsk))
                session.cancel();
            else if (mayAsk)
                session.release();
        },
        Qt::DirectConnection);
}

AppController::~AppController()
{
    m_isTerminating = true;
    // What is being written must not go. That happens only when the program is made to end.
    for (auto* window : m_openBatches)
        window->batch().cancelProcessing();
    m_mainThread.serveUntil([this] {
        const auto all = documents();
        return std::none_of(
                   all.begin(), all.end(), [](const auto* document) { return document->isWriting(); })
            && std::none_of(m_openBatches.begin(), m_openBatches.end(),
                [](auto* window) { return window->batch().isProcessing(); });
    });
    for (auto* window : std::exchange(m_openBatches, {})) {
        window->disconnect(this);
        delete window;
    }
    for (auto* window : std::exchange(m_open, {})) {
        window->disconnect(this);
        delete window;
    }
}

void AppController::makeActions()
{
    const auto make = [this](const QString& text, const QKeySequence& keys, void (AppController::*slot)()) {
        auto* action = new QAction {text, this};
        action->setShortcut(keys);
        if (slot)
            connect(action, &QAction::triggered, this, slot);
        return action;
    };
    m_actions.newBatch = make(tr("&New Batch"), QKeySequence::New, nullptr);
    connect(m_actions.newBatch, &QAction::triggered, this, [this] { newBatch(); });
    m_actions.open = make(tr("&Open\u2026"), QKeySequence::Open, &AppController::openDocument);
    m_actions.openRecent = m_recentFiles.menu();
    m_actions.preferences = make(
        tr("&Preferences\u2026"), QKeySequence {Qt::CTRL | Qt::Key_Comma}, &AppController::showPreferences);
    m_actions.preferences->setMenuRole(QAction::PreferencesRole);
    m_actions.quit = make(tr("&Quit"), QKeySequence {Qt::CTRL | Qt::Key_Q}, &AppController::quit);
    m_actions.quit->setMenuRole(QAction::QuitRole);
    m_actions.diagnostics = make(tr("Save &Diagnostics\u2026"), {}, &AppController::saveDiagnostics);
    m_actions.about = make(tr("&About Reelwright"), {}, &AppController::showAbout);
    m_actions.about->setMenuRole(QAction::AboutRole);
    m_actions.windows = &m_windowsMenu;
}

void AppController::start(const QStringList& files)
{
    constexpr std::int64_t kShowChooser = 0;
    constexpr std::int64_t kNewBatch = 1;
    if (files.isEmpty()) {
        const auto type = m_preferences.integer("startupType");
        if (type == kNewBatch) {
            newBatch();
            return;
        }
        showStartWindow();
        if (type == kShowChooser)
            openDocument();
        return;
    }
    openFiles(files);
    // Movies are mostly there before anybody could read another window.
    constexpr int kPatience = 500;
    QTimer::singleShot(kPatience, this, &AppController::showStartWindowIfEmpty);
}

void AppController::openFiles(const QStringList& paths)
{
    QStringList wanted;
    for (const auto& path : paths) {
        const auto open = std::find_if(m_open.begin(), m_open.end(), [&](const auto* window) {
            const auto& document = window->document();
            return QString::fromStdString(document.path()) == path
                || QString::fromStdString(document.file().path) == path;
        });
        if (open == m_open.end())
            wanted.append(path);
        else
            bringToFront(**open);
    }
    m_opener.open(wanted);
}

std::optional<MovieError> AppController::makeDocument(MyDocument::OpenedMovie opened)
{
    for (auto* window : m_open)
        if (window->document().file().isSameFile(opened.file)) { // under another name
            bringToFront(*window);
            return {};
        }
    for (const auto* window : m_open)
        if (const auto* written = window->document().fileBeingWritten();
            written && written->isSameFile(opened.file))
            return MovieError {MovieError::Code::Refused, 0, opened.path,
                fmt::format("the window \"{}\" is saving to this file; open it when the save is done",
                    window->document().displayName())};
    const auto path = QString::fromStdString(opened.path);
    auto document = std::make_unique<MyDocument>(m_environment);
    MovieError error;
    if (!document->readFromURL(std::move(opened), &error))
        return error;

    m_startWindow->hide();
    auto* window = new MovieWindow {std::move(document), m_actions};
    m_open.push_back(window);
    connect(window, &MovieWindow::filesDropped, this, &AppController::openFiles);
    connect(window, &MovieWindow::pathChanged, this, [this, window] { pathChanged(window); });
    connect(window, &MovieWindow::closed, this, [this, window] { windowClosed(window); });
    connect(window, &MovieWindow::helpAsked, this, &AppController::showManual);
    connect(window, &MovieWindow::batchAsked, this, [this, window](int tag) {
        auto* batch = newBatch();
        batch->batch().addFiles({window->document().path()});
        batch->queueTask(tag);
    });
    bringToFront(*window);
    m_recentFiles.add(path);
    emit movieOpened(window);
    return {};
}

void AppController::showFailures(const std::vector<MovieOpener::Failure>& failures)
{
    for (const auto& failure : failures)
        KWLog::appendLog("Cannot open {}: {}", failure.path.toStdString(), failure.error.message());
    showStartWindowIfEmpty();
    if (!failures.empty()) {
        auto* box = new QMessageBox {frontWindow()};
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setObjectName(QStringLiteral("openFailed"));
        box->setWindowTitle(tr("Reelwright"));
        box->setIcon(QMessageBox::Warning);
        box->setTextFormat(Qt::PlainText);
        if (failures.size() == 1) {
            box->setText(tr("%1 could not be opened.").arg(quoted(failures.front().path)));
            box->setInformativeText(errorText(failures.front().error));
        } else {
            constexpr std::size_t kMostNamed = 8;
            box->setText(tr("%1 files could not be opened.").arg(failures.size()));
            QStringList names;
            QStringList details;
            for (const auto& failure : failures) {
                if (static_cast<std::size_t>(names.size()) < kMostNamed)
                    names << quoted(failure.path) + QLatin1Char('\n')
                            + errorText(failure.error).section(QStringLiteral("\n\n"), 0, 0);
                details << QDir::toNativeSeparators(failure.path) + QLatin1Char('\n')
                        + errorText(failure.error);
            }
            if (failures.size() > kMostNamed)
                names << tr("and %1 more; see the details").arg(failures.size() - kMostNamed);
            box->setInformativeText(names.join(QStringLiteral("\n\n")));
            box->setDetailedText(details.join(QStringLiteral("\n\n\n")));
        }
        box->open();
    }
    emit openingFinished();
}

void AppController::pathChanged(const MovieWindow* window)
{
    const auto path = QString::fromStdString(window->document().path());
    if (!path.isEmpty())
        m_recentFiles.add(path);
}

void AppController::windowClosed(MovieWindow* window)
{
    std::erase(m_open, window);
    m_closed.emplace_back(window);
    m_burial.start();
    showStartWindowIfEmpty();
}

BatchMainWindow* AppController::newBatch(const QStringList& paths)
{
    m_startWindow->hide();
    auto* window = new BatchMainWindow {
        {m_mainThread, m_preferences, m_environment.storage, BatchFiles::real()}, m_actions, paths};
    m_openBatches.push_back(window);
    connect(window, &BatchMainWindow::openAsked, this, &AppController::openFiles);
    connect(window, &BatchMainWindow::closed, this, [this, window] { batchClosed(window); });
    bringToFront(*window);
    return window;
}

void AppController::chooseFiles(const QStringList& paths)
{
    if (paths.size() > 1)
        newBatch(paths);
    else
        openFiles(paths);
}

void AppController::batchClosed(BatchMainWindow* window)
{
    std::erase(m_openBatches, window);
    m_closedBatches.emplace_back(window);
    m_burial.start();
    showStartWindowIfEmpty();
}

bool AppController::mayCloseBatches()
{
    for (auto* window : std::vector(m_openBatches)) {
        bringToFront(*window);
        if (!window->mayClose())
            return false;
    }
    return true;
}

bool AppController::mayStopExports()
{
    for (auto* window : std::vector(m_open)) {
        if (!window->document().exporter().isExporting())
            continue;
        bringToFront(*window);
        if (!window->mayStopExport())
            return false;
    }
    return true;
}

QuitCounter::All AppController::askAboutAll(const std::vector<MyDocument*>& unsaved)
{
    constexpr std::size_t kMostNamed = 12;
    QStringList names;
    for (const auto* document : unsaved)
        if (static_cast<std::size_t>(names.size()) < kMostNamed)
            names << QStringLiteral("\u201C%1\u201D").arg(QString::fromStdString(document->displayName()));
    if (unsaved.size() > kMostNamed)
        names << tr("and %1 more").arg(unsaved.size() - kMostNamed);
    QMessageBox box {frontWindow()};
    box.setObjectName(QStringLiteral("unsavedMovies"));
    box.setIcon(QMessageBox::Question);
    box.setWindowTitle(tr("Reelwright"));
    box.setText(tr("<b>Save the changes to these %1 movies?</b>").arg(unsaved.size()));
    box.setInformativeText(
        names.join(QLatin1Char('\n')).toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>"))
        + QStringLiteral("<br><br>") + tr("Changes that are not saved are lost."));
    auto* save = box.addButton(tr("&Save All"), QMessageBox::AcceptRole);
    auto* each = box.addButton(tr("&Review Each\u2026"), QMessageBox::ActionRole);
    auto* discard = box.addButton(tr("&Don\u2019t Save"), QMessageBox::DestructiveRole);
    auto* cancel = box.addButton(tr("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(save);
    box.setEscapeButton(cancel);
    box.exec();
    const auto* clicked = box.clickedButton();
    return clicked == save ? QuitCounter::All::Save
        : clicked == each  ? QuitCounter::All::Each
        : clicked == discard ? QuitCounter::All::Discard
                             : QuitCounter::All::Cancel;
}

void AppController::deleteClosedWindows()
{
    // While a question or a menu is open, the window that waits for it may be one of these.
    if (QThread::currentThread()->loopLevel() > 1)
        return;
    m_burial.stop();
    m_closed.clear();
    m_closedBatches.clear();
}

void AppController::showStartWindow()
{
    bringToFront(*m_startWindow);
}

void AppController::showStartWindowIfEmpty()
{
    if (m_open.empty() && m_openBatches.empty() && !m_isTerminating && !m_startWindow->isVisible())
        showStartWindow();
}

void AppController::activate(const QStringList& files, const QString& token)
{
    // Where only the desktop decides who comes to the front, it wants to see what it gave.
    if (!token.isEmpty() && QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
    bringToFront(*frontWindow());
    openFiles(files);
}

void AppController::openDocument()
{
    if (m_chooser) {
        bringToFront(*m_chooser);
        return;
    }
    auto* chooser = new QFileDialog {frontWindow(), tr("Browse for a QuickTime movie")};
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setAcceptMode(QFileDialog::AcceptOpen);
    makeRoomInFileChooser(*chooser);
    chooser->setFileMode(QFileDialog::ExistingFiles);
    chooser->setNameFilters({tr("All that opens") + QLatin1Char(' ')
            + patterns({"mov", "qt", "m4v", "mp4", "dv", "dif", "mqv", "f4v", "3gp", "3g2", "mj2", "m4a", "m4b", "m4p",
                "m4r", "wav", "aif", "aiff", "aifc"}),
        tr("Movies") + QLatin1Char(' ') + patterns({"mov", "qt", "m4v", "mp4", "dv"}),
        tr("Sound") + QLatin1Char(' ') + patterns({"m4a", "m4b", "wav", "aif", "aiff", "aifc"}),
        tr("All files (*)")});
    if (!m_recentFiles.files().isEmpty())
        chooser->setDirectory(QFileInfo {m_recentFiles.files().front()}.path());
    connect(chooser, &QFileDialog::filesSelected, this, &AppController::chooseFiles);
    m_chooser = chooser;
    chooser->open();
}

void AppController::showPreferences()
{
    if (!m_preferencesDialog) {
        m_preferencesDialog = new PreferencesDialog {m_preferences, m_sharedPreferences, frontWindow()};
        m_preferencesDialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_preferencesDialog, &PreferencesDialog::appearanceChanged, this,
            [this] { Appearance::apply(Appearance::wanted(m_preferences)); });
        connect(m_preferencesDialog, &PreferencesDialog::loggingChanged, this,
            [] { runInBackground([] { KWLog::createNewLog(); }); });
    }
    bringToFront(*m_preferencesDialog);
}

void AppController::showManual(const QString& page)
{
    if (!m_manual)
        m_manual = std::make_unique<ManualWindow>();
    m_manual->showPage(page);
    bringToFront(*m_manual);
}

void AppController::showAbout()
{
    if (!m_aboutBox)
        m_aboutBox = makeAboutBox(frontWindow());
    m_aboutBox->setModal(false);
    bringToFront(*m_aboutBox);
}

void AppController::saveDiagnostics()
{
    auto* chooser
        = new QFileDialog {frontWindow(), tr("Save Diagnostics"), QDir::homePath(), tr("Archives (*.zip)")};
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setAcceptMode(QFileDialog::AcceptSave);
    chooser->setDefaultSuffix(QStringLiteral("zip"));
    chooser->selectFile(QStringLiteral("reelwright-diagnostics.zip"));
    makeRoomInFileChooser(*chooser);
    connect(chooser, &QFileDialog::fileSelected, this, [this](const QString& path) {
        QStringList logs;
        for (const auto& log : KWLog::availableLogs())
            logs << QString::fromStdString(log);
        runInBackground(
            this,
            [path, logs, facts = systemFacts()] {
                KWLog::finishWriting();
                return writeDiagnostics(path, facts, logs);
            },
            [this, path](const std::optional<QString>& problem) {
                auto* box = new QMessageBox {frontWindow()};
                box->setAttribute(Qt::WA_DeleteOnClose);
                box->setIcon(problem ? QMessageBox::Warning : QMessageBox::Information);
                box->setText(
                    problem ? tr("The diagnostics could not be saved.") : tr("The diagnostics are saved."));
                box->setInformativeText(problem
                        ? tr("%1: %2. Choose another place.").arg(path, *problem)
                        : tr("%1 holds the program's logs, which name the files that were "
                             "worked on, and facts about this system; nothing of what is in "
                             "the files. It is sent to nobody.")
                              .arg(path));
                box->open();
            });
    });
    chooser->open();
}

void AppController::offerDiagnostics()
{
    auto* box = new QMessageBox {frontWindow()};
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Information);
    box->setText(tr("Reelwright crashed the last time."));
    box->setInformativeText(
        tr("A file that was being saved then is the old movie or the new one, whole. To find the "
           "cause, logs and facts about this system can be saved as an archive."));
    auto* save = box->addButton(tr("&Save Diagnostics\u2026"), QMessageBox::AcceptRole);
    box->addButton(tr("&Not Now"), QMessageBox::RejectRole);
    connect(save, &QPushButton::clicked, this, &AppController::saveDiagnostics);
    box->open();
}

void AppController::fillWindowsMenu()
{
    m_windowsMenu.clear();
    for (auto* window : m_open) {
        const QFileInfo file {QString::fromStdString(window->document().path())};
        auto label = QString::fromStdString(window->document().displayName());
        const auto isSame = [&](const auto* other) {
            return QString::fromStdString(other->document().displayName()) == label;
        };
        if (std::count_if(m_open.begin(), m_open.end(), isSame) > 1)
            label += QStringLiteral(" \u2014 ") + QDir::toNativeSeparators(file.path());
        label.replace(QLatin1Char('&'), QLatin1String("&&"));
        auto* action = m_windowsMenu.addAction(label, window, [window] { bringToFront(*window); });
        action->setCheckable(true);
        action->setChecked(window->isActiveWindow());
    }
    for (auto* window : m_openBatches) {
        auto* action
            = m_windowsMenu.addAction(tr("Batch of %1 files").arg(window->batch().fileArray().size()), window,
                [window] { bringToFront(*window); });
        action->setCheckable(true);
        action->setChecked(window->isActiveWindow());
    }
}

void AppController::quit()
{
    if (!mayCloseBatches() || !mayStopExports())
        return;
    m_quitCounter.quit();
}

void AppController::terminate()
{
    if (m_isEndingSession) {
        m_mayEndSession = true;
        return;
    }
    m_isTerminating = true;
    emit terminated();
}

bool AppController::prepareSessionEnd(bool mayAsk)
{
    const auto isWriting = [this] {
        const auto all = documents();
        return std::any_of(
            all.begin(), all.end(), [](const auto* document) { return document->isWriting(); });
    };
    if (!mayAsk) {
        for (auto* window : m_openBatches)
            window->batch().cancelProcessing();
        const auto isProcessing = [this] {
            return std::any_of(m_openBatches.begin(), m_openBatches.end(),
                [](auto* window) { return window->batch().isProcessing(); });
        };
        while (isWriting() || isProcessing())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return true;
    }
    if (!mayCloseBatches())
        return false;
    m_isEndingSession = true;
    m_mayEndSession = false;
    m_quitCounter.quit();
    while (!m_mayEndSession && m_quitCounter.writingDocs() > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    m_isEndingSession = false;
    return m_mayEndSession;
}

QWidget* AppController::frontWindow() const
{
    for (auto* window : m_open)
        if (window->isActiveWindow())
            return window;
    for (auto* window : m_openBatches)
        if (window->isActiveWindow())
            return window;
    if (!m_open.empty())
        return m_open.back();
    if (!m_openBatches.empty())
        return m_openBatches.back();
    return m_startWindow.get();
}

std::vector<MyDocument*> AppController::documents() const
{
    std::vector<MyDocument*> all;
    for (auto* window : m_open)
        all.push_back(&window->document());
    return all;
}

} // namespace reelwright

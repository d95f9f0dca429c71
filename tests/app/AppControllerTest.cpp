#include "app/shell/AppController.h"

#include "app/shell/Appearance.h"
#include "app/shell/ErrorText.h"
#include "app/shell/StartWindow.h"
#include "app/window/MovieWindow.h"
#include "support/KWLog.h"
#include "tests/app/AppTest.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QMimeData>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <filesystem>

namespace reelwright {
namespace {

    constexpr int kWait = 30'000;

    QString text(const char* value)
    {
        return QString::fromUtf8(value);
    }

    /// Presses a button of the next question, which it waits for as long as it lives. The question is asked
    /// within a nested loop, in which this goes on.
    class Answer : public QObject
    {
    public:
        explicit Answer(const QString& button)
            : m_button(button)
        {
            m_timer.callOnTimeout(this, [this] { look(); });
            m_timer.start(5);
        }

        [[nodiscard]] bool isGiven() const { return m_isGiven; }
        std::function<void()> before = [] {};

    private:
        void look()
        {
            const auto widgets = QApplication::topLevelWidgets();
            for (auto* widget : widgets) {
                auto* box = qobject_cast<QMessageBox*>(widget);
                if (!box || !box->isVisible() || m_isGiven)
                    continue;
                const auto buttons = box->buttons();
                for (auto* button : buttons)
                    if (button->text().remove(QLatin1Char('&')) == m_button) {
                        m_isGiven = true;
                        m_timer.stop();
                        before();
                        button->click();
                        return;
                    }
            }
        }

        QString m_button;
        QTimer m_timer;
        bool m_isGiven = false;
    };

    QMessageBox* alertOf(const char* name)
    {
        const auto widgets = QApplication::topLevelWidgets();
        for (auto* widget : widgets)
            if (widget->objectName() == QLatin1String(name) && widget->isVisible())
                return qobject_cast<QMessageBox*>(widget);
        return nullptr;
    }

} // namespace

class AppControllerTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void severalFilesOpenInWindowsOfTheirOwn();
    void aFileThatIsOpenComesToTheFront_data();
    void aFileThatIsOpenComesToTheFront();
    void aMovieThatWasSavedAsIsKnownByItsNewName();
    void noWindowSavesOverTheFileOfAnother();
    void aFileThatIsBeingSavedToIsNotOpened_data();
    void aFileThatIsBeingSavedToIsNotOpened();
    void oneUnreadableFileIsExplained_data();
    void oneUnreadableFileIsExplained();
    void severalFailuresAreToldAtOnceAndTheRestOpens();
    void startupTypeDecidesOnlyWithoutFiles_data();
    void startupTypeDecidesOnlyWithoutFiles();
    void droppedFilesOpen();
    void theStartWindowShowsWhileNothingIsOpen();
    void closingTheStartWindowEndsTheProgram();
    void recentFilesAreKeptAndLimited();
    void recentFilesThatAreGoneTurnGrey();
    void theWindowMenuListsTheOpenMovies();
    void quittingWithoutChangesEndsAtOnce();
    void quittingAsksAboutChanges_data();
    void quittingAsksAboutChanges();
    void quittingWaitsForASaveThatIsBeingWritten();
    void goingWaitsForASaveThatIsBeingWritten();
    void theSessionEndsWhenEverythingIsSaved_data();
    void theSessionEndsWhenEverythingIsSaved();
    void anotherStartOpensItsFilesHere();
    void preferencesTakeEffectAtOnce();
    void restoringDefaultsRestoresAllOfThem();

private:
    /// A copy of a sample clip in the test's folder.
    QString clip(const char* name, const char* as = nullptr);
    /// Opens and waits until all are open or have failed.
    void open(const QStringList& paths);
    MovieWindow* openClip(const char* name);
    static void edit(MovieWindow& window) { window.document().movieSettingsAutoplayToggle(true); }
    static bool isSaved(const QString& path);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Preferences> m_preferences;
    std::unique_ptr<AppController> m_controller;
};

void AppControllerTest::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    qputenv("REELWRIGHT_RENDERER", "software");
    qputenv("REELWRIGHT_SOUND", "off");
    KWLog::setConsole(nullptr);
}

void AppControllerTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    qputenv("REELWRIGHT_PREFS_DIR", m_folder->filePath(text("preferences")).toUtf8());
    qputenv("REELWRIGHT_LIBRARY_DIR", m_folder->filePath(text("library")).toUtf8());
    m_preferences
        = std::make_unique<Preferences>(m_folder->filePath(text("preferences/test.plist")).toStdString());
    m_preferences->registerDefault("autoFlatten", std::int64_t {1});
    m_preferences->registerDefault("nonHFSResave", true);
    m_controller = std::make_unique<AppController>(*m_preferences);
}

void AppControllerTest::cleanup()
{
    m_controller.reset();
    Appearance::apply(Appearance::Kind::System);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_preferences.reset();
    KWLog::finishWriting();
}

QString AppControllerTest::clip(const char* name, const char* as)
{
    const auto path = m_folder->filePath(text(as ? as : name));
    if (!QFile::copy(text(REELWRIGHT_SOURCE_DIR "/samples/") + text(name), path))
        qFatal("no such clip: %s", name);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

void AppControllerTest::open(const QStringList& paths)
{
    QSignalSpy finished {m_controller.get(), &AppController::openingFinished};
    m_controller->openFiles(paths);
    QVERIFY(finished.size() == 1 || finished.wait(kWait));
}

MovieWindow* AppControllerTest::openClip(const char* name)
{
    open({clip(name)});
    const auto windows = m_controller->windows();
    return windows.empty() ? nullptr : windows.back();
}

bool AppControllerTest::isSaved(const QString& path)
{
    const auto movie = QTMovie::open(path.toStdString());
    return movie && movie->userDataItem("play"_cc);
}

void AppControllerTest::severalFilesOpenInWindowsOfTheirOwn()
{
    const QStringList paths {
        clip("pal-25.mov"), clip("rotated.mp4"), clip("audio-only.mov", "\u00FCber & m\u00EAme.mov")};
    open(paths);
    QStringList opened;
    for (auto* window : m_controller->windows()) {
        QVERIFY(window->isVisible());
        opened << QString::fromStdString(window->document().path());
    }
    opened.sort();
    auto expected = paths;
    expected.sort();
    QCOMPARE(opened, expected);
}

void AppControllerTest::aFileThatIsOpenComesToTheFront_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("by its path") << text("pal-25.mov");
    QTest::newRow("by way of a link") << text("link.mov");
    QTest::newRow("by another name of its own") << text("hard.mov");
    QTest::newRow("by a path with dots") << text("folder/../pal-25.mov");
}

void AppControllerTest::aFileThatIsOpenComesToTheFront()
{
    QFETCH(QString, name);
    auto* first = openClip("pal-25.mov");
    auto* second = openClip("rotated.mp4");
    QVERIFY(QFile::link(m_folder->filePath(text("pal-25.mov")), m_folder->filePath(text("link.mov"))));
    std::filesystem::create_hard_link(
        first->document().path(), m_folder->filePath(text("hard.mov")).toStdString());
    QVERIFY(QDir {m_folder->path()}.mkdir(text("folder")));
    second->activateWindow();
    QTRY_VERIFY_WITH_TIMEOUT(second->isActiveWindow(), kWait);
    m_controller->openFiles({m_folder->path() + QLatin1Char('/') + name});
    QTRY_VERIFY_WITH_TIMEOUT(first->isActiveWindow(), kWait);
    QCOMPARE(m_controller->windows().size(), 2U);
}

void AppControllerTest::aMovieThatWasSavedAsIsKnownByItsNewName()
{
    auto* window = openClip("pal-25.mov");
    const auto before = m_folder->filePath(text("pal-25.mov"));
    const auto after = m_folder->filePath(text("new.mov"));
    QVERIFY(window->document().writeSafelyToURL(after.toStdString(), SaveOperation::SaveAs));
    QTRY_VERIFY_WITH_TIMEOUT(!window->document().isWriting(), kWait);
    QCOMPARE(m_controller->recentFiles().files(), QStringList({after, before}));
    m_controller->openFiles({after});
    QCOMPARE(m_controller->windows().size(), 1U);
    open({before});
    QCOMPARE(m_controller->windows().size(), 2U);
}

void AppControllerTest::noWindowSavesOverTheFileOfAnother()
{
    auto* window = openClip("pal-25.mov");
    edit(*openClip("two-audio.mov"));
    const auto theirs = m_folder->filePath(text("two-audio.mov"));
    QVERIFY(QFile::link(theirs, m_folder->filePath(text("link.mov"))));
    QFile file {theirs};
    QVERIFY(file.open(QFile::ReadOnly));
    const auto before = file.readAll();

    Answer refused {text("OK")};
    QString said;
    refused.before = [&] { said = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->text(); };
    auto& document = window->document();
    QVERIFY(
        document.writeSafelyToURL(m_folder->filePath(text("link.mov")).toStdString(), SaveOperation::SaveAs));
    QTRY_VERIFY_WITH_TIMEOUT(!document.isWriting(), kWait);
    QVERIFY(refused.isGiven());
    QVERIFY2(said.contains(text("File open in another window")), qPrintable(said));
    QVERIFY(file.seek(0));
    QCOMPARE(file.readAll(), before);
    QCOMPARE(window->windowTitle(), text("pal-25.mov[*]"));
}

void AppControllerTest::aFileThatIsBeingSavedToIsNotOpened_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("by its path") << text("old.mov");
    QTest::newRow("by way of a link") << text("link.mov");
}

void AppControllerTest::aFileThatIsBeingSavedToIsNotOpened()
{
    QFETCH(QString, name);
    const auto storage = std::make_shared<test::GatedStorage>();
    m_controller.reset();
    m_controller = std::make_unique<AppController>(*m_preferences, storage);
    const auto old = clip("two-audio.mov", "old.mov");
    QVERIFY(QFile::link(old, m_folder->filePath(text("link.mov"))));
    auto* window = openClip("pal-25.mov");
    auto& document = window->document();
    QVERIFY(document.saveDocument()); // from now on saves are the user's, on a thread
    QTRY_VERIFY_WITH_TIMEOUT(!document.isWriting(), kWait);
    storage->isClosed = true;
    const auto whatever = qScopeGuard([&] { storage->openGate(); });
    QVERIFY(document.writeSafelyToURL(old.toStdString(), SaveOperation::SaveAs));
    QTRY_COMPARE_WITH_TIMEOUT(storage->waiting, 1, kWait);

    open({m_folder->filePath(name)});
    QCOMPARE(m_controller->windows().size(), 1U);
    auto* alert = alertOf("openFailed");
    QVERIFY(alert);
    const auto said = alert->text() + alert->informativeText();
    for (const auto& part :
        {name, text("\"pal-25.mov\" is saving to this file"), text("when the save is done")})
        QVERIFY2(said.contains(part), qPrintable(said));
    alert->close();

    storage->openGate();
    QTRY_VERIFY_WITH_TIMEOUT(!document.isWriting(), kWait);
    QCOMPARE(window->windowTitle(), text("old.mov[*]"));
    open({m_folder->filePath(name)});
    QVERIFY2(!alertOf("openFailed"), "now it only comes to the front");
    QCOMPARE(m_controller->windows().size(), 1U);
}

void AppControllerTest::oneUnreadableFileIsExplained_data()
{
    QTest::addColumn<QByteArray>("contents"); // null: no file
    QTest::addColumn<QString>("said");
    QTest::newRow("missing") << QByteArray {} << text("moved, renamed or deleted");
    QTest::newRow("empty") << QByteArray {""} << text("it is empty");
    QTest::newRow("text") << QByteArray {"Dear Sir or Madam, this is a letter."}
                          << text("does not know this kind");
    QTest::newRow("unfinished") << QByteArray {"\0\0\0\x0c"
                                               "ftypqt  \0\0\0\x0c"
                                               "mdat\0\0\0\0",
        24} << text("recording or copy was not finished");
    QByteArray torn {"\0\0\0\x14"
                     "ftypqt  \0\0\0\0qt  \0\0\x10\0moov\0\0",
        30};
    QTest::newRow("torn") << torn << text("bad.mov");
}

void AppControllerTest::oneUnreadableFileIsExplained()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, said);
    const auto path = m_folder->filePath(text("bad.mov"));
    if (!contents.isNull()) {
        QFile file {path};
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    open({path});
    QVERIFY(m_controller->windows().empty());
    auto* alert = alertOf("openFailed");
    QVERIFY(alert);
    QVERIFY(alert->text().contains(text("bad.mov")));
    const auto whole = alert->text() + alert->informativeText();
    QVERIFY2(whole.contains(said), qPrintable(whole));
    QVERIFY2(alert->informativeText().size() > 20, "says what to do");
    QVERIFY(m_controller->recentFiles().files().isEmpty());
    QVERIFY(m_controller->startWindow().isVisible());
}

void AppControllerTest::severalFailuresAreToldAtOnceAndTheRestOpens()
{
    open({text("/nowhere/one.mov"), clip("pal-25.mov"), m_folder->path(), text("/nowhere/two.mov")});
    QCOMPARE(m_controller->windows().size(), 1U);
    auto* alert = alertOf("openFailed");
    QVERIFY(alert);
    QVERIFY(alert->text().startsWith(text("3 files")));
    const auto one = alert->informativeText().indexOf(text("one.mov"));
    const auto two = alert->informativeText().indexOf(text("two.mov"));
    QVERIFY(one >= 0);
    QVERIFY2(two > one, "in the order in which they were given");
    QVERIFY(alert->informativeText().contains(text("folder")));
    QVERIFY(alert->detailedText().contains(text("/nowhere/two.mov")));
}

void AppControllerTest::startupTypeDecidesOnlyWithoutFiles_data()
{
    QTest::addColumn<int>("startupType"); // -1: not set
    QTest::addColumn<bool>("hasFile");
    QTest::addColumn<bool>("choosesFiles");
    QTest::newRow("not set") << -1 << false << true;
    QTest::newRow("chooser") << 0 << false << true;
    QTest::newRow("batch") << 1 << false << false;
    QTest::newRow("nothing") << 2 << false << false;
    QTest::newRow("chooser, but a file") << 0 << true << false;
}

void AppControllerTest::startupTypeDecidesOnlyWithoutFiles()
{
    QFETCH(int, startupType);
    QFETCH(bool, hasFile);
    QFETCH(bool, choosesFiles);
    if (startupType >= 0)
        m_preferences->set("startupType", std::int64_t {startupType});
    QSignalSpy finished {m_controller.get(), &AppController::openingFinished};
    m_controller->start(hasFile ? QStringList {clip("pal-25.mov")} : QStringList {});
    QCOMPARE(m_controller->chooser() != nullptr, choosesFiles);
    if (choosesFiles) {
        QVERIFY(m_controller->chooser()->isVisible());
        QCOMPARE(m_controller->chooser()->windowTitle(), text("Browse for a QuickTime movie"));
        QCOMPARE(m_controller->chooser()->fileMode(), QFileDialog::ExistingFiles);
        QVERIFY(m_controller->chooser()->nameFilters().front().contains(text("*.mov *.MOV *.qt")));
    }
    const bool hasBatch = startupType == 1;
    QCOMPARE(m_controller->batchWindows().size(), hasBatch ? 1U : 0U);
    QCOMPARE(m_controller->startWindow().isVisible(), !hasFile && !hasBatch); // it would only flash up
    if (hasFile)
        QVERIFY(finished.wait(kWait));
    QCOMPARE(m_controller->windows().size(), hasFile ? 1U : 0U);
}

void AppControllerTest::droppedFilesOpen()
{
    m_controller->start({clip("rotated.mp4")});
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(clip("pal-25.mov")), QUrl {text("https://example.org/x.mov")}});
    auto& start = m_controller->startWindow();
    const auto enter = std::make_unique<QDragEnterEvent>(
        QPoint {50, 50}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&start, enter.get());
    QVERIFY(enter->isAccepted());
    QDropEvent drop {QPointF {50, 50}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QApplication::sendEvent(&start, &drop);
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->windows().size(), 2U, kWait);

    QMimeData words;
    words.setText(text("words"));
    QDragEnterEvent refused {QPoint {50, 50}, Qt::CopyAction, &words, Qt::LeftButton, Qt::NoModifier};
    refused.ignore();
    QApplication::sendEvent(&start, &refused);
    QVERIFY(!refused.isAccepted());

    // A window hands on what is dropped on it.
    emit m_controller->windows().front()->filesDropped({clip("ntsc-2997.mov")});
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->windows().size(), 3U, kWait);
}

void AppControllerTest::theStartWindowShowsWhileNothingIsOpen()
{
    m_preferences->set("startupType", std::int64_t {2});
    m_controller->start({});
    auto& start = m_controller->startWindow();
    QVERIFY(start.isVisible());
    auto* window = openClip("pal-25.mov");
    QVERIFY(!start.isVisible());
    const QPointer<MovieWindow> guard {window};
    window->document().close();
    QVERIFY(start.isVisible());
    QVERIFY(m_controller->windows().empty());
    QTRY_VERIFY_WITH_TIMEOUT(!guard, kWait);
}

void AppControllerTest::closingTheStartWindowEndsTheProgram()
{
    m_preferences->set("startupType", std::int64_t {2});
    m_controller->start({});
    QSignalSpy terminated {m_controller.get(), &AppController::terminated};
    m_controller->startWindow().close();
    QCOMPARE(terminated.size(), 1);
}

void AppControllerTest::recentFilesAreKeptAndLimited()
{
    QStringList opened;
    for (int index = 0; index < 12; ++index)
        opened.prepend(clip("audio-only.mov", qPrintable(text("%1.mov").arg(index))));
    for (auto path = opened.rbegin(); path != opened.rend(); ++path) {
        open({*path});
        m_controller->windows().back()->document().close();
    }
    QCOMPARE(m_controller->recentFiles().files(), opened.mid(0, 10));
    open({opened[4]});
    auto expected = opened.mid(0, 10);
    expected.move(4, 0);
    QCOMPARE(m_controller->recentFiles().files(), expected);

    m_controller.reset();
    m_controller = std::make_unique<AppController>(*m_preferences);
    QCOMPARE(m_controller->recentFiles().files(), expected);
    const auto entries = m_controller->actions().openRecent->actions();
    QCOMPARE(entries.size(), 12); // with a line, and Clear
    QCOMPARE(entries.front()->text(), QFileInfo {opened[4]}.fileName());
    entries.front()->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->windows().size(), 1U, kWait);

    m_controller->actions().openRecent->actions().back()->trigger();
    QVERIFY(m_controller->recentFiles().files().isEmpty());
    QVERIFY(!m_controller->actions().openRecent->actions().back()->isEnabled());
    m_controller.reset();
    m_controller = std::make_unique<AppController>(*m_preferences);
    QVERIFY(m_controller->recentFiles().files().isEmpty());
}

void AppControllerTest::recentFilesThatAreGoneTurnGrey()
{
    const auto gone = clip("pal-25.mov");
    const auto there = clip("rotated.mp4");
    auto& recent = m_controller->recentFiles();
    recent.add(there);
    recent.add(gone);
    QVERIFY(QFile::remove(gone));
    QSignalSpy looked {&recent, &RecentFiles::lookedFor};
    emit recent.menu()->aboutToShow();
    QTRY_COMPARE_WITH_TIMEOUT(looked.size(), 2, kWait);
    QVERIFY(!recent.menu()->actions()[0]->isEnabled());
    QVERIFY(recent.menu()->actions()[1]->isEnabled());

    clip("pal-25.mov"); // it is back
    looked.clear();
    emit recent.menu()->aboutToShow();
    QTRY_COMPARE_WITH_TIMEOUT(looked.size(), 2, kWait);
    QVERIFY(recent.menu()->actions()[0]->isEnabled());
}

void AppControllerTest::theWindowMenuListsTheOpenMovies()
{
    QVERIFY(QDir {m_folder->path()}.mkdir(text("other")));
    auto* first = openClip("pal-25.mov");
    open({clip("rotated.mp4", "other/pal-25.mov"), clip("audio-only.mov", "a & b.mov")});
    auto* menu = m_controller->actions().windows;
    emit menu->aboutToShow();
    QStringList labels;
    const auto entries = menu->actions();
    for (const auto* action : entries)
        labels << action->text();
    labels.sort();
    QCOMPARE(labels,
        QStringList({text("a && b.mov"), text("pal-25.mov \u2014 ") + m_folder->path(),
            text("pal-25.mov \u2014 ") + m_folder->filePath(text("other"))}));
    entries.front()->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(first->isActiveWindow(), kWait);
    emit menu->aboutToShow();
    QVERIFY(menu->actions().front()->isChecked());
}

void AppControllerTest::quittingWithoutChangesEndsAtOnce()
{
    openClip("pal-25.mov");
    QSignalSpy terminated {m_controller.get(), &AppController::terminated};
    m_controller->actions().quit->trigger();
    QCOMPARE(terminated.size(), 1);
}

void AppControllerTest::quittingAsksAboutChanges_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("ends");
    QTest::addColumn<bool>("isSaved");
    QTest::newRow("save") << text("Save") << true << true;
    QTest::newRow("discard") << text("Don't Save") << true << false;
    QTest::newRow("cancel") << text("Cancel") << false << false;
}

void AppControllerTest::quittingAsksAboutChanges()
{
    QFETCH(QString, answer);
    QFETCH(bool, ends);
    QFETCH(bool, isSaved);
    auto* window = openClip("pal-25.mov");
    openClip("rotated.mp4");
    edit(*window);
    Answer question {answer};
    QSignalSpy terminated {m_controller.get(), &AppController::terminated};
    m_controller->quit();
    QVERIFY(question.isGiven());
    QTRY_COMPARE_WITH_TIMEOUT(terminated.size(), ends ? 1 : 0, kWait);
    QCOMPARE(AppControllerTest::isSaved(m_folder->filePath(text("pal-25.mov"))), isSaved);
    if (!ends) {
        QVERIFY(window->isVisible());
        QVERIFY(window->document().isEdited());
    }
}

void AppControllerTest::quittingWaitsForASaveThatIsBeingWritten()
{
    auto* window = openClip("pal-25.mov");
    edit(*window);
    QSignalSpy terminated {m_controller.get(), &AppController::terminated};
    QVERIFY(window->document().saveDocument());
    QVERIFY(window->document().isWriting());
    m_controller->quit();
    QCOMPARE(terminated.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(terminated.size(), 1, kWait);
    QVERIFY(isSaved(m_folder->filePath(text("pal-25.mov"))));
}

void AppControllerTest::goingWaitsForASaveThatIsBeingWritten()
{
    auto* window = openClip("pal-25.mov");
    edit(*window);
    QVERIFY(window->document().saveDocument());
    QVERIFY(window->document().isWriting());
    m_controller.reset(); // as after an event loop that was made to end
    QVERIFY(isSaved(m_folder->filePath(text("pal-25.mov"))));
}

void AppControllerTest::theSessionEndsWhenEverythingIsSaved_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("mayEnd");
    QTest::newRow("save") << text("Save") << true;
    QTest::newRow("cancel") << text("Cancel") << false;
}

void AppControllerTest::theSessionEndsWhenEverythingIsSaved()
{
    QFETCH(QString, answer);
    QFETCH(bool, mayEnd);
    auto* window = openClip("pal-25.mov");
    QSignalSpy terminated {m_controller.get(), &AppController::terminated};
    QVERIFY(m_controller->prepareSessionEnd(true));
    edit(*window);
    QVERIFY(window->document().saveDocument());
    QVERIFY2(m_controller->prepareSessionEnd(false), "nothing may be asked");
    QVERIFY(!window->document().isWriting());

    window->document().movieSettingsRotateLeft();
    Answer question {answer};
    QCOMPARE(m_controller->prepareSessionEnd(true), mayEnd);
    QVERIFY(question.isGiven());
    QCOMPARE(window->document().isEdited(), !mayEnd);
    QVERIFY2(terminated.isEmpty(), "the session ends the program, when it does end");
}

void AppControllerTest::anotherStartOpensItsFilesHere()
{
    auto* first = openClip("pal-25.mov");
    first->showMinimized();
    m_controller->activate({clip("rotated.mp4")}, {});
    QVERIFY(!first->isMinimized());
    QTRY_COMPARE_WITH_TIMEOUT(m_controller->windows().size(), 2U, kWait);
}

void AppControllerTest::preferencesTakeEffectAtOnce()
{
    m_preferences->set("startupType", std::int64_t {1});
    m_controller->showPreferences();
    PreferencesDialog* dialog = nullptr;
    const auto widgets = QApplication::topLevelWidgets();
    for (auto* widget : widgets)
        if (auto* found = qobject_cast<PreferencesDialog*>(widget))
            dialog = found;
    QVERIFY(dialog && dialog->isVisible());

    auto* startup = dialog->findChild<QComboBox*>(text("startupType"));
    QCOMPARE(startup->currentIndex(), 1);
    QCOMPARE(m_preferences->integer("startupType"), 1); // showing it does not change it
    startup->setCurrentIndex(0);
    QCOMPARE(m_preferences->integer("startupType"), 0);

    auto* appearance = dialog->findChild<QComboBox*>(text("appearance"));
    appearance->setCurrentIndex(appearance->findData(text("dark")));
    QVERIFY(QApplication::palette().color(QPalette::Window).lightness() < 80);
    appearance->setCurrentIndex(appearance->findData(text("light")));
    QVERIFY(QApplication::palette().color(QPalette::Window).lightness() > 200);
    QCOMPARE(QString::fromStdString(m_preferences->text("appearance")), text("light"));

    auto* flatten = dialog->findChild<QCheckBox*>(text("autoFlatten"));
    QVERIFY(flatten->isChecked());
    flatten->click();
    QCOMPARE(m_preferences->integer("autoFlatten"), 0);
    auto* otherVolumes = dialog->findChild<QCheckBox*>(text("nonHFSResave"));
    QVERIFY(otherVolumes->isChecked());
    otherVolumes->click();
    QVERIFY(!m_preferences->boolean("nonHFSResave"));

    auto* logging = dialog->findChild<QCheckBox*>(text("logging"));
    QVERIFY(logging->isChecked());
    logging->click();
    QVERIFY(Preferences {Preferences::sharedFilePath()}.boolean("disable-logging"));
    logging->click();
    QVERIFY(!Preferences {Preferences::sharedFilePath()}.value("disable-logging"));
}

void AppControllerTest::restoringDefaultsRestoresAllOfThem()
{
    m_preferences->set("startupType", std::int64_t {2});
    m_preferences->set("appearance", std::string {"dark"});
    m_preferences->set("autoFlatten", std::int64_t {0});
    m_preferences->set("nonHFSResave", false);
    m_preferences->set("recentFiles", std::string {"[\"/a.mov\"]"});
    Preferences shared {Preferences::sharedFilePath()};
    shared.set("disable-logging", std::string {"1"});
    PreferencesDialog dialog {*m_preferences, shared};
    QVERIFY(!dialog.findChild<QCheckBox*>(text("logging"))->isChecked());
    dialog.restoreDefaults();
    QCOMPARE(dialog.findChild<QComboBox*>(text("startupType"))->currentIndex(), 0);
    QCOMPARE(dialog.findChild<QComboBox*>(text("appearance"))->currentIndex(), 0);
    for (const auto* name : {"autoFlatten", "nonHFSResave", "logging"})
        QVERIFY2(dialog.findChild<QCheckBox*>(text(name))->isChecked(), name);
    QCOMPARE(m_preferences->integer("autoFlatten"), 1);
    QVERIFY(!shared.value("disable-logging"));
    QVERIFY2(!m_preferences->text("recentFiles").empty(), "what is no setting stays");
}

} // namespace reelwright

QTEST_MAIN(reelwright::AppControllerTest)
#include "AppControllerTest.moc"

#include "app/shell/AppController.h"
#include "app/shell/PreferencesDialog.h"
#include "app/window/MovieWindow.h"
#include "app/window/TrackTable.h"
#include "report/InfoReport.h"
#include "tests/app/AppTest.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPointer>
#include <QTextDocumentFragment>

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>

namespace reelwright::test {
namespace {

    /// What of a movie an edit can change, as text: for the movie in memory and for the one on disk.
    QString stateOf(const QTMovie& movie)
    {
        const auto facts = MovieFacts::of(movie);
        std::string text;
        for (const auto& row : movieRows(facts))
            if (row.name == "Settings" || row.name == "Start timecode" || row.name == "Duration")
                text += row.name + ": " + row.value + "\n";
        text += trackTable(facts);
        for (const auto& track : facts.tracks) {
            text
                += fmt::format("{} {} {}:", track.id, track.in.time.seconds(), track.duration.time.seconds());
            for (const auto element : track.matrix.values)
                text += fmt::format(" {}", element);
            text += '\n';
        }
        return QString::fromStdString(text);
    }

    /// What all names of a file have in common: its device and inode.
    using File = std::pair<dev_t, ino_t>;

    std::optional<File> fileAt(const std::string& path)
    {
        struct stat status = {};
        return ::stat(path.c_str(), &status) == 0 ? std::optional(File {status.st_dev, status.st_ino})
                                                  : std::nullopt;
    }

    void compareStates(const std::string& path, const QString& onDisk, const QString& wanted)
    {
        const auto both
            = QStringLiteral("%1 holds\n%2and not\n%3").arg(QString::fromStdString(path), onDisk, wanted);
        QVERIFY2(onDisk == wanted, qPrintable(both));
    }

    QString stateOnDisk(const std::string& path)
    {
        const auto movie = QTMovie::open(path);
        return movie ? stateOf(*movie) : QString::fromStdString(movie.error().message());
    }

    /// Knows which files were written.
    class WatchedStorage final : public GatedStorage
    {
    public:
        std::set<std::string> takeWritten()
        {
            const std::lock_guard lock {m_mutex};
            return std::exchange(m_written, {});
        }
        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            if (access == Access::ReadWrite)
                note(path);
            return GatedStorage::open(path, access);
        }
        Result<void> rename(const std::string& from, const std::string& to,
            const std::optional<FileState>& replaced, const Disposal& dispose) override
        {
            note(to);
            return GatedStorage::rename(from, to, replaced, dispose);
        }

    private:
        void note(const std::string& path)
        {
            const std::lock_guard lock {m_mutex};
            m_written.insert(resolve(path));
        }

        std::mutex m_mutex;
        std::set<std::string> m_written;
    };

} // namespace

/// Somebody without a plan at the keyboard and the mouse of the whole program. REELWRIGHT_MONKEY_SEED and
/// REELWRIGHT_MONKEY_STEPS choose another course and length; the seed of a course is in its messages.
class MonkeyTest : public QObject
{
    Q_OBJECT

private slots:
    void nothingBreaksAndNoEditIsLost_data();
    void nothingBreaksAndNoEditIsLost();

private:
    int below(int end) { return end <= 0 ? 0 : static_cast<int>(m_random() % static_cast<unsigned>(end)); }
    bool oneIn(int chances) { return below(chances) == 0; }
    template <class List> auto any(const List& list)
    {
        return *std::next(list.begin(), below(int(list.size())));
    }

    void openSample();
    /// Which may be that of a file by then that a save has replaced.
    void openUnderAnotherName(const MyDocument& document);
    void step();
    void fillField(QWidget& window);
    void pressKeys(MovieWindow& window);
    void useMouse(QWidget& window);
    void triggerAction(MovieWindow& window);
    void quit();
    /// The program ends here; what it leaves behind is looked at, and another one begins.
    void checkEnd();
    void start();
    void dropFile(MovieWindow& window);
    void usePreferences(QDialog& dialog);
    void answerDialog();
    void answerQuestion(QMessageBox& box);
    void answerChooser(QFileDialog& chooser);
    void checkWindows();
    void checkFiles();
    void waitForSaves();

    /// A document's file as it was looked at last.
    struct Known
    {
        std::string path;
        QString state;
    };

    std::unique_ptr<AppFixture> m_app;
    std::shared_ptr<WatchedStorage> m_storage;
    std::unique_ptr<AppController> m_controller;
    std::mt19937 m_random;
    std::map<MovieWindow*, Known> m_known;
    std::map<std::string, QString> m_left; ///< what the files hold when the program has ended
    std::set<std::string> m_written; ///< files, since their documents were looked at
    std::set<const MovieWindow*> m_givenUp; ///< windows whose changes the user does not want
    std::map<QString, int> m_seen; ///< what came up, and how often
    bool m_hasEnded = false;
    int m_names = 0;
};

void MonkeyTest::openSample()
{
    static constexpr std::array kClips {"two-audio.mov", "timecode-25.mov", "timecode-2997-drop.mov",
        "rotated.mp4", "fragmented.mp4", "audio-only.mov", "text-track.mov", "header-last.mov"};
    const auto* clip = any(kClips);
    const auto name = QStringLiteral("%1-%2").arg(++m_names).arg(QString::fromLatin1(clip)).toLatin1();
    m_controller->openFiles({m_app->sample(clip, name.constData())});
}

void MonkeyTest::openUnderAnotherName(const MyDocument& document)
{
    const auto name = m_app->folder.filePath(QStringLiteral("%1-again.mov").arg(++m_names));
    std::error_code failed;
    std::filesystem::create_hard_link(document.path(), name.toStdString(), failed);
    if (!failed)
        m_controller->openFiles({name});
}

void MonkeyTest::fillField(QWidget& window)
{
    static constexpr std::array kTexts {
        "01:00:00:00", "10:20:30;04", "5.", "12", "0", "-3", "soon", "", "99:99:99:99", "A001"};
    QList<QLineEdit*> fields;
    for (auto* field : window.findChildren<QLineEdit*>())
        if (field->isVisible() && field->isEnabled())
            fields << field;
    if (fields.isEmpty())
        return;
    const QPointer field {any(fields)};
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, QLatin1String(any(kTexts)));
    if (field && oneIn(2))
        QTest::keyClick(field, Qt::Key_Return);
}

void MonkeyTest::pressKeys(MovieWindow& window)
{
    static constexpr std::array kKeys {Qt::Key_Left, Qt::Key_Right, Qt::Key_Up, Qt::Key_Down, Qt::Key_Tab,
        Qt::Key_Backtab, Qt::Key_Return, Qt::Key_Escape, Qt::Key_Space, Qt::Key_Delete, Qt::Key_Home,
        Qt::Key_End, Qt::Key_1, Qt::Key_2, Qt::Key_0, Qt::Key_Period, Qt::Key_Colon, Qt::Key_Minus, Qt::Key_A,
        Qt::Key_F, Qt::Key_J, Qt::Key_K, Qt::Key_L, Qt::Key_F2, Qt::Key_Menu};
    static constexpr std::array kCommands {Qt::Key_Z, Qt::Key_S, Qt::Key_R, Qt::Key_L, Qt::Key_A, Qt::Key_C,
        Qt::Key_V, Qt::Key_X, Qt::Key_W, Qt::Key_T, Qt::Key_G};
    static constexpr std::array<Qt::KeyboardModifiers, 4> kModifiers {
        Qt::NoModifier, Qt::ShiftModifier, Qt::AltModifier, Qt::NoModifier};
    const bool isCommand = oneIn(4);
    const auto key = isCommand ? any(kCommands) : any(kKeys);
    Qt::KeyboardModifiers modifiers = any(kModifiers);
    if (isCommand)
        modifiers
            = oneIn(3) ? Qt::ControlModifier | Qt::ShiftModifier : Qt::KeyboardModifiers(Qt::ControlModifier);
    auto* focused = QApplication::focusWidget();
    const QPointer target {focused ? focused : &window};
    QTest::keyPress(target, key, modifiers);
    if (target)
        QTest::keyRelease(target, key, modifiers);
}

void MonkeyTest::useMouse(QWidget& window)
{
    QList<QWidget*> visible;
    for (auto* widget : window.findChildren<QWidget*>())
        if (widget->isVisible() && widget->isEnabled() && !widget->isWindow() && widget->width() > 0)
            visible << widget;
    if (visible.isEmpty())
        return;
    const QPointer target {any(visible)};
    const QPoint place {below(target->width()), below(target->height())};
    const auto button = oneIn(8) ? Qt::RightButton : Qt::LeftButton;
    if (oneIn(5))
        QTest::mouseDClick(target, button, {}, place);
    else {
        QTest::mousePress(target, button, {}, place);
        if (target && oneIn(6))
            QTest::mouseMove(target, {below(target->width()), below(target->height())});
        if (target)
            QTest::mouseRelease(target, button, {}, place);
    }
}

void MonkeyTest::triggerAction(MovieWindow& window)
{
    QList<QAction*> offered;
    QList<QAction*> open = window.menuBar()->actions();
    while (!open.isEmpty()) {
        auto* action = open.takeLast();
        if (action->menu())
            open << action->menu()->actions();
        else if (action->isEnabled() && !action->isSeparator() && action != m_controller->actions().quit)
            offered << action;
    }
    if (offered.isEmpty())
        return;
    auto* action = any(offered);
    ++m_seen[action->text()];
    action->trigger();
}

void MonkeyTest::quit()
{
    ++m_seen[QStringLiteral("quit")];
    m_controller->actions().quit->trigger();
}

void MonkeyTest::checkEnd()
{
    m_hasEnded = true;
    ++m_seen[QStringLiteral("ended")];
    m_left.clear();
    for (auto* window : m_controller->windows()) {
        const auto& document = window->document();
        QVERIFY(!document.isWriting());
        QVERIFY2(!document.isEdited() || m_givenUp.contains(window), document.path().c_str());
        if (!document.isEdited())
            m_left[document.path()] = stateOf(document.movie());
    }
}

void MonkeyTest::start()
{
    m_controller.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    for (const auto& [path, state] : std::exchange(m_left, {}))
        compareStates(path, stateOnDisk(path), state);
    m_known.clear();
    m_givenUp.clear();
    m_hasEnded = false;
    m_controller = std::make_unique<AppController>(m_app->preferences, m_app->storage);
    connect(m_controller.get(), &AppController::terminated, this, &MonkeyTest::checkEnd);
}

/// Of a movie that is open already, of a new one, or of what is none.
void MonkeyTest::dropFile(MovieWindow& window)
{
    const QStringList paths {QString::fromStdString(any(m_controller->windows())->document().path()),
        m_app->sample("two-audio.mov", qPrintable(QStringLiteral("%1-dropped.mov").arg(++m_names))),
        QStringLiteral("/nowhere/none.mov")};
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(any(paths))});
    QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(&window, &drop);
}

void MonkeyTest::usePreferences(QDialog& dialog)
{
    const auto buttons = dialog.findChildren<QAbstractButton*>();
    const auto boxes = dialog.findChildren<QComboBox*>();
    if (oneIn(3) || buttons.isEmpty()) {
        dialog.reject();
    } else if (oneIn(2) && !boxes.isEmpty()) {
        auto* box = any(boxes);
        box->setFocus();
        QTest::keyClick(box, oneIn(2) ? Qt::Key_Down : Qt::Key_Up);
    } else {
        any(buttons)->click();
    }
}

void MonkeyTest::answerQuestion(QMessageBox& box)
{
    const auto buttons = box.buttons();
    if (buttons.isEmpty())
        return;
    ++m_seen[QTextDocumentFragment::fromHtml(box.text()).toPlainText().section(QLatin1Char('"'), 0, 0)];
    auto* button = m_hasEnded ? buttons.back() : any(buttons);
    const auto* window = qobject_cast<MovieWindow*>(box.parentWidget());
    const auto text = button->text().remove(QLatin1Char('&'));
    if (box.objectName() == QLatin1String("unsavedMovies")) { // one question for all
        if (text == QStringLiteral("Don\u2019t Save"))
            for (const auto* each : m_controller->windows())
                m_givenUp.insert(each);
    } else if (text == QLatin1String("Don't Save"))
        m_givenUp.insert(window);
    else
        m_givenUp.erase(window);
    button->click();
}

/// A new name, one that may be there already, or the file of a window (by its own name or a link's).
void MonkeyTest::answerChooser(QFileDialog& chooser)
{
    const auto windows = m_controller->windows();
    if (m_hasEnded || chooser.acceptMode() != QFileDialog::AcceptSave || windows.empty() || oneIn(3))
        return chooser.reject();
    auto path = m_app->folder.filePath(QStringLiteral("saved-%1").arg(below(4)));
    if (oneIn(2))
        path += QStringLiteral(".mov");
    if (oneIn(3)) {
        path = QString::fromStdString(any(windows)->document().path());
        const auto link = m_app->folder.filePath(QStringLiteral("%1-link.mov").arg(++m_names));
        if (oneIn(3) && QFile::link(path, link))
            path = link;
    }
    chooser.selectFile(path);
    QMetaObject::invokeMethod(&chooser, "accept");
}

void MonkeyTest::answerDialog()
{
    for (auto* widget : QApplication::topLevelWidgets())
        if (auto* dialog = qobject_cast<PreferencesDialog*>(widget); dialog && dialog->isVisible())
            usePreferences(*dialog);
    if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
        const auto entries = menu->actions();
        if (oneIn(2) && !entries.isEmpty())
            menu->setActiveAction(any(entries));
        QTest::keyClick(menu, oneIn(2) ? Qt::Key_Return : Qt::Key_Escape);
        return;
    }
    if (auto* popup = QApplication::activePopupWidget()) {
        popup->close();
        return;
    }
    auto* modal = QApplication::activeModalWidget();
    // A question keeps its own window only: the menus of the others work.
    if (modal && !m_hasEnded && oneIn(12)) {
        const auto windows = m_controller->windows();
        auto* other = windows.empty() ? nullptr : any(windows);
        if (oneIn(4))
            return quit();
        if (other && !modal->isAncestorOf(other) && modal->parentWidget() != other)
            return triggerAction(*other);
    }
    if (auto* box = qobject_cast<QMessageBox*>(modal))
        answerQuestion(*box);
    else if (auto* chooser = qobject_cast<QFileDialog*>(modal))
        answerChooser(*chooser);
    else if (auto* dialog = qobject_cast<QDialog*>(modal))
        dialog->reject();
}

void MonkeyTest::step()
{
    const auto windows = m_controller->windows();
    if (windows.size() < 3)
        openSample();
    if (windows.empty()) {
        QTRY_VERIFY_WITH_TIMEOUT(!m_controller->windows().empty(), kWait);
        return;
    }
    auto& window = *any(windows);
    if (oneIn(10)) {
        window.activateWindow();
        window.raise();
    }
    if (oneIn(60))
        return dropFile(window);
    if (oneIn(100))
        return openUnderAnotherName(window.document());
    if (oneIn(100))
        return quit();
    if (oneIn(30))
        return window.document().addTimecodeTrack();
    switch (below(5)) {
    case 0:
        return triggerAction(window);
    case 1: {
        const auto visible = QApplication::topLevelWidgets();
        auto* other = any(visible); // the picture over the whole screen, the start window, the preferences
        return useMouse(oneIn(4) && other->isVisible() ? *other : window);
    }
    case 2:
        if (oneIn(2))
            return fillField(window);
        [[fallthrough]];
    default:
        return pressKeys(window);
    }
}

void MonkeyTest::checkFiles()
{
    std::set<File> files;
    for (auto* window : m_controller->windows()) {
        const auto& path = window->document().path();
        const auto file = fileAt(path);
        QVERIFY2(file && files.insert(*file).second, path.c_str()); // each window has its own
    }
}

void MonkeyTest::checkWindows()
{
    checkFiles();
    m_written.merge(m_storage->takeWritten());
    std::map<MovieWindow*, Known> known;
    for (auto* window : m_controller->windows()) {
        const auto& document = window->document();
        QCOMPARE(window->isWindowModified(), document.isEdited());
        const auto rows = document.trackList().rowCount();
        QCOMPARE(document.movie().tracks().size() + 1, rows);
        for (const auto* table : window->findChildren<TrackTable*>())
            QCOMPARE(std::size_t(table->model()->rowCount()), rows);
        if (document.isWriting())
            continue; // the file is looked at when it is there
        const auto& path = document.path();
        const auto onDisk = stateOnDisk(path);
        const bool wasWritten = m_written.erase(m_storage->resolve(path)) > 0;
        // What a document says to be saved is in its file, and nobody else writes there.
        if (!document.isEdited())
            compareStates(path, onDisk, stateOf(document.movie()));
        const auto before = m_known.find(window);
        if (!wasWritten && before != m_known.end() && before->second.path == path)
            compareStates(path, onDisk, before->second.state);
        known[window] = {path, onDisk};
        if (!document.isEdited())
            m_givenUp.erase(window);
    }
    m_known = std::move(known);
}

void MonkeyTest::waitForSaves()
{
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            for (auto* window : m_controller->windows())
                if (window->document().isWriting())
                    return false;
            return true;
        }(),
        kWait);
}

void MonkeyTest::nothingBreaksAndNoEditIsLost_data()
{
    QTest::addColumn<unsigned>("seed");
    if (qEnvironmentVariableIsSet("REELWRIGHT_MONKEY_SEED")) {
        const auto seed = qEnvironmentVariable("REELWRIGHT_MONKEY_SEED").toUInt();
        QTest::addRow("seed %u", seed) << seed;
        return;
    }
    for (const unsigned seed : {1U, 2U, 3U})
        QTest::addRow("seed %u", seed) << seed;
}

void MonkeyTest::nothingBreaksAndNoEditIsLost()
{
    QFETCH(unsigned, seed);
    m_random.seed(seed);
    m_seen.clear();
    m_names = 0;
    bool isGiven = false;
    const int given = qEnvironmentVariable("REELWRIGHT_MONKEY_STEPS").toInt(&isGiven);
    const int steps = isGiven ? given : 300;

    m_controller.reset();
    m_app = std::make_unique<AppFixture>();
    m_app->storage = m_storage = std::make_shared<WatchedStorage>();
    m_app->preferences.registerDefault("nonHFSResave", true);
    m_app->preferences.registerDefault("autoFlatten", std::int64_t {1});
    start();
    QTimer dialogs;
    // Not by the timer itself, which would not fire again while an answer leads to the next question.
    connect(
        &dialogs, &QTimer::timeout, this, [this] { QTimer::singleShot(0, this, &MonkeyTest::answerDialog); });
    dialogs.start(1);

    for (int count = 0; count < steps; ++count) {
        step();
        QCoreApplication::processEvents();
        if (m_hasEnded)
            start();
        else if (!QApplication::activeModalWidget() && !QApplication::activePopupWidget())
            checkWindows();
        if (QTest::currentTestFailed()) {
            qWarning("after %d steps of seed %u", count + 1, seed);
            return;
        }
    }
    QTRY_VERIFY_WITH_TIMEOUT(!QApplication::activeModalWidget() && !QApplication::activePopupWidget(), kWait);
    waitForSaves();
    if (m_hasEnded)
        start();
    checkWindows();
    if (qEnvironmentVariableIsSet("REELWRIGHT_MONKEY_SEED"))
        for (const auto& [what, count] : m_seen)
            qDebug("%4d %s", count, qPrintable(what));

    // What was done can be undone and done again, and what is on show is what a save writes.
    for (auto* window : m_controller->windows()) {
        auto& document = window->document();
        const auto state = stateOf(document.movie());
        const bool isNewest = !document.history().canRedo();
        while (document.history().canUndo())
            document.undo();
        while (document.history().canRedo())
            document.redo();
        if (isNewest)
            QCOMPARE(stateOf(document.movie()), state);
        const auto last = stateOf(document.movie());
        if (!document.isEdited())
            compareStates(document.path(), stateOnDisk(document.path()), last);
        if (document.path().ends_with(".mov") && document.saveDocument()) {
            waitForSaves();
            if (!document.isEdited())
                compareStates(document.path(), stateOnDisk(document.path()), last);
        }
    }
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::MonkeyTest)
#include "MonkeyTest.moc"

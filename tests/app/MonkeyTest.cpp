#include "app/AppController.h"
#include "app/MovieWindow.h"
#include "app/PreferencesDialog.h"
#include "report/InfoReport.h"
#include "tests/app/AppTest.h"

#include <QAbstractButton>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPointer>
#include <QTableView>

#include <fmt/format.h>

#include <map>
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

    QString stateOnDisk(const MyDocument& document)
    {
        const auto movie = QTMovie::open(document.path());
        return movie ? stateOf(*movie) : QString::fromStdString(movie.error().message());
    }

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
    void step();
    void pressKeys(MovieWindow& window);
    void useMouse(MovieWindow& window);
    void triggerAction(MovieWindow& window);
    void dropFile(MovieWindow& window);
    void usePreferences(QDialog& dialog);
    void answerDialog();
    void checkWindows();
    /// A file that two windows were saved to holds what the later one wrote, as the user was asked.
    [[nodiscard]] bool isOwnFile(const MyDocument& document) const
    {
        return !m_sharedPaths.contains(document.path());
    }
    void waitForSaves();

    AppFixture* m_app = nullptr;
    AppController* m_controller = nullptr;
    std::mt19937 m_random;
    std::map<MovieWindow*, bool> m_wasEdited;
    std::set<std::string> m_sharedPaths; ///< of files that two windows had at once
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

void MonkeyTest::useMouse(MovieWindow& window)
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
    if (!offered.isEmpty())
        any(offered)->trigger();
}

/// Of a movie that is open already, of a new one, or of what is none.
void MonkeyTest::dropFile(MovieWindow& window)
{
    const QStringList paths {QString::fromStdString(any(m_controller->windows())->document().path()),
        m_app->sample("two-audio.mov", "dropped.mov"), QStringLiteral("/nowhere/none.mov")};
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
    if (oneIn(3) || buttons.isEmpty())
        dialog.reject();
    else
        any(buttons)->click();
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
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        auto buttons = box->buttons();
        if (!buttons.isEmpty())
            any(buttons)->click();
    } else if (auto* chooser = qobject_cast<QFileDialog*>(modal)) {
        const bool isSave = chooser->acceptMode() == QFileDialog::AcceptSave;
        if (isSave && oneIn(2)) {
            chooser->selectFile(m_app->folder.filePath(QStringLiteral("saved-%1").arg(below(4))));
            QMetaObject::invokeMethod(chooser, "accept");
        } else {
            chooser->reject();
        }
    } else if (auto* dialog = qobject_cast<QDialog*>(modal)) {
        dialog->reject();
    }
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
    switch (below(4)) {
    case 0:
        return triggerAction(window);
    case 1:
        return useMouse(window);
    default:
        return pressKeys(window);
    }
}

void MonkeyTest::checkWindows()
{
    std::map<MovieWindow*, bool> edited;
    std::set<std::string> paths;
    for (auto* window : m_controller->windows())
        if (const auto& path = window->document().path(); !paths.insert(path).second)
            m_sharedPaths.insert(path);
    for (auto* window : m_controller->windows()) {
        const auto& document = window->document();
        QCOMPARE(window->isWindowModified(), document.isEdited());
        const auto rows = document.trackList().rowCount();
        QCOMPARE(document.movie().tracks().size() + 1, rows);
        for (const auto* table : window->findChildren<QTableView*>())
            QCOMPARE(std::size_t(table->model()->rowCount()), rows);
        if (document.isWriting()) {
            edited[window] = true; // the file is looked at when it is there
            continue;
        }
        edited[window] = document.isEdited();
        if (m_wasEdited[window] && !document.isEdited() && isOwnFile(document))
            QCOMPARE(stateOnDisk(document), stateOf(document.movie()));
    }
    m_wasEdited = std::move(edited);
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
    m_wasEdited.clear();
    m_sharedPaths.clear();
    bool isGiven = false;
    const int given = qEnvironmentVariable("REELWRIGHT_MONKEY_STEPS").toInt(&isGiven);
    const int steps = isGiven ? given : 300;

    AppFixture app;
    app.preferences.registerDefault("nonHFSResave", true);
    AppController controller {app.preferences, app.storage};
    m_app = &app;
    m_controller = &controller;
    QTimer dialogs;
    // Not by the timer itself, which would not fire again while an answer leads to the next question.
    connect(
        &dialogs, &QTimer::timeout, this, [this] { QTimer::singleShot(0, this, &MonkeyTest::answerDialog); });
    dialogs.start(1);

    for (int count = 0; count < steps; ++count) {
        step();
        QCoreApplication::processEvents();
        if (QTest::currentTestFailed())
            break;
        if (!QApplication::activeModalWidget() && !QApplication::activePopupWidget())
            checkWindows();
        if (QTest::currentTestFailed()) {
            qWarning("after %d steps of seed %u", count + 1, seed);
            return;
        }
    }
    QTRY_VERIFY_WITH_TIMEOUT(!QApplication::activeModalWidget() && !QApplication::activePopupWidget(), kWait);
    waitForSaves();
    checkWindows();

    // What was done can be undone and done again, and what is on show is what a save writes.
    for (auto* window : controller.windows()) {
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
        if (!isOwnFile(document))
            continue;
        if (!document.isEdited())
            QCOMPARE(stateOnDisk(document), last);
        if (document.path().ends_with(".mov") && document.saveDocument()) {
            waitForSaves();
            if (!document.isEdited())
                QCOMPARE(stateOnDisk(document), last);
        }
    }
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::MonkeyTest)
#include "MonkeyTest.moc"

#include "app/window/MovieWindow.h"

#include "app/panes/AttributesPane.h"
#include "app/panes/InformationPane.h"
#include "app/panes/MetadataPane.h"
#include "app/panes/QuickTaskList.h"
#include "app/player/MovieView.h"
#include "app/player/TransportBar.h"
#include "app/window/ExportDialog.h"
#include "app/window/PanelTabWidget.h"
#include "app/window/ProgressSheet.h"
#include "app/window/TimeEdit.h"
#include "app/window/TimecodeField.h"
#include "app/window/TrackTable.h"
#include "app/window/TrackTableModel.h"
#include "app/window/WindowActions.h"
#include "edits/AttributeEdits.h"
#include "movie/atoms/ByteWriter.h"
#include "movie/saving/MovieSaver.h"
#include "tests/app/AppTest.h"
#include "tracks/KWQuickTimeEditing.h"

#include <QAccessible>
#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTableWidget>
#include <QTextBrowser>
#include <QToolButton>
#include <QTreeWidget>

namespace reelwright::test {
namespace {

    QString plain(QString text)
    {
        return text.remove(QLatin1Char('&'));
    }

    /// Waits for a dialog of that class and does something with it.
    template <class Dialog> class Answer : public QObject
    {
    public:
        explicit Answer(std::function<void(Dialog&)> work)
            : m_work(std::move(work))
        {
            connect(&m_timer, &QTimer::timeout, this, &Answer::look);
            m_timer.start(5);
        }
        [[nodiscard]] bool isGiven() const { return m_isGiven; }

    private:
        void look()
        {
            for (auto* widget : QApplication::topLevelWidgets())
                if (auto* dialog = qobject_cast<Dialog*>(widget); dialog && dialog->isVisible()) {
                    m_timer.stop();
                    m_isGiven = true;
                    m_work(*dialog);
                    return;
                }
        }

        std::function<void(Dialog&)> m_work;
        QTimer m_timer;
        bool m_isGiven = false;
    };

    /// Presses a button of the next question, and keeps what it said.
    class Press : public Answer<QMessageBox>
    {
    public:
        explicit Press(const char* button)
            : Answer([this, wanted = QString::fromLatin1(button)](QMessageBox& box) {
                title = box.text().remove(QStringLiteral("<b>")).remove(QStringLiteral("</b>"));
                text = box.informativeText();
                modality = box.windowModality();
                defaultButton = box.defaultButton() ? plain(box.defaultButton()->text()) : QString();
                escapeButton = box.escapeButton() ? plain(box.escapeButton()->text()) : QString();
                for (auto* offered : box.buttons())
                    if (plain(offered->text()) == wanted)
                        return offered->click();
                box.reject();
            })
        {
        }

        QString title;
        QString text;
        Qt::WindowModality modality = Qt::NonModal;
        QString defaultButton;
        QString escapeButton;
    };

} // namespace

class MovieWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void showsTheMovieItsTracksAndItsTabs();
    void tabsFollowTheSelection();
    void undoKeepsTheTabThatTheUserChose();
    void cellIsEditedInPlace();
    void escapeLeavesACellAsItWas();
    void whatIsBeingTypedIsSaved();
    void windowMayGoWhileACellIsEdited();
    void spaceAndCheckBoxToggleEnabled();
    void arrowKeysNudgeTheSelectedTrack();
    void deleteAsksAndRemoves();
    void settingsControlsChangeTheMovie();
    void quickTaskSaysWhatItWouldChangeAndRuns();
    void frameRateIsSaidWhereThereIsAPicture();
    void movieMayHideItsController();
    void fullScreenShowsThePictureAlone();
    void sidePaneIsHiddenAndShown();
    void menuRotatesAndUndoTakesItBackByName();
    void savedStateIsClean();
    void saveIsWrittenInPlace();
    void saveAsGoesWhereTheUserSays();
    void nameWithoutAnExtensionGetsOne();
    void closeWithUnsavedChangesAsks_data();
    void closeWithUnsavedChangesAsks();
    void closeOfACleanDocumentAsksNothing();
    void closeWhileSavingWaitsForTheSave();
    void windowStaysUsableWhileItSaves();
    void cancelledSaveWritesNothing();
    void movieThatCannotBeSavedSaysSo();
    void timecodeFieldRunsAndTakesATimecode();
    void escapeBringsTheRunningTimecodeBack();
    void windowAnswersWhileTheDiskHangs();
    void infoTellsOfTheMovieAndOfTheTrack();
    void metadataAreEditedInPlace();
    void attributesTakeThePicturesValues();
    void copyGoesToWhatHasTheFocus();
    void contextMenuIsAboutTheRowUnderTheMouse();
    void droppedFilesAreHandedOn();
    void smallWindowShowsFiveRowsOfTracks();
    void geometryIsRemembered();
    void windowsStandBesideEachOtherAlsoInTheCorner();
    void everyControlHasANameForScreenReaders();
    void noMnemonicMeansTwoThings();
    void exportIsChosenShownAndWritten();
    void copyIsWrittenFromTheMenu();
    void timesAreShownAsTheUserLikes();
    void whatCannotBeReadStaysInTheCell();
    void whatTheMovieLacksIsDisabled();
    void labelsOfTheTimecodePaneStandBesideTheirFirstButton();

private:
    void openWindow(const QString& path);
    TrackTable& table() { return *m_window->findChild<TrackTable*>(); }
    WindowActions& actions() { return *m_window->findChild<WindowActions*>(); }
    PanelTabWidget& tabs() { return *m_window->findChild<PanelTabWidget*>(); }
    ProgressSheet& sheet() { return *m_window->findChild<ProgressSheet*>(); }
    TimecodeField& timecode() { return *m_window->findChild<TimecodeField*>(); }
    MovieView& view() { return *m_window->findChild<MovieView*>(); }
    MyDocument& document() { return m_window->document(); }
    QString cell(int row, int column) { return table().model()->index(row, column).data().toString(); }
    QStringList tabTitles();
    /// Opens the editor of a cell.
    QLineEdit* edit(int row, int column);
    QTMovie reopened() { return *QTMovie::open(m_path.toStdString()); }
    /// As a movie on disk tells it.
    static bool isEnabled(const QTMovie& movie, std::uint32_t trackID);

    std::unique_ptr<AppFixture> m_app;
    std::unique_ptr<MovieWindow> m_window;
    QString m_path;
};

void MovieWindowTest::init()
{
    m_app = std::make_unique<AppFixture>();
    openWindow(m_app->sample("two-audio.mov"));
}

void MovieWindowTest::cleanup()
{
    m_app->storage->openGate();
    if (m_window)
        QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    m_window.reset();
    m_app.reset();
}

void MovieWindowTest::openWindow(const QString& path)
{
    m_path = path;
    m_window = std::make_unique<MovieWindow>(m_app->open(path), ApplicationActions {});
    m_window->resize(1200, 740);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

QStringList MovieWindowTest::tabTitles()
{
    QStringList titles;
    for (int i = 0; i < tabs().count(); ++i)
        titles << tabs().tabText(i);
    return titles;
}

QLineEdit* MovieWindowTest::edit(int row, int column)
{
    table().setFocus();
    table().setCurrentIndex(table().model()->index(row, column));
    QTest::keyClick(&table(), Qt::Key_Return);
    return table().viewport()->findChild<QLineEdit*>();
}

bool MovieWindowTest::isEnabled(const QTMovie& movie, std::uint32_t trackID)
{
    for (const auto& track : movie.tracks())
        if (track.trackID() == trackID)
            return track.isEnabled();
    return false;
}

void MovieWindowTest::showsTheMovieItsTracksAndItsTabs()
{
    QCOMPARE(m_window->windowTitle(), QStringLiteral("two-audio.mov[*]"));
    QVERIFY(!m_window->isWindowModified());
    QCOMPARE(table().model()->rowCount(), 4);
    QCOMPARE(table().currentIndex().row(), 0);
    QCOMPARE(tabTitles(),
        QStringList({QStringLiteral("Info"), QStringLiteral("Quick Tasks"), QStringLiteral("Settings"),
            QStringLiteral("Conform"), QStringLiteral("Chapters"), QStringLiteral("Metadata")}));
    QCOMPARE(tabs().tabText(tabs().currentIndex()), QStringLiteral("Quick Tasks"));
    QTRY_VERIFY_WITH_TIMEOUT(view().isSettled() && view().duration().value > 0, kWait);
    QCOMPARE(view().duration(), document().movie().duration());
}

void MovieWindowTest::tabsFollowTheSelection()
{
    table().selectRow(1);
    QCOMPARE(tabTitles(),
        QStringList({QStringLiteral("Info"), QStringLiteral("Quick Tasks"), QStringLiteral("Media"),
            QStringLiteral("Metadata"), QStringLiteral("Encoding Attributes")}));
    actions().addTimecodeTrack->trigger(); // selects the new track
    QCOMPARE(table().currentIndex().row(), 4);
    QCOMPARE(tabTitles(),
        QStringList({QStringLiteral("Info"), QStringLiteral("Quick Tasks"), QStringLiteral("Settings"),
            QStringLiteral("Metadata")}));
    QCOMPARE(tabs().tabText(tabs().currentIndex()), QStringLiteral("Settings"));
    table().clearSelection();
    QVERIFY(!document().selectedRow());
    QCOMPARE(tabTitles(), QStringList({QStringLiteral("Info"), QStringLiteral("Quick Tasks")}));
}

void MovieWindowTest::undoKeepsTheTabThatTheUserChose()
{
    tabs().setCurrentIndex(0);
    actions().flop->trigger();
    actions().undo->trigger();
    QCOMPARE(tabs().currentIndex(), 0);
    table().selectRow(1);
    table().selectRow(0);
    QCOMPARE(tabs().currentIndex(), 1);
}

void MovieWindowTest::cellIsEditedInPlace()
{
    auto* editor = edit(2, TrackTableModel::kIn);
    QVERIFY(editor);
    QCOMPARE(editor->text(), QStringLiteral("00:00:00:00"));
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("1."));
    // What is found out meanwhile does not disturb.
    qobject_cast<TrackTableModel*>(table().model())->setToolTips({QStringLiteral("a"), {}, {}, {}});
    QTest::keyClick(editor, Qt::Key_Left); // neither do keys that mean something in the table
    QCOMPARE(editor->text(), QStringLiteral("1."));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(cell(2, TrackTableModel::kIn), QStringLiteral("00:00:01:00"), kWait);
    QCOMPARE(document().trackList().track(2)->inPoint(), (QTTime {1, 1}));
    QVERIFY(m_window->isWindowModified());
    // Return anywhere else in the row is about the in point; the movie's row has nothing to edit.
    QVERIFY(edit(3, TrackTableModel::kEnabled));
    QCOMPARE(table().currentIndex().column(), int(TrackTableModel::kIn));
    QTest::keyClick(table().viewport()->findChild<QLineEdit*>(), Qt::Key_Escape);
    table().setCurrentIndex(table().model()->index(0, 0));
    QTest::keyClick(&table(), Qt::Key_Return);
    QCOMPARE(table().currentIndex(), table().model()->index(0, 0));
}

void MovieWindowTest::escapeLeavesACellAsItWas()
{
    auto* editor = edit(2, TrackTableModel::kDuration);
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("5"));
    QTest::keyClick(editor, Qt::Key_Escape);
    QCOMPARE(cell(2, TrackTableModel::kDuration), QStringLiteral("00:00:01:00"));
    QVERIFY(!document().isEdited());
}

void MovieWindowTest::whatIsBeingTypedIsSaved()
{
    auto* editor = edit(2, TrackTableModel::kIn);
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("2."));
    actions().save->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(!document().isEdited() && !document().isWriting(), kWait);
    const auto saved = reopened();
    QCOMPARE(saved.tracks()[1].range().time, (QTTime {2, 1}));
}

void MovieWindowTest::windowMayGoWhileACellIsEdited()
{
    auto* editor = edit(2, TrackTableModel::kIn);
    QVERIFY(editor);
    QTest::keyClicks(editor, QStringLiteral("1."));
    m_window.reset();
}

void MovieWindowTest::spaceAndCheckBoxToggleEnabled()
{
    const auto box = table().model()->index(3, TrackTableModel::kEnabled);
    const auto where = table().visualRect(box);
    QTest::mouseClick(table().viewport(), Qt::LeftButton, {}, where.center());
    QCOMPARE(box.data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Unchecked);
    QVERIFY(!document().trackList().track(3)->enabled());
    table().selectRow(3);
    QVERIFY(!actions().enableTrack->isChecked());
    actions().enableTrack->trigger();
    QVERIFY(document().trackList().track(3)->enabled());
    QVERIFY(actions().enableTrack->isChecked());
    // The space bar is the transport's.
    table().setFocus();
    QTest::keyClick(&table(), Qt::Key_Space);
    QVERIFY(document().trackList().track(3)->enabled());
}

void MovieWindowTest::arrowKeysNudgeTheSelectedTrack()
{
    int posts = 0;
    const auto counted = m_app->notifications.observe(KWTrackIncrementFrame, [&] { ++posts; });
    table().setFocus();
    QTest::keyClick(&table(), Qt::Key_Right);
    QCOMPARE(posts, 1);
    QVERIFY(!document().isEdited()); // the movie's row
    table().selectRow(2);
    QTest::keyClick(&table(), Qt::Key_Right);
    QTest::keyClick(&table(), Qt::Key_Right);
    const QTTime step {100, document().movie().timeScale()};
    QCOMPARE(document().trackList().track(2)->inPoint(), step + step);
    QTest::keyClick(&table(), Qt::Key_Left);
    QCOMPARE(document().trackList().track(2)->inPoint(), step);
    QCOMPARE(table().currentIndex().row(), 2);
    QCOMPARE(plain(actions().undo->text()), QStringLiteral("Undo Nudge Track"));
}

void MovieWindowTest::deleteAsksAndRemoves()
{
    table().setFocus();
    table().selectRow(3);
    {
        Press answer("Cancel");
        QTest::keyClick(&table(), Qt::Key_Delete);
        QVERIFY(answer.isGiven());
        QCOMPARE(answer.title, QStringLiteral("Are you sure you wish to remove this track?"));
        QCOMPARE(answer.modality, Qt::WindowModal);
        QCOMPARE(answer.defaultButton, QStringLiteral("Remove"));
        QCOMPARE(answer.escapeButton, QStringLiteral("Cancel"));
        QCOMPARE(table().model()->rowCount(), 4);
    }
    Press answer("Remove");
    actions().removeTrack->trigger();
    QVERIFY(answer.isGiven());
    QCOMPARE(table().model()->rowCount(), 3);
    actions().undo->trigger();
    QCOMPARE(table().model()->rowCount(), 4);
    table().selectRow(0);
    QVERIFY(!actions().removeTrack->isEnabled());
}

void MovieWindowTest::settingsControlsChangeTheMovie()
{
    tabs().setCurrentIndex(2);
    auto* pane = tabs().currentWidget();
    const auto box = [&](const char* text) -> QCheckBox* {
        for (auto* candidate : pane->findChildren<QCheckBox*>())
            if (plain(candidate->text()) == QLatin1String(text))
                return candidate;
        return nullptr;
    };
    struct Setting
    {
        const char* text;
        std::function<bool(const QTMovie&)> isOn;
    };
    const Setting settings[] = {
        {"Autoplay", KWQuickTimeEditing::autoPlay},
        {"Auto close", KWQuickTimeEditing::autoClose},
        {"Auto quit", KWQuickTimeEditing::autoQuit},
        {"Hide controller",
            [](const QTMovie& movie) { return KWQuickTimeEditing::movieControllerType(movie) == "none"_cc; }},
    };
    for (const auto& setting : settings) {
        auto* control = box(setting.text);
        QVERIFY2(control, setting.text);
        QTest::mouseClick(control, Qt::LeftButton, {}, QPoint(8, control->height() / 2));
        QVERIFY2(setting.isOn(document().movie()), setting.text);
        actions().undo->trigger();
        QVERIFY2(!setting.isOn(document().movie()) && !control->isChecked(), setting.text);
    }
    auto* aperture = pane->findChild<QComboBox*>();
    aperture->setFocus();
    QTest::keyClick(aperture, Qt::Key_Down);
    QCOMPARE(document().loadMovieSettings().apertureIndex, std::size_t {1});
    actions().undo->trigger();
    QCOMPARE(aperture->currentIndex(), 0);
    QCOMPARE(document().movie().userDataItem("apmd"_cc).has_value(), false);
}

void MovieWindowTest::quickTaskSaysWhatItWouldChangeAndRuns()
{
    tabs().setCurrentIndex(1);
    auto* pane = tabs().currentWidget();
    pane->findChild<QuickTaskList*>()->select(15);
    auto* changes = pane->findChild<QTableWidget*>();
    QTRY_COMPARE_WITH_TIMEOUT(changes->rowCount(), 1, kWait);
    QCOMPARE(changes->item(0, 1)->text(), QStringLiteral("enabled"));
    Press ok {"OK"};
    for (auto* button : pane->findChildren<QPushButton*>())
        if (plain(button->text()) == QLatin1String("Run"))
            button->click();
    QCOMPARE(ok.title, QStringLiteral("Quick Task complete"));
    QVERIFY(m_window->isWindowModified());
    QTRY_COMPARE_WITH_TIMEOUT(changes->rowCount(), 0, kWait); // the next time it would change nothing
}

void MovieWindowTest::frameRateIsSaidWhereThereIsAPicture()
{
    const auto shown = [this] {
        for (const auto* label : m_window->findChildren<QLabel*>())
            if (label->accessibleName() == QLatin1String("Frame rate"))
                return label->text();
        return QString();
    };
    QCOMPARE(shown(), QStringLiteral("25.00 fps"));
    openWindow(m_app->sample("audio-only.mov"));
    QCOMPARE(shown(), QStringLiteral("None"));
}

void MovieWindowTest::movieMayHideItsController()
{
    const auto* controller = m_window->findChild<TransportBar*>();
    QVERIFY(controller->isVisible());
    document().movieSettingsControllerShowHide(true);
    QVERIFY(!controller->isVisible());
    QVERIFY(timecode().isVisible());
    actions().undo->trigger();
    QVERIFY(controller->isVisible());
}

void MovieWindowTest::fullScreenShowsThePictureAlone()
{
    QTest::keyClick(m_window.get(), Qt::Key_F11);
    QVERIFY(view().isFullScreen());
    QVERIFY(actions().fullScreen->isChecked());
    QVERIFY(QTest::qWaitForWindowActive(&view()));
    QTest::keyClick(&view(), Qt::Key_F11);
    QVERIFY(!view().isFullScreen() && !view().isWindow());
    QVERIFY(!actions().fullScreen->isChecked());
    actions().fullScreen->trigger();
    QVERIFY(view().isFullScreen());
    m_window->close();
    QVERIFY(!view().isVisible());
}

void MovieWindowTest::sidePaneIsHiddenAndShown()
{
    QTest::keyClick(m_window.get(), Qt::Key_F9);
    QVERIFY(!tabs().isVisible());
    actions().sidePane->trigger();
    QVERIFY(tabs().isVisible());
}

void MovieWindowTest::menuRotatesAndUndoTakesItBackByName()
{
    const auto matrix
        = [this] { return document().movie().tracksOfMediaType(QTMediaTypeVideo).front().matrix(); };
    const auto before = matrix();
    QVERIFY(!actions().undo->isEnabled());
    QTest::keyClick(m_window.get(), Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(matrix() != before);
    QCOMPARE(plain(actions().undo->text()), QStringLiteral("Undo Rotate Left"));
    QTest::keyClick(m_window.get(), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(matrix(), before);
    QCOMPARE(plain(actions().redo->text()), QStringLiteral("Redo Rotate Left"));
    QVERIFY(!actions().undo->isEnabled());
    QTest::keyClick(m_window.get(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(matrix() != before);
}

void MovieWindowTest::savedStateIsClean()
{
    actions().rotateLeft->trigger();
    QVERIFY(m_window->isWindowModified());
    actions().save->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(!m_window->isWindowModified(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    actions().undo->trigger();
    QVERIFY(m_window->isWindowModified());
    actions().redo->trigger();
    QVERIFY(!m_window->isWindowModified());
}

void MovieWindowTest::saveIsWrittenInPlace()
{
    const auto id = document().trackList().track(3)->trackID();
    const auto inode = reopened().file()->state.inode;
    document().setTrackEnabled(3, false);
    QTest::keyClick(m_window.get(), Qt::Key_S, Qt::ControlModifier);
    QTRY_VERIFY_WITH_TIMEOUT(!document().isEdited() && !document().isWriting(), kWait);
    const auto saved = reopened();
    QVERIFY(!isEnabled(saved, id));
    QCOMPARE(saved.file()->state.inode, inode);
}

void MovieWindowTest::saveAsGoesWhereTheUserSays()
{
    const auto target = m_app->folder.filePath(QStringLiteral("other.mov"));
    QSignalSpy paths(m_window.get(), &MovieWindow::pathChanged);
    document().setTrackEnabled(3, false);
    Answer<QFileDialog> answer([&](QFileDialog& dialog) {
        QCOMPARE(dialog.windowModality(), Qt::WindowModal);
        dialog.selectFile(target);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
    actions().saveAs->trigger();
    QVERIFY(answer.isGiven());
    QTRY_COMPARE_WITH_TIMEOUT(m_window->windowTitle(), QStringLiteral("other.mov[*]"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QVERIFY(paths.count() > 0);
    const auto written = QTMovie::open(target.toStdString());
    QVERIFY(written);
    QVERIFY(!isEnabled(*written, 3));
    QVERIFY(isEnabled(reopened(), 3)); // the old file is as it was
}

void MovieWindowTest::nameWithoutAnExtensionGetsOne()
{
    const auto target = m_app->folder.filePath(QStringLiteral("plain"));
    Answer<QFileDialog> answer([&](QFileDialog& dialog) {
        dialog.selectFile(target);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
    actions().saveAs->trigger();
    QVERIFY(answer.isGiven());
    QTRY_COMPARE_WITH_TIMEOUT(m_window->windowTitle(), QStringLiteral("plain.mov[*]"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QVERIFY(QTMovie::open((target + QStringLiteral(".mov")).toStdString()));
}

void MovieWindowTest::closeWithUnsavedChangesAsks_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<bool>("saves");
    QTest::newRow("cancel") << QByteArray("Cancel") << false << false;
    QTest::newRow("discard") << QByteArray("Don't Save") << true << false;
    QTest::newRow("save") << QByteArray("Save") << true << true;
}

void MovieWindowTest::closeWithUnsavedChangesAsks()
{
    QFETCH(QByteArray, button);
    QFETCH(bool, closes);
    QFETCH(bool, saves);
    document().setTrackEnabled(3, false);
    QSignalSpy closed(m_window.get(), &MovieWindow::closed);
    Press answer(button.constData());
    m_window->close();
    QVERIFY(answer.isGiven());
    QCOMPARE(answer.title, QStringLiteral("Save the changes to \"two-audio.mov\"?").toHtmlEscaped());
    QCOMPARE(answer.escapeButton, QStringLiteral("Cancel"));
    if (closes)
        QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, kWait);
    QCOMPARE(m_window->isVisible(), !closes);
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QCOMPARE(isEnabled(reopened(), 3), !saves);
}

void MovieWindowTest::closeOfACleanDocumentAsksNothing()
{
    QSignalSpy closed(m_window.get(), &MovieWindow::closed);
    QTest::keyClick(m_window.get(), Qt::Key_W, Qt::ControlModifier);
    QCOMPARE(closed.count(), 1);
    QVERIFY(!m_window->isVisible());
    m_window->close();
    QCOMPARE(closed.count(), 1);
}

void MovieWindowTest::closeWhileSavingWaitsForTheSave()
{
    QSignalSpy closed(m_window.get(), &MovieWindow::closed);
    document().setTrackEnabled(3, false);
    m_app->storage->isClosed = true;
    actions().save->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(m_app->storage->waiting > 0, kWait);
    m_window->close();
    QVERIFY(m_window->isVisible());
    QCOMPARE(closed.count(), 0);
    m_app->storage->openGate();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, kWait);
    QVERIFY(!m_window->isVisible());
    QVERIFY(!isEnabled(reopened(), 3));
}

void MovieWindowTest::windowStaysUsableWhileItSaves()
{
    document().setTrackEnabled(3, false);
    m_app->storage->isClosed = true;
    actions().save->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(sheet().isVisible(), kWait);
    table().setFocus();
    QTest::keyClick(&table(), Qt::Key_Down);
    QCOMPARE(document().selectedRow(), std::optional<std::size_t>(1));
    document().setTrackEnabled(2, false);
    {
        Press answer("OK"); // a second save is refused
        actions().save->trigger();
        QVERIFY(answer.isGiven());
        QCOMPARE(answer.title, QStringLiteral("Unable to save"));
        QCOMPARE(answer.text, QStringLiteral("A save operation is already in progress."));
    }
    m_app->storage->openGate();
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QVERIFY(!sheet().isVisible());
    QVERIFY(m_window->isWindowModified()); // what was edited meanwhile is not saved
    QVERIFY(!isEnabled(reopened(), 3));
    QVERIFY(isEnabled(reopened(), 2));
}

void MovieWindowTest::cancelledSaveWritesNothing()
{
    const auto target = m_app->folder.filePath(QStringLiteral("cancelled.mov"));
    Answer<QFileDialog> answer([&](QFileDialog& dialog) {
        dialog.selectFile(target);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
    m_app->storage->isClosed = true;
    actions().saveAs->trigger();
    QVERIFY(answer.isGiven());
    QTRY_VERIFY_WITH_TIMEOUT(sheet().isVisible(), kWait);
    auto* cancel = sheet().findChild<QPushButton*>();
    QTest::mouseClick(cancel, Qt::LeftButton);
    QVERIFY(!cancel->isEnabled());
    m_app->storage->openGate();
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QVERIFY(!sheet().isVisible());
    QVERIFY(!QFile::exists(target));
    QCOMPARE(m_window->windowTitle(), QStringLiteral("two-audio.mov[*]"));
}

void MovieWindowTest::movieThatCannotBeSavedSaysSo()
{
    document().setTrackEnabled(3, false);
    m_app->storage->refusesWriting = true;
    m_app->preferences.registerDefault("autoFlatten", std::int64_t {1});
    Press answer("OK");
    actions().save->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(answer.isGiven() && !document().isWriting(), kWait);
    QCOMPARE(answer.title, QStringLiteral("Error writing movie"));
    QVERIFY(!answer.text.isEmpty());
    QVERIFY(m_window->isWindowModified());
    QVERIFY(isEnabled(reopened(), 3));
}

void MovieWindowTest::timecodeFieldRunsAndTakesATimecode()
{
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("00:00:00:00"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(view().isSettled() && view().duration().value > 0, kWait);
    actions().goToTimecode->trigger();
    QVERIFY(timecode().hasFocus());
    QTest::keyClicks(&timecode(), QStringLiteral("12"));
    QTest::keyClick(&timecode(), Qt::Key_Return);
    QVERIFY(!timecode().hasFocus());
    QCOMPARE(view().currentTime(), (QTTime {12, 25}));
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("00:00:00:12"), kWait);
    actions().stepForward->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("00:00:00:13"), kWait);
}

void MovieWindowTest::windowAnswersWhileTheDiskHangs()
{
    // A timecode track of two samples: what the second one says is not known when the movie is open.
    const auto path = m_app->sample("timecode-25.mov");
    {
        auto movie = QTMovie::open(path.toStdString());
        QVERIFY(movie);
        const EditableScope scope {*movie};
        auto* trak = movie->tracksOfMediaType(QTMediaTypeTimeCode).front().editAtom();
        auto* stbl = trak->edit({"mdia"_cc, "minf"_cc, "stbl"_cc});
        const auto table = SampleTable::parse(*stbl);
        const auto offset = static_cast<std::uint32_t>(table.chunkOffset(1));
        const auto half = static_cast<std::uint32_t>(table.duration() / 2);
        stbl->setLeaf("stts"_cc, ByteWriter {}.u32(0).u32(1).u32(2).u32(half).toBytes());
        stbl->setLeaf("stsz"_cc, ByteWriter {}.u32(0).u32(4).u32(2).toBytes());
        stbl->setLeaf("stsc"_cc, ByteWriter {}.u32(0).u32(1).u32(1).u32(1).u32(1).toBytes());
        stbl->setLeaf("stco"_cc, ByteWriter {}.u32(0).u32(2).u32(offset).u32(offset + 1).toBytes());
        QVERIFY(MovieSaver::updateMovieFile(*movie));
    }
    auto& storage = *m_app->storage;
    storage.gatesReads = true;
    openWindow(path);
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("10:00:00:00"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(view().isSettled() && view().duration().value > 0, kWait);
    storage.isClosed = true;

    for (std::size_t row = 0; row < document().trackList().rowCount(); ++row)
        document().selectRow(row); // the timecode panel among them
    actions().rotateRight->trigger();
    for (int i = 0; i < 3; ++i)
        actions().nudgeLater->trigger();
    actions().undo->trigger();
    auto* field = edit(1, TrackTableModel::kIn);
    QVERIFY(field);
    QTest::keyClicks(field, QStringLiteral("12"));
    QTest::keyClick(field, Qt::Key_Escape);
    const auto second = QTTime {document().movie().duration().value * 3 / 4, document().movie().timeScale()};
    view().setCurrentTime(second);
    QTRY_VERIFY_WITH_TIMEOUT(storage.waiting > 0, kWait);
    actions().goToTimecode->trigger();
    QTest::keyClicks(&timecode(), QStringLiteral("10:00:00:05"));
    QTest::keyClick(&timecode(), Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("10:00:00:05"), kWait);
    view().setCurrentTime(second);
    QTest::qWait(100); // the read-out asks thirty times a second
    QCOMPARE(storage.mainThreadReads.load(), 0);

    storage.openGate();
    const auto expected
        = QString::fromStdString(MyDocument::timecodeAt(view().currentTime(), document().movie()));
    QVERIFY(!expected.startsWith(QLatin1String("10:00:0")));
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), expected, kWait);
    QCOMPARE(storage.mainThreadReads.load(), 0);
}

void MovieWindowTest::escapeBringsTheRunningTimecodeBack()
{
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("00:00:00:00"), kWait);
    actions().goToTimecode->trigger();
    QTest::keyClicks(&timecode(), QStringLiteral("7"));
    QCOMPARE(timecode().text(), QStringLiteral("7"));
    QTest::keyClick(&timecode(), Qt::Key_Escape);
    QVERIFY(!timecode().hasFocus());
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("00:00:00:00"), kWait);
    QCOMPARE(view().currentTime(), (QTTime {0, 25}));
}

void MovieWindowTest::infoTellsOfTheMovieAndOfTheTrack()
{
    auto* pane = tabs().findChild<InformationPane*>();
    QTRY_VERIFY_WITH_TIMEOUT(pane->text().contains(QStringLiteral("160 x 90")), kWait);
    QVERIFY(pane->text().contains(QStringLiteral("autoplay off")));
    document().movieSettingsAutoplayToggle(true); // unsaved edits show
    QTRY_VERIFY_WITH_TIMEOUT(pane->text().contains(QStringLiteral("autoplay on")), kWait);
    table().selectRow(2);
    QVERIFY(pane->text().contains(QStringLiteral("16000 Hz")));
    QVERIFY(!pane->text().contains(QStringLiteral("autoplay")));
    const auto toolTip = table().model()->index(2, 0).data(Qt::ToolTipRole).toString();
    QVERIFY2(toolTip.contains(QStringLiteral("Format: sowt")), qPrintable(toolTip));
}

void MovieWindowTest::attributesTakeThePicturesValues()
{
    table().selectRow(1);
    auto* pane = tabs().findChild<AttributesPane*>();
    tabs().setCurrentWidget(pane);
    const auto fieldCount = [&] {
        const auto track = document().movie().tracksOfMediaType(QTMediaTypeVideo).front();
        return int {track.media().sampleDescription(1)->fieldLayout().value_or(FieldLayout {}).count};
    };
    const auto button = [&](const char* name) {
        QPushButton* found = nullptr;
        for (auto* each : pane->findChildren<QPushButton*>())
            if (each->text().remove(QLatin1Char('&')) == QLatin1String(name) && each->isVisible())
                found = each;
        return found;
    };
    // The stream is progressive.
    QVERIFY(document().perform(
        edits::setAttribute(KWImageDescriptionController::attributeNamed(kFields), AttributeValue {1})));
    for (const auto* name : {"Use", "Use All"}) {
        QCOMPARE(fieldCount(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(button(name), kWait);
        button(name)->click();
        QTRY_COMPARE(fieldCount(), 1);
        QTRY_VERIFY(!button(name));
        document().undo();
    }
}

void MovieWindowTest::metadataAreEditedInPlace()
{
    auto* pane = tabs().findChild<MetadataPane*>();
    auto* tree = pane->findChild<QTreeWidget*>();
    tabs().setCurrentWidget(pane);
    QVERIFY(pane->isVisible());
    const auto valueOf = [&](const char* name) -> QTreeWidgetItem* {
        const auto found = tree->findItems(QString::fromUtf8(name), Qt::MatchExactly | Qt::MatchRecursive);
        return found.isEmpty() ? nullptr : found.front();
    };
    const auto type = [&](const QString& text) {
        auto* editor = tree->viewport()->findChild<QLineEdit*>();
        QVERIFY(editor);
        editor->selectAll();
        QTest::keyClicks(editor, text);
        QTest::keyClick(editor, Qt::Key_Return);
    };
    QVERIFY(valueOf("Copyright"));
    tree->setCurrentItem(valueOf("Copyright"), 1);
    tree->editItem(valueOf("Copyright"), 1);
    type(QStringLiteral("me"));
    QTRY_COMPARE(KWMetadataController::copyright(document().movie()), std::optional<std::string>("me"));
    QTRY_COMPARE(valueOf("Copyright")->text(1), QStringLiteral("me"));

    // A preset comes with its value to be typed, and is not offered again.
    auto* menu = pane->findChild<QToolButton*>()->menu();
    const auto make = [&] {
        emit menu->aboutToShow();
        for (auto* action : menu->findChildren<QAction*>())
            if (action->text().startsWith(QStringLiteral("Make")))
                return action;
        return static_cast<QAction*>(nullptr);
    };
    make()->trigger();
    type(QStringLiteral("ARRI"));
    QTRY_COMPARE(valueOf("Make")->text(1), QStringLiteral("ARRI"));
    QVERIFY(!make()->isEnabled());

    tree->setCurrentItem(valueOf("Make"), 1);
    Press remove {"Remove"};
    QTest::keyClick(tree, Qt::Key_Delete);
    QCOMPARE(remove.title, QStringLiteral("Are you sure you wish to remove this metadata value?"));
    QVERIFY(!valueOf("Make"));
    actions().undo->trigger();
    QVERIFY(valueOf("Make"));
}

void MovieWindowTest::copyGoesToWhatHasTheFocus()
{
    table().setFocus();
    table().selectRow(1);
    QTest::keyClick(&table(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(),
        QStringLiteral("Video\t\t00:00:00:00\t00:00:01:00\tVideo is enabled"));
    QVERIFY(!actions().paste->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!timecode().text().isEmpty(), kWait);
    actions().goToTimecode->trigger();
    QVERIFY(actions().paste->isEnabled());
    actions().copy->trigger();
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("00:00:00:00"));
}

void MovieWindowTest::contextMenuIsAboutTheRowUnderTheMouse()
{
    const auto where = table().visualRect(table().model()->index(2, 1)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, where, table().viewport()->mapToGlobal(where));
    QApplication::sendEvent(table().viewport(), &event);
    QVERIFY(actions().trackMenu->isVisible());
    actions().trackMenu->close();
    QCOMPARE(document().selectedRow(), std::optional<std::size_t>(2));
    QTRY_VERIFY_WITH_TIMEOUT(view().isSettled() && view().duration().value > 0, kWait);
    document().incrementTrackByOneFrame();
    actions().goToInPoint->trigger();
    QVERIFY(view().currentTime() > (QTTime {0, 25}));
}

void MovieWindowTest::droppedFilesAreHandedOn()
{
    QSignalSpy dropped(m_window.get(), &MovieWindow::filesDropped);
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QStringLiteral("/clips/a.mov")),
        QUrl(QStringLiteral("https://example.org/b.mov"))});
    QDragEnterEvent enter({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(m_window.get(), &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(m_window.get(), &drop);
    QCOMPARE(dropped.count(), 1);
    QCOMPARE(dropped.front().front().toStringList(), QStringList({QStringLiteral("/clips/a.mov")}));
}

void MovieWindowTest::smallWindowShowsFiveRowsOfTracks()
{
    m_window->resize(m_window->minimumSize());
    QCOMPARE(m_window->minimumSize(), QSize(800, 496));
    QTRY_COMPARE(m_window->size(), m_window->minimumSize());
    QTRY_VERIFY(table().viewport()->height() >= 5 * table().rowHeight(0));
    QVERIFY(view().height() >= 160);
}

void MovieWindowTest::geometryIsRemembered()
{
    m_window->resize(960, 600);
    m_window->close();
    m_window.reset();
    m_window = std::make_unique<MovieWindow>(m_app->open(m_path), ApplicationActions {});
    m_window->show();
    QCOMPARE(m_window->size(), QSize(960, 600));
    // For the next start of the program it is on the disk.
    const auto isKept = [this] {
        QFile file {m_app->folder.filePath(QStringLiteral("preferences/windows.conf"))};
        return file.open(QIODevice::ReadOnly) && file.readAll().contains("geometry=");
    };
    QTRY_VERIFY_WITH_TIMEOUT(isKept(), kWait);
}

void MovieWindowTest::windowsStandBesideEachOtherAlsoInTheCorner()
{
    const auto area = m_window->screen()->availableGeometry();
    m_window->resize(m_window->minimumSize());
    m_window->move(area.bottomRight() - QPoint(m_window->width() - 1, m_window->height() - 1));
    m_window->close();
    m_window.reset();
    MovieWindow first(m_app->open(m_path), ApplicationActions {});
    first.show();
    MovieWindow second(m_app->open(m_path), ApplicationActions {});
    second.show();
    QVERIFY(first.pos() != second.pos());
    QVERIFY(area.contains(second.geometry().center()));
}

void MovieWindowTest::everyControlHasANameForScreenReaders()
{
    int count = 0;
    for (auto* widget : m_window->findChildren<QWidget*>()) {
        if (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisible())
            continue;
        ++count;
        auto* interface = QAccessible::queryAccessibleInterface(widget);
        QVERIFY(interface);
        QVERIFY2(!interface->text(QAccessible::Name).isEmpty(), widget->metaObject()->className());
    }
    QVERIFY2(count >= 12, qPrintable(QString::number(count)));
    for (auto* action : m_window->menuBar()->actions())
        QVERIFY2(action->text().contains(QLatin1Char('&')), qPrintable(action->text()));
}

void MovieWindowTest::exportIsChosenShownAndWritten()
{
    const auto target = m_app->folder.filePath(QStringLiteral("view.mov"));
    {
        Answer<ExportDialog> answer([&](ExportDialog& dialog) {
            auto* format = dialog.findChild<QComboBox*>();
            format->setCurrentIndex(format->findText(QStringLiteral("ProRes 422 Proxy")));
            QVERIFY(dialog.path().endsWith(QStringLiteral("two-audio_review.mov")));
            dialog.findChild<QLineEdit*>()->setText(target);
            for (auto* button : dialog.findChildren<QPushButton*>())
                if (plain(button->text()) == QStringLiteral("Export"))
                    button->click();
        });
        actions().exportMovie->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(answer.isGiven(), kWait);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!document().exporter().isExporting(), kWait);
    QTRY_VERIFY(QTMovie::open(target.toStdString()));
    QVERIFY(m_window->statusBar()->currentMessage().contains(QStringLiteral("view.mov")));
    QCOMPARE(m_app->preferences.text("selectedExportComponentName"), std::string("ProRes 422 Proxy"));
}

void MovieWindowTest::copyIsWrittenFromTheMenu()
{
    const auto target = m_app->folder.filePath(QStringLiteral("copy.mov"));
    actions().flop->trigger();
    Answer<QFileDialog> answer([&](QFileDialog& dialog) {
        dialog.selectFile(target);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
    actions().saveCopy->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(!document().isWriting(), kWait);
    QVERIFY(answer.isGiven());
    QVERIFY(QTMovie::open(target.toStdString()));
    QVERIFY(document().isEdited());
    QCOMPARE(document().path(), m_path.toStdString());
}

void MovieWindowTest::timesAreShownAsTheUserLikes()
{
    const auto choose = [&](ShownTime::Style style) {
        for (auto* action : actions().times->actions())
            if (action->data().toInt() == static_cast<int>(style))
                action->trigger();
    };
    choose(ShownTime::Style::Frames);
    QCOMPARE(cell(1, TrackTableModel::kDuration), QStringLiteral("25\u202Ff"));
    auto* editor = edit(2, TrackTableModel::kIn);
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("+10"));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(cell(2, TrackTableModel::kIn), QStringLiteral("10\u202Ff"), kWait);
    choose(ShownTime::Style::Seconds);
    QCOMPARE(cell(2, TrackTableModel::kIn), QStringLiteral("0.400\u202Fs"));
    QTRY_COMPARE_WITH_TIMEOUT(timecode().text(), QStringLiteral("0.000\u202Fs"), kWait);
    QCOMPARE(m_app->preferences.text("timeStyle"), std::string("seconds"));
}

void MovieWindowTest::whatCannotBeReadStaysInTheCell()
{
    auto* editor = qobject_cast<TimeEdit*>(edit(2, TrackTableModel::kIn));
    QVERIFY(editor);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("soon"));
    QVERIFY(editor->isWrong());
    QVERIFY(editor->accessibleDescription().contains(QStringLiteral("soon")));
    QTest::keyClick(editor, Qt::Key_Return);
    QCOMPARE(table().viewport()->findChild<TimeEdit*>(), editor);
    QVERIFY(!document().isEdited());
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("00:00:00:30"));
    QVERIFY(!editor->isWrong());
    QVERIFY(editor->accessibleDescription().contains(QStringLiteral("00:00:01:05"))); // what it comes to
    QTest::keyClick(editor, Qt::Key_Escape);
}

void MovieWindowTest::whatTheMovieLacksIsDisabled()
{
    QVERIFY(actions().rotateLeft->isEnabled());
    openWindow(m_app->sample("audio-only.mov"));
    for (const auto* action : {actions().rotateLeft, actions().flip, actions().exportFrame})
        QVERIFY(!action->isEnabled());
    QVERIFY(actions().exportMovie->isEnabled());
}

void MovieWindowTest::noMnemonicMeansTwoThings()
{
    openWindow(m_app->sample("timecode-25.mov"));
    for (int row = 0; row < table().model()->rowCount(); ++row) {
        table().selectRow(row);
        QMap<QString, QString> meanings;
        const auto check = [&](const QString& label) {
            const auto key = QKeySequence::mnemonic(label).toString();
            if (key.isEmpty())
                return;
            QVERIFY2(!meanings.contains(key),
                qPrintable(QStringLiteral("%1: %2 and %3").arg(key, meanings[key], label)));
            meanings[key] = label;
        };
        check(QStringLiteral("&Window")); // the application adds it
        for (const auto* menu : m_window->menuBar()->actions())
            check(menu->text());
        for (const auto* widget : m_window->centralWidget()->findChildren<QWidget*>()) {
            if (!widget->isVisible())
                continue;
            if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
                check(button->text());
            else if (const auto* label = qobject_cast<const QLabel*>(widget); label && label->buddy())
                check(label->text());
        }
        QVERIFY(meanings.size() >= 7);
    }
}

void MovieWindowTest::labelsOfTheTimecodePaneStandBesideTheirFirstButton()
{
    openWindow(m_app->sample("timecode-25.mov"));
    table().selectRow(table().model()->rowCount() - 1);
    int count = 0;
    for (auto* label : m_window->findChildren<QLabel*>()) {
        if (!label->isVisible() || !qobject_cast<QAbstractButton*>(label->buddy()) || label->text().isEmpty())
            continue;
        ++count;
        const auto middle
            = [](const QWidget& widget) { return widget.mapToGlobal(widget.rect().center()).y(); };
        QTRY_VERIFY2(std::abs(middle(*label) - middle(*label->buddy())) <= 1, qPrintable(label->text()));
    }
    QCOMPARE(count, 2);
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::MovieWindowTest)
#include "MovieWindowTest.moc"

#include "app/batch/BatchMainWindow.h"
#include "app/batch/BatchQueueModel.h"
#include "app/batch/SubmitSheet.h"
#include "app/panes/QuickTaskList.h"
#include "app/window/CheckDialog.h"
#include "tests/app/AppTest.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTreeWidget>

namespace reelwright::test {

/// Drives the window of a batch.
class BatchWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void filesAndFoldersAreDroppedAndDescribed();
    void aCheckNamesWhatFailsAndQueuesWhatMendsIt();
    void aQueueIsPreviewedSubmittedAndReported();
    void theListOfTasksIsSearched();
    void tenThousandFilesAreListedAtOnce();

private:
    [[nodiscard]] QTableView& table(const char* name) const
    {
        for (auto* found : m_window->findChildren<QTableView*>())
            if (found->accessibleName() == QLatin1String(name))
                return *found;
        qFatal("no table %s", name);
    }
    void press(const char* text, QWidget* within = nullptr)
    {
        for (auto* button : (within ? within : m_window.get())->findChildren<QPushButton*>())
            if (button->text().remove(QLatin1Char('&')) == QString::fromUtf8(text))
                return button->click();
        QFAIL(text);
    }
    [[nodiscard]] QString cell(int row, BatchFileModel::Column column) const
    {
        return table("Files of the batch").model()->index(row, column).data().toString();
    }

    std::unique_ptr<AppFixture> m_app;
    std::unique_ptr<BatchMainWindow> m_window;
    QTimer m_closer; ///< answers what is asked with its default button
    QStringList m_asked;
};

void BatchWindowTest::init()
{
    m_app = std::make_unique<AppFixture>();
    m_app->preferences.registerDefault("batchExtension", std::string("-processed"));
    m_window = std::make_unique<BatchMainWindow>(
        BatchEnvironment {m_app->mainThread, m_app->preferences, m_app->storage, BatchFiles::real()},
        ApplicationActions {});
    m_window->show();
    m_asked.clear();
    connect(&m_closer, &QTimer::timeout, this, [this] {
        for (auto* widget : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) {
                m_asked << box->text().remove(QStringLiteral("<b>")).remove(QStringLiteral("</b>"));
                box->defaultButton()->click();
            }
    });
    m_closer.start(5);
}

void BatchWindowTest::cleanup()
{
    m_closer.stop();
    m_closer.disconnect(this);
    m_window.reset();
    m_app.reset();
}

void BatchWindowTest::filesAndFoldersAreDroppedAndDescribed()
{
    QDir(m_app->folder.path()).mkpath(QStringLiteral("reel/below"));
    m_app->sample("timecode-25.mov", "reel/below/b.mov");
    m_app->sample("header-first.mp4", "reel/a.mp4");
    QFile notes {m_app->folder.filePath(QStringLiteral("reel/notes.txt"))};
    QVERIFY(notes.open(QIODevice::WriteOnly));
    const auto bad = m_app->folder.filePath(QStringLiteral("bad.mov"));
    QFile file {bad};
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(64, 'x')) == 64);
    file.close();
    QMimeData data;
    data.setUrls(
        {QUrl::fromLocalFile(bad), QUrl::fromLocalFile(m_app->folder.filePath(QStringLiteral("reel")))});
    QDragEnterEvent enter {{10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QApplication::sendEvent(m_window.get(), &enter);
    QDropEvent drop {{10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier};
    QApplication::sendEvent(m_window.get(), &drop);

    const QAbstractItemModelTester tester {table("Files of the batch").model()};
    QTRY_COMPARE_WITH_TIMEOUT(table("Files of the batch").model()->rowCount(), 3, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(cell(0, BatchFileModel::Status), QStringLiteral("cannot open"), kWait);
    QCOMPARE(cell(1, BatchFileModel::Name), QStringLiteral("a.mp4"));
    QTRY_VERIFY_WITH_TIMEOUT(!cell(2, BatchFileModel::StartTimecode).isEmpty(), kWait);
    QCOMPARE(cell(2, BatchFileModel::Rate), QStringLiteral("25"));
    QVERIFY(cell(2, BatchFileModel::StartTimecode).contains(QLatin1Char(':')));
}

void BatchWindowTest::aCheckNamesWhatFailsAndQueuesWhatMendsIt()
{
    m_window->batch().addFiles(
        {m_app->sample("pal-25.mov").toStdString(), m_app->folder.filePath(QStringLiteral("none.mov")).toStdString()});
    for (auto* action : m_window->findChildren<QAction*>())
        if (action->shortcut() == QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K))
            action->trigger();
    auto* dialog = m_window->findChild<CheckDialog*>();
    QVERIFY(dialog);
    auto* list = dialog->findChild<QTreeWidget*>();
    QTRY_COMPARE_WITH_TIMEOUT(list->topLevelItemCount(), 2, kWait);
    QVERIFY(list->topLevelItem(0)->text(0).startsWith(QLatin1String("pal-25.mov: failed: ")));
    QVERIFY(list->topLevelItem(0)->childCount() > 0);
    QVERIFY(m_window->batch().taskQueue().empty());
    const auto buttons = dialog->findChildren<QPushButton*>();
    const auto canMend = [&] {
        return std::all_of(
            buttons.begin(), buttons.end(), [](const auto* each) { return each->isEnabled(); });
    };
    QTRY_VERIFY_WITH_TIMEOUT(canMend(), kWait);
    press("Queue What Mends Them", dialog);
    QVERIFY(!m_window->batch().taskQueue().empty());
}

void BatchWindowTest::aQueueIsPreviewedSubmittedAndReported()
{
    const auto path = m_app->sample("pal-25.mov");
    m_window->batch().addFiles({path.toStdString()});
    press("Rotate Left");
    press("Flop (mirror)");
    auto* queue = table("Queue of changes").model();
    const QAbstractItemModelTester tester {queue};
    QCOMPARE(queue->rowCount(), 2);
    QCOMPARE(queue->index(0, BatchQueueModel::Change).data().toString(), QStringLiteral("Rotate left"));

    table("Queue of changes").selectRow(1);
    QTest::keyClick(&table("Queue of changes"), Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(queue->index(0, BatchQueueModel::Change).data().toString(), QStringLiteral("Flop movie"));
    press("Copy as Command");
    QVERIFY(QApplication::clipboard()->text().startsWith(
        QLatin1String("reelwright-cli edit --flop --rotate left ")));

    press("Preview Changes");
    QTRY_COMPARE_WITH_TIMEOUT(cell(0, BatchFileModel::Status), QStringLiteral("2 changes"), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(
        queue->index(0, BatchQueueModel::Files).data().toString(), QStringLiteral("1 of 1"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(table("Changes of the selected file").model()->rowCount() > 0, kWait);

    press("Submit Batch\u2026");
    auto* sheet = m_window->findChild<SubmitSheet*>();
    QVERIFY(sheet);
    for (auto* way : sheet->findChildren<QRadioButton*>())
        if (way->text().contains(QLatin1String("beside")))
            way->click();
    press("Submit Batch", sheet);
    QTRY_VERIFY_WITH_TIMEOUT(!m_window->batch().isProcessing(), kWait);
    QCOMPARE(m_asked, QStringList {QStringLiteral("Batch complete")});
    QCOMPARE(cell(0, BatchFileModel::Status), QStringLiteral("done"));
    QCOMPARE(cell(0, BatchFileModel::Result), QStringLiteral("2 changes"));
    QVERIFY(QFile::exists(m_app->folder.filePath(QStringLiteral("pal-25-processed.mov"))));
    QCOMPARE(m_app->preferences.integer("batchUpdateType"), 1);
    QVERIFY(!table("Files of the batch").isColumnHidden(BatchFileModel::Verified));

    press("Put Queue Back");
    QCOMPARE(m_window->batch().taskQueue().size(), 2U);
    QVERIFY(table("Files of the batch").isColumnHidden(BatchFileModel::Verified));
}

void BatchWindowTest::theListOfTasksIsSearched()
{
    auto* list = m_window->findChild<QuickTaskList*>();
    auto* search = list->findChild<QLineEdit*>();
    QCOMPARE(search->placeholderText(), QStringLiteral("Search 29 tasks"));
    QTest::keyClicks(search, QStringLiteral("remove audio 1-4"));
    QVERIFY(list->current());
    QCOMPARE(list->current()->tag, 27);
    QTest::keyClick(search, Qt::Key_Return);
    QCOMPARE(m_window->batch().taskQueue().size(), 1U);
    QCOMPARE(m_asked, QStringList {QStringLiteral("Quick Task queued")});
    search->setText(QStringLiteral("nothing like it"));
    QCOMPARE(list->current(), nullptr);
}

void BatchWindowTest::tenThousandFilesAreListedAtOnce()
{
    std::vector<std::string> paths;
    for (int i = 0; i < 10'000; ++i)
        paths.push_back("/nowhere/" + std::to_string(i) + ".mov");
    QElapsedTimer clock;
    clock.start();
    m_window->batch().addFiles(paths);
    QCoreApplication::processEvents();
    QCOMPARE(table("Files of the batch").model()->rowCount(), 10'000);
    constexpr qint64 kPatience = 3000; // a slow machine that builds beside it
    QVERIFY2(clock.elapsed() < kPatience, qPrintable(QString::number(clock.elapsed())));
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::BatchWindowTest)
#include "BatchWindowTest.moc"

#include "app/panes/ChaptersPane.h"

#include "app/player/MovieView.h"
#include "app/player/Scrubber.h"
#include "tests/app/AppTest.h"

#include <QLineEdit>
#include <QMessageBox>
#include <QTableView>

namespace reelwright {
namespace {

    /// The pane over a document, and the slider that shows its ticks.
    struct Window : QWidget
    {
        explicit Window(MyDocument& document)
            : scrubber(this)
            , pane(document, view, scrubber, this)
        {
            scrubber.resize(400, 40);
            scrubber.setDuration(document.movie().duration());
            pane.setGeometry(0, 50, 480, 500);
            resize(480, 560);
            show();
        }
        [[nodiscard]] QTableView* table() const { return pane.findChild<QTableView*>(); }
        [[nodiscard]] QStringList rows() const
        {
            QStringList all;
            const auto* model = table()->model();
            for (int row = 0; row < model->rowCount(); ++row)
                all << model->index(row, 0).data().toString() + QLatin1Char(' ')
                        + model->index(row, 1).data().toString();
            return all;
        }
        MovieView view {{MovieView::Renderer::Software, MoviePlayer::Sound::Silent}, this};
        Scrubber scrubber;
        ChaptersPane pane;
    };

    /// Types into the open editor of the table and ends it with Return.
    void type(QTableView& table, const QString& text)
    {
        QTRY_VERIFY(table.findChild<QLineEdit*>());
        const QPointer<QLineEdit> editor = table.findChild<QLineEdit*>();
        editor->setText(text);
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(!editor);
    }

} // namespace

class ChaptersPaneTest : public QObject
{
    Q_OBJECT

private slots:
    void chaptersAreAddedEditedMovedAndRemoved()
    {
        auto document = m_files.open(m_files.sample("pal-25.mov"));
        Window window {*document};
        emit window.view.chapterAsked();
        emit window.view.chapterAsked();
        window.pane.reload();
        QCOMPARE(window.rows(),
            (QStringList {
                QStringLiteral("00:00:00:00 New Chapter"), QStringLiteral("00:00:00:01 New Chapter")}));

        auto& table = *window.table();
        table.setCurrentIndex(table.model()->index(0, 1));
        QTest::keyClick(&table, Qt::Key_Return);
        type(table, QStringLiteral("First"));
        type(table, QStringLiteral("Zweites 四")); // Return went to the next row
        window.pane.reload();
        QCOMPARE(window.rows(),
            (QStringList {QStringLiteral("00:00:00:00 First"), QStringLiteral("00:00:00:01 Zweites 四")}));

        // A start that another chapter has is refused with its sentence.
        table.model()->setData(table.model()->index(1, 0), QStringLiteral("00:00:00:00"));
        auto* box = window.findChild<QMessageBox*>();
        QVERIFY(box);
        QCOMPARE(box->informativeText(),
            QStringLiteral("The chapter start time conflicts with the start time of another chapter."));
        delete box;

        emit window.scrubber.tickMoved(1, {10, 25});
        QCOMPARE(window.rows().constLast(), QStringLiteral("00:00:00:10 Zweites 四"));
        window.pane.findChild<QLineEdit*>()->setText(QStringLiteral("zwei"));
        QCOMPARE(window.rows().size(), 1);
        table.selectAll();
        QTest::keyClick(&table, Qt::Key_Delete);
        window.pane.findChild<QLineEdit*>()->clear();
        window.pane.reload();
        QCOMPARE(window.rows(), (QStringList {QStringLiteral("00:00:00:00 First")}));
        document->undo();
        window.pane.reload();
        QCOMPARE(window.rows().size(), 2);

        // Pictures come from the background.
        const auto picture = table.model()->index(0, 3);
        QTRY_VERIFY_WITH_TIMEOUT(!picture.data(Qt::DecorationRole).value<QPixmap>().isNull(), test::kWait);

        // Of a list the entries that fit are taken, and the user hears of the others.
        const QTemporaryDir folder;
        const auto list = folder.filePath(QStringLiteral("list.txt"));
        QFile file {list};
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("00:00:00:20\tfits\n00:10:00:00\tlate\n");
        file.close();
        const auto alert = DocumentChapters {*document}.importChapters(
            list.toStdString(), *MarkerFiles::importFormatNamed("text"));
        QVERIFY(alert);
        QCOMPARE(alert->title, std::string("Some chapters could not be imported"));
        window.pane.reload();
        QCOMPARE(window.rows().constLast(), QStringLiteral("00:00:00:20 fits"));
    }

private:
    test::AppFixture m_files;
};

} // namespace reelwright

QTEST_MAIN(reelwright::ChaptersPaneTest)
#include "ChaptersPaneTest.moc"

#include "app/panes/TextPane.h"

#include "app/player/MovieView.h"
#include "edits/InsertionEdits.h"
#include "tests/app/AppTest.h"

#include <QCheckBox>
#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>

namespace reelwright {

class TextPaneTest : public QObject
{
    Q_OBJECT

private slots:
    void textsAreWrittenChangedRemovedAndSeenInThePicture()
    {
        auto document = m_files.open(m_files.sample("pal-25.mov"));
        QVERIFY(document->perform(edits::addEmptyTrack(KWMovTrack::kText)).has_value());
        document->selectTrack(*document->trackList().track(document->trackList().rowCount() - 1));
        QWidget window;
        MovieView view {{MovieView::Renderer::Software, MoviePlayer::Sound::Silent}, &window};
        TextPane pane {*document, view, &window};
        view.setGeometry(0, 0, 320, 240);
        pane.setGeometry(0, 240, 480, 500);
        window.resize(480, 740);
        window.show();
        pane.reload();

        const auto field = [&](const char* name) {
            for (auto* edit : pane.findChildren<QLineEdit*>())
                if (edit->accessibleName() == QLatin1String(name))
                    return edit;
            return static_cast<QLineEdit*>(nullptr);
        };
        const auto button = [&](const char* text) {
            for (auto* each : pane.findChildren<QPushButton*>())
                if (each->text().remove(QLatin1Char('&')) == QLatin1String(text))
                    return each;
            return static_cast<QPushButton*>(nullptr);
        };
        auto* words = pane.findChild<QPlainTextEdit*>();
        auto* table = pane.findChild<QTableWidget*>();
        const auto height = document->movie().naturalSize().height;
        QCOMPARE(field("Box top")->text().toDouble(), std::floor(height * 0.85));
        QVERIFY(!button("Add Text")->isEnabled());

        // The box is filled, so that the text can be told from the picture.
        words->setPlainText(QStringLiteral("Grüße"));
        field("Duration")->setText(QStringLiteral("5f"));
        field("Box top")->setText(QStringLiteral("0"));
        field("Box height")->setText(QString::number(height));
        for (auto* box : pane.findChildren<QCheckBox*>())
            box->setChecked(true);
        button("Add Text")->click();
        pane.reload();
        QCOMPARE(table->rowCount(), 1);
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("00:00:00:05"));
        QCOMPARE(document->history().undoName(), std::string("Add Text"));

        view.setMovie(document->movie());
        QTRY_VERIFY(view.isSettled() && view.duration().value > 0);
        const auto middle = [&] { return view.grab().toImage().pixelColor(10, view.height() / 2); };
        QTRY_COMPARE(middle(), QColor(Qt::black));
        view.setCurrentTime({document->movie().timeScale() / 2, document->movie().timeScale()});
        QTRY_VERIFY(middle() != QColor(Qt::black));

        table->selectRow(0);
        words->setPlainText(QStringLiteral("Anders"));
        button("Change")->click();
        pane.reload();
        QCOMPARE(table->item(0, 2)->text(), QStringLiteral("Anders"));
        QTest::keyClick(table, Qt::Key_Delete);
        pane.reload();
        QCOMPARE(table->rowCount(), 0);
        document->undo();
        document->undo();
        pane.reload();
        QCOMPARE(table->item(0, 2)->text(), QStringLiteral("Grüße"));

        // What cannot be read is told, and nothing is changed.
        field("Duration")->setText(QStringLiteral("long"));
        words->setPlainText(QStringLiteral("Nein"));
        button("Add Text")->click();
        QTRY_VERIFY(window.findChild<QDialog*>());
        window.findChild<QDialog*>()->reject();
        QCOMPARE(document->history().undoName(), std::string("Add Text"));
    }

private:
    test::AppFixture m_files;
};

} // namespace reelwright

QTEST_MAIN(reelwright::TextPaneTest)
#include "TextPaneTest.moc"

#include "app/window/TrackTableModel.h"

#include "app/window/TrackLabelDelegate.h"
#include "tests/app/AppTest.h"

#include <QAbstractItemModelTester>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>

namespace reelwright::test {

class TrackTableModelTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void rowsAreTheMovieAndItsTracks();
    void movieRowCanNeitherBeEditedNorChecked();
    void typedTimecodeMovesTheTrack_data();
    void typedTimecodeMovesTheTrack();
    void editorThatChangedNothingMovesNothing();
    void checkBoxEnablesTheTrack();
    void reloadTellsOnlyWhatChanged();
    void reloadAfterATrackWentResetsTheRows();
    void labelRunsFromTheSecondColourAtTheBottomToTheFirst_data();
    void labelRunsFromTheSecondColourAtTheBottomToTheFirst();
    void labelOfAnUnknownKindHasNoGradient();

private:
    QString text(int row, int column) const { return m_model->index(row, column).data().toString(); }

    AppFixture m_app;
    std::unique_ptr<MyDocument> m_document;
    std::unique_ptr<TrackTableModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void TrackTableModelTest::init()
{
    m_tester.reset();
    m_model.reset();
    m_document = m_app.open(m_app.sample("two-audio.mov"));
    m_model = std::make_unique<TrackTableModel>(*m_document);
    m_tester = std::make_unique<QAbstractItemModelTester>(
        m_model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
}

void TrackTableModelTest::rowsAreTheMovieAndItsTracks()
{
    QCOMPARE(m_model->rowCount(), 4);
    QCOMPARE(m_model->columnCount(), int(TrackTableModel::kColumnCount));
    const char* titles[] = {"Movie", "Video", "Audio (Mono)", "Audio (Mono)"};
    const int codes[] = {0, 1, 2, 2};
    for (int row = 0; row < 4; ++row) {
        QCOMPARE(text(row, TrackTableModel::kTrack), QString::fromLatin1(titles[row]));
        QCOMPARE(m_model->index(row, 0).data(TrackTableModel::kTypeCodeRole).toInt(), codes[row]);
    }
    QCOMPARE(text(0, TrackTableModel::kIn), QString());
    QCOMPARE(text(1, TrackTableModel::kIn), QStringLiteral("00:00:00:00"));
    QCOMPARE(text(3, TrackTableModel::kDuration), QStringLiteral("00:00:01:00"));
    QCOMPARE(m_model->headerData(TrackTableModel::kIn, Qt::Horizontal).toString(), QStringLiteral("In"));
}

void TrackTableModelTest::movieRowCanNeitherBeEditedNorChecked()
{
    for (int column = 0; column < TrackTableModel::kColumnCount; ++column) {
        const auto index = m_model->index(0, column);
        QVERIFY(!(m_model->flags(index) & (Qt::ItemIsEditable | Qt::ItemIsUserCheckable)));
        QVERIFY(!index.data(Qt::CheckStateRole).isValid());
        QVERIFY(!m_model->setData(index, QStringLiteral("5.")));
        QVERIFY(!m_model->setData(index, Qt::Unchecked, Qt::CheckStateRole));
    }
    QVERIFY(!m_document->isEdited());
}

void TrackTableModelTest::typedTimecodeMovesTheTrack_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a period is a second") << int(TrackTableModel::kIn) << "1."
                                          << "00:00:01:00";
    QTest::newRow("digits fill from the right") << int(TrackTableModel::kIn) << "212"
                                                << "00:00:02:12";
    QTest::newRow("a whole timecode") << int(TrackTableModel::kIn) << "00:00:00:10"
                                      << "00:00:00:10";
    QTest::newRow("shorter") << int(TrackTableModel::kDuration) << "5"
                             << "00:00:00:05";
}

void TrackTableModelTest::typedTimecodeMovesTheTrack()
{
    QFETCH(int, column);
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    QVERIFY(m_model->setData(m_model->index(2, column), typed));
    m_model->reload();
    QCOMPARE(text(2, column), shown);
    QVERIFY(m_document->isEdited());
}

void TrackTableModelTest::editorThatChangedNothingMovesNothing()
{
    m_document->selectRow(2);
    m_document->incrementTrackByOneFrame(); // to a time between two frames
    m_model->reload();
    const auto before = m_document->trackList().track(2)->inPoint();
    const auto index = m_model->index(2, TrackTableModel::kIn);
    QVERIFY(m_model->setData(index, index.data(Qt::EditRole)));
    QCOMPARE(m_document->trackList().track(2)->inPoint().value, before.value);
}

void TrackTableModelTest::checkBoxEnablesTheTrack()
{
    const auto index = m_model->index(3, TrackTableModel::kEnabled);
    QCOMPARE(index.data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);
    QVERIFY(m_model->setData(index, Qt::Unchecked, Qt::CheckStateRole));
    m_model->reload();
    QCOMPARE(index.data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Unchecked);
    QVERIFY(!m_document->trackList().track(3)->track().isEnabled());
    QVERIFY(m_document->trackList().track(2)->track().isEnabled());
}

void TrackTableModelTest::reloadTellsOnlyWhatChanged()
{
    QSignalSpy changes(m_model.get(), &QAbstractItemModel::dataChanged);
    QSignalSpy resets(m_model.get(), &QAbstractItemModel::modelReset);
    m_model->reload();
    QCOMPARE(changes.count(), 0);
    m_document->setTrackEnabled(3, false);
    m_model->reload();
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.front().front().toModelIndex().row(), 3);
    QCOMPARE(resets.count(), 0);
}

void TrackTableModelTest::reloadAfterATrackWentResetsTheRows()
{
    m_model->setToolTips(
        {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")});
    QCOMPARE(m_model->index(3, 0).data(Qt::ToolTipRole).toString(), QStringLiteral("d"));
    m_document->perform("Remove", [](QTMovie& movie) {
        const EditableScope scope {movie};
        QVERIFY(movie.removeTrack(movie.tracks().front()));
    });
    m_model->reload();
    QCOMPARE(m_model->rowCount(), 3);
    QCOMPARE(text(1, TrackTableModel::kTrack), QStringLiteral("Audio (Mono)"));
    QCOMPARE(m_model->index(2, 0).data(Qt::ToolTipRole).toString(), QString()); // those were of other rows
}

void TrackTableModelTest::labelRunsFromTheSecondColourAtTheBottomToTheFirst_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QColor>("bottom");
    QTest::addColumn<QColor>("top");
    const auto row
        = [](const char* name, int code, float h1, float s1, float b1, float h2, float s2, float b2) {
              QTest::newRow(name) << code << QColor::fromHsvF(h2, s2, b2, 0.85F)
                                  << QColor::fromHsvF(h1, s1, b1, 0.85F);
          };
    row("movie", 0, 0.091F, 0.99F, 0.70F, 0.102F, 0.60F, 0.85F);
    row("video", 1, 0.591F, 0.99F, 0.80F, 0.602F, 0.60F, 0.95F);
    row("audio", 2, 0.391F, 0.99F, 0.70F, 0.402F, 0.60F, 0.85F);
    row("timecode", 3, 0.691F, 0.99F, 0.80F, 0.702F, 0.60F, 0.95F);
    row("text", 4, 0.691F, 0.00F, 0.55F, 0.702F, 0.00F, 0.80F);
    row("sprite", 5, 0.167F, 0.99F, 0.80F, 0.178F, 0.60F, 0.95F);
    row("captions", 6, 0.000F, 0.65F, 0.70F, 0.011F, 0.80F, 0.90F);
}

/// The colour that covers white with some of `over`.
static QColor overWhite(const QColor& over)
{
    const auto part = [&](float value) { return value * over.alphaF() + 1 - over.alphaF(); };
    return QColor::fromRgbF(part(over.redF()), part(over.greenF()), part(over.blueF()));
}

void TrackTableModelTest::labelRunsFromTheSecondColourAtTheBottomToTheFirst()
{
    QFETCH(int, code);
    QFETCH(QColor, bottom);
    QFETCH(QColor, top);
    const auto gradient = TrackLabelDelegate::gradientForType(code);
    QVERIFY(gradient);
    constexpr int kHeight = 400;
    QImage image(10, kHeight, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.fillRect(image.rect(), *gradient);
    painter.end();
    const auto isNear = [](const QColor& a, const QColor& b) {
        return std::abs(a.red() - b.red()) <= 2 && std::abs(a.green() - b.green()) <= 2
            && std::abs(a.blue() - b.blue()) <= 2;
    };
    QVERIFY(isNear(image.pixelColor(5, kHeight - 1), overWhite(bottom)));
    QVERIFY(isNear(image.pixelColor(5, 0), overWhite(top)));
}

void TrackTableModelTest::labelOfAnUnknownKindHasNoGradient()
{
    QVERIFY(!TrackLabelDelegate::gradientForType(std::nullopt));
    QVERIFY(!TrackLabelDelegate::gradientForType(7));
    QVERIFY(!TrackLabelDelegate::gradientForType(-1));
}

} // namespace reelwright::test

QTEST_MAIN(reelwright::test::TrackTableModelTest)
#include "TrackTableModelTest.moc"

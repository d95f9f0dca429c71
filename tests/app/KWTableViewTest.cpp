#include "app/window/KWTableView.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QtTest>

namespace reelwright {

/// Counts what the watched keys call.
class Watcher final : public QObject
{
    Q_OBJECT

public slots:
    void first() { ++firstCalls; }
    void second() { ++secondCalls; }

public:
    int firstCalls = 0;
    int secondCalls = 0;
};

class KWTableViewTest final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { m_table.reset(); }
    void aWatchedKeyCallsTheFirstSlotThatIsThere();
    void aHandledKeyStillFiresAWatchedSlot();
    void keysThatNobodyTakesMoveInTheTable();
    void keysOfACellEditorAreNotWatched();
    void theMenuIsAboutTheRowUnderTheMouse();

private:
    QStandardItemModel m_model {3, 1};
    std::unique_ptr<KWTableView> m_table;
    Watcher m_watcher;
};

void KWTableViewTest::init()
{
    m_watcher.firstCalls = m_watcher.secondCalls = 0;
    m_table = std::make_unique<KWTableView>();
    m_table->setModel(&m_model);
    m_table->setWatchDelegate(&m_watcher);
    m_table->setCurrentIndex(m_model.index(0, 0));
    m_table->show();
}

void KWTableViewTest::aWatchedKeyCallsTheFirstSlotThatIsThere()
{
    m_table->addWatchKeys({Qt::Key_Delete}, "missing");
    m_table->addWatchKeys({Qt::Key_Delete, Qt::Key_Backspace}, "first");
    m_table->addWatchKeys({Qt::Key_Delete}, "second");
    QCOMPARE(m_table->watchKeys().size(), 4);
    QTest::ignoreMessage(QtWarningMsg, "Selector missing doesn't exist");
    QTest::keyClick(m_table.get(), Qt::Key_Delete);
    QTest::keyClick(m_table.get(), Qt::Key_Backspace);
    QCOMPARE(m_watcher.firstCalls, 2);
    QCOMPARE(m_watcher.secondCalls, 0);
}

void KWTableViewTest::aHandledKeyStillFiresAWatchedSlot()
{
    m_table->addWatchKeys({Qt::Key_Down}, "first");
    int seen = 0;
    bool isHandled = true;
    m_table->setKeyDownHandler([&](QKeyEvent&) {
        ++seen;
        return isHandled;
    });
    QTest::keyClick(m_table.get(), Qt::Key_Down);
    QCOMPARE(seen, 1);
    QCOMPARE(m_watcher.firstCalls, 1);
    QCOMPARE(m_table->currentIndex().row(), 0);
    isHandled = false;
    QTest::keyClick(m_table.get(), Qt::Key_Down);
    QCOMPARE(m_watcher.firstCalls, 2);
    QCOMPARE(m_table->currentIndex().row(), 1); // once: not again after the watched keys
    m_table->setWatchKeys({});
    QTest::keyClick(m_table.get(), Qt::Key_Down);
    QCOMPARE(m_table->currentIndex().row(), 2);
}

void KWTableViewTest::keysThatNobodyTakesMoveInTheTable()
{
    m_table->addWatchKeys({Qt::Key_Delete}, "first");
    QTest::keyClick(m_table.get(), Qt::Key_Down);
    QCOMPARE(m_table->currentIndex().row(), 1);
    QCOMPARE(m_watcher.firstCalls, 0);
}

void KWTableViewTest::keysOfACellEditorAreNotWatched()
{
    int seen = 0;
    m_table->addWatchKeys({Qt::Key_Delete}, "first");
    m_table->setKeyDownHandler([&](QKeyEvent&) { return ++seen > 0; });
    m_table->edit(m_model.index(0, 0));
    QTest::keyClick(m_table.get(), Qt::Key_Delete);
    QCOMPARE(seen, 0);
    QCOMPARE(m_watcher.firstCalls, 0);
}

void KWTableViewTest::theMenuIsAboutTheRowUnderTheMouse()
{
    QMenu menu;
    menu.addAction(QStringLiteral("Anything"));
    m_table->setMenu(&menu);
    const auto place = m_table->visualRect(m_model.index(2, 0)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, m_table->viewport()->mapToGlobal(place));
    QApplication::sendEvent(m_table->viewport(), &event);
    QTRY_VERIFY(menu.isVisible());
    QCOMPARE(m_table->currentIndex().row(), 2);
    QCOMPARE(m_table->selectionModel()->selectedRows().size(), 1);
    menu.close();
}

} // namespace reelwright

QTEST_MAIN(reelwright::KWTableViewTest)
#include "KWTableViewTest.moc"

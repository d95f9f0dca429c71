#include "app/shell/QtMainThread.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace reelwright {

class QtMainThreadTest : public QObject
{
    Q_OBJECT

private slots:
    void aCallOfTheMainThreadRunsAtOnce();
    void aThreadWaitsForItsWork();
    void workOfManyThreadsIsAllDone();
    void aNestedLoopOfOneWorkServesTheOthers();
    void afterTheLastLoopItIsStillServed();
    void wakingEndsTheWait();
    void goingServesThoseWhoWait();
};

namespace {

    constexpr int kWait = 30'000;

    /// Spins the event loop until that is so.
    template <class Condition> bool spinUntil(Condition condition)
    {
        return QTest::qWaitFor(condition, kWait);
    }

} // namespace

void QtMainThreadTest::aCallOfTheMainThreadRunsAtOnce()
{
    QtMainThread mainThread;
    QVERIFY(mainThread.isCurrent());
    bool isDone = false;
    mainThread.run([&] { isDone = true; });
    QVERIFY(isDone);
}

void QtMainThreadTest::aThreadWaitsForItsWork()
{
    QtMainThread mainThread;
    bool ranOnMain = false;
    bool wasDoneOnReturn = false;
    bool threadIsMain = true;
    std::atomic<bool> isOver = false;
    std::thread thread {[&] {
        threadIsMain = mainThread.isCurrent();
        bool isDone = false;
        mainThread.run([&] {
            ranOnMain = mainThread.isCurrent();
            isDone = true;
        });
        wasDoneOnReturn = isDone;
        isOver = true;
    }};
    const bool came = spinUntil([&] { return isOver.load(); });
    thread.join();
    QVERIFY(came);
    QVERIFY(ranOnMain);
    QVERIFY(wasDoneOnReturn);
    QVERIFY(!threadIsMain);
}

void QtMainThreadTest::workOfManyThreadsIsAllDone()
{
    constexpr int kThreads = 8;
    constexpr int kCalls = 200;
    QtMainThread mainThread;
    int sum = 0; // the main thread's alone, so it needs no lock
    std::atomic<int> ended = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&] {
            for (int call = 0; call < kCalls; ++call)
                mainThread.run([&] { ++sum; });
            ++ended;
        });
    const bool allEnded = spinUntil([&] { return ended == kThreads; });
    for (auto& thread : threads)
        thread.join();
    QVERIFY(allEnded);
    QCOMPARE(sum, kThreads * kCalls);
}

void QtMainThreadTest::aNestedLoopOfOneWorkServesTheOthers()
{
    QtMainThread mainThread;
    QEventLoop question;
    bool wasInside = false;
    std::atomic<int> ended = 0;
    std::thread answering;
    std::thread asking {[&] {
        mainThread.run([&] {
            // Begun inside, so that nothing but the question's own loop can serve it.
            answering = std::thread {[&] {
                mainThread.run([&] {
                    wasInside = question.isRunning();
                    question.quit();
                });
                ++ended;
            }};
            QTimer::singleShot(kWait, &question, &QEventLoop::quit);
            question.exec();
        });
        ++ended;
    }};
    const bool allEnded = spinUntil([&] { return ended == 2; });
    asking.join();
    answering.join();
    QVERIFY(allEnded);
    QVERIFY(wasInside);
}

void QtMainThreadTest::afterTheLastLoopItIsStillServed()
{
    QtMainThread mainThread;
    std::atomic<bool> isWriting = true;
    bool nestedRan = false;
    std::thread saving {[&] {
        mainThread.run([&] { mainThread.run([&] { nestedRan = true; }); });
        mainThread.run([&] { isWriting = false; });
    }};
    mainThread.serveUntil([&] { return !isWriting; }); // no event loop runs
    saving.join();
    QVERIFY(nestedRan);
}

void QtMainThreadTest::wakingEndsTheWait()
{
    QtMainThread mainThread;
    std::atomic<bool> isReached = false;
    std::thread thread {[&] {
        isReached = true;
        mainThread.wake();
    }};
    mainThread.serveUntil([&] { return isReached.load(); });
    thread.join();
    QVERIFY(isReached);
}

void QtMainThreadTest::goingServesThoseWhoWait()
{
    auto mainThread = std::make_unique<QtMainThread>();
    constexpr int kThreads = 4;
    std::atomic<int> done = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index)
        threads.emplace_back([&, handOff = mainThread.get()] { handOff->run([&] { ++done; }); });
    // No event is processed, so nobody but the destructor can serve them.
    const QDeadlineTimer deadline {kWait};
    while (mainThread->waitingThreads() < kThreads && !deadline.hasExpired())
        std::this_thread::yield();
    QCOMPARE(done.load(), 0);
    mainThread.reset();
    for (auto& thread : threads)
        thread.join();
    QCOMPARE(done.load(), kThreads);
}

} // namespace reelwright

QTEST_GUILESS_MAIN(reelwright::QtMainThreadTest)
#include "QtMainThreadTest.moc"

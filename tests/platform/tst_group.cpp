#include <Quillon/platform/group.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/semaphore_p.h>

#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <atomic>

using namespace std::chrono_literals;

class TestGroup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waitReturnsWhenEveryPieceHasLeft()
    {
        TULOGroup group;
        TULOOperationQueue queue;
        std::atomic<int> done = 0;
        for (int i = 0; i < 6; ++i) {
            group.enter();
            queue.addOperation([&] {
                QThread::yieldCurrentThread();
                ++done;
                group.leave();
            });
        }
        group.wait();
        QCOMPARE(done.load(), 6);
        queue.waitUntilAllOperationsAreFinished();
    }

    void boundedWaitReportsAPieceStillInFlight()
    {
        TULOGroup group;
        group.enter();
        QVERIFY(!group.waitFor(20ms));
        group.leave();
        QVERIFY(group.waitFor(0ms));
    }

    void notifyRunsOnceTheCountIsZero()
    {
        TULOGroup group;
        int immediate = 0;
        group.notify([&] { ++immediate; });
        QCOMPARE(immediate, 1);

        int later = 0;
        group.enter();
        group.enter();
        group.notify([&] { ++later; });
        group.leave();
        QCOMPARE(later, 0);
        group.leave();
        QCOMPARE(later, 1);
        group.enter();
        group.leave();
        QCOMPARE(later, 1); // a callback runs once
    }

    void unbalancedLeaveIsIgnored()
    {
        TULOGroup group;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("without a matching enter")));
        group.leave();
        group.enter();
        QVERIFY(!group.waitFor(0ms));
        group.leave();
        QVERIFY(group.waitFor(0ms));
    }

    void semaphoreHandsAResultAcrossThreads()
    {
        TULOSemaphore semaphore;
        TULOOperationQueue queue;
        std::atomic<int> result = 0;
        queue.addOperation([&] {
            result = 42;
            semaphore.signal();
        });
        semaphore.wait();
        QCOMPARE(result.load(), 42);
        QVERIFY(!semaphore.waitFor(10ms));
        TULOSemaphore twice(2);
        QVERIFY(twice.waitFor(0ms));
        QVERIFY(twice.waitFor(0ms));
        QVERIFY(!twice.waitFor(0ms));
        queue.waitUntilAllOperationsAreFinished();
    }
};

QTEST_GUILESS_MAIN(TestGroup)
#include "tst_group.moc"

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/semaphore_p.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QRegularExpression>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

using namespace std::chrono_literals;

namespace {

// Counts how many operations run at once and lets each wait until a target width is reached,
// so the peak is decided by the queue rather than by timing.
class TULOConcurrencyProbe
{
public:
    explicit TULOConcurrencyProbe(int target)
        : m_target(target)
    {
    }

    void run()
    {
        std::unique_lock lock(m_mutex);
        ++m_active;
        m_peak = std::max(m_peak, m_active);
        m_condition.notify_all();
        // Generous safety limit; the wait normally ends as soon as the target is reached.
        m_condition.wait_for(lock, 5s, [this] { return m_peak >= m_target; });
        --m_active;
    }

    int peak() const
    {
        std::lock_guard lock(m_mutex);
        return m_peak;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_condition;
    int m_target;
    int m_active = 0;
    int m_peak = 0;
};

class TULOCountingOperation : public TULOOperation
{
public:
    std::atomic<int> mainRuns = 0;

protected:
    void main() override { ++mainRuns; }
};

// Finishes from another thread after main() has returned, as a download would.
class TULOAsyncOperation : public TULOOperation
{
public:
    TULOSemaphore release;
    std::atomic<bool> mainReturned = false;

    bool isAsynchronous() const override { return true; }

    ~TULOAsyncOperation() override
    {
        // The worker may hold the last reference while it finishes.
        if (m_worker.get_id() == std::this_thread::get_id())
            m_worker.detach();
        else if (m_worker.joinable())
            m_worker.join();
    }

protected:
    void main() override
    {
        m_worker = std::thread([this] {
            release.wait();
            finish();
        });
        mainReturned = true;
    }

private:
    std::thread m_worker;
};

} // namespace

class TestOperationQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void serialQueueRunsStrictlyInOrder()
    {
        TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.test.serial"));
        queue.setMaxConcurrentOperationCount(1);
        std::mutex mutex;
        QList<int> order;
        std::atomic<int> active = 0;
        std::atomic<bool> overlapped = false;
        for (int i = 0; i < 40; ++i) {
            queue.addOperation([&, i] {
                if (++active > 1)
                    overlapped = true;
                QThread::yieldCurrentThread();
                {
                    std::lock_guard lock(mutex);
                    order.append(i);
                }
                --active;
            });
        }
        queue.waitUntilAllOperationsAreFinished();
        QVERIFY(!overlapped);
        QList<int> expected;
        for (int i = 0; i < 40; ++i)
            expected.append(i);
        QCOMPARE(order, expected);
        QCOMPARE(queue.operationCount(), 0);
    }

    void widthLimitsConcurrency_data()
    {
        QTest::addColumn<int>("width");
        QTest::newRow("serial") << 1;
        QTest::newRow("two") << 2;
        QTest::newRow("three, as the album lookups") << 3;
    }
    void widthLimitsConcurrency()
    {
        QFETCH(int, width);
        TULOOperationQueue queue;
        queue.setMaxConcurrentOperationCount(width);
        QCOMPARE(queue.maxConcurrentOperationCount(), width);
        // Every operation blocks until released: a queue that lets too many run shows it in
        // the number started before the first release.
        TULOSemaphore gate;
        std::atomic<int> active = 0;
        std::atomic<int> started = 0;
        std::atomic<int> peak = 0;
        const int count = 4 * width;
        for (int i = 0; i < count; ++i) {
            queue.addOperation([&] {
                ++started;
                const int now = ++active;
                int seen = peak.load();
                while (now > seen && !peak.compare_exchange_weak(seen, now)) {
                }
                gate.wait();
                --active;
            });
        }
        QTRY_COMPARE(started.load(), width);
        QTest::qWait(50); // room for an operation the queue should not have started
        QCOMPARE(started.load(), width);
        for (int i = 0; i < count; ++i)
            gate.signal();
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(started.load(), count);
        QCOMPARE(peak.load(), width);
    }

    void defaultWidthRunsOperationsSideBySide()
    {
        TULOOperationQueue queue;
        QCOMPARE(queue.maxConcurrentOperationCount(), TULOOperationQueue::DefaultMaxConcurrentOperationCount);
        TULOConcurrencyProbe probe(4);
        for (int i = 0; i < 4; ++i)
            queue.addOperation([&probe] { probe.run(); });
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(probe.peak(), 4);
    }

    void dependenciesHoldAcrossQueues()
    {
        TULOOperationQueue first;
        TULOOperationQueue second;
        TULOSemaphore gate;
        std::atomic<bool> firstDone = false;
        std::atomic<bool> secondSawFirstDone = false;
        auto producer = TULOOperation::fromFunction([&] {
            gate.wait();
            firstDone = true;
        });
        auto consumer = TULOOperation::fromFunction([&] { secondSawFirstDone = firstDone.load(); });
        consumer->addDependency(producer);
        QVERIFY(!consumer->isReady());
        second.addOperation(consumer); // added first, on the idle queue
        first.addOperation(producer);
        // The consumer's queue has nothing else to do, yet it must not start the consumer.
        QVERIFY(!consumer->isExecuting());
        QVERIFY(!consumer->isFinished());
        gate.signal();
        second.waitUntilAllOperationsAreFinished();
        QVERIFY(secondSawFirstDone);
        QVERIFY(producer->isFinished());
    }

    void readyOperationOvertakesWaitingOneOnSerialQueue()
    {
        TULOOperationQueue other;
        other.setSuspended(true);
        auto blocker = TULOOperation::fromFunction([] {});
        other.addOperation(blocker);
        TULOOperationQueue queue;
        queue.setMaxConcurrentOperationCount(1);
        std::mutex mutex;
        QStringList order;
        auto waiting = TULOOperation::fromFunction([&] { std::lock_guard lock(mutex); order << QStringLiteral("waiting"); });
        waiting->addDependency(blocker);
        auto ready = TULOOperation::fromFunction([&] { std::lock_guard lock(mutex); order << QStringLiteral("ready"); });
        queue.addOperation(waiting);
        queue.addOperation(ready);
        ready->waitUntilFinished();
        other.setSuspended(false);
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(order, (QStringList{QStringLiteral("ready"), QStringLiteral("waiting")}));
    }

    void cancelBeforeStartNeverRunsMain()
    {
        TULOOperationQueue queue;
        queue.setSuspended(true);
        auto operation = std::make_shared<TULOCountingOperation>();
        std::atomic<int> completions = 0;
        operation->setCompletionCallback([&] { ++completions; });
        auto dependant = TULOOperation::fromFunction([] {});
        dependant->addDependency(operation);
        queue.addOperation(operation);
        queue.addOperation(dependant);
        operation->cancel();
        QVERIFY(operation->isCancelled());
        queue.setSuspended(false);
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(operation->mainRuns.load(), 0);
        QVERIFY(operation->isFinished());
        QCOMPARE(completions.load(), 1);
        // A cancelled dependency still counts as finished for those that wait on it.
        QVERIFY(dependant->isFinished());
        QVERIFY(!dependant->isCancelled());
    }

    void cancelledOperationStopsWaitingForDependencies()
    {
        TULOOperationQueue queue;
        TULOSemaphore gate;
        auto blocker = TULOOperation::fromFunction([&gate] { gate.wait(); });
        auto waiting = std::make_shared<TULOCountingOperation>();
        waiting->addDependency(blocker);
        queue.addOperation(blocker);
        queue.addOperation(waiting);
        waiting->cancel();
        waiting->waitUntilFinished(); // finishes while its dependency is still running
        QVERIFY(!blocker->isFinished());
        QCOMPARE(waiting->mainRuns.load(), 0);
        gate.signal();
        queue.waitUntilAllOperationsAreFinished();
    }

    void cancelAllOperationsLeavesRunningOneToFinish()
    {
        TULOOperationQueue queue;
        queue.setMaxConcurrentOperationCount(1);
        TULOSemaphore started;
        TULOSemaphore gate;
        std::atomic<bool> sawCancel = false;
        std::shared_ptr<TULOOperation> running;
        running = TULOOperation::fromFunction([&] {
            started.signal();
            gate.wait();
            sawCancel = running->isCancelled();
        });
        auto queued = std::make_shared<TULOCountingOperation>();
        queue.addOperation(running);
        queue.addOperation(queued);
        started.wait();
        queue.cancelAllOperations();
        gate.signal();
        queue.waitUntilAllOperationsAreFinished();
        QVERIFY(sawCancel);
        QCOMPARE(queued->mainRuns.load(), 0);
    }

    void asynchronousOperationHoldsItsSlotUntilFinish()
    {
        TULOOperationQueue queue;
        queue.setMaxConcurrentOperationCount(1);
        auto download = std::make_shared<TULOAsyncOperation>();
        auto next = std::make_shared<TULOCountingOperation>();
        queue.addOperation(download);
        queue.addOperation(next);
        QTRY_VERIFY(download->mainReturned.load());
        QVERIFY(download->isExecuting());
        QVERIFY(!download->isFinished());
        QCOMPARE(next->mainRuns.load(), 0);
        download->release.signal();
        queue.waitUntilAllOperationsAreFinished();
        QVERIFY(download->isFinished());
        QVERIFY(!download->isExecuting());
        QCOMPARE(next->mainRuns.load(), 1);
    }

    void completionCallbackRunsBeforeWaitersWake()
    {
        TULOOperationQueue queue;
        std::atomic<bool> completed = false;
        std::atomic<bool> finishedInCallback = false;
        auto operation = TULOOperation::fromFunction([] {});
        operation->setCompletionCallback([&] {
            finishedInCallback = operation->isFinished();
            QThread::msleep(20); // a waiter that does not wait for the callback would see false
            completed = true;
        });
        queue.addOperation(operation);
        operation->waitUntilFinished();
        QVERIFY(completed);
        QVERIFY(finishedInCallback);
    }

    void waitCoversOperationsAddedMeanwhile()
    {
        TULOOperationQueue queue;
        std::atomic<int> runs = 0;
        queue.addOperation([&] {
            ++runs;
            queue.addOperation([&] {
                ++runs;
                queue.addOperation([&] { ++runs; });
            });
        });
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(runs.load(), 3);
    }

    void addOperationsAndWait()
    {
        TULOOperationQueue queue;
        std::vector<std::shared_ptr<TULOOperation>> operations;
        std::atomic<int> runs = 0;
        for (int i = 0; i < 5; ++i)
            operations.push_back(TULOOperation::fromFunction([&runs] { ++runs; }));
        queue.addOperations(operations, true);
        QCOMPARE(runs.load(), 5);
        for (const auto &operation : operations)
            QVERIFY(operation->isFinished());
    }

    void operationIsAddedOnlyOnce()
    {
        TULOOperationQueue first;
        TULOOperationQueue second;
        first.setSuspended(true);
        auto operation = std::make_shared<TULOCountingOperation>();
        first.addOperation(operation);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("already in a queue")));
        second.addOperation(operation);
        QCOMPARE(second.operationCount(), 0);
        first.setSuspended(false);
        first.waitUntilAllOperationsAreFinished();
        QCOMPARE(operation->mainRuns.load(), 1);
    }

    void operationsRunOffTheMainThreadWithAnEventLoop()
    {
        TULOOperationQueue queue;
        std::atomic<bool> offMain = false;
        std::atomic<bool> timerFired = false;
        queue.addOperation([&] {
            offMain = QThread::currentThread() != QCoreApplication::instance()->thread();
            QEventLoop loop;
            QTimer::singleShot(0, &loop, [&] {
                timerFired = true;
                loop.quit();
            });
            loop.exec();
        });
        queue.waitUntilAllOperationsAreFinished();
        QVERIFY(offMain);
        QVERIFY(timerFired);
    }

    void mainQueueRunsOnTheGuiThread()
    {
        std::atomic<bool> onMain = false;
        auto operation = TULOOperation::fromFunction([&] { onMain = QThread::currentThread() == QCoreApplication::instance()->thread(); });
        // Posted from a worker, as an operation's result handler would.
        TULOOperationQueue worker;
        worker.addOperation([&] { TULOOperationQueue::mainQueue()->addOperation(operation); });
        worker.waitUntilAllOperationsAreFinished();
        QTRY_VERIFY(operation->isFinished());
        QVERIFY(onMain);
        QCOMPARE(TULOOperationQueue::mainQueue()->maxConcurrentOperationCount(), 1);
    }

    void startingByHandRunsOnTheCallingThread()
    {
        auto operation = std::make_shared<TULOCountingOperation>();
        operation->start();
        operation->start(); // a second start does nothing
        QCOMPARE(operation->mainRuns.load(), 1);
        QVERIFY(operation->isFinished());
        TULOOperationQueue queue;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("has started")));
        queue.addOperation(operation);
        QCOMPARE(queue.operationCount(), 0);
    }

    void destroyingTheQueueWaitsForItsOperations()
    {
        std::atomic<int> runs = 0;
        {
            TULOOperationQueue queue;
            queue.setMaxConcurrentOperationCount(1);
            for (int i = 0; i < 10; ++i)
                queue.addOperation([&runs] {
                    QThread::yieldCurrentThread();
                    ++runs;
                });
        }
        QCOMPARE(runs.load(), 10);
    }
};

QTEST_GUILESS_MAIN(TestOperationQueue)
#include "tst_operationqueue.moc"

#include <Quillon/platform/store/backgroundtask.h>

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

// What happens to running tasks when the application must stop.
class TestBackgroundTask : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        TULOBackgroundTask::expireRunningTasks();
        TULOBackgroundTask::setQuitGracePeriod(-1);
    }

    void expiry_data()
    {
        QTest::addColumn<bool>("firstEndsItself");
        QTest::addColumn<bool>("secondEndedBefore");
        QTest::addColumn<QStringList>("handled");
        QTest::newRow("every handler, in order") << false << false << QStringList{"a", "b", "c"};
        QTest::newRow("a handler ending its own task") << true << false << QStringList{"a", "b", "c"};
        QTest::newRow("an ended task is not expired") << false << true << QStringList{"a", "c"};
    }
    void expiry()
    {
        QFETCH(bool, firstEndsItself);
        QFETCH(bool, secondEndedBefore);
        QFETCH(QStringList, handled);
        QStringList ran;
        TULOBackgroundTask::Identifier first = TULOBackgroundTask::Invalid;
        first = TULOBackgroundTask::begin(QStringLiteral("a"), [&] {
            ran << QStringLiteral("a");
            if (firstEndsItself)
                TULOBackgroundTask::end(first);
        });
        const auto second = TULOBackgroundTask::begin(QStringLiteral("b"), [&] { ran << QStringLiteral("b"); });
        TULOBackgroundTask::begin(QStringLiteral("c"), [&] { ran << QStringLiteral("c"); });
        TULOBackgroundTask::begin(QStringLiteral("no handler"));
        if (secondEndedBefore)
            TULOBackgroundTask::end(second);
        TULOBackgroundTask::expireRunningTasks();
        QCOMPARE(ran, handled);
        QVERIFY(TULOBackgroundTask::runningTaskNames().isEmpty());
        // Each handler runs once.
        TULOBackgroundTask::expireRunningTasks();
        QCOMPARE(ran, handled);
    }

    void quitWaitsForTasksThenTheirGracePeriod_data()
    {
        QTest::addColumn<int>("grace");
        QTest::addColumn<bool>("expired");
        QTest::newRow("the task ends within the grace period") << 5000 << false;
        QTest::newRow("the grace period runs out") << 50 << true;
    }
    void quitWaitsForTasksThenTheirGracePeriod()
    {
        QFETCH(int, grace);
        QFETCH(bool, expired);
        TULOBackgroundTask::setQuitGracePeriod(grace);
        bool handlerRan = false;
        const auto task = TULOBackgroundTask::begin(QStringLiteral("upload"), [&] { handlerRan = true; });
        // Without expiry the task ends by itself a little later.
        QTimer::singleShot(300, [task] { TULOBackgroundTask::end(task); });
        QTimer::singleShot(0, [] {
            QCoreApplication::quit();
            QVERIFY(TULOBackgroundTask::isQuitDeferred());
        });
        // Returns once the held-back quit goes ahead.
        QCoreApplication::exec();
        QCOMPARE(handlerRan, expired);
        QVERIFY(!TULOBackgroundTask::isQuitDeferred());
        QVERIFY(TULOBackgroundTask::runningTaskNames().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestBackgroundTask)
#include "tst_backgroundtask.moc"

#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>

#include <QTest>
#include <QThread>

#include <atomic>
#include <mutex>

class TestNotificationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliveryFiltersByNameAndSender_data()
    {
        QTest::addColumn<QString>("observedName");
        QTest::addColumn<bool>("onlyFromFirstSender");
        QTest::addColumn<int>("expectedDeliveries");
        // Posts: (A, first), (A, second), (B, first), (A, no sender).
        QTest::newRow("name, any sender") << QStringLiteral("A") << false << 3;
        QTest::newRow("name, one sender") << QStringLiteral("A") << true << 1;
        QTest::newRow("every name, one sender") << QString() << true << 2;
        QTest::newRow("every name, any sender") << QString() << false << 4;
        QTest::newRow("unposted name") << QStringLiteral("C") << false << 0;
    }
    void deliveryFiltersByNameAndSender()
    {
        QFETCH(QString, observedName);
        QFETCH(bool, onlyFromFirstSender);
        QFETCH(int, expectedDeliveries);
        TULONotificationCenter center;
        int first = 1;
        int second = 2;
        int deliveries = 0;
        center.addObserver(observedName, onlyFromFirstSender ? &first : nullptr,
                           [&](const TULONotification &) { ++deliveries; });
        center.postNotification(QStringLiteral("A"), &first);
        center.postNotification(QStringLiteral("A"), &second);
        center.postNotification(QStringLiteral("B"), &first);
        center.postNotification(QStringLiteral("A"));
        QCOMPARE(deliveries, expectedDeliveries);
    }

    void notificationCarriesSenderAndUserInfo()
    {
        TULONotificationCenter center;
        int sender = 0;
        TULONotification received;
        center.addObserver(QStringLiteral("TULOAccountStoreDidChangeNotification"), nullptr,
                           [&](const TULONotification &notification) { received = notification; });
        center.postNotification(QStringLiteral("TULOAccountStoreDidChangeNotification"), &sender,
                                {{QStringLiteral("service"), QStringLiteral("twitter")}});
        QCOMPARE(received.name(), QStringLiteral("TULOAccountStoreDidChangeNotification"));
        QCOMPARE(received.sender(), static_cast<const void *>(&sender));
        QCOMPARE(received.userInfo().value(QStringLiteral("service")).toString(), QStringLiteral("twitter"));
    }

    void removedObserverHearsNothing()
    {
        TULONotificationCenter center;
        int kept = 0;
        int removed = 0;
        const auto keptID = center.addObserver(QStringLiteral("N"), nullptr, [&](const TULONotification &) { ++kept; });
        const auto removedID = center.addObserver(QStringLiteral("N"), nullptr, [&](const TULONotification &) { ++removed; });
        QVERIFY(keptID != removedID);
        center.removeObserver(removedID);
        center.removeObserver(removedID); // twice is harmless
        center.removeObserver(9999);      // so is an unknown id
        center.postNotification(QStringLiteral("N"));
        QCOMPARE(kept, 1);
        QCOMPARE(removed, 0);
    }

    void observerMayRemoveAnotherDuringDelivery()
    {
        TULONotificationCenter center;
        int laterCalls = 0;
        TULONotificationObserverID later = 0;
        center.addObserver(QStringLiteral("N"), nullptr, [&](const TULONotification &) { center.removeObserver(later); });
        later = center.addObserver(QStringLiteral("N"), nullptr, [&](const TULONotification &) { ++laterCalls; });
        center.postNotification(QStringLiteral("N"));
        QCOMPARE(laterCalls, 0);
    }

    void observerMayPostAndObserveFromItsCallback()
    {
        TULONotificationCenter center;
        QStringList heard;
        center.addObserver(QStringLiteral("first"), nullptr, [&](const TULONotification &) {
            heard << QStringLiteral("first");
            center.addObserver(QStringLiteral("second"), nullptr, [&](const TULONotification &) { heard << QStringLiteral("second"); });
            center.postNotification(QStringLiteral("second"));
        });
        center.postNotification(QStringLiteral("first"));
        QCOMPARE(heard, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    }

    void contextEndsTheObservation()
    {
        TULONotificationCenter center;
        int calls = 0;
        auto *context = new QObject;
        center.addObserver(context, QStringLiteral("N"), nullptr, [&](const TULONotification &) { ++calls; });
        center.postNotification(QStringLiteral("N"));
        delete context;
        center.postNotification(QStringLiteral("N"));
        QCOMPARE(calls, 1);

        QObject owner;
        center.addObserver(&owner, QStringLiteral("N"), nullptr, [&](const TULONotification &) { ++calls; });
        center.removeObservers(&owner);
        center.postNotification(QStringLiteral("N"));
        QCOMPARE(calls, 1);
    }

    void contextOutlivingTheCenterIsSafe()
    {
        QObject context;
        {
            TULONotificationCenter center;
            center.addObserver(&context, QStringLiteral("N"), nullptr, [](const TULONotification &) {});
        }
        // `context` is destroyed after the center; its clean-up must find nothing to touch.
    }

    void notificationsFromWorkerThreadsArriveOnThoseThreads()
    {
        TULONotificationCenter center;
        std::mutex mutex;
        int deliveries = 0;
        int onPostingThread = 0;
        center.addObserver(QStringLiteral("progress"), nullptr, [&](const TULONotification &notification) {
            const auto poster = notification.userInfo().value(QStringLiteral("thread")).value<quintptr>();
            std::lock_guard lock(mutex);
            ++deliveries;
            if (poster == reinterpret_cast<quintptr>(QThread::currentThread()))
                ++onPostingThread;
        });
        TULOOperationQueue queue;
        queue.setMaxConcurrentOperationCount(4);
        for (int i = 0; i < 8; ++i) {
            queue.addOperation([&center] {
                for (int n = 0; n < 50; ++n) {
                    center.postNotification(QStringLiteral("progress"), nullptr,
                                            {{QStringLiteral("thread"),
                                              QVariant::fromValue(reinterpret_cast<quintptr>(QThread::currentThread()))}});
                }
            });
        }
        // Observers come and go while workers post.
        for (int i = 0; i < 200; ++i) {
            const auto id = center.addObserver(QStringLiteral("progress"), nullptr, [](const TULONotification &) {});
            center.removeObserver(id);
        }
        queue.waitUntilAllOperationsAreFinished();
        QCOMPARE(deliveries, 400);
        QCOMPARE(onPostingThread, 400);
    }

    void defaultCenterIsShared()
    {
        QCOMPARE(TULONotificationCenter::defaultCenter(), TULONotificationCenter::defaultCenter());
        int calls = 0;
        const auto id = TULONotificationCenter::defaultCenter()->addObserver(
            QStringLiteral("TULOTestDefaultCenter"), nullptr, [&](const TULONotification &) { ++calls; });
        TULONotificationCenter::defaultCenter()->postNotification(QStringLiteral("TULOTestDefaultCenter"));
        TULONotificationCenter::defaultCenter()->removeObserver(id);
        TULONotificationCenter::defaultCenter()->postNotification(QStringLiteral("TULOTestDefaultCenter"));
        QCOMPARE(calls, 1);
    }
};

QTEST_GUILESS_MAIN(TestNotificationCenter)
#include "tst_notificationcenter.moc"

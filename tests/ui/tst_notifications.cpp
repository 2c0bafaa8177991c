#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/keyboardnotifier.h>
#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/networkactivityindicator.h>
#include <Quillon/platform/ui/storeviewcontroller.h>

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>

// Network activity, keyboard frame notifications and the store screen base.
class TestNotifications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void networkActivityCounts_data()
    {
        QTest::addColumn<QString>("events"); // '+' started, '-' stopped
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("changes");
        QTest::newRow("one request") << "+" << 1 << 1;
        QTest::newRow("request finished") << "+-" << 0 << 2;
        QTest::newRow("overlapping requests") << "++-" << 1 << 1;
        QTest::newRow("unmatched stop") << "-" << 0 << 0;
        QTest::newRow("unmatched stop then start") << "--+" << 1 << 1;
    }

    void networkActivityCounts()
    {
        QFETCH(QString, events);
        QFETCH(int, count);
        QFETCH(int, changes);
        TULONotificationCenter center;
        TULONetworkActivityIndicator indicator(&center);
        QSignalSpy spy(&indicator, &TULONetworkActivityIndicator::activeChanged);
        for (QChar event : events) {
            center.postNotification(QString::fromLatin1(event == u'+' ? TULONetworkActivityDidStartNotification
                                                                       : TULONetworkActivityDidStopNotification));
        }
        QCOMPARE(indicator.activityCount(), count);
        QCOMPARE(indicator.isActive(), count > 0);
        QCOMPARE(spy.size(), changes);
    }

    void networkActivityFromWorkerThread()
    {
        TULONotificationCenter center;
        TULONetworkActivityIndicator indicator(&center);
        QSignalSpy spy(&indicator, &TULONetworkActivityIndicator::activeChanged);
        std::unique_ptr<QThread> worker(QThread::create([&center] {
            center.postNotification(QString::fromLatin1(TULONetworkActivityDidStartNotification));
        }));
        worker->start();
        worker->wait();
        // Delivered on the indicator's own thread, from its event loop.
        QTRY_VERIFY(indicator.isActive());
        QCOMPARE(spy.size(), 1);
    }

    void navigationBarSpinsDuringNetworkActivity()
    {
        TULONavigationController navigation(new TULOViewController);
        TULONavigationBar *bar = navigation.navigationBar();
        TULOActivityIndicatorView *spinner = bar->activityIndicator();
        QVERIFY(!spinner->isAnimating());
        int token = 0;
        TULOPostNetworkActivityStarted(&token);
        QTRY_VERIFY(spinner->isAnimating());
        QVERIFY(spinner->isVisibleTo(bar));
        TULOPostNetworkActivityStopped(&token);
        QTRY_VERIFY(!spinner->isAnimating());
        QVERIFY(!spinner->isVisibleTo(bar)); // hidden while stopped
    }

    void activityIndicatorVisibility_data()
    {
        QTest::addColumn<bool>("hidesWhenStopped");
        QTest::newRow("hides when stopped") << true;
        QTest::newRow("stays when stopped") << false;
    }

    void activityIndicatorVisibility()
    {
        QFETCH(bool, hidesWhenStopped);
        QWidget parent;
        auto *spinner = new TULOActivityIndicatorView(TULOActivityIndicatorViewStyleLarge, &parent);
        spinner->setHidesWhenStopped(hidesWhenStopped);
        QCOMPARE(spinner->isVisibleTo(&parent), !hidesWhenStopped);
        spinner->startAnimating();
        QVERIFY(spinner->isAnimating());
        QVERIFY(spinner->isVisibleTo(&parent));
        spinner->stopAnimating();
        QVERIFY(!spinner->isAnimating());
        QCOMPARE(spinner->isVisibleTo(&parent), !hidesWhenStopped);
        QVERIFY(spinner->sizeHint().width() > TULOActivityIndicatorView().sizeHint().width());
        QVERIFY(!spinner->accessibleName().isEmpty());
    }

    void keyboardNotificationSequence_data()
    {
        QTest::addColumn<QList<QRect>>("frames");
        QTest::addColumn<QStringList>("expected");
        const QRect docked(0, 500, 800, 300);
        const QRect taller(0, 400, 800, 400);
        QTest::newRow("shows") << QList<QRect>{docked}
                               << QStringList{"WillShow", "WillChangeFrame", "DidChangeFrame"};
        QTest::newRow("shows and hides") << QList<QRect>{docked, QRect()}
                                         << QStringList{"WillShow", "WillChangeFrame", "DidChangeFrame", "WillHide",
                                                        "WillChangeFrame", "DidChangeFrame"};
        QTest::newRow("changes size") << QList<QRect>{docked, taller}
                                      << QStringList{"WillShow", "WillChangeFrame", "DidChangeFrame",
                                                     "WillChangeFrame", "DidChangeFrame"};
        QTest::newRow("same frame twice") << QList<QRect>{docked, docked}
                                          << QStringList{"WillShow", "WillChangeFrame", "DidChangeFrame"};
        QTest::newRow("hidden while hidden") << QList<QRect>{QRect(), QRect(10, 10, 0, 0)} << QStringList{};
    }

    void keyboardNotificationSequence()
    {
        QFETCH(QList<QRect>, frames);
        QFETCH(QStringList, expected);
        TULONotificationCenter center;
        TULOKeyboardNotifier notifier(&center);
        QStringList seen;
        QList<QVariantMap> infos;
        center.addObserver(QString(), &notifier, [&](const TULONotification &notification) {
            seen.append(notification.name().mid(int(qstrlen("TULOKeyboard"))).chopped(int(qstrlen("Notification"))));
            infos.append(notification.userInfo());
        });
        for (const QRect &frame : frames)
            notifier.keyboardFrameChanged(frame);
        QCOMPARE(seen, expected);
        if (!infos.isEmpty()) {
            // The last notification ends where the keyboard is now.
            QCOMPARE(infos.last().value(TULOKeyboardFrameEndUserInfoKey).toRect(), notifier.frame());
            QVERIFY(infos.last().value(TULOKeyboardAnimationDurationUserInfoKey).toDouble() > 0);
        }
    }

    void keyboardOverlap_data()
    {
        QTest::addColumn<QVariant>("endFrame");
        QTest::addColumn<QRect>("expected");
        // The widget is 400x300 at the window's origin.
        QTest::newRow("covers the bottom") << QVariant(QRect(-50, 200, 600, 400)) << QRect(0, 200, 400, 100);
        QTest::newRow("below the widget") << QVariant(QRect(0, 320, 400, 200)) << QRect();
        QTest::newRow("keyboard gone") << QVariant(QRect()) << QRect();
        QTest::newRow("wrong type") << QVariant(QStringLiteral("0,200,400,100")) << QRect();
        QTest::newRow("missing") << QVariant() << QRect();
    }

    void keyboardOverlap()
    {
        QFETCH(QVariant, endFrame);
        QFETCH(QRect, expected);
        QWidget widget;
        widget.resize(400, 300);
        widget.move(0, 0);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const QPoint origin = widget.mapToGlobal(QPoint(0, 0));
        QVariantMap info;
        if (endFrame.isValid()) {
            QVariant frame = endFrame;
            if (endFrame.typeId() == QMetaType::QRect && !endFrame.toRect().isEmpty())
                frame = endFrame.toRect().translated(origin);
            info.insert(QString::fromLatin1(TULOKeyboardFrameEndUserInfoKey), frame);
        }
        QCOMPARE(TULOKeyboardOverlapInWidget(info, &widget), expected);
    }

    void storeControllerContextAndQueue()
    {
        TULOStoreViewController screen;
        QVERIFY(!screen.clientContext());
        QSignalSpy changed(&screen, &TULOStoreViewController::clientContextChanged);
        auto context = std::make_shared<TULOClientContext>(QVariantMap{{QStringLiteral("locale"), QStringLiteral("de_DE")}});
        screen.setClientContext(context);
        screen.setClientContext(context); // same object: no change
        QCOMPARE(changed.size(), 1);
        // Another context with equal values is still another context.
        screen.setClientContext(std::make_shared<TULOClientContext>(context->configuration()));
        QCOMPARE(changed.size(), 2);

        // Without a queue of its own given, the screen makes one once and keeps it.
        const std::shared_ptr<TULOOperationQueue> own = screen.operationQueue();
        QVERIFY(own);
        QCOMPARE(screen.operationQueue(), own);
        std::atomic<bool> ran = false;
        own->addOperation([&ran] { ran = true; });
        own->waitUntilAllOperationsAreFinished();
        QVERIFY(ran);

        // A queue handed over is shared, not copied.
        auto shared = std::make_shared<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.test"));
        TULOStoreViewController child;
        child.setOperationQueue(shared);
        QCOMPARE(child.operationQueue(), shared);
    }
};

QTEST_MAIN(TestNotifications)
#include "tst_notifications.moc"

#include "appearancerecorder.h"

#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/window.h>

#include <QDialog>
#include <QPointer>
#include <QRegularExpression>
#include <QTest>

// Appearance order, presentation and dismissal of controllers in a real (offscreen) window.
class TestViewController : public QObject
{
    Q_OBJECT

private:
    struct Screen
    {
        QStringList log;
        TULOWindow window;
        TULONavigationController *navigation = nullptr;
        TULOAppearanceRecorder *a = nullptr;

        Screen()
        {
            a = new TULOAppearanceRecorder(QStringLiteral("A"), &log);
            navigation = new TULONavigationController(a);
            window.setRootViewController(navigation);
            window.resize(400, 500);
            window.show();
        }
        ~Screen()
        {
            window.setRootViewController(nullptr);
            delete navigation;
        }
        TULOAppearanceRecorder *make(const QString &name) { return new TULOAppearanceRecorder(name, &log); }
        // A stack to present as a form sheet, with `root` on it.
        static TULONavigationController *sheet(TULOViewController *root)
        {
            auto *stack = new TULONavigationController(root);
            stack->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
            return stack;
        }
    };

private Q_SLOTS:
    void lazyViewLoadsOnce()
    {
        QStringList log;
        TULOAppearanceRecorder controller(QStringLiteral("A"), &log);
        QVERIFY(!controller.isViewLoaded());
        QCOMPARE(controller.loadCount, 0);
        QWidget *view = controller.view();
        QVERIFY(view);
        QVERIFY(controller.isViewLoaded());
        QCOMPARE(controller.view(), view);
        QCOMPARE(controller.loadCount, 1);
        // A view destroyed by someone else is built again on demand.
        delete view;
        QVERIFY(!controller.isViewLoaded());
        QVERIFY(controller.view());
        QCOMPARE(controller.loadCount, 2);
    }

    void appearanceOrder_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<bool>("animated");
        QTest::addColumn<QStringList>("expected");

        const QStringList push{"A.willDisappear", "B.willAppear", "A.didDisappear", "B.didAppear", "A.transitionEnded",
                               "B.transitionEnded"};
        const QStringList pop{"B.willDisappear", "A.willAppear", "B.didDisappear", "A.didAppear", "B.transitionEnded",
                              "A.transitionEnded"};
        const QStringList popToRoot{"C.willDisappear", "A.willAppear", "C.didDisappear", "A.didAppear",
                                    "C.transitionEnded", "A.transitionEnded"};
        const QStringList replace{"A.willDisappear", "C.willAppear", "A.didDisappear", "C.didAppear",
                                  "A.transitionEnded", "C.transitionEnded"};
        const QStringList presentSheet{"D.willAppear", "D.didAppear", "D.transitionEnded", "completion"};
        const QStringList presentFull{"A.willDisappear", "D.willAppear", "A.didDisappear", "D.didAppear",
                                      "A.transitionEnded", "D.transitionEnded", "completion"};
        const QStringList dismissSheet{"D.willDisappear", "D.didDisappear", "D.transitionEnded", "completion"};
        const QStringList dismissFull{"D.willDisappear", "A.willAppear", "D.didDisappear", "A.didAppear",
                                      "D.transitionEnded", "A.transitionEnded", "completion"};
        const QStringList presentStack{"E.willAppear", "E.didAppear", "E.transitionEnded", "completion"};
        const QStringList dismissFromChild{"E.willDisappear", "E.didDisappear", "E.transitionEnded", "completion"};

        for (bool animated : {false, true}) {
            const char *suffix = animated ? " animated" : "";
            QTest::newRow(qPrintable(QStringLiteral("push") + suffix)) << "push" << animated << push;
            QTest::newRow(qPrintable(QStringLiteral("pop") + suffix)) << "pop" << animated << pop;
            QTest::newRow(qPrintable(QStringLiteral("pop to root") + suffix)) << "popToRoot" << animated << popToRoot;
            QTest::newRow(qPrintable(QStringLiteral("replace stack") + suffix)) << "replace" << animated << replace;
            QTest::newRow(qPrintable(QStringLiteral("present form sheet") + suffix))
                << "presentSheet" << animated << presentSheet;
            QTest::newRow(qPrintable(QStringLiteral("present full screen") + suffix))
                << "presentFull" << animated << presentFull;
            QTest::newRow(qPrintable(QStringLiteral("dismiss form sheet") + suffix))
                << "dismissSheet" << animated << dismissSheet;
            QTest::newRow(qPrintable(QStringLiteral("dismiss full screen") + suffix))
                << "dismissFull" << animated << dismissFull;
            QTest::newRow(qPrintable(QStringLiteral("present navigation stack") + suffix))
                << "presentStack" << animated << presentStack;
            QTest::newRow(qPrintable(QStringLiteral("dismiss from child of presented stack") + suffix))
                << "dismissFromChild" << animated << dismissFromChild;
        }
    }

    void appearanceOrder()
    {
        QFETCH(QString, operation);
        QFETCH(bool, animated);
        QFETCH(QStringList, expected);

        Screen screen;
        QCOMPARE(screen.log, QStringList({"A.willAppear", "A.didAppear"}));
        auto completion = [&screen] { screen.log.append(QStringLiteral("completion")); };
        auto presented = [&](TULOModalPresentationStyle style) {
            TULOAppearanceRecorder *d = screen.make(QStringLiteral("D"));
            d->setModalPresentationStyle(style);
            screen.navigation->presentViewController(d, false);
            return d;
        };
        TULOViewController *child = nullptr;
        if (operation == "pop") {
            screen.navigation->pushViewController(screen.make(QStringLiteral("B")), false);
        } else if (operation == "popToRoot") {
            screen.navigation->pushViewController(screen.make(QStringLiteral("B")), false);
            screen.navigation->pushViewController(screen.make(QStringLiteral("C")), false);
        } else if (operation == "dismissSheet") {
            presented(TULOModalPresentationStyleFormSheet);
        } else if (operation == "dismissFull") {
            presented(TULOModalPresentationStyleFullScreen);
        } else if (operation == "dismissFromChild") {
            child = screen.make(QStringLiteral("E"));
            auto *stack = Screen::sheet(child);
            screen.navigation->presentViewController(stack, false);
        }
        screen.log.clear();

        if (operation == "push") {
            screen.navigation->pushViewController(screen.make(QStringLiteral("B")), animated);
        } else if (operation == "pop") {
            QVERIFY(screen.navigation->popViewController(animated));
        } else if (operation == "popToRoot") {
            QCOMPARE(screen.navigation->popToRootViewController(animated).size(), 2);
        } else if (operation == "replace") {
            screen.navigation->setViewControllers({screen.make(QStringLiteral("C"))}, animated);
        } else if (operation == "presentSheet" || operation == "presentFull") {
            TULOAppearanceRecorder *d = screen.make(QStringLiteral("D"));
            d->setModalPresentationStyle(operation == "presentSheet" ? TULOModalPresentationStyleFormSheet
                                                                      : TULOModalPresentationStyleFullScreen);
            screen.navigation->presentViewController(d, animated, completion);
        } else if (operation == "dismissSheet" || operation == "dismissFull") {
            screen.navigation->dismissViewController(animated, completion);
        } else if (operation == "presentStack") {
            auto *stack = Screen::sheet(screen.make(QStringLiteral("E")));
            screen.navigation->presentViewController(stack, animated, completion);
        } else if (operation == "dismissFromChild") {
            child->dismissViewController(animated, completion);
        } else {
            QFAIL("unknown operation");
        }
        if (!animated) // without animation everything has happened by now
            QCOMPARE(screen.log, expected);
        QTRY_COMPARE(screen.log, expected);
        // Nothing arrives late, and nothing twice.
        QTest::qWait(50);
        QCOMPARE(screen.log, expected);
    }

    // A stack whose top is replaced while it is being presented (a screen that loads what it
    // shows, done before the sheet is up): the new top appears with the sheet, the old one goes.
    void replacedWhileAppearing_data()
    {
        QTest::addColumn<bool>("whileDismissing");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("while presented") << false
            << QStringList{"E.willAppear", "E.willDisappear", "E.didDisappear", "F.willAppear", "F.didAppear", "completion"};
        QTest::newRow("while dismissed") << true
            << QStringList{"E.willDisappear", "E.didDisappear", "completion"};
    }
    void replacedWhileAppearing()
    {
        QFETCH(bool, whileDismissing);
        QFETCH(QStringList, expected);
        Screen screen;
        TULOAppearanceRecorder *e = screen.make(QStringLiteral("E"));
        auto *stack = Screen::sheet(e);
        auto completion = [&screen] { screen.log.append(QStringLiteral("completion")); };
        if (whileDismissing) {
            screen.navigation->presentViewController(stack, false);
            screen.log.clear();
            screen.navigation->dismissViewController(true, completion);
        } else {
            screen.log.clear();
            screen.navigation->presentViewController(stack, true, completion);
        }
        QVERIFY(stack->transitionCoordinator());
        const QPointer<TULOAppearanceRecorder> f = screen.make(QStringLiteral("F"));
        stack->setViewControllers({f}, false);
        QTRY_VERIFY(screen.log.contains(QStringLiteral("completion")));
        QStringList calls = screen.log;
        calls.removeIf([](const QString &call) { return call.endsWith(QLatin1String(".transitionEnded")); });
        QCOMPARE(calls, expected);
        QCOMPARE(e->appearanceState(), TULOAppearanceStateDisappeared);
        if (!whileDismissing) {
            QVERIFY(f->isVisible());
            QVERIFY(f->view()->isVisible());
        }
    }

    void presentedAndPresentingControllers()
    {
        Screen screen;
        auto *stack = new TULONavigationController(screen.make(QStringLiteral("E")));
        TULOViewController *e = stack->topViewController();
        screen.a->presentViewController(stack, false);
        QCOMPARE(screen.a->presentedViewController(), stack);
        QCOMPARE(stack->presentingViewController(), screen.a);
        // A child of the presented stack answers with the stack's presenter.
        QCOMPARE(e->presentingViewController(), screen.a);
        QCOMPARE(e->navigationController(), stack);
        QVERIFY(stack->viewIfLoaded()->window() != screen.window.window());
        QVERIFY(stack->viewIfLoaded()->window()->isVisible());

        // A second presentation from the same presenter is refused.
        QStringList log;
        QPointer<TULOViewController> refused = new TULOAppearanceRecorder(QStringLiteral("X"), &log, this);
        screen.a->presentViewController(refused, false);
        QCOMPARE(screen.a->presentedViewController(), stack);
        QVERIFY(log.isEmpty());
        delete refused;
    }

    void formSheetIsWindowModalDialog()
    {
        Screen screen;
        TULOAppearanceRecorder *d = screen.make(QStringLiteral("D"));
        d->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        screen.navigation->presentViewController(d, false);
        auto *dialog = qobject_cast<QDialog *>(d->view()->window());
        QVERIFY(dialog);
        QCOMPARE(dialog->windowModality(), Qt::WindowModal);
        QCOMPARE(dialog->parentWidget(), &screen.window);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("D"));
        d->setTitle(QStringLiteral("Renamed"));
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Renamed"));
    }

    void dismissingNestedPresentations()
    {
        Screen screen;
        TULOAppearanceRecorder *b = screen.make(QStringLiteral("B"));
        b->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        TULOAppearanceRecorder *c = screen.make(QStringLiteral("C"));
        c->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        screen.a->presentViewController(b, false);
        b->presentViewController(c, false);
        screen.log.clear();
        int completions = 0;
        screen.a->dismissViewController(true, [&] { ++completions; });
        QTRY_COMPARE(completions, 1);
        QVERIFY(!screen.a->presentedViewController());
        QCOMPARE(screen.log, QStringList({"C.willDisappear", "C.didDisappear", "C.transitionEnded", "B.willDisappear",
                                          "B.didDisappear", "B.transitionEnded"}));
        QTest::qWait(50);
        QCOMPARE(completions, 1);
    }

    void dismissWithNothingPresented()
    {
        Screen screen;
        int completions = 0;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("nothing to dismiss"));
        screen.a->dismissViewController(true, [&] { ++completions; });
        QCOMPARE(completions, 1);
        QVERIFY(screen.log.size() == 2); // A's first appearance only
    }

    void dismissWhileDismissing()
    {
        Screen screen;
        TULOAppearanceRecorder *d = screen.make(QStringLiteral("D"));
        d->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        screen.a->presentViewController(d, false);
        QStringList completions;
        screen.a->dismissViewController(true, [&] { completions.append(QStringLiteral("first")); });
        QVERIFY(d->isBeingDismissed());
        // The second request joins the dismissal under way instead of starting another.
        d->dismissViewController(true, [&] {
            completions.append(screen.a->presentedViewController() ? QStringLiteral("second, still presented")
                                                                    : QStringLiteral("second"));
        });
        QTRY_COMPARE(completions, QStringList({"first", "second"}));
        QCOMPARE(screen.log.count(QStringLiteral("D.didDisappear")), 1);
    }

    void transitionCoordinator_data()
    {
        QTest::addColumn<bool>("animated");
        QTest::addColumn<bool>("cutShort");
        QTest::newRow("immediate") << false << false;
        QTest::newRow("animated") << true << false;
        QTest::newRow("animated, finished early") << true << true;
    }

    void transitionCoordinator()
    {
        QFETCH(bool, animated);
        QFETCH(bool, cutShort);
        QPointer<TULOTransitionCoordinator> coordinator = new TULOTransitionCoordinator(animated);
        QList<double> progress;
        QStringList order;
        QVERIFY(coordinator->animateAlongsideTransition([&](double p) { progress.append(p); },
                                                        [&] { order.append(QStringLiteral("completion")); }));
        coordinator->start([](double) {}, [&] { order.append(QStringLiteral("finish")); });
        if (cutShort)
            coordinator->finishNow();
        QTRY_COMPARE(order, QStringList({"finish", "completion"}));
        QVERIFY(!progress.isEmpty());
        QCOMPARE(progress.last(), 1.0);
        QVERIFY(std::is_sorted(progress.begin(), progress.end()));
        // Once ended, nothing more can be registered, and the coordinator goes away.
        if (coordinator)
            QVERIFY(!coordinator->animateAlongsideTransition({}, [&] { order.append(QStringLiteral("late")); }));
        QTRY_VERIFY(coordinator.isNull());
        QCOMPARE(order.size(), 2);
    }

    void ownershipAfterDismissal_data()
    {
        QTest::addColumn<bool>("owned");
        QTest::newRow("adopted orphan is released") << false;
        QTest::newRow("controller with an owner survives") << true;
    }

    void ownershipAfterDismissal()
    {
        QFETCH(bool, owned);
        Screen screen;
        QObject owner;
        QPointer<TULOAppearanceRecorder> d = new TULOAppearanceRecorder(QStringLiteral("D"), &screen.log,
                                                                        owned ? &owner : nullptr);
        d->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        screen.a->presentViewController(d, false);
        screen.a->dismissViewController(false);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(!d.isNull(), owned);
        if (owned) {
            // It can be presented again, with a fresh window.
            screen.a->presentViewController(d, false);
            QVERIFY(d->view()->window()->isVisible());
            QCOMPARE(d->appearanceState(), TULOAppearanceStateAppeared);
            screen.a->dismissViewController(false);
        }
    }

    void escapeCancels_data()
    {
        QTest::addColumn<bool>("hasCancelButton");
        QTest::addColumn<bool>("cancelEnabled");
        QTest::addColumn<int>("expectedCancels");
        QTest::addColumn<bool>("expectedDismissed");
        QTest::newRow("cancel button runs") << true << true << 1 << false;
        QTest::newRow("disabled cancel button does nothing") << true << false << 0 << false;
        QTest::newRow("no cancel button closes the sheet") << false << false << 0 << true;
    }

    void escapeCancels()
    {
        QFETCH(bool, hasCancelButton);
        QFETCH(bool, cancelEnabled);
        QFETCH(int, expectedCancels);
        QFETCH(bool, expectedDismissed);
        Screen screen;
        TULOAppearanceRecorder *e = screen.make(QStringLiteral("E"));
        auto *stack = Screen::sheet(e);
        int cancels = 0;
        if (hasCancelButton) {
            auto *cancel = new TULOBarButtonItem(QStringLiteral("Cancel"), TULOBarButtonItemStylePlain, e,
                                                 [&](TULOBarButtonItem *) { ++cancels; }, e);
            cancel->setEnabled(cancelEnabled);
            e->navigationItem()->setLeftBarButtonItem(cancel);
        }
        screen.a->presentViewController(stack, false);
        QWidget *dialog = stack->view()->window();
        QTest::keyClick(dialog, Qt::Key_Escape);
        QCOMPARE(cancels, expectedCancels);
        if (expectedDismissed)
            QTRY_VERIFY(!screen.a->presentedViewController());
        else
            QCOMPARE(screen.a->presentedViewController(), stack);
    }

    void controlReturnPerformsDoneButton_data()
    {
        QTest::addColumn<int>("style");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<int>("expected");
        QTest::newRow("done style enabled") << int(TULOBarButtonItemStyleDone) << true << 1;
        QTest::newRow("done style disabled") << int(TULOBarButtonItemStyleDone) << false << 0;
        QTest::newRow("plain style is not the default") << int(TULOBarButtonItemStylePlain) << true << 0;
    }

    void controlReturnPerformsDoneButton()
    {
        QFETCH(int, style);
        QFETCH(bool, enabled);
        QFETCH(int, expected);
        Screen screen;
        int posts = 0;
        auto *post = new TULOBarButtonItem(QStringLiteral("Post"), TULOBarButtonItemStyle(style), screen.a,
                                           [&](TULOBarButtonItem *) { ++posts; }, screen.a);
        post->setEnabled(enabled);
        screen.a->navigationItem()->setRightBarButtonItem(post);
        screen.window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&screen.window));
        QTest::keyClick(&screen.window, Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(posts, expected);
    }
};

QTEST_MAIN(TestViewController)
#include "tst_viewcontroller.moc"

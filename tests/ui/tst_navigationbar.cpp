#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/window.h>

#include <QPushButton>
#include <QTest>

class TestNavigationBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void backButtonTitle_data()
    {
        QTest::addColumn<QString>("previousTitle");
        QTest::addColumn<QString>("backTitle");
        QTest::addColumn<QString>("expected");
        QTest::newRow("previous title") << "Sharing" << QString() << "Sharing";
        QTest::newRow("set back title wins") << "Sharing" << "Back to Sharing" << "Back to Sharing";
        QTest::newRow("empty set back title is kept") << "Sharing" << "" << "";
        QTest::newRow("untitled previous screen") << "" << QString() << "Back";
    }

    void backButtonTitle()
    {
        QFETCH(QString, previousTitle);
        QFETCH(QString, backTitle);
        QFETCH(QString, expected);
        auto *first = new TULOViewController;
        first->setTitle(previousTitle);
        if (!backTitle.isNull())
            first->navigationItem()->setBackButtonTitle(backTitle);
        TULONavigationController navigation(first);
        auto *second = new TULOViewController;
        second->setTitle(QStringLiteral("Account"));
        navigation.pushViewController(second, false);
        TULONavigationBar *bar = navigation.navigationBar();
        QVERIFY(bar->backButton()->isVisibleTo(bar));
        QCOMPARE(bar->backButton()->accessibleName(), expected);
        QVERIFY(bar->backButton()->text().endsWith(expected));
        QCOMPARE(bar->titleText(), QStringLiteral("Account"));
    }

    void buttonsFollowTheTopItem_data()
    {
        QTest::addColumn<bool>("leftItem");
        QTest::addColumn<bool>("hidesBack");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("backShown");
        QTest::newRow("root has no back button") << false << false << 1 << false;
        QTest::newRow("pushed has one") << false << false << 2 << true;
        QTest::newRow("left item replaces it") << true << false << 2 << false;
        QTest::newRow("hidden on request") << false << true << 2 << false;
    }

    void buttonsFollowTheTopItem()
    {
        QFETCH(bool, leftItem);
        QFETCH(bool, hidesBack);
        QFETCH(int, depth);
        QFETCH(bool, backShown);
        TULONavigationController navigation(new TULOViewController);
        for (int i = 1; i < depth; ++i)
            navigation.pushViewController(new TULOViewController, false);
        TULOViewController *top = navigation.topViewController();
        if (leftItem)
            top->navigationItem()->setLeftBarButtonItem(
                new TULOBarButtonItem(QStringLiteral("Cancel"), TULOBarButtonItemStylePlain, top, {}, top));
        top->navigationItem()->setHidesBackButton(hidesBack);
        TULONavigationBar *bar = navigation.navigationBar();
        QCOMPARE(bar->backButton()->isVisibleTo(bar), backShown);
        QCOMPARE(bar->leftButton()->isVisibleTo(bar), leftItem);
    }

    void barReflectsItemChanges()
    {
        auto *root = new TULOViewController;
        root->setTitle(QStringLiteral("Compose"));
        TULONavigationController navigation(root);
        int posts = 0;
        auto *post = new TULOBarButtonItem(QStringLiteral("Post"), TULOBarButtonItemStyleDone, root,
                                           [&](TULOBarButtonItem *) { ++posts; }, root);
        post->setEnabled(false);
        root->navigationItem()->setRightBarButtonItem(post, true);
        TULONavigationBar *bar = navigation.navigationBar();
        QPushButton *button = bar->rightButton();
        QVERIFY(!button->isEnabled());
        QVERIFY(button->font().bold()); // the done style stands out
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(posts, 0);
        post->setEnabled(true);
        post->setTitle(QStringLiteral("Share"));
        QVERIFY(button->isEnabled());
        QCOMPARE(button->text(), QStringLiteral("Share"));
        QCOMPARE(button->accessibleName(), QStringLiteral("Share"));
        button->show();
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(posts, 1);
        root->setTitle(QStringLiteral("New Post"));
        QCOMPARE(bar->titleText(), QStringLiteral("New Post"));
        // An item that goes away takes its button with it.
        delete post;
        QVERIFY(!bar->rightButton()->isVisibleTo(bar));
    }

    void sharedButtonsMoveBetweenScreens()
    {
        // One pair of buttons serves the loading screen and then the editor.
        QObject owner;
        int cancels = 0;
        auto *cancel = new TULOBarButtonItem(QStringLiteral("Cancel"), TULOBarButtonItemStylePlain, &owner,
                                             [&](TULOBarButtonItem *) { ++cancels; }, &owner);
        auto *loading = new TULOViewController;
        loading->navigationItem()->setLeftBarButtonItem(cancel);
        TULONavigationController navigation(loading);
        auto *editor = new TULOViewController;
        editor->navigationItem()->setLeftBarButtonItem(cancel);
        navigation.setViewControllers({editor}, false);
        QCOMPARE(navigation.viewControllers(), QList<TULOViewController *>{editor});
        TULONavigationBar *bar = navigation.navigationBar();
        QVERIFY(bar->leftButton()->isVisibleTo(bar));
        QVERIFY(!bar->backButton()->isVisibleTo(bar));
        bar->leftButton()->click();
        QCOMPARE(cancels, 1);
    }

    void barButtonTarget_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<bool>("runs");
        QTest::newRow("live target") << "live" << true;
        QTest::newRow("target destroyed") << "destroyed" << false;
        QTest::newRow("target cleared") << "cleared" << false;
        QTest::newRow("disabled") << "disabled" << false;
    }

    void barButtonTarget()
    {
        QFETCH(QString, situation);
        QFETCH(bool, runs);
        auto *target = new QObject;
        int calls = 0;
        TULOBarButtonItem item(QStringLiteral("Post"), TULOBarButtonItemStyleDone, target,
                               [&](TULOBarButtonItem *sender) {
                                   QCOMPARE(sender, &item);
                                   ++calls;
                               });
        if (situation == "destroyed")
            delete target;
        else if (situation == "cleared")
            item.setTarget(nullptr);
        else if (situation == "disabled")
            item.setEnabled(false);
        QCOMPARE(item.trigger(), runs);
        QCOMPARE(calls, runs ? 1 : 0);
        if (situation != "destroyed")
            delete target;
    }

    void backButtonPops()
    {
        TULOWindow window;
        auto *root = new TULOViewController;
        root->setTitle(QStringLiteral("Compose"));
        TULONavigationController navigation(root);
        window.setRootViewController(&navigation);
        window.show();
        navigation.pushViewController(new TULOViewController, false);
        navigation.pushViewController(new TULOViewController, false);
        QCOMPARE(navigation.viewControllers().size(), 3);
        QTest::mouseClick(navigation.navigationBar()->backButton(), Qt::LeftButton);
        QTRY_COMPARE(navigation.viewControllers().size(), 2);
        QTRY_VERIFY(!navigation.isTransitioning());
        navigation.popToRootViewController(false);
        QCOMPARE(navigation.topViewController(), root);
        QVERIFY(!navigation.navigationBar()->backButton()->isVisibleTo(navigation.navigationBar()));
        QVERIFY(!navigation.popViewController(false)); // the root stays
        window.setRootViewController(nullptr);
    }

    void extendedLayoutRunsUnderTheBar_data()
    {
        QTest::addColumn<int>("edges");
        QTest::addColumn<bool>("underBar");
        QTest::newRow("none") << int(TULORectEdgeNone) << false;
        QTest::newRow("all") << int(TULORectEdgeAll) << true;
        QTest::newRow("bottom only") << int(TULORectEdgeBottom) << false;
    }

    void extendedLayoutRunsUnderTheBar()
    {
        QFETCH(int, edges);
        QFETCH(bool, underBar);
        auto *root = new TULOViewController;
        root->setEdgesForExtendedLayout(edges);
        TULONavigationController navigation(root);
        TULOWindow window;
        window.setRootViewController(&navigation);
        window.resize(320, 480);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const int barHeight = navigation.navigationBar()->height();
        QCOMPARE(root->view()->y(), underBar ? 0 : barHeight);
        QCOMPARE(root->view()->height(), underBar ? 480 : 480 - barHeight);
        window.setRootViewController(nullptr);
    }
};

QTEST_MAIN(TestNavigationBar)
#include "tst_navigationbar.moc"

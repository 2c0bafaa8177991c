#include "settingstestsupport.h"

#include <Quillon/platform/internalinconsistencyexception.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/switch.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/settings/facebookpageselectionviewcontroller.h>
#include <Quillon/settings/manageaccountviewcontroller.h>
#include <Quillon/settings/setupaccountviewcontroller.h>
#include <Quillon/settings/socialservicesetuptableviewsection.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>

#include <QApplication>
#include <QLabel>

// The settings list: its sections and rows for what is linked, the switches written through
// the account store, and the screens its rows open, against the sandbox store.
class TestSocialServiceSetup : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;

    static TULOSettingsTableViewCell *cellAt(TULOSocialServiceSetupViewController *screen, int section, int row)
    {
        return qobject_cast<TULOSettingsTableViewCell *>(screen->tableView()->cellForRowAtIndexPath(TULOIndexPath(section, row)));
    }

    // "title|value" per row, "title|on"/"title|off" for a switch row.
    static QStringList rowsOf(TULOSocialServiceSetupViewController *screen, int section)
    {
        QStringList rows;
        for (int row = 0; row < screen->tableView()->numberOfRowsInSection(section); ++row) {
            TULOSettingsTableViewCell *cell = cellAt(screen, section, row);
            if (!cell) {
                rows << QStringLiteral("?");
                continue;
            }
            const QString value = cell->valueType() == TULOSettingsValueTypeSwitch
                ? (cell->switchValue() ? QStringLiteral("on") : QStringLiteral("off"))
                : cell->textValue();
            rows << cell->text() + QLatin1Char('|') + value;
        }
        return rows;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_fixture.start()); }
    void cleanupTestCase() { m_fixture.stop(); }
    void cleanup()
    {
        m_fixture.closeWindow();
        m_fixture.sandbox.clearFaults();
        TULOPreferences::frameworkPreferences().removeObjectForKey(
            QString::fromLatin1(TULOAccountStorePreferredFacebookDestinationKey));
    }

    void rowsForTheConfiguration_data()
    {
        QTest::addColumn<QStringList>("services");
        QTest::addColumn<bool>("twitterLinked");
        QTest::addColumn<bool>("facebookLinked");
        QTest::addColumn<QList<QStringList>>("expected");
        const QString twitter = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER"));
        const QString facebook = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_FACEBOOK"));
        const QString add = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_ADD_ACCOUNT"));
        const QString postTo = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_LABEL"));
        const QString timeline = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT"));
        QTest::newRow("no services") << QStringList() << false << false << QList<QStringList>();
        QTest::newRow("twitter, nothing linked")
            << QStringList{TULOTestTwitter} << false << false << QList<QStringList>{{twitter + QStringLiteral("|") + add}};
        QTest::newRow("twitter linked")
            << QStringList{TULOTestTwitter} << true << false
            << QList<QStringList>{{twitter + QStringLiteral("|on"), QStringLiteral("@quillondemo|")}};
        QTest::newRow("both, in the configuration's order, facebook linked")
            << QStringList{TULOTestFacebook, TULOTestTwitter} << false << true
            << QList<QStringList>{{facebook + QStringLiteral("|on"), postTo + QStringLiteral("|") + timeline},
                                  {twitter + QStringLiteral("|") + add}};
        QTest::newRow("both linked") << QStringList{TULOTestTwitter, TULOTestFacebook} << true << true
                                     << QList<QStringList>{{twitter + QStringLiteral("|on"), QStringLiteral("@quillondemo|")},
                                                           {facebook + QStringLiteral("|on"), postTo + QStringLiteral("|") + timeline}};
        QTest::newRow("a service the screen does not know is left out")
            << QStringList{QStringLiteral("myspace"), TULOTestTwitter} << false << false
            << QList<QStringList>{{twitter + QStringLiteral("|") + add}};
    }
    void rowsForTheConfiguration()
    {
        QFETCH(QStringList, services);
        QFETCH(bool, twitterLinked);
        QFETCH(bool, facebookLinked);
        QFETCH(QList<QStringList>, expected);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        if (facebookLinked)
            m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QString()));
        auto store = m_fixture.makeStore(author);
        if (twitterLinked)
            QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        for (const QString &service : {TULOTestTwitter, TULOTestFacebook})
            store->setAccountEnabled(true, service);

        TULOSocialServiceSetupViewController screen(TULOConfigurationWithServices(services), store.get());
        QCOMPARE(screen.tableView()->numberOfSections(), expected.size());
        for (int section = 0; section < expected.size(); ++section)
            QCOMPARE(rowsOf(&screen, section), expected.at(section));
        // Switch rows are not tapped (the switch is); every other row is.
        for (int section = 0; section < expected.size(); ++section) {
            for (int row = 0; row < expected.at(section).size(); ++row) {
                const bool isSwitch = cellAt(&screen, section, row)->valueType() == TULOSettingsValueTypeSwitch;
                QCOMPARE(screen.tableView()->canHighlightRowAtIndexPath(TULOIndexPath(section, row)), !isSwitch);
            }
        }
    }

    // The switch goes through the account store into the preferences: a second store of the
    // same author, as the compose screen has, sees it.
    void switchIsWrittenThroughTheAccountStore_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<bool>("startOn");
        QTest::newRow("twitter turned on") << TULOTestTwitter << false;
        QTest::newRow("twitter turned off") << TULOTestTwitter << true;
        QTest::newRow("facebook turned on") << TULOTestFacebook << false;
        QTest::newRow("facebook turned off") << TULOTestFacebook << true;
    }
    void switchIsWrittenThroughTheAccountStore()
    {
        QFETCH(QString, service);
        QFETCH(bool, startOn);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo());
        auto store = m_fixture.makeStore(author);
        QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        store->setAccountEnabled(startOn, service);

        auto *screen = new TULOSocialServiceSetupViewController(TULOConfigurationWithServices({service}), store.get());
        m_fixture.show(screen);
        TULOSettingsTableViewCell *switchCell = cellAt(screen, 0, 0);
        QVERIFY(switchCell);
        QCOMPARE(switchCell->switchValue(), startOn);
        switchCell->valueSwitch()->click();

        auto second = m_fixture.makeStore(author);
        QCOMPARE(second->isAccountEnabledForServiceIdentifier(service), !startOn);
        // The list follows the store's notification and shows the stored state.
        QTRY_COMPARE(cellAt(screen, 0, 0)->switchValue(), !startOn);
    }

    void linkingTwitterTurnsOneRowIntoTwo()
    {
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        TULOSocialServiceSetupViewController screen(TULOConfigurationWithServices({TULOTestTwitter}), store.get());
        QCOMPARE(screen.tableView()->numberOfRowsInSection(0), 1);
        QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount(QStringLiteral("@ann"))));
        QTRY_COMPARE(screen.tableView()->numberOfRowsInSection(0), 2);
        QCOMPARE(cellAt(&screen, 0, 1)->text(), QStringLiteral("@ann"));
        QVERIFY(store->removeAccount(TULOSettingsTestFixture::twitterAccount(QStringLiteral("@ann"))));
        QTRY_COMPARE(screen.tableView()->numberOfRowsInSection(0), 1);
    }

    // The Facebook account arrives after the list was counted: the section answers cells for the
    // count the table has until the table counts again.
    void facebookSectionKeepsItsStateUntilTheNextCount()
    {
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        auto store = m_fixture.makeStore(author);
        TULOSocialService service;
        service.setIdentifier(TULOTestFacebook);
        auto section = TULOSocialServiceSetupTableViewSection::instanceWithService(service, store.get());
        auto *facebook = qobject_cast<TULOFacebookServiceSetupTableViewSection *>(section.get());
        QVERIFY(facebook);
        QCOMPARE(facebook->displayState(), TULOFacebookServiceDisplayStateUnknown);
        QCOMPARE(facebook->tableViewNumberOfRowsInSection(nullptr, 0), 1);
        QCOMPARE(facebook->cellTypeForIndexPath(TULOIndexPath(0, 0)), TULOSocialServiceSetupCellTypeAddAccount);

        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo());
        QSignalSpy finished(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        store->refreshFacebookAccountInfo();
        QVERIFY(finished.wait(TULOStoreTestWait));
        QVERIFY(store->accountForServiceIdentifier(TULOTestFacebook));
        QCOMPARE(facebook->cellTypeForIndexPath(TULOIndexPath(0, 0)), TULOSocialServiceSetupCellTypeAddAccount);
        QCOMPARE(facebook->displayState(), TULOFacebookServiceDisplayStateNoAccount);
        QCOMPARE(facebook->tableViewNumberOfRowsInSection(nullptr, 0), 2);
        QCOMPARE(facebook->cellTypeForIndexPath(TULOIndexPath(0, 0)), TULOSocialServiceSetupCellTypeSwitch);
        QCOMPARE(facebook->cellTypeForIndexPath(TULOIndexPath(0, 1)), TULOSocialServiceSetupCellTypePage);
    }

    void rowTheTwitterSectionDoesNotHave()
    {
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        TULOSocialService service;
        service.setIdentifier(TULOTestTwitter);
        auto section = TULOSocialServiceSetupTableViewSection::instanceWithService(service, store.get());
        QVERIFY(section);
        QCOMPARE(section->cellTypeForIndexPath(TULOIndexPath(3, 1)), TULOSocialServiceSetupCellTypeAccount);
        try {
            section->cellTypeForIndexPath(TULOIndexPath(3, 2));
            QFAIL("no exception");
        } catch (const TULOInternalInconsistencyException &exception) {
            QCOMPARE(exception.reason(), QStringLiteral("Unhandled cell type in TULOTwitterServiceSetupTableViewSection at index path {3, 2}"));
        }
    }

    // The destination row names the page only while posts go to a page that still exists.
    void facebookDestinationRow_data()
    {
        QTest::addColumn<qint64>("destination");
        QTest::addColumn<QString>("preferredPage");
        QTest::addColumn<QString>("expected");
        const QString timeline = TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT"));
        QTest::newRow("profile") << qint64(0) << QStringLiteral("p2") << timeline;
        QTest::newRow("preferred page") << qint64(1) << QStringLiteral("p2") << QStringLiteral("Ann Records");
        QTest::newRow("page the account no longer has") << qint64(1) << QStringLiteral("p9") << timeline;
        QTest::newRow("no preferred page") << qint64(1) << QString() << timeline;
        QTest::newRow("an unknown destination value") << qint64(7) << QStringLiteral("p2") << timeline;
    }
    void facebookDestinationRow()
    {
        QFETCH(qint64, destination);
        QFETCH(QString, preferredPage);
        QFETCH(QString, expected);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(preferredPage));
        auto store = m_fixture.makeStore(author);
        store->setPreferredFacebookAutopostingDestination(destination);
        TULOSocialServiceSetupViewController screen(TULOConfigurationWithServices({TULOTestFacebook}), store.get());
        QCOMPARE(cellAt(&screen, 0, 1)->textValue(), expected);
    }

    // Each row opens its screen with the row's account and this list's queue.
    void rowsOpenTheirScreens_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<bool>("linked");
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("opened");
        QTest::addColumn<bool>("pushed");
        QTest::newRow("twitter add account") << TULOTestTwitter << false << 0 << QStringLiteral("TULOSetupAccountViewController") << true;
        QTest::newRow("twitter account") << TULOTestTwitter << true << 1 << QStringLiteral("TULOManageAccountViewController") << false;
        QTest::newRow("facebook page row") << TULOTestFacebook << true << 1
                                           << QStringLiteral("TULOFacebookPageSelectionViewController") << false;
    }
    void rowsOpenTheirScreens()
    {
        QFETCH(QString, service);
        QFETCH(bool, linked);
        QFETCH(int, row);
        QFETCH(QString, opened);
        QFETCH(bool, pushed);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        if (linked)
            m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo());
        auto store = m_fixture.makeStore(author);
        if (linked)
            QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount()));
        auto *screen = new TULOSocialServiceSetupViewController(TULOConfigurationWithServices({service}), store.get());
        m_fixture.show(screen);
        QVERIFY(screen->tableView()->activateRowAtIndexPath(TULOIndexPath(0, row)));
        TULOViewController *shown = nullptr;
        if (pushed) {
            QCOMPARE(m_fixture.navigation->viewControllers().size(), 2);
            shown = m_fixture.navigation->topViewController();
            QCOMPARE(screen->navigationItem()->backButtonTitle(), TULOSettingsTestText(QStringLiteral("BACK_BUTTON_TITLE")));
        } else {
            auto *container = qobject_cast<TULONavigationController *>(screen->presentedViewController());
            QVERIFY(container);
            shown = container->topViewController();
        }
        QVERIFY(shown);
        QCOMPARE(QString::fromLatin1(shown->metaObject()->className()), opened);
        auto *storeScreen = qobject_cast<TULOStoreViewController *>(shown);
        QCOMPARE(storeScreen->operationQueue(), screen->operationQueue());
        if (auto *manage = qobject_cast<TULOManageAccountViewController *>(shown)) {
            QCOMPARE(manage->account().userName(), QStringLiteral("@quillondemo"));
            QCOMPARE(manage->title(), TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_TWITTER")));
        }
        if (auto *pages = qobject_cast<TULOFacebookPageSelectionViewController *>(shown))
            QCOMPARE(pages->account().pages().size(), 2);
    }
};

QTEST_MAIN(TestSocialServiceSetup)
#include "tst_socialservicesetup.moc"

#include "settingstestsupport.h"

#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/settings/facebookpageselectionviewcontroller.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>

#include <QLabel>

// Choosing where Facebook posts go and unlinking the account, against the sandbox store:
// the choice reaches the store and the preferences, survives a new account store, and every
// refusal is told while nothing stored is lost.
class TestFacebookPageSelection : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    TULOViewController *m_list = nullptr;

    TULOFacebookPageSelectionViewController *present(TULOAccountStore *store)
    {
        m_list = new TULOViewController;
        m_fixture.show(m_list);
        auto *pages = new TULOFacebookPageSelectionViewController(*store->accountForServiceIdentifier(TULOTestFacebook), store);
        m_list->presentViewController(new TULONavigationController(pages), false);
        return pages;
    }

    static QList<TULOIndexPath> checkedRows(TULOFacebookPageSelectionViewController *screen)
    {
        QList<TULOIndexPath> checked;
        TULOTableView *table = screen->tableView();
        for (int section = 0; section < table->numberOfSections(); ++section) {
            for (int row = 0; row < table->numberOfRowsInSection(section); ++row) {
                if (table->cellForRowAtIndexPath(TULOIndexPath(section, row))->accessoryType() == TULOTableViewCellAccessoryCheckmark)
                    checked << TULOIndexPath(section, row);
            }
        }
        return checked;
    }

    static int pageUpdates(TULOSettingsTestFixture &fixture)
    {
        return fixture.sandbox.requestCount(QStringLiteral("/social/facebook/update"));
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_fixture.start()); }
    void cleanupTestCase() { m_fixture.stop(); }
    void cleanup()
    {
        m_fixture.closeWindow();
        m_fixture.sandbox.clearFaults();
    }

    void layoutAndCheckMark_data()
    {
        QTest::addColumn<bool>("withPages");
        QTest::addColumn<QString>("preferredPage");
        QTest::addColumn<qint64>("destination");
        QTest::addColumn<int>("sections");
        QTest::addColumn<QList<TULOIndexPath>>("checked");
        QTest::newRow("pages, posting to the profile") << true << QStringLiteral("p2") << qint64(0) << 3
                                                       << QList<TULOIndexPath>{TULOIndexPath(0, 0)};
        QTest::newRow("pages, posting to the preferred page") << true << QStringLiteral("p2") << qint64(1) << 3
                                                              << QList<TULOIndexPath>{TULOIndexPath(1, 1)};
        QTest::newRow("preferred page the account no longer has") << true << QStringLiteral("p9") << qint64(1) << 3
                                                                  << QList<TULOIndexPath>();
        QTest::newRow("no pages") << false << QString() << qint64(0) << 2 << QList<TULOIndexPath>{TULOIndexPath(0, 0)};
    }
    void layoutAndCheckMark()
    {
        QFETCH(bool, withPages);
        QFETCH(QString, preferredPage);
        QFETCH(qint64, destination);
        QFETCH(int, sections);
        QFETCH(QList<TULOIndexPath>, checked);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(preferredPage, withPages));
        auto store = m_fixture.makeStore(author);
        store->setPreferredFacebookAutopostingDestination(destination);
        TULOFacebookPageSelectionViewController screen(*store->accountForServiceIdentifier(TULOTestFacebook), store.get());
        TULOTableView *table = screen.tableView();
        QCOMPARE(table->numberOfSections(), sections);
        QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(0, 0))->text(), QStringLiteral("Ann Page"));
        if (withPages) {
            QCOMPARE(table->numberOfRowsInSection(1), 2);
            QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(1, 0))->text(), QStringLiteral("Ann Live"));
            QCOMPARE(table->headerTitleForSection(1), TULOSettingsTestText(QStringLiteral("FACEBOOK_PAGE_SELECTION_PAGE_SECTION_TITLE")));
        }
        // The unlink row is the last section's only row, without a header.
        QCOMPARE(table->numberOfRowsInSection(sections - 1), 1);
        QCOMPARE(table->cellForRowAtIndexPath(TULOIndexPath(sections - 1, 0))->text(),
                 TULOSettingsTestText(QStringLiteral("ACCOUNT_MANAGE_UNLINK_ACCOUNT_BUTTON")));
        QVERIFY(table->headerTitleForSection(sections - 1).isEmpty());
        QCOMPARE(checkedRows(&screen), checked);
        // The explanation names the account.
        QVERIFY(screen.headerView()->label()->accessibleName().contains(QStringLiteral("Ann Page")));
    }

    // Tapping moves the single check mark; Done stores the choice.
    void done_data()
    {
        QTest::addColumn<qint64>("startDestination");
        QTest::addColumn<TULOIndexPath>("tapped");
        QTest::addColumn<qint64>("destination");
        QTest::addColumn<int>("updates");
        QTest::addColumn<QString>("preferredPage");
        QTest::newRow("the profile") << qint64(1) << TULOIndexPath(0, 0) << qint64(0) << 0 << QStringLiteral("p2");
        QTest::newRow("the page that is already preferred") << qint64(0) << TULOIndexPath(1, 1) << qint64(1) << 0
                                                            << QStringLiteral("p2");
        QTest::newRow("another page") << qint64(0) << TULOIndexPath(1, 0) << qint64(1) << 1 << QStringLiteral("p1");
    }
    void done()
    {
        QFETCH(qint64, startDestination);
        QFETCH(TULOIndexPath, tapped);
        QFETCH(qint64, destination);
        QFETCH(int, updates);
        QFETCH(QString, preferredPage);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QStringLiteral("p2")));
        auto store = m_fixture.makeStore(author);
        store->setPreferredFacebookAutopostingDestination(startDestination);
        TULOFacebookPageSelectionViewController *screen = present(store.get());
        QVERIFY(screen->tableView()->activateRowAtIndexPath(tapped));
        QCOMPARE(checkedRows(screen), QList<TULOIndexPath>{tapped});
        QVERIFY(!screen->tableView()->indexPathForSelectedRow());
        const int before = pageUpdates(m_fixture);
        QSignalSpy refreshed(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        QVERIFY(screen->performDefaultAction());
        QTRY_VERIFY(!m_list->presentedViewController());
        QCOMPARE(store->preferredFacebookAutopostingDestination(), destination);
        // The update is followed by a fresh account information answer.
        if (updates > 0)
            QTRY_VERIFY_WITH_TIMEOUT(!refreshed.isEmpty(), TULOStoreTestWait);
        QCOMPARE(pageUpdates(m_fixture) - before, updates);
        QCOMPARE(store->accountForServiceIdentifier(TULOTestFacebook)->preferredPageIdentifier(), preferredPage);
    }

    void cancelSavesNothing()
    {
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QStringLiteral("p2")));
        auto store = m_fixture.makeStore(author);
        store->setPreferredFacebookAutopostingDestination(0);
        TULOFacebookPageSelectionViewController *screen = present(store.get());
        const int before = pageUpdates(m_fixture);
        QVERIFY(screen->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
        QVERIFY(screen->performCancelAction());
        QTRY_VERIFY(!m_list->presentedViewController());
        QCOMPARE(store->preferredFacebookAutopostingDestination(), qint64(0));
        QCOMPARE(pageUpdates(m_fixture), before);
    }

    // A new account store and a new settings list, as after a restart, show the page chosen.
    void pageChoiceSurvivesARestart()
    {
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QStringLiteral("p2")));
        {
            auto store = m_fixture.makeStore(author);
            store->setPreferredFacebookAutopostingDestination(0);
            TULOFacebookPageSelectionViewController *screen = present(store.get());
            QVERIFY(screen->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
            QSignalSpy refreshed(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
            QVERIFY(screen->doneButton()->trigger());
            QTRY_VERIFY_WITH_TIMEOUT(!refreshed.isEmpty(), TULOStoreTestWait);
            m_fixture.closeWindow();
        }
        QVERIFY(TULOPreferences::frameworkPreferences().synchronize());
        auto store = m_fixture.makeStore(author);
        TULOSocialServiceSetupViewController list(TULOConfigurationWithServices({TULOTestFacebook}), store.get());
        auto *row = qobject_cast<TULOSettingsTableViewCell *>(list.tableView()->cellForRowAtIndexPath(TULOIndexPath(0, 1)));
        QVERIFY(row);
        QCOMPARE(row->textValue(), QStringLiteral("Ann Live"));
    }

    // The store refuses or never answers the page change: the old choice stays, and the list
    // says why.
    void refusedPageChange_data()
    {
        QTest::addColumn<bool>("noAnswer");
        QTest::addColumn<QString>("messageKey");
        QTest::newRow("refused") << false << QStringLiteral("STORE_REQUEST_ERROR_BODY_REFUSED");
        QTest::newRow("no answer") << true << QStringLiteral("STORE_REQUEST_ERROR_BODY_NO_ANSWER");
    }
    void refusedPageChange()
    {
        QFETCH(bool, noAnswer);
        QFETCH(QString, messageKey);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo(QStringLiteral("p2")));
        auto store = m_fixture.makeStore(author, 800);
        store->setPreferredFacebookAutopostingDestination(0);
        m_fixture.sandbox.addFault(QStringLiteral("/social/facebook/update"),
                                   noAnswer ? TULOSandboxFault::delay(3000) : TULOSandboxFault::status(500));
        TULOFacebookPageSelectionViewController *screen = present(store.get());
        QVERIFY(screen->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
        QVERIFY(screen->doneButton()->trigger());
        QTRY_VERIFY_WITH_TIMEOUT(TULOSettingsTestFixture::presentedAlert(m_list), TULOStoreTestWait);
        TULOAlertController *alert = TULOSettingsTestFixture::presentedAlert(m_list);
        QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("FACEBOOK_PAGE_SELECTION_ERROR_TITLE")));
        QCOMPARE(alert->message(), TULOSettingsTestText(messageKey));
        QCOMPARE(store->preferredFacebookAutopostingDestination(), qint64(0));
        QCOMPARE(store->accountForServiceIdentifier(TULOTestFacebook)->preferredPageIdentifier(), QStringLiteral("p2"));
    }

    void unlink_data()
    {
        QTest::addColumn<bool>("confirm");
        QTest::addColumn<int>("fault"); // 0 none, 1 refused, 2 no answer
        QTest::addColumn<bool>("unlinked");
        QTest::addColumn<QString>("messageKey");
        QTest::newRow("confirmed") << true << 0 << true << QString();
        QTest::newRow("cancelled") << false << 0 << false << QString();
        QTest::newRow("refused by the store") << true << 1 << false << QStringLiteral("STORE_REQUEST_ERROR_BODY_REFUSED");
        QTest::newRow("store does not answer") << true << 2 << false << QStringLiteral("STORE_REQUEST_ERROR_BODY_NO_ANSWER");
    }
    void unlink()
    {
        QFETCH(bool, confirm);
        QFETCH(int, fault);
        QFETCH(bool, unlinked);
        QFETCH(QString, messageKey);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        m_fixture.link(author, TULOTestFacebook, TULOLinkedFacebookInfo());
        auto store = m_fixture.makeStore(author, 800);
        if (fault)
            m_fixture.sandbox.addFault(QStringLiteral("/social/unlink"),
                                       fault == 2 ? TULOSandboxFault::delay(3000) : TULOSandboxFault::status(500));
        TULOFacebookPageSelectionViewController *screen = present(store.get());
        const int unlinkRow = screen->tableView()->numberOfSections() - 1;
        QVERIFY(screen->tableView()->activateRowAtIndexPath(TULOIndexPath(unlinkRow, 0)));
        TULOAlertController *sheet = TULOSettingsTestFixture::presentedAlert(screen);
        QVERIFY(sheet);
        QCOMPARE(sheet->preferredStyle(), TULOAlertControllerStyleActionSheet);
        QVERIFY(sheet->message().contains(author.name()));
        const int before = m_fixture.sandbox.requestCount(QStringLiteral("/social/unlink"));
        QVERIFY(sheet->triggerAction(sheet->actions().at(confirm ? 0 : 1)));
        if (!confirm) {
            QTRY_VERIFY(!screen->presentedViewController());
            QVERIFY(m_list->presentedViewController());
            QCOMPARE(m_fixture.sandbox.requestCount(QStringLiteral("/social/unlink")), before);
            QVERIFY(store->accountForServiceIdentifier(TULOTestFacebook).has_value());
            return;
        }
        if (unlinked) {
            QTRY_VERIFY_WITH_TIMEOUT(!store->accountForServiceIdentifier(TULOTestFacebook).has_value(), TULOStoreTestWait);
            QTRY_VERIFY(!m_list->presentedViewController());
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(TULOSettingsTestFixture::presentedAlert(m_list), TULOStoreTestWait);
        TULOAlertController *alert = TULOSettingsTestFixture::presentedAlert(m_list);
        QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("ACCOUNT_MANAGE_UNLINK_ERROR_TITLE")));
        QCOMPARE(alert->message(), TULOSettingsTestText(messageKey));
        QVERIFY(store->accountForServiceIdentifier(TULOTestFacebook).has_value());
    }
};

QTEST_MAIN(TestFacebookPageSelection)
#include "tst_facebookpageselection.moc"

#include "settingstestsupport.h"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/networkactivityindicator.h>
#include <Quillon/platform/ui/settingsbuttontableviewcell.h>
#include <Quillon/platform/ui/settingstextfieldtableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/settings/manageaccountviewcontroller.h>
#include <Quillon/settings/setupaccountviewcontroller.h>

#include <QLineEdit>
#include <QScopeGuard>

// The Twitter sign-in screen and the manage-account screen against the sandbox's Twitter
// stand-in: success, each refusal, cancelling mid-request, unchanged and changed passwords,
// deleting.
class TestAccountScreens : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;
    TULOViewController *m_list = nullptr;

    // A sign-in screen pushed above a plain list, as the settings list pushes it.
    TULOSetupAccountViewController *pushSetup(TULOAccountStore *store)
    {
        m_list = new TULOViewController;
        m_fixture.show(m_list);
        TULOSocialService twitter;
        twitter.setIdentifier(TULOTestTwitter);
        auto *setup = new TULOSetupAccountViewController(twitter, store);
        m_fixture.navigation->pushViewController(setup, false);
        return setup;
    }

    // A manage screen presented in a navigation container from a plain list.
    TULOManageAccountViewController *presentManage(TULOAccountStore *store, const TULOAccount &account)
    {
        m_list = new TULOViewController;
        m_fixture.show(m_list);
        auto *manage = new TULOManageAccountViewController(account, store);
        m_list->presentViewController(new TULONavigationController(manage), false);
        return manage;
    }

    static void type(QLineEdit *field, const QString &text)
    {
        field->setFocus();
        field->clear();
        QTest::keyClicks(field, text);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_fixture.start()); }
    void cleanupTestCase() { m_fixture.stop(); }
    void cleanup()
    {
        m_fixture.closeWindow();
        m_fixture.sandbox.clearFaults();
    }

    void signInNeedsBothFields_data()
    {
        QTest::addColumn<QString>("userName");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("nothing typed") << QString() << QString() << false;
        QTest::newRow("only a user name") << QStringLiteral("ann") << QString() << false;
        QTest::newRow("only a password") << QString() << QStringLiteral("pw") << false;
        QTest::newRow("both") << QStringLiteral("ann") << QStringLiteral("pw") << true;
    }
    void signInNeedsBothFields()
    {
        QFETCH(QString, userName);
        QFETCH(QString, password);
        QFETCH(bool, enabled);
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        TULOSetupAccountViewController *setup = pushSetup(store.get());
        type(setup->userNameCell()->textField(), userName);
        type(setup->passwordCell()->textField(), password);
        QCOMPARE(setup->signInCell()->isEnabled(), enabled);
        QCOMPARE(setup->tableView()->canHighlightRowAtIndexPath(TULOIndexPath(1, 0)), enabled);
        // The form rows themselves never highlight.
        QVERIFY(!setup->tableView()->canHighlightRowAtIndexPath(TULOIndexPath(0, 0)));
        QVERIFY(!setup->tableView()->canHighlightRowAtIndexPath(TULOIndexPath(0, 1)));
        // Return in the password field does nothing without both.
        const int requests = m_fixture.sandbox.requestCount(QStringLiteral("/twitter"));
        QTest::keyClick(setup->passwordCell()->textField(), Qt::Key_Return);
        QCOMPARE(setup->isVerifying(), enabled);
        if (!enabled)
            QCOMPARE(m_fixture.sandbox.requestCount(QStringLiteral("/twitter")), requests);
    }

    void signIn_data()
    {
        QTest::addColumn<QString>("userName");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("returnKey");
        QTest::addColumn<QString>("savedUserName");
        QTest::addColumn<QString>("messageKey");
        const QString name = TULOSandboxSocial::twitterUserName();
        const QString password = TULOSandboxSocial::twitterPassword();
        QTest::newRow("screen name") << name << password << false << QLatin1Char('@') + name << QString();
        QTest::newRow("screen name with its @, by Return") << QLatin1Char('@') + name << password << true
                                                          << QLatin1Char('@') + name << QString();
        QTest::newRow("wrong password") << name << QStringLiteral("wrong") << false << QString()
                                        << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS");
        QTest::newRow("must verify login") << TULOSandboxSocial::twitterVerificationUserName() << password << true
                                           << QString() << QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA");
    }
    void signIn()
    {
        QFETCH(QString, userName);
        QFETCH(QString, password);
        QFETCH(bool, returnKey);
        QFETCH(QString, savedUserName);
        QFETCH(QString, messageKey);
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        // An account linked before: a failed sign-in must leave it alone.
        const bool hadAccount = savedUserName.isEmpty();
        if (hadAccount)
            QVERIFY(store->saveAccount(TULOSettingsTestFixture::twitterAccount(QStringLiteral("@before"), QStringLiteral("kept"))));
        store->setAccountEnabled(false, TULOTestTwitter);
        TULONetworkActivityIndicator activity(TULONotificationCenter::defaultCenter());
        TULOSetupAccountViewController *setup = pushSetup(store.get());
        const QPointer<TULOSetupAccountViewController> guard(setup);
        type(setup->userNameCell()->textField(), userName);
        type(setup->passwordCell()->textField(), password);
        if (returnKey)
            QTest::keyClick(setup->passwordCell()->textField(), Qt::Key_Return);
        else
            QVERIFY(setup->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
        QVERIFY(setup->isVerifying());
        QVERIFY(!setup->userNameCell()->isEnabled());
        QVERIFY(!setup->passwordCell()->isEnabled());
        QVERIFY(!setup->signInCell()->isEnabled());
        QTRY_VERIFY(activity.isActive());

        if (!hadAccount) {
            // Saved, switched on, and back to the list.
            QTRY_COMPARE_WITH_TIMEOUT(m_fixture.navigation->viewControllers().size(), 1, TULOStoreTestWait);
            const std::optional<TULOAccount> account = store->accountForServiceIdentifier(TULOTestTwitter);
            QVERIFY(account.has_value());
            QCOMPARE(account->userName(), savedUserName);
            QCOMPARE(account->password(), password);
            QVERIFY(store->isAccountEnabledForServiceIdentifier(TULOTestTwitter));
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(TULOSettingsTestFixture::presentedAlert(setup), TULOStoreTestWait);
            TULOAlertController *alert = TULOSettingsTestFixture::presentedAlert(setup);
            QCOMPARE(alert->title(), TULOSettingsTestText(QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC")));
            QCOMPARE(alert->message(), TULOSettingsTestText(messageKey));
            // Still here, usable again, with what was typed.
            QVERIFY(guard);
            QVERIFY(!setup->isVerifying());
            QVERIFY(setup->userNameCell()->isEnabled());
            QVERIFY(setup->signInCell()->isEnabled());
            QCOMPARE(setup->userNameCell()->textField()->text(), userName);
            const std::optional<TULOAccount> kept = store->accountForServiceIdentifier(TULOTestTwitter);
            QVERIFY(kept.has_value());
            QCOMPARE(kept->userName(), QStringLiteral("@before"));
            QCOMPARE(kept->password(), QStringLiteral("kept"));
            QVERIFY(!store->isAccountEnabledForServiceIdentifier(TULOTestTwitter));
        }
        QTRY_VERIFY(!activity.isActive());
    }

    // Escape while the service has not answered: back to the list at once, and the late answer
    // links nothing.
    void cancelMidRequest()
    {
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        TULONetworkActivityIndicator activity(TULONotificationCenter::defaultCenter());
        m_fixture.sandbox.addFault(QStringLiteral("/twitter"), TULOSandboxFault::delay(1500));
        TULOSetupAccountViewController *setup = pushSetup(store.get());
        type(setup->userNameCell()->textField(), TULOSandboxSocial::twitterUserName());
        type(setup->passwordCell()->textField(), TULOSandboxSocial::twitterPassword());
        QVERIFY(setup->performDefaultAction());
        QVERIFY(setup->isVerifying());
        QTRY_VERIFY(activity.isActive());
        QVERIFY(m_fixture.navigation->performCancelAction());
        QTRY_COMPARE(m_fixture.navigation->viewControllers().size(), 1);
        QTRY_VERIFY(!activity.isActive());
        // Let the delayed answer arrive: it must change nothing.
        QTest::qWait(2500);
        QVERIFY(!store->accountForServiceIdentifier(TULOTestTwitter).has_value());
    }

    void doneWithTheSamePasswordMakesNoRequest()
    {
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        const TULOAccount account = TULOSettingsTestFixture::twitterAccount();
        QVERIFY(store->saveAccount(account));
        TULOManageAccountViewController *manage = presentManage(store.get(), account);
        QCOMPARE(manage->userNameCell()->textField()->text(), account.userName());
        QVERIFY(manage->userNameCell()->textField()->isReadOnly());
        QCOMPARE(manage->passwordCell()->textField()->text(), account.password());
        QVERIFY(manage->doneButton()->isEnabled());
        const int requests = m_fixture.sandbox.requestCount(QStringLiteral("/twitter"));
        QVERIFY(manage->doneButton()->trigger());
        QTRY_VERIFY(!m_list->presentedViewController());
        QCOMPARE(m_fixture.sandbox.requestCount(QStringLiteral("/twitter")), requests);
    }

    void changedPassword_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("the right password") << TULOSandboxSocial::twitterPassword() << true;
        QTest::newRow("a wrong password") << QStringLiteral("wrong") << false;
    }
    void changedPassword()
    {
        QFETCH(QString, typed);
        QFETCH(bool, accepted);
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        // Stored with a stale password and token.
        const TULOAccount account = TULOSettingsTestFixture::twitterAccount(QStringLiteral("@quillondemo"), QStringLiteral("stale"));
        QVERIFY(store->saveAccount(account));
        TULOManageAccountViewController *manage = presentManage(store.get(), account);
        type(manage->passwordCell()->textField(), QString());
        QVERIFY(!manage->doneButton()->isEnabled());
        type(manage->passwordCell()->textField(), typed);
        QVERIFY(manage->doneButton()->isEnabled());
        QVERIFY(manage->doneButton()->trigger());
        QVERIFY(manage->isVerifying());
        QVERIFY(!manage->doneButton()->isEnabled());
        QVERIFY(!manage->cancelButton()->isEnabled());
        QVERIFY(!manage->deleteCell()->isEnabled());
        QVERIFY(!manage->passwordCell()->textField()->isEnabled());
        if (accepted) {
            QTRY_VERIFY_WITH_TIMEOUT(!m_list->presentedViewController(), TULOStoreTestWait);
            const std::optional<TULOAccount> stored = store->accountForServiceIdentifier(TULOTestTwitter);
            QCOMPARE(stored->password(), typed);
            QVERIFY(stored->authenticationToken() != account.authenticationToken());
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(TULOSettingsTestFixture::presentedAlert(manage), TULOStoreTestWait);
            QCOMPARE(TULOSettingsTestFixture::presentedAlert(manage)->message(),
                     TULOSettingsTestText(QStringLiteral("ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS")));
            QVERIFY(!manage->isVerifying());
            QVERIFY(manage->doneButton()->isEnabled());
            QVERIFY(manage->cancelButton()->isEnabled());
            QVERIFY(manage->deleteCell()->isEnabled());
            const std::optional<TULOAccount> stored = store->accountForServiceIdentifier(TULOTestTwitter);
            QCOMPARE(stored->password(), QStringLiteral("stale"));
            QCOMPARE(stored->authenticationToken(), account.authenticationToken());
        }
    }

    void deleteAccount_data()
    {
        QTest::addColumn<bool>("confirm");
        QTest::addColumn<bool>("refused");
        QTest::newRow("confirmed") << true << false;
        QTest::newRow("cancelled") << false << false;
        QTest::newRow("refused by the account database") << true << true;
    }
    void deleteAccount()
    {
        QFETCH(bool, confirm);
        QFETCH(bool, refused);
        auto store = m_fixture.makeStore(TULOSettingsTestFixture::newAuthor());
        const TULOAccount account = TULOSettingsTestFixture::twitterAccount();
        QVERIFY(store->saveAccount(account));
        TULOAccountDatabase *database = TULOAccountDatabase::sharedDatabase();
        // A temporary trigger lives on the store's own connection only, as a full disk would.
        if (refused)
            QVERIFY(database->executeSQL(QStringLiteral(
                "CREATE TEMP TRIGGER refuse_delete BEFORE DELETE ON account BEGIN SELECT RAISE(ABORT, 'disk full'); END")));
        const auto dropTrigger = qScopeGuard([database] {
            database->executeSQL(QStringLiteral("DROP TRIGGER IF EXISTS refuse_delete"));
        });
        TULOManageAccountViewController *manage = presentManage(store.get(), account);
        QVERIFY(manage->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
        TULOAlertController *sheet = TULOSettingsTestFixture::presentedAlert(manage);
        QVERIFY(sheet);
        QCOMPARE(sheet->preferredStyle(), TULOAlertControllerStyleActionSheet);
        QCOMPARE(sheet->title(), TULOSettingsTestText(QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_TITLE")));
        QCOMPARE(sheet->actions().size(), 2);
        QVERIFY(sheet->triggerAction(sheet->actions().at(confirm ? 0 : 1)));
        if (refused) {
            // The sheet leaves, the error takes its place.
            const auto shownTitle = [manage] {
                TULOAlertController *alert = TULOSettingsTestFixture::presentedAlert(manage);
                return alert ? alert->title() : QString();
            };
            QTRY_COMPARE(shownTitle(), TULOSettingsTestText(QStringLiteral("ACCOUNT_MANAGE_DELETE_ERROR_TITLE")));
            QVERIFY(m_list->presentedViewController());
            QCOMPARE(store->accountForServiceIdentifier(TULOTestTwitter)->password(), account.password());
        } else if (confirm) {
            QTRY_VERIFY(!m_list->presentedViewController());
            QVERIFY(!store->accountForServiceIdentifier(TULOTestTwitter).has_value());
        } else {
            QTRY_VERIFY(!manage->presentedViewController());
            QVERIFY(m_list->presentedViewController());
            QVERIFY(store->accountForServiceIdentifier(TULOTestTwitter).has_value());
        }
    }

    // The confirmation names the service and the kind of device; a computer gets its own text
    // in every language.
    void deleteConfirmationMessage_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<int>("deviceClass");
        QTest::addColumn<QString>("key");
        QTest::newRow("twitter, handset") << TULOTestTwitter << 1 << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_HANDSET");
        QTest::newRow("facebook, player") << TULOTestFacebook << 2 << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_PLAYER");
        QTest::newRow("twitter, tablet") << TULOTestTwitter << 3 << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_TABLET");
        QTest::newRow("twitter, computer") << TULOTestTwitter << 0 << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_");
        QTest::newRow("facebook, computer") << TULOTestFacebook << 0 << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_");
        QTest::newRow("another service counts as twitter") << QStringLiteral("other") << 9
                                                           << QStringLiteral("ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_");
    }
    void deleteConfirmationMessage()
    {
        QFETCH(QString, service);
        QFETCH(int, deviceClass);
        QFETCH(QString, key);
        QCOMPARE(TULOManageAccountViewController::deleteConfirmationMessageKey(service, deviceClass), key);
        for (const char *locale : {"en_GB", "de_DE"}) {
            TULOClientContext context{QVariantMap{{QString::fromLatin1(TULOClientConfigurationLocaleKey), QString::fromLatin1(locale)}}};
            const QString text = TULOLocalization::defaultLocalization()->localizedStringForKey(
                key, QString::fromLatin1(TULOStringsTablePostComposition), context);
            QVERIFY2(text != key, locale);
        }
    }
};

QTEST_MAIN(TestAccountScreens)
#include "tst_accountscreens.moc"

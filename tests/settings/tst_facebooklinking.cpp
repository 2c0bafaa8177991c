#include "settingstestsupport.h"
#include "../accounts/signinformtestsupport.h"

#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/platform/ui/settingstableviewcell.h>
#include <Quillon/platform/ui/tableview.h>
#include <Quillon/settings/facebookpageselectionviewcontroller.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>

#include <QApplication>
#include <QWebEnginePage>
#include <QWebEngineView>


// Linking Facebook from the settings list, end to end offscreen: the web sign-in against the
// sandbox's dialog, the list turning into switch and destination rows, and a page chosen.
class TestFacebookLinking : public QObject
{
    Q_OBJECT

    TULOSettingsTestFixture m_fixture;

    static TULOFacebookAuthenticationViewController *presentedSignIn(TULOViewController *list)
    {
        auto *navigation = qobject_cast<TULONavigationController *>(list->presentedViewController());
        return navigation ? qobject_cast<TULOFacebookAuthenticationViewController *>(navigation->topViewController()) : nullptr;
    }

    // Waits for the dialog's form, fills it in and presses `button`.
    static bool press(TULOFacebookAuthenticationViewController *signIn, const char *button)
    {
        return TULORunInSignInForm(signIn->view()->findChild<QWebEngineView *>()->page(),
                                   TULOSignInFormScript(TULOSandboxSocial::facebookEmail(),
                                                        TULOSandboxSocial::facebookPassword(), button));
    }

    static TULOSettingsTableViewCell *cellAt(TULOSocialServiceSetupViewController *list, int row)
    {
        return qobject_cast<TULOSettingsTableViewCell *>(list->tableView()->cellForRowAtIndexPath(TULOIndexPath(0, row)));
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_fixture.start()); }
    void cleanupTestCase() { m_fixture.stop(); }
    void cleanup() { m_fixture.closeWindow(); }

    void linkFromTheList_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("linked");
        QTest::addColumn<bool>("alert");
        QTest::newRow("signed in") << QStringLiteral("login") << true << false;
        QTest::newRow("declined in the dialog") << QStringLiteral("decline") << false << true;
        QTest::newRow("cancelled") << QStringLiteral("cancel") << false << false;
    }
    void linkFromTheList()
    {
#ifdef QUILLON_SANITIZE_BUILD
        // As in the web sign-in's own tests: WebEngine's Chromium aborts under AddressSanitizer
        // before any of our code runs; the debug build covers this flow.
        QSKIP("WebEngine's Chromium aborts under AddressSanitizer; covered by the debug build");
#endif
        QFETCH(QString, action);
        QFETCH(bool, linked);
        QFETCH(bool, alert);
        TULOPreferences::frameworkPreferences().setBool(TULOAccountStore::autopostingEnabledKey(TULOTestFacebook), false);
        const TULOPostAuthor author = TULOSettingsTestFixture::newAuthor();
        auto store = m_fixture.makeStore(author);
        auto *list = new TULOSocialServiceSetupViewController(TULOConfigurationWithServices({TULOTestFacebook}), store.get());
        m_fixture.show(list, QSize(520, 700));
        QCOMPARE(list->tableView()->numberOfRowsInSection(0), 1);

        QVERIFY(list->tableView()->activateRowAtIndexPath(TULOIndexPath(0, 0)));
        // No screen of the list's own: the row is let go at once.
        QVERIFY(!list->tableView()->indexPathForSelectedRow());
        QTRY_VERIFY_WITH_TIMEOUT(presentedSignIn(list), TULOStoreTestWait);
        TULOFacebookAuthenticationViewController *signIn = presentedSignIn(list);
        if (action == QLatin1String("cancel"))
            QVERIFY(signIn->performCancelAction());
        else
            QVERIFY(press(signIn, action == QLatin1String("login") ? "login_button" : "cancel_button"));

        if (linked) {
            QTRY_COMPARE_WITH_TIMEOUT(list->tableView()->numberOfRowsInSection(0), 2, TULOStoreTestWait);
            QTRY_VERIFY_WITH_TIMEOUT(cellAt(list, 0)->switchValue(), TULOStoreTestWait);
            QCOMPARE(cellAt(list, 1)->textValue(), TULOSettingsTestText(QStringLiteral("EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT")));
            QTRY_VERIFY_WITH_TIMEOUT(!list->presentedViewController(), TULOStoreTestWait);

            // Then a page: the destination row names it.
            QVERIFY(list->tableView()->activateRowAtIndexPath(TULOIndexPath(0, 1)));
            auto *navigation = qobject_cast<TULONavigationController *>(list->presentedViewController());
            QVERIFY(navigation);
            auto *pages = qobject_cast<TULOFacebookPageSelectionViewController *>(navigation->topViewController());
            QVERIFY(pages);
            QVERIFY(pages->tableView()->numberOfSections() == 3);
            QVERIFY(pages->tableView()->activateRowAtIndexPath(TULOIndexPath(1, 0)));
            QVERIFY(pages->performDefaultAction());
            const QString firstPage = TULOSandboxSocial::facebookPages().at(0).toObject().value(QStringLiteral("name")).toString();
            QTRY_COMPARE_WITH_TIMEOUT(cellAt(list, 1)->textValue(), firstPage, TULOStoreTestWait);
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(!presentedSignIn(list), TULOStoreTestWait);
        if (alert) {
            QTRY_VERIFY_WITH_TIMEOUT(TULOSettingsTestFixture::presentedAlert(list), TULOStoreTestWait);
            QCOMPARE(TULOSettingsTestFixture::presentedAlert(list)->title(),
                     TULOSettingsTestText(QStringLiteral("ACCOUNT_SETUP_ERROR_TITLE_GENERIC")));
        } else {
            // Nothing to tell after the user's own cancel.
            QTest::qWait(300);
            QVERIFY(!list->presentedViewController());
        }
        QCOMPARE(list->tableView()->numberOfRowsInSection(0), 1);
        QVERIFY(!store->accountForServiceIdentifier(TULOTestFacebook).has_value());
    }
};

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication application(argc, argv);
    TestFacebookLinking test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_facebooklinking.moc"

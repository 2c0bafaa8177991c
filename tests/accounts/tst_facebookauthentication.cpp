#include "accountrequeststestsupport.h"
#include "signinformtestsupport.h"

#include <Quillon/accounts/accountinforequestoperation.h>
#include <Quillon/accounts/websignin/facebookauthenticationwebviewcontroller.h>
#include <Quillon/accounts/facebookpermissions.h>
#include <Quillon/accounts/facebookuserregistrationoperation.h>
#include <Quillon/accounts/unscrambledstring_p.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>
#include "sandboxsocial.h"

#include <QApplication>
#include <QNetworkReply>
#include <QNetworkCookie>
#include <QUrlQuery>
#include <QWebEngineCookieStore>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>

// Chromium inside WebEngine trips AddressSanitizer on its own (a new/delete type mismatch in
// its network stack) as soon as a page is created, so tests that create one cannot run in the
// sanitizer build; everything else here runs in both.
#ifdef QUILLON_SANITIZE_BUILD
#define TULO_SKIP_WEBENGINE_UNDER_SANITIZER() \
    QSKIP("WebEngine's Chromium aborts under AddressSanitizer before any of our code runs; covered by the debug build")
#else
#define TULO_SKIP_WEBENGINE_UNDER_SANITIZER() \
    do {                                    \
    } while (false)
#endif

namespace {

struct Outcome
{
    int calls = 0;
    TULOError error;
    QString code;
};

} // namespace

class TestFacebookAuthentication : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.facebook")};

    static QString appId() { return TULOUnscrambledString(TULODeploymentConfiguration::current().scrambledFacebookAppId()); }

    std::unique_ptr<TULOFacebookAuthenticationWebViewController> newController(const std::shared_ptr<Outcome> &outcome)
    {
        auto controller = std::make_unique<TULOFacebookAuthenticationWebViewController>(appId(), TULOFacebookWritePermissions());
        controller->setAuthenticationCompletionBlock([outcome](const TULOError &error, const QString &code) {
            ++outcome->calls;
            outcome->error = error;
            outcome->code = code;
        });
        controller->view()->resize(480, 640);
        controller->view()->show();
        return controller;
    }

    bool runInDialog(TULOFacebookAuthenticationWebViewController *controller, const QString &script)
    {
        return TULORunInSignInForm(controller->webView()->page(), script);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        TULOClientContext::setDefaultContext(TULOSandboxContext(m_store));
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
    }
    void cleanup()
    {
        m_store.clearFaults();
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
    }

    void dialogURL_data()
    {
        QTest::addColumn<QStringList>("permissions");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("scope");
        QTest::newRow("write permissions") << TULOFacebookWritePermissions()
                                           << QStringList{QStringLiteral("client_id"), QStringLiteral("redirect_uri"), QStringLiteral("scope")}
                                           << QStringLiteral("manage_pages,publish_pages,publish_actions");
        QTest::newRow("read permission") << TULOFacebookReadPermissions()
                                         << QStringList{QStringLiteral("client_id"), QStringLiteral("redirect_uri"), QStringLiteral("scope")}
                                         << QStringLiteral("public_profile");
        QTest::newRow("no permissions") << QStringList() << QStringList{QStringLiteral("client_id"), QStringLiteral("redirect_uri")} << QString();
    }
    void dialogURL()
    {
        QFETCH(QStringList, permissions);
        QFETCH(QStringList, names);
        QFETCH(QString, scope);
        const QUrl url = TULOFacebookAuthenticationWebViewController::authenticationURLWithClientID(QStringLiteral("12 & 3"), permissions);
        QVERIFY(url.path().endsWith(QLatin1String("/dialog/oauth")));
        QCOMPARE(url.host(), m_store.baseUrl().host());
        const QUrlQuery query(url);
        QStringList seen;
        for (const auto &item : query.queryItems())
            seen.append(item.first);
        QCOMPARE(seen, names);
        QCOMPARE(query.queryItemValue(QStringLiteral("client_id"), QUrl::FullyDecoded), QStringLiteral("12 & 3"));
        const QUrl redirect(query.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded));
        QCOMPARE(redirect.path(), QStringLiteral("/facebook/authorization/"));
        QCOMPARE(redirect.scheme(), QStringLiteral("http"));
        QCOMPARE(query.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded), scope);
    }

    void redirects_data()
    {
        QTest::addColumn<QString>("address"); // "{base}" is the store's address
        QTest::addColumn<bool>("loads");
        QTest::addColumn<QString>("code");
        QTest::addColumn<qint64>("errorCode"); // -1: no error
        QTest::newRow("code") << QStringLiteral("{base}/facebook/authorization/?code=abc") << false << QStringLiteral("abc") << qint64(-1);
        QTest::newRow("path in other case") << QStringLiteral("{base}/Facebook/AUTHORIZATION/?code=abc") << false << QStringLiteral("abc") << qint64(-1);
        QTest::newRow("query item named CODE") << QStringLiteral("{base}/facebook/authorization/?state=1&CODE=xyz") << false
                                               << QStringLiteral("xyz") << qint64(-1);
        QTest::newRow("first code wins") << QStringLiteral("{base}/facebook/authorization/?Code=one&code=two") << false
                                         << QStringLiteral("one") << qint64(-1);
        QTest::newRow("no code") << QStringLiteral("{base}/facebook/authorization/?error=access_denied") << false << QString() << qint64(1);
        QTest::newRow("code without value") << QStringLiteral("{base}/facebook/authorization/?code") << false << QString() << qint64(1);
        QTest::newRow("same path on another host") << QStringLiteral("http://elsewhere.example/facebook/authorization/?code=abc") << true
                                                   << QString() << qint64(-1);
        QTest::newRow("another path") << QStringLiteral("{base}/facebook/authorization/more?code=abc") << true << QString() << qint64(-1);
        QTest::newRow("the dialog itself") << QStringLiteral("{base}/facebook/dialog/oauth?client_id=1") << true << QString() << qint64(-1);
    }
    void redirects()
    {
        QFETCH(QString, address);
        QFETCH(bool, loads);
        QFETCH(QString, code);
        QFETCH(qint64, errorCode);
        auto outcome = std::make_shared<Outcome>();
        TULOFacebookAuthenticationWebViewController controller(appId(), TULOFacebookWritePermissions());
        controller.setAuthenticationCompletionBlock([outcome](const TULOError &error, const QString &value) {
            ++outcome->calls;
            outcome->error = error;
            outcome->code = value;
        });
        const QUrl url(QString(address).replace(QStringLiteral("{base}"), m_store.baseUrl().toString()));
        QCOMPARE(controller.webViewShouldStartLoadWithRequest(url), loads);
        if (loads) {
            QTest::qWait(50);
            QCOMPARE(outcome->calls, 0);
            return;
        }
        QTRY_COMPARE(outcome->calls, 1);
        QCOMPARE(outcome->code, code);
        if (errorCode < 0) {
            QVERIFY(outcome->error.isNull());
        } else {
            QCOMPARE(outcome->error.domain(), TULOFacebookAuthenticationErrorDomain);
            QCOMPARE(outcome->error.code(), errorCode);
        }
        // The refused load's failure that follows is not a second ending.
        controller.webViewDidFailLoadWithError(TULOError(TULONetworkErrorDomain, -3));
        QCOMPARE(outcome->calls, 1);
    }

    void cancelEndsOnce()
    {
        auto outcome = std::make_shared<Outcome>();
        TULOFacebookAuthenticationWebViewController controller(appId(), TULOFacebookWritePermissions());
        controller.setAuthenticationCompletionBlock([outcome](const TULOError &error, const QString &code) {
            ++outcome->calls;
            outcome->error = error;
            outcome->code = code;
        });
        controller.cancelAuthenticationProcess();
        QCOMPARE(outcome->calls, 1);
        QVERIFY(!controller.isAuthenticating());
        QCOMPARE(outcome->error.domain(), TULOFacebookAuthenticationErrorDomain);
        QCOMPARE(outcome->error.code(), qint64(TULOFacebookAuthenticationErrorCancelled));
        QVERIFY(outcome->code.isNull());
        // A load failure after the end is not a second one.
        controller.webViewDidFailLoadWithError(TULOError(TULONetworkErrorDomain, -3));
        QCOMPARE(outcome->calls, 1);
    }

    void cancelButton()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        QVERIFY(controller->isAuthenticating());
        TULOBarButtonItem *cancel = controller->navigationItem()->leftBarButtonItem();
        QVERIFY(cancel);
        cancel->trigger();
        QCOMPARE(outcome->calls, 1);
        QVERIFY(!controller->isAuthenticating());
        QCOMPARE(outcome->error.domain(), TULOFacebookAuthenticationErrorDomain);
        QCOMPARE(outcome->error.code(), qint64(TULOFacebookAuthenticationErrorCancelled));
        QVERIFY(outcome->code.isNull());
        QTest::qWait(200);
        QCOMPARE(outcome->calls, 1);
    }

    // Through the dialog page to a linked account at the store.
    void signInEndToEnd()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        QVERIFY(TULOSignInDemoAccount(m_store));
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        controller->startAuthenticationProcess(); // ignored while one runs
        QVERIFY(runInDialog(controller.get(), TULOSignInFormScript(TULOSandboxSocial::facebookEmail(), TULOSandboxSocial::facebookPassword(), "login_button")));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls, 1, TULOStoreTestWait);
        QVERIFY2(outcome->error.isNull(), qPrintable(outcome->error.localizedDescription()));
        QVERIFY(!outcome->code.isEmpty());
        QVERIFY(!controller->isAuthenticating());
        QCOMPARE(m_store.requestCount(QStringLiteral("/facebook/dialog/oauth")), 2);
        QTRY_VERIFY(!controller->activityIndicator()->isAnimating());

        TULOCallbackResult<bool> registered;
        auto registration = std::make_shared<TULOFacebookUserRegistrationOperation>(outcome->code, TULODemoArtistAuthor());
        registration->setOutputBlock([&registered](bool success, const TULOError &error) { registered.deliver(success, error); });
        m_queue.addOperation(registration);
        QTRY_COMPARE_WITH_TIMEOUT(registered.calls(), 1, TULOStoreTestWait);
        QVERIFY2(registered.value(), qPrintable(registered.error().localizedDescription()));

        TULOCallbackResult<std::optional<TULOAccount>> info;
        auto request = std::make_shared<TULOAccountInfoRequestOperation>(QStringLiteral("facebook"), TULODemoArtistAuthor());
        request->setOutputBlock([&info](const std::optional<TULOAccount> &account, const TULOError &error) { info.deliver(account, error); });
        m_queue.addOperation(request);
        QTRY_COMPARE_WITH_TIMEOUT(info.calls(), 1, TULOStoreTestWait);
        QVERIFY(info.value());
        QCOMPARE(info.value()->userName(), TULOSandboxSocial::facebookUserName());
        QCOMPARE(info.value()->pages().size(), 2);

        // A code is good for one registration only.
        TULOCallbackResult<bool> again;
        auto second = std::make_shared<TULOFacebookUserRegistrationOperation>(outcome->code, TULODemoArtistAuthor());
        second->setOutputBlock([&again](bool success, const TULOError &error) { again.deliver(success, error); });
        m_queue.addOperation(second);
        QTRY_COMPARE_WITH_TIMEOUT(again.calls(), 1, TULOStoreTestWait);
        QVERIFY(!again.value());
    }

    // A second sign-in must not reuse the first one's session: the site's cookies, stored before
    // this screen existed or still on their way into the store, are gone before the dialog
    // loads. Cookies of other domains stay.
    void siteCookiesGoBeforeTheDialogLoads_data()
    {
        QTest::addColumn<bool>("settled");
        QTest::newRow("remembered from an earlier sign-in") << true;
        QTest::newRow("still being stored") << false;
    }
    void siteCookiesGoBeforeTheDialogLoads()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        QFETCH(bool, settled);
        // The dialog on a host name of its own (*.localhost is loopback), so that the site can
        // have domain cookies, as ".facebook.com" does.
        TULODeploymentConfiguration configuration;
        configuration.setValue(QString::fromLatin1(TULODeploymentFacebookDialogURLKey),
                               QStringLiteral("http://www.quillon.localhost:%1/facebook/dialog/oauth").arg(m_store.baseUrl().port()));
        TULODeploymentConfiguration::setCurrent(configuration);

        auto first = newController(std::make_shared<Outcome>());
        QWebEngineCookieStore *cookies = first->webView()->page()->profile()->cookieStore();
        QList<QByteArray> added;
        QList<QByteArray> removed;
        QObject listening; // ends the connections with this test
        connect(cookies, &QWebEngineCookieStore::cookieAdded, &listening, [&](const QNetworkCookie &cookie) { added.append(cookie.name()); });
        connect(cookies, &QWebEngineCookieStore::cookieRemoved, &listening, [&](const QNetworkCookie &cookie) { removed.append(cookie.name()); });
        const QByteArray row = settled ? "settled" : "unsettled";
        const QByteArray session = "session-" + row;   // the site's: goes
        const QByteArray elsewhere = "elsewhere-" + row; // another domain's: stays
        const QByteArray host = "host-" + row;           // the dialog host's own: stays, and shows the page sees cookies
        QNetworkCookie cookie(session, "old");
        cookie.setDomain(QStringLiteral(".quillon.localhost"));
        cookies->setCookie(cookie);
        cookie = QNetworkCookie(elsewhere, "1");
        cookie.setDomain(QStringLiteral(".elsewhere.localhost"));
        cookies->setCookie(cookie);
        cookies->setCookie(QNetworkCookie(host, "1"), QUrl(QStringLiteral("http://www.quillon.localhost/")));
        if (settled)
            QTRY_VERIFY_WITH_TIMEOUT(added.contains(session) && added.contains(elsewhere) && added.contains(host), TULOStoreTestWait);
        first.reset();

        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        QVERIFY(runInDialog(controller.get(), QString()));
        QString pageCookies;
        bool answered = false;
        controller->webView()->page()->runJavaScript(QStringLiteral("document.cookie"), [&](const QVariant &value) {
            pageCookies = value.toString();
            answered = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(answered, TULOStoreTestWait);
        QVERIFY2(!pageCookies.contains(QString::fromLatin1(session)), qPrintable(pageCookies));
        QVERIFY2(pageCookies.contains(QString::fromLatin1(host)), qPrintable(pageCookies));
        QVERIFY(removed.contains(session));
        QVERIFY(!removed.contains(elsewhere));
        QVERIFY(!removed.contains(host));
        QCOMPARE(outcome->calls, 0);
        controller->cancelAuthenticationProcess();
    }

    void declineInDialog()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        QVERIFY(runInDialog(controller.get(), TULOSignInFormScript(QString(), QString(), "cancel_button")));
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls, 1, TULOStoreTestWait);
        QCOMPARE(outcome->error.domain(), TULOFacebookAuthenticationErrorDomain);
        QCOMPARE(outcome->error.code(), qint64(TULOFacebookAuthenticationErrorNoCode));
        QVERIFY(outcome->code.isNull());
    }

    void wrongPasswordStaysInDialog()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        const int before = m_store.requestCount(QStringLiteral("/facebook/dialog/oauth"));
        QVERIFY(runInDialog(controller.get(), TULOSignInFormScript(TULOSandboxSocial::facebookEmail(), QStringLiteral("wrong"), "login_button")));
        QTRY_COMPARE_WITH_TIMEOUT(m_store.requestCount(QStringLiteral("/facebook/dialog/oauth")), before + 2, TULOStoreTestWait);
        QVERIFY(runInDialog(controller.get(), QString()));
        QCOMPARE(outcome->calls, 0);
        QVERIFY(controller->isAuthenticating());
        controller->cancelAuthenticationProcess();
        QCOMPARE(outcome->calls, 1);
        QCOMPARE(outcome->error.code(), qint64(TULOFacebookAuthenticationErrorCancelled));
    }

    void dialogNeverLoads()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        m_store.addFault(QStringLiteral("/facebook/dialog"), TULOSandboxFault::delay(60000));
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->setLoadTimeout(1500);
        controller->startAuthenticationProcess();
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls, 1, TULOStoreTestWait);
        QCOMPARE(outcome->error.domain(), TULONetworkErrorDomain);
        QCOMPARE(outcome->error.code(), qint64(QNetworkReply::TimeoutError));
        QVERIFY(outcome->code.isNull());
        QVERIFY(!controller->isAuthenticating());
        QTest::qWait(300);
        QCOMPARE(outcome->calls, 1);
    }

    void dialogUnreachable()
    {
        TULO_SKIP_WEBENGINE_UNDER_SANITIZER();
        TULODeploymentConfiguration configuration;
        configuration.setValue(QString::fromLatin1(TULODeploymentFacebookDialogURLKey), QStringLiteral("http://127.0.0.1:1/dialog/oauth"));
        TULODeploymentConfiguration::setCurrent(configuration);
        auto outcome = std::make_shared<Outcome>();
        auto controller = newController(outcome);
        controller->startAuthenticationProcess();
        QTRY_COMPARE_WITH_TIMEOUT(outcome->calls, 1, TULOStoreTestWait);
        QCOMPARE(outcome->error.domain(), TULONetworkErrorDomain);
        QVERIFY(outcome->error.code() != 0);
        QVERIFY(!controller->isAuthenticating());
    }
};

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication application(argc, argv);
    TestFacebookAuthentication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_facebookauthentication.moc"

#include "../store/storetestsupport.h"

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/twitterauthenticationrequest.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/internalinconsistencyexception.h>
#include "sandboxsocial.h"

#include <QNetworkReply>
#include <QThread>

class TestTwitterAuthentication : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;

    struct Answer
    {
        std::optional<TULOAccount> account;
        TULOError error;
        QThread *thread = nullptr;
    };

    std::shared_ptr<TULOCallbackResult<Answer>> authenticate(const QString &name, const QString &password)
    {
        auto result = std::make_shared<TULOCallbackResult<Answer>>();
        TULOTwitterAuthenticationRequest request(name, password);
        // The request object may go away at once: the attempt carries on without it.
        request.startWithResponseBlock([result](const std::optional<TULOAccount> &account, const TULOError &error) {
            result->deliver({account, error, QThread::currentThread()}, error);
        });
        return result;
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
        m_store.social()->setConsumerSecret(TULOTwitterAuthenticationRequest::consumerSecret());
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
    }

    void signsInWithNameAndPassword()
    {
        const auto result = authenticate(TULOSandboxSocial::twitterUserName(), TULOSandboxSocial::twitterPassword());
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        const Answer answer = result->value();
        QVERIFY2(answer.error.isNull(), qPrintable(answer.error.localizedDescription()));
        QVERIFY(answer.account);
        QVERIFY(answer.thread != QThread::currentThread());
        QCOMPARE(answer.account->serviceIdentifier(), QString::fromLatin1(TULOServiceIdentifierTwitter));
        QCOMPARE(answer.account->userName(), QLatin1Char('@') + TULOSandboxSocial::twitterUserName());
        QVERIFY(answer.account->authenticationToken().startsWith(QLatin1String("4242-")));
        QVERIFY(!answer.account->authenticationSecret().isEmpty());
        QCOMPARE(answer.account->valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)).toString(), QStringLiteral("4242"));
        QCOMPARE(answer.account->password(), TULOSandboxSocial::twitterPassword());
        QCOMPARE(m_store.requestCount(QStringLiteral("/twitter/")), 1);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("consumerSecret");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("description");
        QTest::addColumn<int>("requests");
        const QString network = TULONetworkErrorDomain;
        QTest::newRow("bad password passes the transport error on")
            << TULOSandboxSocial::twitterUserName() << QStringLiteral("wrong") << QString() << network
            << qint64(QNetworkReply::AuthenticationRequiredError) << QString() << 1;
        QTest::newRow("login needs verification")
            << TULOSandboxSocial::twitterVerificationUserName() << TULOSandboxSocial::twitterPassword() << QString()
            << QString(TULOTwitterErrorDomain) << qint64(231) << QStringLiteral("User must verify login") << 1;
        QTest::newRow("signature with another consumer secret")
            << TULOSandboxSocial::twitterUserName() << TULOSandboxSocial::twitterPassword() << QStringLiteral("not the secret")
            << network << qint64(QNetworkReply::AuthenticationRequiredError) << QString() << 1;
        QTest::newRow("empty user name") << QString() << QStringLiteral("secret") << QString()
                                         << QString(TULOSystemAccountStoreErrorDomain) << qint64(3) << QString() << 0;
        QTest::newRow("empty password") << TULOSandboxSocial::twitterUserName() << QString() << QString()
                                        << QString(TULOSystemAccountStoreErrorDomain) << qint64(3) << QString() << 0;
    }
    void refusals()
    {
        QFETCH(QString, name);
        QFETCH(QString, password);
        QFETCH(QString, consumerSecret);
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        QFETCH(QString, description);
        QFETCH(int, requests);
        if (!consumerSecret.isNull())
            m_store.social()->setConsumerSecret(consumerSecret);
        const int before = m_store.requestCount(QStringLiteral("/twitter/"));
        const auto result = authenticate(name, password);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        const Answer answer = result->value();
        QVERIFY(!answer.account);
        QCOMPARE(answer.error.domain(), domain);
        QCOMPARE(answer.error.code(), code);
        if (!description.isNull())
            QCOMPARE(answer.error.localizedDescription(), description);
        QCOMPARE(m_store.requestCount(QStringLiteral("/twitter/")) - before, requests);
    }

    void unreachableService()
    {
        TULODeploymentConfiguration configuration;
        configuration.setValue(QString::fromLatin1(TULODeploymentTwitterAccessTokenURLKey), QStringLiteral("http://127.0.0.1:1/access_token"));
        TULODeploymentConfiguration::setCurrent(configuration);
        const auto result = authenticate(TULOSandboxSocial::twitterUserName(), TULOSandboxSocial::twitterPassword());
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(!result->value().account);
        QCOMPARE(result->value().error.domain(), TULONetworkErrorDomain);
        QCOMPARE(result->value().error.code(), qint64(QNetworkReply::ConnectionRefusedError));
    }

    void secondStartIsRefused()
    {
        TULOTwitterAuthenticationRequest request{QString(), QString()};
        int calls = 0;
        request.startWithResponseBlock([&calls](const std::optional<TULOAccount> &, const TULOError &) { ++calls; });
        QCOMPARE(calls, 1);
        try {
            request.startWithResponseBlock([&calls](const std::optional<TULOAccount> &, const TULOError &) { ++calls; });
            QFAIL("a second start went through");
        } catch (const TULOInternalInconsistencyException &exception) {
            QCOMPARE(exception.reason(), QStringLiteral("Response has already started"));
        }
        QCOMPARE(calls, 1);
    }

    // Replies of every shape, as the exchange hands them over.
    void replyShapes_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("transportFailed");
        QTest::addColumn<bool>("accountMade");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("description");
        const QString transport = TULONetworkErrorDomain;
        const QString twitter = TULOTwitterErrorDomain;
        const QString system = TULOSystemAccountStoreErrorDomain;
        QTest::newRow("all four fields") << QByteArray("oauth_token=t&oauth_token_secret=s&screen_name=abc&user_id=7") << 200 << false
                                         << true << QString() << qint64(0) << QString();
        QTest::newRow("screen name missing") << QByteArray("oauth_token=t&oauth_token_secret=s&user_id=7") << 200 << false << false
                                             << system << qint64(3) << QString();
        QTest::newRow("empty token") << QByteArray("oauth_token=&oauth_token_secret=s&screen_name=abc&user_id=7") << 200 << false
                                     << false << system << qint64(3) << QString();
        QTest::newRow("empty body") << QByteArray() << 200 << false << false << system << qint64(3) << QString();
        QTest::newRow("JSON instead of a form") << QByteArray("{\"oauth_token\": \"t\"}") << 200 << false << false << system << qint64(3)
                                                << QString();
        QTest::newRow("231 with message") << QByteArray(R"({"errors": [{"code": 231, "message": "Verify it"}]})") << 401 << true
                                          << false << twitter << qint64(231) << QStringLiteral("Verify it");
        QTest::newRow("231 without message") << QByteArray(R"({"errors": [{"code": 231}]})") << 401 << true << false << twitter
                                             << qint64(231) << QString();
        QTest::newRow("231 as a string") << QByteArray(R"({"errors": [{"code": "231", "message": 5}]})") << 401 << true << false
                                         << twitter << qint64(231) << QString();
        QTest::newRow("bad password code") << QByteArray(R"({"errors": [{"code": 32, "message": "Could not authenticate you."}]})")
                                           << 401 << true << false << transport << qint64(QNetworkReply::AuthenticationRequiredError)
                                           << QStringLiteral("transport");
        QTest::newRow("231 with another status") << QByteArray(R"({"errors": [{"code": 231}]})") << 403 << true << false << transport
                                                 << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
        QTest::newRow("HTML instead of JSON") << QByteArray("<html><body>Nope</body></html>") << 401 << true << false << transport
                                              << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
        QTest::newRow("errors empty") << QByteArray(R"({"errors": []})") << 401 << true << false << transport
                                      << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
        QTest::newRow("first error not a dictionary") << QByteArray(R"({"errors": [231]})") << 401 << true << false << transport
                                                      << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
        QTest::newRow("errors not a list") << QByteArray(R"({"errors": {"code": 231}})") << 401 << true << false << transport
                                           << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
        QTest::newRow("a bare fragment") << QByteArray("231") << 401 << true << false << transport
                                         << qint64(QNetworkReply::AuthenticationRequiredError) << QStringLiteral("transport");
    }
    void replyShapes()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(bool, transportFailed);
        QFETCH(bool, accountMade);
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        QFETCH(QString, description);
        const TULOError transportError = transportFailed
            ? TULOError::withDescription(TULONetworkErrorDomain, QNetworkReply::AuthenticationRequiredError,
                                         QStringLiteral("transport"))
            : TULOError();
        const auto [account, error] = TULOTwitterAuthenticationRequest::resultForReply(body, status, transportError, QStringLiteral("pw"));
        QCOMPARE(account.has_value(), accountMade);
        QCOMPARE(error.isNull(), accountMade);
        if (accountMade) {
            QCOMPARE(account->userName(), QStringLiteral("@abc"));
            QCOMPARE(account->authenticationToken(), QStringLiteral("t"));
            QCOMPARE(account->authenticationSecret(), QStringLiteral("s"));
            QCOMPARE(account->password(), QStringLiteral("pw"));
            return;
        }
        QCOMPARE(error.domain(), domain);
        QCOMPARE(error.code(), code);
        if (description.isNull())
            QVERIFY(!error.userInfo().contains(QString::fromLatin1(TULOLocalizedDescriptionKey)) || domain == TULOSystemAccountStoreErrorDomain);
        else
            QCOMPARE(error.localizedDescription(), description);
    }
};

QTEST_GUILESS_MAIN(TestTwitterAuthentication)
#include "tst_twitterauthentication.moc"

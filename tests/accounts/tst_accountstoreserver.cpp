#include "accountrequeststestsupport.h"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/store/storeerror.h>
#include "sandboxsocial.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUuid>

#include <thread>

static const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
static const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);

static QJsonObject linkedFacebookInfo(const QString &preferredPage = QStringLiteral("p2"))
{
    return QJsonObject{
        {QStringLiteral("handle"), QStringLiteral("Ann Page")},
        {QStringLiteral("accountId"), QStringLiteral("5501")},
        {QStringLiteral("facebookPages"),
            QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("p1")}, {QStringLiteral("name"), QStringLiteral("Ann Live")}},
                       QJsonObject{{QStringLiteral("id"), QStringLiteral("p2")}, {QStringLiteral("name"), QStringLiteral("Ann Records")}}}},
        {QStringLiteral("pageId"), preferredPage},
    };
}

// The store's conversations with the store server: account information, unlinking, Twitter
// sign-in and renewal, token registration and the page choice, against the sandbox store.
class TestAccountStoreServer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    TULOSandboxStore m_sandbox;

    TULOPostAuthor newAuthor()
    {
        return TULOPostAuthor(QUuid::createUuid().toString(QUuid::Id128).left(12), QStringLiteral("Artist"),
                              QStringLiteral("artist"));
    }

    void link(const TULOPostAuthor &author, const QString &service, const QJsonValue &info)
    {
        m_sandbox.social()->setAccountInfo(TULOPostAuthor::queryKeyForAuthorType(author.authorType()), author.identifier(),
                                           service, info);
    }

    // A store whose first account-information answer has been applied.
    std::unique_ptr<TULOAccountStore> makeStore(const TULOPostAuthor &author, int timeout = 5000)
    {
        auto store = std::make_unique<TULOAccountStore>(author, TULOSandboxContext(m_sandbox, timeout));
        QSignalSpy finished(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        if (!finished.wait(TULOStoreTestWait))
            qWarning("no account information answer");
        return store;
    }

    static bool refresh(TULOAccountStore *store, TULOError *error)
    {
        QSignalSpy finished(store, &TULOAccountStore::accountInfoRequestDidFinish);
        store->refreshFacebookAccountInfo();
        if (!finished.wait(TULOStoreTestWait))
            return false;
        *error = finished.first().at(1).value<TULOError>();
        return true;
    }

    // A Twitter account as the stand-in signs it in, with a token it knows.
    std::optional<TULOAccount> twitterSignIn(TULOAccountStore *store, const QString &password)
    {
        TULOCallbackResult<std::optional<TULOAccount>> result;
        store->verifyUserName(TULOSandboxSocial::twitterUserName(), password, twitter,
            [&result](const std::optional<TULOAccount> &account, const TULOError &error) { result.deliver(account, error); });
        if (!QTest::qWaitFor([&] { return result.calls() == 1; }, TULOStoreTestWait))
            return std::nullopt;
        return result.value();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("data"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("config"))));
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
        QVERIFY(m_sandbox.start());
        TULOClientContext::setDefaultContext(TULOSandboxContext(m_sandbox));
        QVERIFY(TULOSignInDemoAccount(m_sandbox));
    }
    void cleanupTestCase() { m_sandbox.stop(); }
    void cleanup()
    {
        m_sandbox.clearFaults();
        m_sandbox.social()->clearCannedReplies();
    }

    void facebookAccountArrivesFromTheStore()
    {
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo());
        auto store = makeStore(author);
        const std::optional<TULOAccount> account = store->accountForServiceIdentifier(facebook);
        QVERIFY(account.has_value());
        QCOMPARE(account->userName(), QStringLiteral("Ann Page"));
        QCOMPARE(account->pages().size(), 2);
        QCOMPARE(account->preferredPage()->name(), QStringLiteral("Ann Records"));
        // Another author of the same sandbox has none.
        auto other = makeStore(newAuthor());
        QVERIFY(!other->accountForServiceIdentifier(facebook).has_value());
    }

    // What a later account-information answer does to an account the store already holds.
    void accountInfoRefresh_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QJsonValue>("info");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<bool>("failed");
        const QJsonValue unchanged = linkedFacebookInfo();
        QTest::newRow("unlinked at the store") << QString() << QJsonValue(QJsonObject()) << false << false;
        QTest::newRow("account id a number") << QString()
                                             << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("Ann Page")},
                                                                       {QStringLiteral("accountId"), 5501}})
                                             << false << false;
        QTest::newRow("account info not a dictionary") << QString() << QJsonValue(QStringLiteral("linked")) << true << true;
        QTest::newRow("server error") << QStringLiteral("status") << unchanged << true << true;
        QTest::newRow("malformed body") << QStringLiteral("malformed") << unchanged << true << true;
        QTest::newRow("values of the wrong types") << QStringLiteral("wrongTypes") << unchanged << true << true;
        QTest::newRow("connection dropped") << QStringLiteral("drop") << unchanged << true << true;
        QTest::newRow("slower than the request timeout") << QStringLiteral("delay") << unchanged << true << true;
    }
    void accountInfoRefresh()
    {
        QFETCH(QString, fault);
        QFETCH(QJsonValue, info);
        QFETCH(bool, kept);
        QFETCH(bool, failed);
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo());
        auto store = makeStore(author, 1500);
        QVERIFY(store->accountForServiceIdentifier(facebook).has_value());

        link(author, facebook, info);
        const QString path = QStringLiteral("/social/accountInfo");
        if (fault == QLatin1String("status"))
            m_sandbox.addFault(path, TULOSandboxFault::status(503));
        else if (fault == QLatin1String("malformed"))
            m_sandbox.addFault(path, TULOSandboxFault::malformedBody());
        else if (fault == QLatin1String("wrongTypes"))
            m_sandbox.addFault(path, TULOSandboxFault::wrongTypes());
        else if (fault == QLatin1String("drop"))
            m_sandbox.addFault(path, TULOSandboxFault::dropConnection());
        else if (fault == QLatin1String("delay"))
            m_sandbox.addFault(path, TULOSandboxFault::delay(6000));

        int changes = 0;
        const auto observer = TULONotificationCenter::defaultCenter()->addObserver(
            QString::fromLatin1(TULOAccountStoreDidChangeNotification), store.get(),
            [&changes](const TULONotification &) { ++changes; });
        TULOError error;
        QVERIFY(refresh(store.get(), &error));
        TULONotificationCenter::defaultCenter()->removeObserver(observer);
        QCOMPARE(!error.isNull(), failed);
        const std::optional<TULOAccount> account = store->accountForServiceIdentifier(facebook);
        QCOMPARE(account.has_value(), kept);
        if (kept)
            QCOMPARE(account->pages().size(), 2);
        // A replaced account is a change too; a failed request is none.
        QCOMPARE(changes, failed ? 0 : 1);
    }

    void unlink_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("removed");
        QTest::addColumn<bool>("errorExpected");
        QTest::newRow("facebook, store confirms") << facebook << 0 << QByteArray() << true << false;
        QTest::newRow("twitter, store confirms") << twitter << 0 << QByteArray() << true << false;
        QTest::newRow("facebook, store fails") << facebook << 500 << QByteArray(R"({"status":"failure"})") << false << true;
        QTest::newRow("twitter, store fails") << twitter << 503 << QByteArray(R"({"status":"failure"})") << false << true;
        QTest::newRow("success body with a failing status") << facebook << 500 << QByteArray(R"({"status":"success"})") << true << true;
        QTest::newRow("status not a string") << twitter << 200 << QByteArray(R"({"status":true})") << false << false;
    }
    void unlink()
    {
        QFETCH(QString, service);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, removed);
        QFETCH(bool, errorExpected);
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo());
        auto store = makeStore(author);
        if (service == twitter) {
            TULOAccount account(twitter);
            account.setUserName(QStringLiteral("@unlinkme"));
            account.setPassword(QStringLiteral("pw"));
            QVERIFY(store->saveAccount(account));
        }
        if (status)
            m_sandbox.social()->setCannedReply(QStringLiteral("/social/unlink"), status, body);
        const std::optional<TULOAccount> account = store->accountForServiceIdentifier(service);
        QVERIFY(account.has_value());
        bool done = false;
        bool success = false;
        TULOError error;
        store->unlinkAccount(*account, [&](bool unlinked, const TULOError &unlinkError) {
            QVERIFY(TULOIsMainThread());
            done = true;
            success = unlinked;
            error = unlinkError;
        });
        QTRY_VERIFY_WITH_TIMEOUT(done, TULOStoreTestWait);
        QCOMPARE(success, removed);
        QCOMPARE(!error.isNull(), errorExpected);
        if (errorExpected)
            QCOMPARE(error.domain(), TULOStoreErrorDomain);
        QCOMPARE(store->accountForServiceIdentifier(service).has_value(), !removed);
        if (service == twitter && !removed)
            QCOMPARE(store->accountForServiceIdentifier(twitter)->password(), QStringLiteral("pw"));
    }

    void verifyUserName_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("accountExpected");
        QTest::addColumn<QString>("errorDomain");
        QTest::addColumn<int>("errorCode");
        QTest::newRow("facebook is not verified by password")
            << facebook << TULOSandboxSocial::twitterPassword() << false << QString(TULOErrorDomain) << 7;
        QTest::newRow("twitter, right password") << twitter << TULOSandboxSocial::twitterPassword() << true << QString() << 0;
        QTest::newRow("twitter, empty password")
            << twitter << QString() << false << QString(TULOSystemAccountStoreErrorDomain) << 3;
    }
    void verifyUserName()
    {
        QFETCH(QString, service);
        QFETCH(QString, password);
        QFETCH(bool, accountExpected);
        QFETCH(QString, errorDomain);
        QFETCH(int, errorCode);
        auto store = makeStore(newAuthor());
        const int before = m_sandbox.requestCount(QStringLiteral("/twitter"));
        TULOCallbackResult<std::optional<TULOAccount>> result;
        store->verifyUserName(TULOSandboxSocial::twitterUserName(), password, service,
            [&result](const std::optional<TULOAccount> &account, const TULOError &error) { result.deliver(account, error); });
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);
        QCOMPARE(result.workerCalls(), 0); // a screen may touch its widgets from the completion
        QCOMPARE(result.value().has_value(), accountExpected);
        if (accountExpected) {
            QCOMPARE(result.value()->userName(), QStringLiteral("@") + TULOSandboxSocial::twitterUserName());
            QVERIFY(!result.value()->authenticationToken().isEmpty());
            QCOMPARE(result.value()->password(), password);
            QVERIFY(result.error().isNull());
        } else {
            QCOMPARE(result.error().domain(), errorDomain);
            QCOMPARE(result.error().code(), qint64(errorCode));
        }
        // Only a Twitter sign-in with both texts goes to Twitter.
        QCOMPARE(m_sandbox.requestCount(QStringLiteral("/twitter")) - before, accountExpected ? 1 : 0);
        // Verification alone stores nothing.
        QVERIFY(!store->accountForServiceIdentifier(twitter).has_value());
    }

    void renewCredentials_data()
    {
        QTest::addColumn<QString>("storedPassword");
        QTest::addColumn<qint64>("result");
        QTest::newRow("stored password still good") << TULOSandboxSocial::twitterPassword() << qint64(0);
        QTest::newRow("password changed since") << QStringLiteral("outdated") << qint64(2);
    }
    void renewCredentials()
    {
        QFETCH(QString, storedPassword);
        QFETCH(qint64, result);
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo());
        auto store = makeStore(author);
        TULOAccount saved(twitter);
        saved.setUserName(TULOSandboxSocial::twitterUserName());
        saved.setAuthenticationToken(QStringLiteral("stale-token"));
        saved.setPassword(storedPassword);
        QVERIFY(store->saveAccount(saved));
        // The account as a later reader gets it: the password comes from the credential store.
        auto account = std::make_shared<TULOAccount>(*store->accountForServiceIdentifier(twitter));
        auto facebookAccount = std::make_shared<TULOAccount>(*store->accountForServiceIdentifier(facebook));

        TULOCallbackResult<qint64> facebookRenewal;
        TULOCallbackResult<qint64> renewal;
        // Facebook first: had it answered, it would have done so before Twitter, on the same path.
        store->renewCredentialsForAccount(facebookAccount,
            [&facebookRenewal](qint64 value, const TULOError &error) { facebookRenewal.deliver(value, error); });
        std::thread worker([&] {
            store->renewCredentialsForAccount(account,
                [&renewal](qint64 value, const TULOError &error) { renewal.deliver(value, error); });
        });
        worker.join();
        QTRY_COMPARE_WITH_TIMEOUT(renewal.calls(), 1, TULOStoreTestWait);
        QCOMPARE(renewal.value(), result);
        QCOMPARE(facebookRenewal.calls(), 0);
        QCOMPARE(m_sandbox.requestCount(QStringLiteral("/twitter")) > 0, true);
        if (result == 0) {
            QVERIFY(renewal.error().isNull());
            QVERIFY(account->authenticationToken() != QLatin1String("stale-token"));
            QVERIFY(!account->authenticationToken().isEmpty());
        } else {
            QVERIFY(!renewal.error().isNull());
            QCOMPARE(account->authenticationToken(), QStringLiteral("stale-token"));
        }
    }

    void registerExternalDestination_data()
    {
        QTest::addColumn<bool>("issuedToken");
        QTest::newRow("token the service issued") << true;
        QTest::newRow("token the service never issued") << false;
    }
    void registerExternalDestination()
    {
        QFETCH(bool, issuedToken);
        const TULOPostAuthor author = newAuthor();
        auto store = makeStore(author);
        std::optional<TULOAccount> account = twitterSignIn(store.get(), TULOSandboxSocial::twitterPassword());
        QVERIFY(account.has_value());
        if (!issuedToken)
            account->setAuthenticationToken(QStringLiteral("forged"));
        TULOExternalDestination destination(QString::fromLatin1(TULOExternalServiceTwitter));
        destination.setAccessToken(account->authenticationToken());

        bool answeredBeforeReturn = false;
        bool answeredOnCaller = false;
        bool success = false;
        TULOError error;
        std::thread worker([&] {
            const std::thread::id caller = std::this_thread::get_id();
            bool answered = false;
            store->registerExternalDestination(destination, *account, [&](bool registered, const TULOError &registerError) {
                answered = true;
                answeredOnCaller = std::this_thread::get_id() == caller;
                success = registered;
                error = registerError;
            });
            answeredBeforeReturn = answered;
        });
        worker.join();
        QVERIFY(answeredBeforeReturn);
        QVERIFY(answeredOnCaller);
        QCOMPARE(success, issuedToken);
        QCOMPARE(error.isNull(), issuedToken);
        const QJsonObject registered = m_sandbox.social()->registeredTokens(QStringLiteral("artist"), author.identifier(), twitter);
        QCOMPARE(registered.value(QStringLiteral("accessToken")).toString(), issuedToken ? account->authenticationToken() : QString());
    }

    void pageChoiceReachesTheStore()
    {
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo(QStringLiteral("p2")));
        auto store = makeStore(author);
        const TULOAccount account = *store->accountForServiceIdentifier(facebook);
        QSignalSpy refreshed(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        store->updateFacebookPreferredPageIdentifier(QStringLiteral("p1"), account);
        QVERIFY(refreshed.wait(TULOStoreTestWait));
        QCOMPARE(store->accountForServiceIdentifier(facebook)->preferredPageIdentifier(), QStringLiteral("p1"));
        QCOMPARE(store->accountForServiceIdentifier(facebook)->preferredPage()->name(), QStringLiteral("Ann Live"));
    }

    void pageChoiceRefusedKeepsTheAccount()
    {
        const TULOPostAuthor author = newAuthor();
        link(author, facebook, linkedFacebookInfo(QStringLiteral("p2")));
        auto store = makeStore(author);
        m_sandbox.addFault(QStringLiteral("/social/facebook/update"), TULOSandboxFault::status(500));
        QSignalSpy refreshed(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        store->updateFacebookPreferredPageIdentifier(QStringLiteral("p1"), *store->accountForServiceIdentifier(facebook));
        // Whatever the outcome the store asks again, and keeps what the server says.
        QVERIFY(refreshed.wait(TULOStoreTestWait));
        QCOMPARE(store->accountForServiceIdentifier(facebook)->preferredPageIdentifier(), QStringLiteral("p2"));
    }
};

QTEST_GUILESS_MAIN(TestAccountStoreServer)
#include "tst_accountstoreserver.moc"

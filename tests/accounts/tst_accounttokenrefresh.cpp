#include "accountrequeststestsupport.h"

#include <Quillon/accounts/accounttokenrefreshoperation.h>
#include <Quillon/accounts/accounttokenregisteroperation.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/twitterauthenticationrequest.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/storeerror.h>
#include "sandboxsocial.h"

#include <QJsonObject>
#include <QNetworkReply>

namespace {

// An author's accounts kept in memory, renewed at the Twitter stand-in and registered with
// the sandbox store through the real requests.
class TULOSandboxRefreshStore : public TULOAccountTokenRefreshStore
{
public:
    TULOSandboxRefreshStore(const TULOPostAuthor &author, const TULOClientContext &context) : m_author(author), m_context(context) {}

    void addAccount(const TULOAccount &account) { m_accounts.insert(account.serviceIdentifier(), account); }

    std::optional<TULOAccount> accountForServiceIdentifier(const QString &serviceIdentifier) override
    {
        std::lock_guard lock(m_mutex);
        const auto it = m_accounts.constFind(serviceIdentifier);
        return it == m_accounts.cend() ? std::nullopt : std::optional<TULOAccount>(*it);
    }

    void renewCredentialsForAccount(const TULOAccount &account, RenewCompletion completion) override
    {
        if (account.serviceIdentifier() == QLatin1String(TULOServiceIdentifierFacebook))
            return; // renewed by the store, never here
        auto request = std::make_unique<TULOTwitterAuthenticationRequest>(account.userName(), account.password());
        request->startWithResponseBlock([this, completion, account](const std::optional<TULOAccount> &fresh, const TULOError &error) {
            if (fresh && error.isNull()) {
                // The account the store keeps takes the fresh properties, as the one it hands out.
                TULOAccount renewed = account;
                renewed.updateWithTULOAccount(*fresh);
                {
                    std::lock_guard lock(m_mutex);
                    m_accounts.insert(renewed.serviceIdentifier(), renewed);
                }
                completion(0, renewed, TULOError());
            } else {
                completion(2, account, error);
            }
        });
        std::lock_guard lock(m_mutex);
        m_requests.push_back(std::move(request));
    }

    void registerExternalDestination(const TULOExternalDestination &destination, const TULOAccount &account,
                                     RegisterCompletion completion) override
    {
        TULOAccountTokenRegisterOperation operation(m_author, destination, account, m_context);
        bool success = false;
        TULOError error;
        operation.setOutputBlock([&](bool ok, const TULOError &failure) {
            success = ok;
            error = failure;
        });
        operation.start();
        completion(success, error);
    }

private:
    TULOPostAuthor m_author;
    TULOClientContext m_context;
    std::mutex m_mutex;
    QMap<QString, TULOAccount> m_accounts;
    std::vector<std::unique_ptr<TULOTwitterAuthenticationRequest>> m_requests;
};

TULOSocialService service(const char *identifier)
{
    TULOSocialService social;
    social.setIdentifier(QString::fromLatin1(identifier));
    return social;
}

TULOAccount twitterAccount(const QString &password)
{
    TULOAccount account(QString::fromLatin1(TULOServiceIdentifierTwitter));
    account.setUserName(QLatin1Char('@') + TULOSandboxSocial::twitterUserName());
    account.setPassword(password);
    account.setAuthenticationToken(QStringLiteral("stale-token"));
    return account;
}

using Destinations = std::optional<QList<TULOExternalDestination>>;

} // namespace

class TestAccountTokenRefresh : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.tokenRefresh")};

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        TULOClientContext::setDefaultContext(TULOSandboxContext(m_store));
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
        QVERIFY(TULOSignInDemoAccount(m_store));
    }
    void cleanup()
    {
        m_store.social()->clearCannedReplies();
        TULOAccountTokenRefreshOperation::setAccountStoreFactory(nullptr);
    }

    void refresh_data()
    {
        QTest::addColumn<QStringList>("services");
        QTest::addColumn<bool>("twitterLinked");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("facebookLinked");
        QTest::addColumn<bool>("registerRefused");
        QTest::addColumn<int>("destinations"); // -1: none, an error instead
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
        const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);
        const QString good = TULOSandboxSocial::twitterPassword();
        const QString ours = TULOErrorDomain;
        const QString store = TULOStoreErrorDomain;
        QTest::newRow("twitter renewed and registered") << QStringList{twitter} << true << good << false << false << 1 << QString() << qint64(0);
        QTest::newRow("no services") << QStringList() << false << good << false << false << 0 << QString() << qint64(0);
        QTest::newRow("no twitter account") << QStringList{twitter} << false << good << false << false << -1 << ours << qint64(3);
        QTest::newRow("stored password no longer right") << QStringList{twitter} << true << QStringLiteral("changed") << false << false << -1
                                                         << QString(TULONetworkErrorDomain)
                                                         << qint64(QNetworkReply::AuthenticationRequiredError);
        QTest::newRow("store refuses the tokens") << QStringList{twitter} << true << good << false << true << -1 << store
                                                  << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("missing facebook comes first") << QStringList{twitter, facebook} << true << good << false << false << -1 << ours
                                                      << qint64(3);
        QTest::newRow("linked facebook never completes") << QStringList{twitter, facebook} << true << good << true << false << -1 << store
                                                         << qint64(TULOStoreErrorTimedOut);
    }
    void refresh()
    {
        QFETCH(QStringList, services);
        QFETCH(bool, twitterLinked);
        QFETCH(QString, password);
        QFETCH(bool, facebookLinked);
        QFETCH(bool, registerRefused);
        QFETCH(int, destinations);
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        auto accounts = std::make_shared<TULOSandboxRefreshStore>(TULODemoArtistAuthor(), TULOSandboxContext(m_store));
        if (twitterLinked)
            accounts->addAccount(twitterAccount(password));
        if (facebookLinked)
            accounts->addAccount(TULOAccount(QString::fromLatin1(TULOServiceIdentifierFacebook)));
        if (registerRefused)
            m_store.social()->setCannedReply(QStringLiteral("/social/twitter/update"), 500, QByteArray(R"({"status": "failure"})"));
        QList<TULOSocialService> socialServices;
        for (const QString &identifier : services)
            socialServices.append(service(identifier.toLatin1().constData()));

        auto operation = std::make_shared<TULOAccountTokenRefreshOperation>(TULODemoArtistAuthor(), socialServices);
        operation->setAccountStore(accounts);
        operation->setWaitLimit(1500);
        auto result = std::make_shared<TULOCallbackResult<Destinations>>();
        operation->setOutputBlock([result](const Destinations &list, const TULOError &error) { result->deliver(list, error); });
        m_queue.addOperation(operation);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        if (destinations < 0) {
            QVERIFY(!result->value());
            QCOMPARE(result->error().domain(), domain);
            QCOMPARE(result->error().code(), code);
            return;
        }
        QVERIFY2(result->error().isNull(), qPrintable(result->error().localizedDescription()));
        QVERIFY(result->value());
        QCOMPARE(result->value()->size(), destinations);
        if (destinations == 0)
            return;
        const TULOExternalDestination destination = result->value()->constFirst();
        QCOMPARE(destination.serviceIdentifier(), QString::fromLatin1(TULOExternalServiceTwitter));
        QVERIFY(destination.accessToken().startsWith(QLatin1String("4242-")));
        // The store now holds the renewed token.
        const QJsonObject registered = m_store.social()->registeredTokens(QStringLiteral("artist"), TULOSandboxStore::demoArtistIdentifier(),
                                                                          QStringLiteral("twitter"));
        QCOMPARE(registered.value(QStringLiteral("accessToken")).toString(), destination.accessToken());
    }

    void storeFromFactory_data()
    {
        QTest::addColumn<bool>("factory");
        QTest::addColumn<int>("made");
        QTest::newRow("made for the author") << true << 1;
        QTest::newRow("no way to make one") << false << 0;
    }
    void storeFromFactory()
    {
        QFETCH(bool, factory);
        QFETCH(int, made);
        int calls = 0;
        if (factory) {
            TULOAccountTokenRefreshOperation::setAccountStoreFactory([this, &calls](const TULOPostAuthor &author) {
                ++calls;
                auto store = std::make_shared<TULOSandboxRefreshStore>(author, TULOSandboxContext(m_store));
                store->addAccount(twitterAccount(TULOSandboxSocial::twitterPassword()));
                return store;
            });
        }
        TULOAccountTokenRefreshOperation operation(TULODemoArtistAuthor(), {service(TULOServiceIdentifierTwitter)});
        Destinations destinations;
        TULOError error;
        int outputs = 0;
        operation.setOutputBlock([&](const Destinations &list, const TULOError &failure) {
            ++outputs;
            destinations = list;
            error = failure;
        });
        operation.start();
        QCOMPARE(outputs, 1);
        QCOMPARE(calls, made);
        QCOMPARE(destinations.has_value(), factory);
        if (!factory)
            QVERIFY(error.is(TULOErrorDomain, TULOErrorNoLinkedAccount));
    }
};

QTEST_GUILESS_MAIN(TestAccountTokenRefresh)
#include "tst_accounttokenrefresh.moc"

#include "storetestsupport.h"

#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/preferences.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>
#include <Quillon/platform/store/storeerror.h>

#include <QFile>
#include <QTemporaryDir>

#include <atomic>

class TestAuthentication : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QTemporaryDir m_credentials;
    std::atomic<int> m_prompts{0};

    void useCredentialFolder()
    {
        TULOStoreAccountStore::defaultStore()->setTokenKeeper(
            std::make_unique<TULOCredentialStoreTokenKeeper>(TULOCredentialStore::makeFileStore(m_credentials.path())));
    }
    std::optional<QByteArray> keptToken(const QString &accountName, TULOError *error = nullptr)
    {
        return TULOCredentialStore::makeFileStore(m_credentials.path())
            ->findItem(accountName.toCaseFolded(), QString::fromLatin1(TULOStoreSessionCredentialService), error);
    }
    TULOStoreAccount signInDemo()
    {
        auto *result = authenticate(promptingContext(credentials(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword())),
                                    TULOStoreAccountStore::defaultStore());
        [&] { QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait); }();
        return result->value().value_or(TULOStoreAccount());
    }

    TULOAuthenticationContext promptingContext(const std::optional<TULOAuthenticationPromptReply> &answer)
    {
        TULOAuthenticationContext context;
        context.setPromptStyle(TULOAuthenticationContext::PromptStyleAllowed);
        context.setPromptHandler([this, answer](const QString &, const TULOError &) {
            ++m_prompts;
            return answer;
        });
        return context;
    }

    TULOCallbackResult<std::optional<TULOStoreAccount>> *authenticate(const TULOAuthenticationContext &context,
                                                                      TULOStoreAccountStore *accounts)
    {
        auto *result = new TULOCallbackResult<std::optional<TULOStoreAccount>>;
        m_results.emplace_back(result);
        TULOAuthenticateRequest request(context, TULOSandboxContext(m_store), accounts);
        request.startWithResponseBlock([result](const std::optional<TULOStoreAccount> &account, const TULOError &error) {
            result->deliver(account, error);
        });
        return result;
    }
    std::vector<std::unique_ptr<TULOCallbackResult<std::optional<TULOStoreAccount>>>> m_results;

    static TULOAuthenticationPromptReply credentials(const QString &name, const QString &password)
    {
        return TULOAuthenticationPromptReply{name, password, false};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        QVERIFY(m_credentials.isValid());
        useCredentialFolder();
    }
    void init()
    {
        m_prompts = 0;
        useCredentialFolder();
        TULOStoreAccountStore::defaultStore()->signOut();
    }

    void tokenLivesInTheCredentialStoreOnly()
    {
        const TULOStoreAccount account = signInDemo();
        QVERIFY(account.isAuthenticated());
        QCOMPARE(keptToken(account.accountName()), std::optional<QByteArray>(account.token().toUtf8()));
        QFile preferences(TULOPreferences::frameworkPreferences().fileName());
        if (preferences.open(QIODevice::ReadOnly))
            QVERIFY(!preferences.readAll().contains(account.token().toUtf8()));

        TULOStoreAccountStore::defaultStore()->signOut();
        TULOError error;
        QVERIFY(!keptToken(account.accountName(), &error));
        QCOMPARE(error.code(), qint64(TULOCredentialStoreErrorItemNotFound));
    }

    void tokenSurvivesANewKeeperAndIsReused()
    {
        const TULOStoreAccount account = signInDemo();
        QVERIFY(account.isAuthenticated());
        // As after a restart: a keeper of its own over the same credential folder.
        useCredentialFolder();
        QCOMPARE(TULOStoreAccountStore::defaultStore()->activeAccount()->token(), account.token());
        const int checks = m_store.requestCount(QStringLiteral("/account/session"));
        auto *again = authenticate(promptingContext(std::nullopt), TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(again->calls(), 1, TULOStoreTestWait);
        QVERIFY2(again->value(), qPrintable(again->error().localizedDescription()));
        QCOMPARE(again->value()->token(), account.token());
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/session")), checks + 1);
        QCOMPARE(m_prompts.load(), 1);
    }

    void refusedTokenIsRemovedFromTheCredentialStore()
    {
        TULOStoreAccount stale;
        stale.setIdentifier(9001);
        stale.setAccountName(TULOSandboxStore::demoAccountName());
        stale.setToken(QStringLiteral("feedfacefeedface"));
        TULOStoreAccountStore::defaultStore()->setActiveAccount(stale);
        QCOMPARE(keptToken(stale.accountName()), std::optional<QByteArray>(stale.token().toUtf8()));
        auto *result = authenticate(promptingContext(std::nullopt), TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(!result->value());
        QCOMPARE(result->error().code(), qint64(TULOStoreErrorUserCancelled));
        QVERIFY(!keptToken(stale.accountName()));
        QCOMPARE(TULOStoreAccountStore::defaultStore()->activeAccount()->accountName(), stale.accountName());
    }

    void signIn_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("password");
        QTest::addColumn<qint64>("accountIdentifier");
        QTest::addColumn<QString>("serverErrorCode");
        QTest::newRow("demo account") << TULOSandboxStore::demoAccountName() << TULOSandboxStore::demoPassword() << qint64(9001) << QString();
        QTest::newRow("solo account") << TULOSandboxStore::soloAccountName() << TULOSandboxStore::demoPassword() << qint64(9002) << QString();
        QTest::newRow("wrong password") << TULOSandboxStore::demoAccountName() << QStringLiteral("guess") << qint64(0) << QStringLiteral("badCredentials");
        QTest::newRow("unknown account") << QStringLiteral("who@demo.quillon.test") << QStringLiteral("guess") << qint64(0) << QStringLiteral("badCredentials");
        QTest::newRow("empty password") << TULOSandboxStore::demoAccountName() << QString() << qint64(0) << QStringLiteral("missingCredentials");
    }
    void signIn()
    {
        QFETCH(QString, name);
        QFETCH(QString, password);
        QFETCH(qint64, accountIdentifier);
        QFETCH(QString, serverErrorCode);
        TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore();
        auto *result = authenticate(promptingContext(credentials(name, password)), accounts);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QCOMPARE(m_prompts.load(), 1);
        if (accountIdentifier) {
            QVERIFY2(result->value(), qPrintable(result->error().localizedDescription()));
            QVERIFY(result->error().isNull());
            QCOMPARE(result->value()->identifier(), accountIdentifier);
            QVERIFY(result->value()->isAuthenticated());
            QCOMPARE(accounts->activeAccount()->identifier(), accountIdentifier);
            QCOMPARE(accounts->activeAccount()->token(), result->value()->token());
        } else {
            QVERIFY(!result->value());
            QVERIFY(result->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
            QCOMPARE(result->error().userInfo().value(QString::fromLatin1(TULOStoreServerErrorCodeKey)).toString(), serverErrorCode);
            QVERIFY(!accounts->activeAccount());
        }
    }

    void keptTokenIsReusedWithoutPrompting()
    {
        auto *first = authenticate(promptingContext(credentials(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword())),
                                   TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(first->calls(), 1, TULOStoreTestWait);
        QVERIFY(first->value());
        const int signIns = m_store.requestCount(QStringLiteral("/account/signin"));
        auto *second = authenticate(promptingContext(std::nullopt), TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(second->calls(), 1, TULOStoreTestWait);
        QVERIFY(second->value());
        QCOMPARE(second->value()->token(), first->value()->token());
        QCOMPARE(m_prompts.load(), 1);
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")), signIns);
    }

    void refusedTokenLeadsToANewSignIn()
    {
        TULOStoreAccount stale;
        stale.setIdentifier(9001);
        stale.setAccountName(TULOSandboxStore::demoAccountName());
        stale.setToken(QStringLiteral("0123456789abcdef"));
        TULOStoreAccountStore::defaultStore()->setActiveAccount(stale);
        auto *result = authenticate(promptingContext(credentials(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword())),
                                    TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(result->value());
        QVERIFY(result->value()->token() != stale.token());
        QCOMPARE(m_prompts.load(), 1);
    }

    void refusals_data()
    {
        QTest::addColumn<int>("promptStyle");
        QTest::addColumn<bool>("answers");
        QTest::addColumn<bool>("createAccount");
        QTest::addColumn<qint64>("code");
        QTest::newRow("user cancels") << 1 << false << false << qint64(TULOStoreErrorUserCancelled);
        QTest::newRow("user wants a new account") << 1 << true << true << qint64(TULOStoreErrorAccountCreationRefused);
        QTest::newRow("prompting not allowed") << 0 << true << false << qint64(TULOStoreErrorRequestFailed);
    }
    void refusals()
    {
        QFETCH(int, promptStyle);
        QFETCH(bool, answers);
        QFETCH(bool, createAccount);
        QFETCH(qint64, code);
        std::optional<TULOAuthenticationPromptReply> answer;
        if (answers)
            answer = TULOAuthenticationPromptReply{TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword(), createAccount};
        TULOAuthenticationContext context = promptingContext(answer);
        context.setPromptStyle(promptStyle);
        const int signIns = m_store.requestCount(QStringLiteral("/account/signin"));
        auto *result = authenticate(context, TULOStoreAccountStore::defaultStore());
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(!result->value());
        QCOMPARE(result->error().code(), code);
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")), signIns); // nothing was sent
    }

    void signInFaults_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<qint64>("code");
        QTest::newRow("server error") << int(TULOSandboxFault::Kind::Status) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("malformed reply") << int(TULOSandboxFault::Kind::MalformedBody) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("reply of wrong types") << int(TULOSandboxFault::Kind::WrongTypes) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("dropped connection") << int(TULOSandboxFault::Kind::DropConnection) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("no answer in time") << int(TULOSandboxFault::Kind::Delay) << qint64(TULOStoreErrorTimedOut);
    }
    void signInFaults()
    {
        QFETCH(int, kind);
        QFETCH(qint64, code);
        const QString path = QStringLiteral("/account/signin");
        switch (TULOSandboxFault::Kind(kind)) {
        case TULOSandboxFault::Kind::Status: m_store.addFault(path, TULOSandboxFault::status(500), 1); break;
        case TULOSandboxFault::Kind::MalformedBody: m_store.addFault(path, TULOSandboxFault::malformedBody(), 1); break;
        case TULOSandboxFault::Kind::WrongTypes: m_store.addFault(path, TULOSandboxFault::wrongTypes(), 1); break;
        case TULOSandboxFault::Kind::DropConnection: m_store.addFault(path, TULOSandboxFault::dropConnection(), 1); break;
        case TULOSandboxFault::Kind::Delay: m_store.addFault(path, TULOSandboxFault::delay(60000), 1); break;
        }
        TULOAuthenticationContext context = promptingContext(credentials(TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword()));
        auto *result = new TULOCallbackResult<std::optional<TULOStoreAccount>>;
        m_results.emplace_back(result);
        TULOAuthenticateRequest request(context, TULOSandboxContext(m_store, 500), TULOStoreAccountStore::defaultStore());
        request.startWithResponseBlock([result](const std::optional<TULOStoreAccount> &account, const TULOError &error) {
            result->deliver(account, error);
        });
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        m_store.clearFaults();
        QVERIFY(!result->value());
        QVERIFY2(result->error().is(TULOStoreErrorDomain, code), qPrintable(result->error().localizedDescription()));
        QVERIFY(!TULOStoreAccountStore::defaultStore()->activeAccount());
    }
};

QTEST_GUILESS_MAIN(TestAuthentication)
#include "tst_authentication.moc"

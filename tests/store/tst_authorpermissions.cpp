#include "storetestsupport.h"

#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/authorpermissionsoperation.h>
#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>
#include <Quillon/platform/store/profileoperation.h>
#include <Quillon/platform/store/storeerror.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

class TestAuthorPermissions : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QTemporaryDir m_credentials;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.store")};

    void signIn(const QString &name)
    {
        TULOStoreAccountStore::defaultStore()->signOut();
        TULOAuthenticationContext context;
        context.setPromptStyle(TULOAuthenticationContext::PromptStyleAllowed);
        context.setPromptHandler([name](const QString &, const TULOError &) {
            return std::optional<TULOAuthenticationPromptReply>({name, TULOSandboxStore::demoPassword(), false});
        });
        TULOCallbackResult<bool> result;
        TULOAuthenticateRequest(context, TULOSandboxContext(m_store)).startWithResponseBlock(
            [&result](const std::optional<TULOStoreAccount> &account, const TULOError &error) { result.deliver(account.has_value(), error); });
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);
        QVERIFY(result.value());
    }

    TULOCallbackResult<QList<TULOPostAuthor>> *loadAuthors(int timeout = 5000)
    {
        auto *result = new TULOCallbackResult<QList<TULOPostAuthor>>;
        m_authorResults.emplace_back(result);
        auto operation = std::make_shared<TULOAuthorPermissionsOperation>(TULOSandboxContext(m_store, timeout));
        operation->setOutputBlock([result](const QList<TULOPostAuthor> &authors, const TULOError &error) { result->deliver(authors, error); });
        m_queue.addOperation(operation);
        return result;
    }
    std::vector<std::unique_ptr<TULOCallbackResult<QList<TULOPostAuthor>>>> m_authorResults;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        QVERIFY(m_credentials.isValid());
        // Session tokens of the test accounts stay in a folder of the test's own.
        TULOStoreAccountStore::defaultStore()->setTokenKeeper(
            std::make_unique<TULOCredentialStoreTokenKeeper>(TULOCredentialStore::makeFileStore(m_credentials.path())));
    }
    void cleanup() { m_store.clearFaults(); }

    void authorsOfEachAccount_data()
    {
        QTest::addColumn<QString>("account");
        QTest::addColumn<QStringList>("identifiers");
        QTest::addColumn<QStringList>("types");
        QTest::addColumn<QStringList>("attributionAuthors");
        QTest::newRow("demo curator") << TULOSandboxStore::demoAccountName()
                                      << QStringList{QStringLiteral("9001"), QStringLiteral("1001"), QStringLiteral("1002"), QStringLiteral("4001")}
                                      << QStringList{QStringLiteral("user"), QStringLiteral("artist"), QStringLiteral("brand"), QStringLiteral("activityCurator")}
                                      << QStringList{QStringLiteral("1002")};
        QTest::newRow("solo artist") << TULOSandboxStore::soloAccountName() << QStringList{QStringLiteral("9002")}
                                     << QStringList{QStringLiteral("artist")} << QStringList{};
        QTest::newRow("listener") << TULOSandboxStore::listenerAccountName() << QStringList{} << QStringList{} << QStringList{};
    }
    void authorsOfEachAccount()
    {
        QFETCH(QString, account);
        QFETCH(QStringList, identifiers);
        QFETCH(QStringList, types);
        QFETCH(QStringList, attributionAuthors);
        signIn(account);
        auto *result = loadAuthors();
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY2(result->error().isNull(), qPrintable(result->error().localizedDescription()));
        QStringList seenIdentifiers;
        QStringList seenTypes;
        QStringList withAttribution;
        for (const TULOPostAuthor &author : result->value()) {
            seenIdentifiers.append(author.identifier());
            seenTypes.append(author.authorType());
            QVERIFY(!author.name().isEmpty());
            QCOMPARE(author.thumbnailImageURL().host(), QStringLiteral("127.0.0.1"));
            if (author.hasPermission(TULOAuthorPermissionShareWithAttribution))
                withAttribution.append(author.identifier());
        }
        QCOMPARE(seenIdentifiers, identifiers);
        QCOMPARE(seenTypes, types);
        QCOMPARE(withAttribution, attributionAuthors);
    }

    void authorsFromOddReplies_data()
    {
        QTest::addColumn<QVariantMap>("reply");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<QStringList>("identifiers");
        QTest::addColumn<int>("permissionCount");
        QTest::newRow("no list") << QVariantMap{} << false << QStringList{} << 0;
        QTest::newRow("list as dictionary") << QVariantMap{{QStringLiteral("authors"), QVariantMap{}}} << false << QStringList{} << 0;
        QTest::newRow("numeric identifier") << QVariantMap{{QStringLiteral("authors"), QVariantList{QVariantMap{{QStringLiteral("id"), 1001}}}}}
                                            << true << QStringList{QStringLiteral("1001")} << 0;
        QTest::newRow("entries that are not authors")
            << QVariantMap{{QStringLiteral("authors"), QVariantList{QStringLiteral("x"), QVariantMap{{QStringLiteral("name"), QStringLiteral("no id")}},
                                                                    QVariantMap{{QStringLiteral("id"), QStringLiteral("7")},
                                                                                {QStringLiteral("permissions"), QVariantList{QStringLiteral("shareAsEntity"), 3}}}}}}
            << true << QStringList{QStringLiteral("7")} << 1;
    }
    void authorsFromOddReplies()
    {
        QFETCH(QVariantMap, reply);
        QFETCH(bool, readable);
        QFETCH(QStringList, identifiers);
        QFETCH(int, permissionCount);
        const auto authors = TULOAuthorPermissionsOperation::authorsFromReply(reply);
        QCOMPARE(authors.has_value(), readable);
        if (!authors)
            return;
        QStringList seen;
        int permissions = 0;
        for (const TULOPostAuthor &author : *authors) {
            seen.append(author.identifier());
            permissions += int(author.permissions().size());
        }
        QCOMPARE(seen, identifiers);
        QCOMPARE(permissions, permissionCount);
    }

    // Without a session, or when the store no longer accepts it, the caller is told to sign in
    // again (framework error 2).
    void endedSessionAsksForSignInAgain()
    {
        signIn(TULOSandboxStore::demoAccountName());
        TULOStoreAccount account = *TULOStoreAccountStore::defaultStore()->activeAccount();
        account.setToken(QStringLiteral("ffff"));
        TULOStoreAccountStore::defaultStore()->setActiveAccount(account);
        auto *result = loadAuthors();
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(result->error().is(TULOErrorDomain, TULOErrorSignInRequired));
        QVERIFY(!TULOStoreAccountStore::defaultStore()->activeAccount()->isAuthenticated());

        TULOStoreAccountStore::defaultStore()->signOut();
        auto *signedOut = loadAuthors();
        QTRY_COMPARE_WITH_TIMEOUT(signedOut->calls(), 1, TULOStoreTestWait);
        QVERIFY(signedOut->error().is(TULOErrorDomain, TULOErrorSignInRequired));
    }

    void faults_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<qint64>("code");
        QTest::newRow("service unavailable") << int(TULOSandboxFault::Kind::Status) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("malformed body") << int(TULOSandboxFault::Kind::MalformedBody) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("wrong types") << int(TULOSandboxFault::Kind::WrongTypes) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("dropped connection") << int(TULOSandboxFault::Kind::DropConnection) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("timeout") << int(TULOSandboxFault::Kind::Delay) << qint64(TULOStoreErrorTimedOut);
    }
    void faults()
    {
        QFETCH(int, kind);
        QFETCH(qint64, code);
        signIn(TULOSandboxStore::demoAccountName());
        const QString path = QStringLiteral("/account/authors");
        switch (TULOSandboxFault::Kind(kind)) {
        case TULOSandboxFault::Kind::Status: m_store.addFault(path, TULOSandboxFault::status(503)); break;
        case TULOSandboxFault::Kind::MalformedBody: m_store.addFault(path, TULOSandboxFault::malformedBody()); break;
        case TULOSandboxFault::Kind::WrongTypes: m_store.addFault(path, TULOSandboxFault::wrongTypes()); break;
        case TULOSandboxFault::Kind::DropConnection: m_store.addFault(path, TULOSandboxFault::dropConnection()); break;
        case TULOSandboxFault::Kind::Delay: m_store.addFault(path, TULOSandboxFault::delay(60000)); break;
        }
        auto *result = loadAuthors(400);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(result->value().isEmpty());
        QVERIFY2(result->error().is(TULOStoreErrorDomain, code), qPrintable(result->error().localizedDescription()));
        QVERIFY(TULOStoreAccountStore::defaultStore()->activeAccount()->isAuthenticated()); // not a session problem
    }

    void missingEndpointIsABagError()
    {
        signIn(TULOSandboxStore::demoAccountName());
        m_store.setBagValue(QStringLiteral("authorPermissions"), 12);
        auto *result = loadAuthors();
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        m_store.clearBagOverrides();
        QCOMPARE(result->error().code(), TULOStoreErrorBagValueMissing);
    }

    void profileOfTheSignedInAccount_data()
    {
        QTest::addColumn<QString>("account");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("type");
        QTest::newRow("demo curator") << TULOSandboxStore::demoAccountName() << QStringLiteral("9001") << QStringLiteral("user");
        QTest::newRow("solo artist") << TULOSandboxStore::soloAccountName() << QStringLiteral("9002") << QStringLiteral("artist");
    }
    void profileOfTheSignedInAccount()
    {
        QFETCH(QString, account);
        QFETCH(QString, identifier);
        QFETCH(QString, type);
        signIn(account);
        TULOCallbackResult<std::optional<TULOAuthorProfile>> result;
        auto operation = std::make_shared<TULOProfileOperation>(TULOSandboxContext(m_store));
        operation->setOutputBlock([&result](const std::optional<TULOAuthorProfile> &profile, const TULOError &error) { result.deliver(profile, error); });
        m_queue.addOperation(operation);
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);
        QVERIFY(result.value());
        QCOMPARE(result.value()->identifier(), identifier);
        QCOMPARE(result.value()->profileType(), type);
        QVERIFY(result.value()->profileImageURL().isValid());
        QCOMPARE(operation->httpStatus(), 200);
    }

    void unreadableProfileFails()
    {
        signIn(TULOSandboxStore::demoAccountName());
        m_store.addFault(QStringLiteral("/account/profile"), TULOSandboxFault::wrongTypes(), 1);
        TULOCallbackResult<std::optional<TULOAuthorProfile>> result;
        auto operation = std::make_shared<TULOProfileOperation>(TULOSandboxContext(m_store));
        operation->setOutputBlock([&result](const std::optional<TULOAuthorProfile> &profile, const TULOError &error) { result.deliver(profile, error); });
        m_queue.addOperation(operation);
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);
        QVERIFY(!result.value());
        QCOMPARE(result.error().code(), TULOStoreErrorRequestFailed);
    }
};

QTEST_GUILESS_MAIN(TestAuthorPermissions)
#include "tst_authorpermissions.moc"

#include "accountrequeststestsupport.h"

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/accountstoretokenrefresh.h>
#include <Quillon/accounts/accounttokenrefreshoperation.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/operationqueue.h>
#include "sandboxsocial.h"

#include <QFile>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUuid>

static const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);

// The refresh before a post, answered by account stores over the real account file, credential
// store and the sandbox's Twitter stand-in.
class TestAccountStoreTokenRefresh : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    TULOSandboxStore m_sandbox;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.refresh")};

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

    void refreshBeforeAPost_data()
    {
        QTest::addColumn<QString>("storedPassword"); // null: no Twitter account linked
        QTest::addColumn<bool>("givenStore");         // the compose screen's store, or one made for the author
        QTest::addColumn<QString>("errorDomain"); // empty: success; "any": Twitter's own refusal
        QTest::addColumn<int>("errorCode");
        const QString good = TULOSandboxSocial::twitterPassword();
        QTest::newRow("linked, store made for the author") << good << false << QString() << 0;
        QTest::newRow("linked, the screen's store") << good << true << QString() << 0;
        QTest::newRow("nothing linked") << QString() << false << QString(TULOErrorDomain) << 3;
        QTest::newRow("password changed at the service")
            << QStringLiteral("outdated") << true << QStringLiteral("any") << -1;
    }
    void refreshBeforeAPost()
    {
        QFETCH(QString, storedPassword);
        QFETCH(bool, givenStore);
        QFETCH(QString, errorDomain);
        QFETCH(int, errorCode);
        const TULOPostAuthor author(QUuid::createUuid().toString(QUuid::Id128).left(12), QStringLiteral("Artist"),
                                    QStringLiteral("artist"));
        TULOAccountStore store(author);
        if (!storedPassword.isNull()) {
            // Linked as the setup screen does it: signed in at the service, then kept.
            TULOCallbackResult<std::optional<TULOAccount>> signIn;
            store.verifyUserName(TULOSandboxSocial::twitterUserName(), TULOSandboxSocial::twitterPassword(), twitter,
                [&signIn](const std::optional<TULOAccount> &account, const TULOError &error) { signIn.deliver(account, error); });
            QTRY_COMPARE_WITH_TIMEOUT(signIn.calls(), 1, TULOStoreTestWait);
            QVERIFY(signIn.value().has_value());
            TULOAccount account = *signIn.value();
            account.setPassword(storedPassword); // what the user typed back then
            QVERIFY(store.saveAccount(account));
        }
        TULOSocialService service;
        service.setIdentifier(twitter);
        auto refresh = std::make_shared<TULOAccountTokenRefreshOperation>(author, QList<TULOSocialService>{service});
        if (givenStore)
            refresh->setAccountStore(std::make_shared<TULOAccountStoreTokenRefresh>(&store));
        TULOCallbackResult<std::optional<QList<TULOExternalDestination>>> result;
        refresh->setOutputBlock([&result](const std::optional<QList<TULOExternalDestination>> &destinations,
                                          const TULOError &error) { result.deliver(destinations, error); });
        m_queue.addOperation(refresh);
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);

        if (errorDomain.isEmpty()) {
            QVERIFY2(result.error().isNull(), qPrintable(result.error().localizedDescription()));
            QVERIFY(result.value().has_value());
            QCOMPARE(result.value()->size(), 1);
            const TULOExternalDestination destination = result.value()->first();
            QCOMPARE(destination.serviceIdentifier(), QString::fromLatin1(TULOExternalServiceTwitter));
            QVERIFY(!destination.accessToken().isEmpty());
            // The store was handed the linked account's tokens for the author.
            const QJsonObject registered = m_sandbox.social()->registeredTokens(QStringLiteral("artist"), author.identifier(), twitter);
            QCOMPARE(registered.value(QStringLiteral("accessToken")).toString(),
                     store.accountForServiceIdentifier(twitter)->authenticationToken());
        } else {
            QVERIFY(!result.value().has_value());
            QVERIFY(!result.error().isNull());
            if (errorDomain != QLatin1String("any")) {
                QCOMPARE(result.error().domain(), errorDomain);
                QCOMPARE(result.error().code(), qint64(errorCode));
            }
            QVERIFY(m_sandbox.social()->registeredTokens(QStringLiteral("artist"), author.identifier(), twitter).isEmpty());
        }
        // The refresh never loses the linked account, whatever happened.
        QCOMPARE(store.accountForServiceIdentifier(twitter).has_value(), !storedPassword.isNull());
    }
};

QTEST_GUILESS_MAIN(TestAccountStoreTokenRefresh)
#include "tst_accountstoretokenrefresh.moc"

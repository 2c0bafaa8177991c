#include "store/storetestsupport.h"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accountentity_p.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/preferences.h>

#include <QCoreApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QUuid>

#include <memory>
#include <thread>

static const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
static const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);

static QString unique(const QString &stem)
{
    return stem + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::WithoutBraces).left(8);
}

static TULOAccount twitterAccount(const QString &userName, const QString &password = QString())
{
    TULOAccount account(twitter);
    account.setUserName(userName);
    account.setAuthenticationToken(QStringLiteral("token-") + userName);
    account.setAuthenticationSecret(QStringLiteral("secret-") + userName);
    account.setValue(QStringLiteral("42"), QString::fromLatin1(TULOAccountPropertyUserId));
    if (!password.isNull())
        account.setPassword(password);
    return account;
}

// Rows of the real account file for one author and service, counted behind the store's back.
static qint64 rowCount(const TULOPostAuthor &author, const QString &service, const QString &userName = QString())
{
    TULOSQLitePredicate predicate
        = TULOSQLitePredicate(QString::fromLatin1(TULOAccountEntityPropertyAuthorIdentity), author.identifier())
              .andEquals(QString::fromLatin1(TULOAccountEntityPropertyAuthorType), author.authorType())
              .andEquals(QString::fromLatin1(TULOAccountEntityPropertyServiceIdentifier), service);
    if (!userName.isNull())
        predicate = predicate.andEquals(QString::fromLatin1(TULOAccountEntityPropertyUserName), userName);
    return TULOAccountEntity::queryWithPredicate(TULOAccountDatabase::sharedDatabase(), predicate)
        .countOfEntities()
        .value_or(-1);
}

// Counts the store's change notifications and where they arrived.
class TULOChangeRecorder
{
public:
    explicit TULOChangeRecorder(const TULOAccountStore *store)
    {
        m_observer = TULONotificationCenter::defaultCenter()->addObserver(
            QString::fromLatin1(TULOAccountStoreDidChangeNotification), store, [this](const TULONotification &) {
                ++m_count;
                if (!TULOIsMainThread())
                    ++m_offMain;
            });
    }
    ~TULOChangeRecorder() { TULONotificationCenter::defaultCenter()->removeObserver(m_observer); }
    int count() const { return m_count.load(); }
    int offMain() const { return m_offMain.load(); }

private:
    TULONotificationObserverID m_observer = 0;
    std::atomic<int> m_count{0};
    std::atomic<int> m_offMain{0};
};

// The Twitter side, the preferences and the notification, over a real account file, a real
// credential file and real preference files in a temporary home, with the sandbox as the store.
class TestAccountStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    TULOSandboxStore m_sandbox;

    std::unique_ptr<TULOAccountStore> makeStore(const TULOPostAuthor &author)
    {
        auto store = std::make_unique<TULOAccountStore>(author, TULOSandboxContext(m_sandbox));
        // Let the first account-information answer settle so it cannot interleave with the test.
        QSignalSpy finished(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        if (!finished.wait(TULOStoreTestWait))
            qWarning("the store never answered the account information request");
        return store;
    }

    static TULOPostAuthor author(const QString &identifier, const QString &type = QStringLiteral("artist"))
    {
        return TULOPostAuthor(identifier, QStringLiteral("Author ") + identifier, type);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("data"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("config"))));
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
        QVERIFY(TULOAccountDatabase::databasePath().startsWith(m_home.path()));
        QVERIFY(m_sandbox.start());
    }
    void cleanupTestCase() { m_sandbox.stop(); }
    void cleanup()
    {
        m_sandbox.clearFaults();
        TULOAccountDatabase::sharedDatabase()->executeSQL(QStringLiteral("DROP TRIGGER IF EXISTS temp.refuse"));
    }

    void enabledSwitch_data()
    {
        QTest::addColumn<bool>("linked");
        QTest::addColumn<bool>("requested");
        QTest::addColumn<bool>("stored");
        QTest::newRow("on without an account stores off") << false << true << false;
        QTest::newRow("on with an account") << true << true << true;
        QTest::newRow("off with an account") << true << false << false;
        QTest::newRow("off without an account") << false << false << false;
    }
    void enabledSwitch()
    {
        QFETCH(bool, linked);
        QFETCH(bool, requested);
        QFETCH(bool, stored);
        auto store = makeStore(author(unique(QStringLiteral("switch"))));
        if (linked)
            QVERIFY(store->saveAccount(twitterAccount(unique(QStringLiteral("@ann")))));
        TULOChangeRecorder changes(store.get());
        store->setAccountEnabled(requested, twitter);
        QCOMPARE(changes.count(), 1);
        const QString key = TULOAccountStore::autopostingEnabledKey(twitter);
        QCOMPARE(key, QStringLiteral("autoposting-twitter-enabled"));
        QVERIFY(TULOPreferences::frameworkPreferences().contains(key));
        QCOMPARE(TULOPreferences::frameworkPreferences().boolForKey(key), stored);
        QCOMPARE(store->isAccountEnabledForServiceIdentifier(twitter), stored);
    }

    void switchNeedsAnAccountWhateverThePreferenceSays()
    {
        auto store = makeStore(author(unique(QStringLiteral("switch"))));
        TULOPreferences::frameworkPreferences().setBool(TULOAccountStore::autopostingEnabledKey(twitter), true);
        TULOPreferences::frameworkPreferences().setBool(TULOAccountStore::autopostingEnabledKey(facebook), true);
        QVERIFY(!store->isAccountEnabledForServiceIdentifier(twitter));
        QVERIFY(!store->isAccountEnabledForServiceIdentifier(facebook));
        QVERIFY(store->saveAccount(twitterAccount(unique(QStringLiteral("@bo")))));
        QVERIFY(store->isAccountEnabledForServiceIdentifier(twitter));
    }

    void preferredFacebookDestination()
    {
        auto store = makeStore(author(unique(QStringLiteral("destination"))));
        const QString key = QString::fromLatin1(TULOAccountStorePreferredFacebookDestinationKey);
        TULOPreferences::frameworkPreferences().removeObjectForKey(key);
        QCOMPARE(store->preferredFacebookAutopostingDestination(), qint64(0));
        TULOChangeRecorder changes(store.get());
        store->setPreferredFacebookAutopostingDestination(TULOFacebookAutopostingDestinationPreferredPage);
        QCOMPARE(changes.count(), 1);
        QCOMPARE(TULOPreferences::frameworkPreferences().integerForKey(key), qint64(1));
        // Another store (another screen) reads the same preference.
        auto other = makeStore(author(unique(QStringLiteral("destination"))));
        QCOMPARE(other->preferredFacebookAutopostingDestination(), qint64(1));
    }

    void twitterAccountRoundTrip()
    {
        const TULOPostAuthor owner = author(unique(QStringLiteral("roundtrip")));
        const QString userName = unique(QStringLiteral("@cy"));
        TULOAccount saved = twitterAccount(userName, QStringLiteral("pässword"));
        saved.setFullName(QStringLiteral("Cy Twombly"));
        saved.setPreferredPageIdentifier(QStringLiteral("page-7"));
        {
            auto store = makeStore(owner);
            QVERIFY(store->saveAccount(saved));
        }
        // A later store (a later run) finds it in the file and the password in the credential store.
        auto store = makeStore(owner);
        const std::optional<TULOAccount> read = store->accountForServiceIdentifier(twitter);
        QVERIFY(read.has_value());
        QCOMPARE(read->userName(), userName);
        QCOMPARE(read->fullName(), QStringLiteral("Cy Twombly"));
        QCOMPARE(read->authenticationToken(), saved.authenticationToken());
        QCOMPARE(read->authenticationSecret(), saved.authenticationSecret());
        QCOMPARE(read->preferredPageIdentifier(), QStringLiteral("page-7"));
        QCOMPARE(read->valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)).toString(), QStringLiteral("42"));
        QVERIFY(!read->valueForProperty(QString::fromLatin1(TULOAccountPropertyPassword)).isValid());
        QCOMPARE(read->password(), QStringLiteral("pässword"));
        // Nothing of Twitter is kept in memory as Facebook is.
        QVERIFY(!store->accountForServiceIdentifier(facebook).has_value());
    }

    void secondTwitterAccountReplacesTheFirst()
    {
        const TULOPostAuthor owner = author(unique(QStringLiteral("replace")));
        auto store = makeStore(owner);
        QVERIFY(store->saveAccount(twitterAccount(QStringLiteral("@first"))));
        QVERIFY(store->saveAccount(twitterAccount(QStringLiteral("@second"))));
        QCOMPARE(rowCount(owner, twitter), qint64(1));
        QCOMPARE(store->accountForServiceIdentifier(twitter)->userName(), QStringLiteral("@second"));
    }

    void authorsDoNotSeeEachOther_data()
    {
        QTest::addColumn<QString>("otherIdentity");
        QTest::addColumn<QString>("otherType");
        QTest::newRow("another identity") << QStringLiteral("other") << QStringLiteral("artist");
        QTest::newRow("same identity, another author type") << QString() << QStringLiteral("brand");
    }
    void authorsDoNotSeeEachOther()
    {
        QFETCH(QString, otherIdentity);
        QFETCH(QString, otherType);
        const TULOPostAuthor first = author(unique(QStringLiteral("first")));
        const TULOPostAuthor second
            = author(otherIdentity.isEmpty() ? first.identifier() : unique(otherIdentity), otherType);
        auto firstStore = makeStore(first);
        auto secondStore = makeStore(second);
        const QString userName = unique(QStringLiteral("@shared"));
        QVERIFY(firstStore->saveAccount(twitterAccount(userName, QStringLiteral("secret"))));
        QVERIFY(!secondStore->accountForServiceIdentifier(twitter).has_value());

        // The same Twitter account linked by both authors is two rows.
        QVERIFY(secondStore->saveAccount(twitterAccount(userName, QStringLiteral("secret"))));
        QCOMPARE(rowCount(first, twitter), qint64(1));
        QCOMPARE(rowCount(second, twitter), qint64(1));

        // Unlinking it for one author leaves the other's row and its password usable.
        QVERIFY(firstStore->removeAccount(twitterAccount(userName)));
        QVERIFY(!firstStore->accountForServiceIdentifier(twitter).has_value());
        const std::optional<TULOAccount> kept = secondStore->accountForServiceIdentifier(twitter);
        QVERIFY(kept.has_value());
        QCOMPARE(kept->password(), QStringLiteral("secret"));

        // Once nobody links it, the password goes too.
        QVERIFY(secondStore->removeAccount(twitterAccount(userName)));
        QVERIFY(!TULOCredentialStore::sharedStore()->findItem(userName, twitter).has_value());
    }

    void removingAnotherUserNameDeletesNoRow()
    {
        const TULOPostAuthor owner = author(unique(QStringLiteral("stale")));
        auto store = makeStore(owner);
        QVERIFY(store->saveAccount(twitterAccount(QStringLiteral("@current"), QStringLiteral("pw"))));
        QVERIFY(store->removeAccount(twitterAccount(QStringLiteral("@previous"))));
        QCOMPARE(rowCount(owner, twitter, QStringLiteral("@current")), qint64(1));
        QCOMPARE(store->accountForServiceIdentifier(twitter)->password(), QStringLiteral("pw"));
    }

    // The database refuses a write (a full disk, a locked file): nothing stored may be lost,
    // and nobody is told of a change that did not happen.
    void refusedWriteKeepsTheStoredAccount_data()
    {
        QTest::addColumn<QString>("refused");
        QTest::newRow("insert refused") << QStringLiteral("INSERT");
        QTest::newRow("delete refused") << QStringLiteral("DELETE");
    }
    void refusedWriteKeepsTheStoredAccount()
    {
        QFETCH(QString, refused);
        const TULOPostAuthor owner = author(unique(QStringLiteral("refused")));
        auto store = makeStore(owner);
        QVERIFY(store->saveAccount(twitterAccount(QStringLiteral("@kept"), QStringLiteral("kept-pw"))));
        // A temporary trigger lives on the store's own connection only.
        QVERIFY(TULOAccountDatabase::sharedDatabase()->executeSQL(
            QStringLiteral("CREATE TEMP TRIGGER refuse BEFORE %1 ON account BEGIN SELECT RAISE(ABORT, 'disk full'); END")
                .arg(refused)));
        TULOChangeRecorder changes(store.get());
        TULOError saveError;
        QVERIFY(!store->saveAccount(twitterAccount(QStringLiteral("@new")), &saveError));
        QVERIFY(!saveError.isNull());
        TULOError removeError;
        const bool removed = store->removeAccount(twitterAccount(QStringLiteral("@kept")), &removeError);
        QCOMPARE(removed, refused != QLatin1String("DELETE"));
        QCOMPARE(removeError.isNull(), removed);
        QCOMPARE(changes.count(), removed ? 1 : 0);
        if (!removed) {
            const std::optional<TULOAccount> kept = store->accountForServiceIdentifier(twitter);
            QVERIFY(kept.has_value());
            QCOMPARE(kept->userName(), QStringLiteral("@kept"));
            QCOMPARE(kept->password(), QStringLiteral("kept-pw"));
        } else {
            QCOMPARE(rowCount(owner, twitter), qint64(0));
        }
    }

    void facebookLivesInMemoryOnly()
    {
        const TULOPostAuthor owner = author(unique(QStringLiteral("memory")));
        auto store = makeStore(owner);
        TULOAccount account(facebook);
        account.setUserName(QStringLiteral("Ann Page"));
        account.setPages({TULOFacebookPage(QStringLiteral("p1"), QStringLiteral("Ann's Page"))});
        TULOChangeRecorder changes(store.get());
        QVERIFY(store->saveAccount(account));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(store->accountForServiceIdentifier(facebook)->pages().size(), 1);
        QCOMPARE(rowCount(owner, facebook), qint64(0));
        auto other = makeStore(owner);
        QVERIFY(!other->accountForServiceIdentifier(facebook).has_value());
        QVERIFY(store->removeAccount(account));
        QVERIFY(!store->accountForServiceIdentifier(facebook).has_value());
        QCOMPARE(changes.count(), 2);
    }

    void notificationArrivesOnTheMainThread_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<bool>("fromWorker");
        for (const bool worker : {false, true}) {
            const char *where = worker ? ", from a worker" : "";
            for (const char *change : {"save", "remove", "enable", "destination"})
                QTest::newRow(qPrintable(QString::fromLatin1(change) + QString::fromLatin1(where)))
                    << QString::fromLatin1(change) << worker;
        }
    }
    void notificationArrivesOnTheMainThread()
    {
        QFETCH(QString, change);
        QFETCH(bool, fromWorker);
        auto store = makeStore(author(unique(QStringLiteral("notify"))));
        const TULOAccount account = twitterAccount(unique(QStringLiteral("@note")));
        if (change == QLatin1String("remove") || change == QLatin1String("enable"))
            QVERIFY(store->saveAccount(account));
        TULOChangeRecorder changes(store.get());
        TULOAccountStore *raw = store.get();
        const auto perform = [raw, change, account] {
            if (change == QLatin1String("save"))
                raw->saveAccount(account);
            else if (change == QLatin1String("remove"))
                raw->removeAccount(account);
            else if (change == QLatin1String("enable"))
                raw->setAccountEnabled(true, twitter);
            else
                raw->setPreferredFacebookAutopostingDestination(1);
        };
        if (fromWorker) {
            std::thread worker(perform);
            worker.join();
        } else {
            perform();
            QCOMPARE(changes.count(), 1); // at once, when the change is made on the main thread
        }
        QTRY_COMPARE_WITH_TIMEOUT(changes.count(), 1, TULOStoreTestWait);
        QCOMPARE(changes.offMain(), 0);
    }

    void noNotificationOnceTheStoreIsGone()
    {
        auto store = makeStore(author(unique(QStringLiteral("gone"))));
        int heard = 0;
        const auto observer = TULONotificationCenter::defaultCenter()->addObserver(
            QString::fromLatin1(TULOAccountStoreDidChangeNotification), nullptr,
            [&heard](const TULONotification &) { ++heard; });
        TULOAccountStore *raw = store.get();
        std::thread worker([raw] { raw->setPreferredFacebookAutopostingDestination(0); });
        worker.join();
        store.reset(); // before the main thread gets to the queued post
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents();
        TULONotificationCenter::defaultCenter()->removeObserver(observer);
        QCOMPARE(heard, 0);
    }

    void destroyingDuringASlowRequestDoesNotWait()
    {
        // Every request hangs far longer than the test may run; a destructor that waited for
        // the queue would hang the test instead of finishing it.
        m_sandbox.addFault(QString(), TULOSandboxFault::delay(600000));
        const int before = m_sandbox.requestCount();
        auto store = std::make_unique<TULOAccountStore>(
            author(unique(QStringLiteral("slow"))), TULOSandboxContext(m_sandbox, 120000));
        bool finished = false;
        connect(store.get(), &TULOAccountStore::accountInfoRequestDidFinish, this, [&finished] { finished = true; });
        QTRY_VERIFY_WITH_TIMEOUT(m_sandbox.requestCount() > before, TULOStoreTestWait);
        store.reset();
        QVERIFY(!finished);
        m_sandbox.clearFaults();
    }
};

QTEST_GUILESS_MAIN(TestAccountStore)
#include "tst_accountstore.moc"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/platform/credentials/credentialstore.h>

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

// Tests run in parallel only because none of them reaches the user's own files: every place
// where the framework keeps credentials, accounts, preferences or caches lies in the test
// process's temporary home.
class TestTestHome : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void locationIsPrivate_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("home") << QDir::homePath();
        QTest::newRow("data") << QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        QTest::newRow("config") << QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
        QTest::newRow("cache") << QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
        QTest::newRow("runtime") << QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
        QTest::newRow("credential file store") << TULOCredentialStore::defaultFileStoreDirectory();
        QTest::newRow("accounts database") << TULOAccountDatabase::databasePath();
    }
    void locationIsPrivate()
    {
        QFETCH(QString, path);
        const QString home = QDir::homePath();
        QVERIFY2(home.startsWith(QDir::tempPath() + QStringLiteral("/quillon-test-home-")), qPrintable(home));
        QVERIFY2(path.startsWith(home + QLatin1Char('/')) || path == home, qPrintable(path));
        const passwd *user = getpwuid(getuid());
        QVERIFY(user != nullptr);
        QVERIFY2(!path.startsWith(QString::fromLocal8Bit(user->pw_dir) + QLatin1Char('/')), qPrintable(path));
    }

    void credentialsStayInTheHome()
    {
        // The session's keyring is shared by every process of the user; the shared store must
        // be the file in the test's home.
        TULOCredentialStore *store = TULOCredentialStore::sharedStore();
        QCOMPARE(store->backendName(), QStringLiteral("file"));
        QVERIFY(store->locationDescription().contains(QDir::homePath()));
    }
};

QTEST_GUILESS_MAIN(TestTestHome)
#include "tst_testhome.moc"

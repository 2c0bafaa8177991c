#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accountentity_p.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>

static const QString freshTable
    = QStringLiteral("CREATE TABLE account (pid INTEGER, authentication_secret TEXT, authentication_token "
                     "TEXT, author_identity TEXT, "
                     "author_type TEXT, enabled INTEGER DEFAULT 0, full_name TEXT, page_identifier TEXT, "
                     "registered INTEGER DEFAULT 0, "
                     "service_identifier TEXT, user_identifier TEXT, user_name TEXT, PRIMARY KEY (pid))");

static const QStringList freshColumns {"pid", "authentication_secret", "authentication_token",
    "author_identity", "author_type", "enabled", "full_name", "page_identifier", "registered",
    "service_identifier", "user_identifier", "user_name"};

// Builds a file with the raw library, as an older release left it.
static bool runRaw(const QString &path, const QString &sql)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(path).constData(), &db) != SQLITE_OK) {
        sqlite3_close(db);
        return false;
    }
    char *message = nullptr;
    const int rc = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message);
    if (message)
        qWarning("%s", message);
    sqlite3_free(message);
    sqlite3_close(db);
    return rc == SQLITE_OK;
}

struct TULOColumn
{
    QString name;
    QString type;
};

static QList<TULOColumn> columnsOf(TULOSQLiteDatabase &database)
{
    QList<TULOColumn> columns;
    database.enumerateRowsForSQL(
        QStringLiteral("PRAGMA table_info(account)"), {}, [&](const TULOSQLiteStatement &row, bool *) {
            columns.append({row.columnValue(1).toString(), row.columnValue(2).toString()});
        });
    return columns;
}

static QStringList namesOf(const QList<TULOColumn> &columns)
{
    QStringList names;
    for (const TULOColumn &column : columns)
        names.append(column.name);
    return names;
}

static QString schemaOf(TULOSQLiteDatabase &database)
{
    QString sql;
    database.enumerateRowsForSQL(QStringLiteral("SELECT sql FROM sqlite_schema WHERE name = 'account'"), {},
        [&](const TULOSQLiteStatement &row, bool *) { sql = row.columnValue(0).toString(); });
    return sql;
}

static QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

static int modeOf(const QString &path)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

class TestAccountDatabase : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_data;

private Q_SLOTS:
    void init()
    {
        // A fresh shared resources directory for every test; never the real home.
        m_data = std::make_unique<QTemporaryDir>();
        QVERIFY(m_data->isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data->path()));
    }

    void locationIsOwnerOnly()
    {
        const QString path = TULOAccountDatabase::databasePath();
        QCOMPARE(
            path, m_data->filePath(QStringLiteral("Library/com.vantor.Quillon/SocialAccounts.sqlitedb")));
        TULOAccountDatabase database;
        QVERIFY(database.isOpen());
        QCOMPARE(database.path(), path);
        QCOMPARE(modeOf(path), 0600);
        QCOMPARE(modeOf(QFileInfo(path).absolutePath()), 0700);
    }

    void freshInstallCreatesTableWithoutMigrating()
    {
        TULOAccountDatabase database;
        QCOMPARE(database.userVersion(), std::optional<qint64>(4));
        // ALTER TABLE would have appended to this text; it is the CREATE statement alone.
        QCOMPARE(schemaOf(database), freshTable);
        QCOMPARE(namesOf(columnsOf(database)), freshColumns);
    }

    void migration_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QStringList>("expectedColumns");
        const QString v1 = QStringLiteral("CREATE TABLE account (pid INTEGER, author_identity TEXT, enabled "
                                          "INTEGER DEFAULT 0, full_name TEXT, "
                                          "service_identifier TEXT, user_name TEXT, PRIMARY KEY (pid));");
        const QString v2 = v1 + QStringLiteral("ALTER TABLE account ADD COLUMN page_identifier TEXT;");
        const QString v3 = v2
            + QStringLiteral("ALTER TABLE account ADD COLUMN authentication_secret; ALTER TABLE account ADD "
                             "COLUMN authentication_token;"
                             "ALTER TABLE account ADD COLUMN author_type TEXT; ALTER TABLE account ADD "
                             "COLUMN registered INTEGER DEFAULT 0;");
        const QStringList v1Columns {
            "pid", "author_identity", "enabled", "full_name", "service_identifier", "user_name"};
        const QStringList v3Columns = v1Columns
            + QStringList {"page_identifier", "authentication_secret", "authentication_token", "author_type",
                "registered"};
        QTest::newRow("version 1") << v1 + QStringLiteral("PRAGMA user_version = 1;")
                                   << v3Columns + QStringList {"user_identifier"};
        QTest::newRow("version 2") << v2 + QStringLiteral("PRAGMA user_version = 2;")
                                   << v3Columns + QStringList {"user_identifier"};
        QTest::newRow("version 3") << v3 + QStringLiteral("PRAGMA user_version = 3;")
                                   << v3Columns + QStringList {"user_identifier"};
        QTest::newRow("version 1 that already has page_identifier")
            << v2 + QStringLiteral("PRAGMA user_version = 1;") << v3Columns + QStringList {"user_identifier"};
    }
    void migration()
    {
        QFETCH(QString, setup);
        QFETCH(QStringList, expectedColumns);
        const QString path = TULOAccountDatabase::databasePath();
        QVERIFY(runRaw(path,
            setup
                + QStringLiteral(
                    "INSERT INTO account (pid, author_identity, full_name, service_identifier, user_name) "
                    "VALUES (7, 'a1', 'Ann Artist', 'twitter', 'ann');")));

        TULOAccountDatabase database;
        QCOMPARE(database.userVersion(), std::optional<qint64>(4));
        const QList<TULOColumn> columns = columnsOf(database);
        QCOMPARE(namesOf(columns), expectedColumns);
        for (const TULOColumn &column : columns) {
            // The two token columns were added without a type, and stay so.
            const bool typeless = column.name == QLatin1String("authentication_secret")
                || column.name == QLatin1String("authentication_token");
            QVERIFY2(column.type.isEmpty() == typeless, qPrintable(column.name));
        }

        // The row is still there; added columns are NULL, registered took its default.
        QVariantList values;
        QVERIFY(
            TULOAccountEntity::queryWithPredicate(&database, TULOSQLitePredicate())
                .enumeratePersistentIDsAndProperties(
                    {"user_name", "full_name", "page_identifier", "authentication_token", "author_type",
                        "registered", "user_identifier"},
                    [&](qint64 pid, const QVariantList &row, bool *) { values = QVariantList {pid} + row; }));
        QCOMPARE(values,
            (QVariantList {qlonglong(7), QStringLiteral("ann"), QStringLiteral("Ann Artist"), QVariant(),
                QVariant(), QVariant(), qlonglong(0), QVariant()}));
        // And the migrated table takes a full row.
        QVERIFY(TULOAccountEntity::insertIntoDatabase(
            &database, {{"user_name", "bob"}, {"user_identifier", "42"}, {"authentication_secret", "s"}}));
    }

    void currentVersionReopenedChangesNothing()
    {
        const QString path = TULOAccountDatabase::databasePath();
        {
            TULOAccountDatabase database;
            QVERIFY(TULOAccountEntity::insertIntoDatabase(
                &database, {{"user_name", "ann"}, {"author_identity", "a1"}}));
        }
        const QByteArray before = readAll(path);
        {
            TULOAccountDatabase database;
            QCOMPARE(database.userVersion(), std::optional<qint64>(4));
            QCOMPARE(schemaOf(database), freshTable);
        }
        QCOMPARE(readAll(path), before);
    }

    void otherVersionsAreLeftAlone_data()
    {
        QTest::addColumn<int>("version");
        QTest::newRow("newer version") << 5;
        QTest::newRow("negative version") << -1;
    }
    void otherVersionsAreLeftAlone()
    {
        QFETCH(int, version);
        const QString path = TULOAccountDatabase::databasePath();
        const QString table
            = QStringLiteral("CREATE TABLE account (pid INTEGER, user_name TEXT, PRIMARY KEY (pid))");
        QVERIFY(runRaw(path, table + QStringLiteral("; PRAGMA user_version = %1;").arg(version)));
        TULOAccountDatabase database;
        QCOMPARE(database.userVersion(), std::optional<qint64>(version));
        QCOMPARE(schemaOf(database), table);
    }

    void damagedFileIsSetAsideAndStoreWorks_data()
    {
        QTest::addColumn<bool>("malformedPages");
        QTest::newRow("not a database") << false;
        QTest::newRow("malformed table pages") << true;
    }
    void damagedFileIsSetAsideAndStoreWorks()
    {
        QFETCH(bool, malformedPages);
        const QString path = TULOAccountDatabase::databasePath();
        if (malformedPages) {
            {
                TULOAccountDatabase database;
                database.performTransactionWithBlock([&] {
                    for (int i = 0; i < 100; ++i)
                        TULOAccountEntity::insertIntoDatabase(
                            &database, {{"user_name", QString(400, QLatin1Char('u'))}});
                    return true;
                });
            }
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.size() > 2 * 4096);
            file.seek(4096);
            file.write(QByteArray(int(file.size()) - 4096, '\x33'));
        } else {
            QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("{\"accounts\": \"this file was never a database\"}");
        }
        const QByteArray damaged = readAll(path);

        TULOAccountDatabase database;
        const TULOSQLiteQuery all = TULOAccountEntity::queryWithPredicate(&database, TULOSQLitePredicate());
        TULOError error;
        if (!all.countOfEntities(&error))
            QCOMPARE(error.code() & 0xff, qint64(SQLITE_CORRUPT));

        QCOMPARE(database.setAsidePaths().size(), 1);
        const QString aside = database.setAsidePaths().first();
        QVERIFY(QFileInfo(aside).fileName().startsWith(QStringLiteral("SocialAccounts.sqlitedb.corrupt-")));
        QCOMPARE(readAll(aside), damaged);

        // A fresh, current database took its place.
        QCOMPARE(database.userVersion(), std::optional<qint64>(4));
        QCOMPARE(schemaOf(database), freshTable);
        QVERIFY(TULOAccountEntity::insertIntoDatabase(
            &database, {{"user_name", "ann"}, {"service_identifier", "twitter"}}));
        QCOMPARE(all.countOfEntities(), std::optional<qint64>(1));
    }

    void sharedDatabaseIsOneInstance()
    {
        TULOAccountDatabase *fromWorker = nullptr;
        std::thread worker([&] { fromWorker = TULOAccountDatabase::sharedDatabase(); });
        TULOAccountDatabase *fromMain = TULOAccountDatabase::sharedDatabase();
        worker.join();
        QVERIFY(fromMain);
        QCOMPARE(fromWorker, fromMain);
        QCOMPARE(fromMain->path(), TULOAccountDatabase::databasePath());
        QCOMPARE(fromMain->userVersion(), std::optional<qint64>(4));
    }
};

QTEST_GUILESS_MAIN(TestAccountDatabase)
#include "tst_accountdatabase.moc"

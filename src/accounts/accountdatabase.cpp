#include <Quillon/accounts/accountdatabase_p.h>

#include <QDir>
#include <QStandardPaths>

const qint64 TULOAccountDatabaseSchemaVersion = 4;

TULOAccountDatabase *TULOAccountDatabase::sharedDatabase()
{
    // Lives as long as the process; never destroyed so late users on other threads stay safe.
    static TULOAccountDatabase *const shared = new TULOAccountDatabase();
    return shared;
}

QString TULOAccountDatabase::databasePath()
{
    const QString folder = QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
                               .filePath(QStringLiteral("Library/com.vantor.Quillon"));
    return QDir(folder).filePath(QStringLiteral("SocialAccounts.sqlitedb"));
}

TULOAccountDatabase::TULOAccountDatabase()
    : TULOAccountDatabase(databasePath())
{
}

TULOAccountDatabase::TULOAccountDatabase(const QString &path)
    : TULOSQLiteDatabase(path)
{
    setSetupBlock([](TULOSQLiteDatabase &database) {
        static_cast<TULOAccountDatabase &>(database).createDatabaseSchema();
    });
    createDatabaseSchema();
}

void TULOAccountDatabase::createDatabaseSchema()
{
    performTransactionWithBlock([this] {
        const std::optional<qint64> stored = userVersion();
        if (!stored)
            return true; // unreadable: leave the file as it is
        if (*stored == 0) {
            executeSQL(QStringLiteral("CREATE TABLE IF NOT EXISTS account (pid INTEGER, "
                                      "authentication_secret TEXT, authentication_token TEXT, "
                                      "author_identity TEXT, author_type TEXT, enabled INTEGER DEFAULT 0, "
                                      "full_name TEXT, page_identifier TEXT, "
                                      "registered INTEGER DEFAULT 0, service_identifier TEXT, "
                                      "user_identifier TEXT, user_name TEXT, "
                                      "PRIMARY KEY (pid));"));
            setUserVersion(TULOAccountDatabaseSchemaVersion);
            return true;
        }
        // Newer files are left alone, and so is a negative version, which nothing writes.
        if (*stored > 3 || *stored < 0)
            return true;
        for (qint64 version = *stored; version < TULOAccountDatabaseSchemaVersion; ++version) {
            switch (version) {
            case 1:
                migrateToSchemaVersion2();
                break;
            case 2:
                migrateToSchemaVersion3();
                break;
            case 3:
                migrateToSchemaVersion4();
                break;
            }
        }
        setUserVersion(TULOAccountDatabaseSchemaVersion);
        return true;
    });
}

// The results of the ALTER statements are ignored: a column that is there already stays.

void TULOAccountDatabase::migrateToSchemaVersion2()
{
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN page_identifier TEXT"));
}

void TULOAccountDatabase::migrateToSchemaVersion3()
{
    // The two token columns have no declared type; older files were made so, and SQLite takes it.
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN authentication_secret"));
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN authentication_token"));
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN author_type TEXT"));
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN registered INTEGER DEFAULT 0"));
}

void TULOAccountDatabase::migrateToSchemaVersion4()
{
    executeSQL(QStringLiteral("ALTER TABLE account ADD COLUMN user_identifier TEXT"));
}

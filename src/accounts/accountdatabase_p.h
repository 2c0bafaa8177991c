#pragma once

#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

// The schema version this code writes.
extern const qint64 TULOAccountDatabaseSchemaVersion;

// The file of linked accounts, "SocialAccounts.sqlitedb" in Library/com.vantor.Quillon of the
// shared resources directory, with its one table "account". Opening it creates or migrates the
// schema, and so does every reopen after damage.
class TULOAccountDatabase : public TULOSQLiteDatabase
{
public:
    // The one process-wide database, created on first use from any thread.
    static TULOAccountDatabase *sharedDatabase();
    static QString databasePath();

    TULOAccountDatabase();
    explicit TULOAccountDatabase(const QString &path);

private:
    void createDatabaseSchema();
    void migrateToSchemaVersion2();
    void migrateToSchemaVersion3();
    void migrateToSchemaVersion4();
};

#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/sqlite/sqlitequery_p.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <optional>

class TULOSQLiteDatabase;

// The column every entity table keys its rows by: "pid INTEGER PRIMARY KEY" (SQLite's rowid),
// assigned by the layer on insert.
extern const char *const TULOSQLiteEntityPersistentIDColumn;

// One row of an entity table, named by its persistent id. The row is read and written through
// the database on each call; the entity holds no copy of it. The database must outlive it.
class TULOSQLiteEntity
{
public:
    TULOSQLiteEntity(TULOSQLiteDatabase *database, const QString &table, qint64 persistentID);
    virtual ~TULOSQLiteEntity();

    TULOSQLiteDatabase *database() const { return m_database; }
    QString table() const { return m_table; }
    qint64 persistentID() const { return m_persistentID; }

    // Inserts a row with the given column values and answers its persistent id.
    static std::optional<qint64> insertIntoDatabase(TULOSQLiteDatabase *database, const QString &table,
        const QVariantMap &values, TULOError *error = nullptr);

    bool existsInDatabase(TULOError *error = nullptr) const;
    // The row's values for `properties`; nullopt when the row is gone or the read fails.
    std::optional<QVariantMap> valuesForProperties(
        const QStringList &properties, TULOError *error = nullptr) const;
    bool setValuesForProperties(const QVariantMap &values, TULOError *error = nullptr);
    bool deleteFromDatabase(TULOError *error = nullptr);

    bool operator==(const TULOSQLiteEntity &other) const;

private:
    TULOSQLiteDatabase *m_database;
    QString m_table;
    qint64 m_persistentID;
};

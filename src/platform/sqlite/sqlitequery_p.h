#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/sqlite/sqlitepredicate_p.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <functional>
#include <optional>

class TULOSQLiteDatabase;

// The rows of one entity table that match a predicate. Rows come in persistent-id order.
// The database must outlive the query.
class TULOSQLiteQuery
{
public:
    using TULOEnumerationBlock
        = std::function<void(qint64 persistentID, const QVariantList &values, bool *stop)>;

    TULOSQLiteQuery(TULOSQLiteDatabase *database, const QString &table,
        const TULOSQLitePredicate &predicate = TULOSQLitePredicate());

    TULOSQLiteDatabase *database() const { return m_database; }
    QString table() const { return m_table; }
    TULOSQLitePredicate predicate() const { return m_predicate; }

    // Hands each matching row's persistent id and the values of `properties` (in that order)
    // to `block` until it sets *stop.
    bool enumeratePersistentIDsAndProperties(
        const QStringList &properties, const TULOEnumerationBlock &block, TULOError *error = nullptr) const;
    std::optional<QList<qint64>> persistentIDs(TULOError *error = nullptr) const;
    std::optional<qint64> countOfEntities(TULOError *error = nullptr) const;
    // Deletes every matching row; answers how many went.
    std::optional<qint64> deleteAllEntities(TULOError *error = nullptr) const;

private:
    TULOSQLiteDatabase *m_database;
    QString m_table;
    TULOSQLitePredicate m_predicate;
};

#include <Quillon/platform/sqlite/sqlitequery_p.h>

#include <Quillon/platform/sqlite/sqlitedatabase_p.h>
#include <Quillon/platform/sqlite/sqliteentity_p.h>

TULOSQLiteQuery::TULOSQLiteQuery(
    TULOSQLiteDatabase *database, const QString &table, const TULOSQLitePredicate &predicate)
    : m_database(database)
    , m_table(table)
    , m_predicate(predicate)
{
}

bool TULOSQLiteQuery::enumeratePersistentIDsAndProperties(
    const QStringList &properties, const TULOEnumerationBlock &block, TULOError *error) const
{
    const QString pid = TULOSQLiteQuotedIdentifier(QString::fromLatin1(TULOSQLiteEntityPersistentIDColumn));
    QString columns = pid;
    for (const QString &property : properties)
        columns += QStringLiteral(", ") + TULOSQLiteQuotedIdentifier(property);
    const QString sql = QStringLiteral("SELECT ") + columns + QStringLiteral(" FROM ")
        + TULOSQLiteQuotedIdentifier(m_table) + m_predicate.whereClause() + QStringLiteral(" ORDER BY ")
        + pid;
    return m_database->enumerateRowsForSQL(
        sql, m_predicate.values(),
        [&](const TULOSQLiteStatement &row, bool *stop) {
            QVariantList values;
            values.reserve(properties.size());
            for (int i = 0; i < properties.size(); ++i)
                values.append(row.columnValue(i + 1));
            if (block)
                block(row.columnInt64(0), values, stop);
        },
        error);
}

std::optional<QList<qint64>> TULOSQLiteQuery::persistentIDs(TULOError *error) const
{
    QList<qint64> ids;
    const bool ok = enumeratePersistentIDsAndProperties(
        {}, [&](qint64 persistentID, const QVariantList &, bool *) { ids.append(persistentID); }, error);
    return ok ? std::optional<QList<qint64>>(ids) : std::nullopt;
}

std::optional<qint64> TULOSQLiteQuery::countOfEntities(TULOError *error) const
{
    std::optional<qint64> count;
    const QString sql = QStringLiteral("SELECT count(*) FROM ") + TULOSQLiteQuotedIdentifier(m_table)
        + m_predicate.whereClause();
    const bool ok = m_database->enumerateRowsForSQL(
        sql, m_predicate.values(),
        [&](const TULOSQLiteStatement &row, bool *stop) {
            count = row.columnInt64(0);
            *stop = true;
        },
        error);
    return ok ? count : std::nullopt;
}

std::optional<qint64> TULOSQLiteQuery::deleteAllEntities(TULOError *error) const
{
    const QString sql
        = QStringLiteral("DELETE FROM ") + TULOSQLiteQuotedIdentifier(m_table) + m_predicate.whereClause();
    return m_database->executeChangeSQL(sql, m_predicate.values(), error);
}

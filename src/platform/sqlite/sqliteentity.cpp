#include <Quillon/platform/sqlite/sqliteentity_p.h>

#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

#include <sqlite3.h>

const char *const TULOSQLiteEntityPersistentIDColumn = "pid";

static QString TULOPidColumn()
{
    return TULOSQLiteQuotedIdentifier(QString::fromLatin1(TULOSQLiteEntityPersistentIDColumn));
}

static TULOError TULORowGoneError()
{
    return TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_NOTFOUND,
        QStringLiteral("The row is no longer in the database."));
}

TULOSQLiteEntity::TULOSQLiteEntity(TULOSQLiteDatabase *database, const QString &table, qint64 persistentID)
    : m_database(database)
    , m_table(table)
    , m_persistentID(persistentID)
{
}

TULOSQLiteEntity::~TULOSQLiteEntity() = default;

std::optional<qint64> TULOSQLiteEntity::insertIntoDatabase(
    TULOSQLiteDatabase *database, const QString &table, const QVariantMap &values, TULOError *error)
{
    if (!database) {
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISUSE,
                QStringLiteral("No database to insert into.")));
        return std::nullopt;
    }
    QString sql = QStringLiteral("INSERT INTO ") + TULOSQLiteQuotedIdentifier(table);
    if (values.isEmpty()) {
        sql += QStringLiteral(" DEFAULT VALUES");
    } else {
        QStringList columns;
        QStringList parameters;
        for (auto it = values.cbegin(); it != values.cend(); ++it) {
            columns.append(TULOSQLiteQuotedIdentifier(it.key()));
            parameters.append(QStringLiteral("?"));
        }
        sql += QStringLiteral(" (") + columns.join(QStringLiteral(", ")) + QStringLiteral(") VALUES (")
            + parameters.join(QStringLiteral(", ")) + QLatin1Char(')');
    }
    return database->executeInsertSQL(sql, values.values(), error);
}

bool TULOSQLiteEntity::existsInDatabase(TULOError *error) const
{
    const TULOSQLiteQuery query(m_database, m_table,
        TULOSQLitePredicate(QString::fromLatin1(TULOSQLiteEntityPersistentIDColumn), m_persistentID));
    return query.countOfEntities(error).value_or(0) > 0;
}

std::optional<QVariantMap> TULOSQLiteEntity::valuesForProperties(
    const QStringList &properties, TULOError *error) const
{
    std::optional<QVariantMap> result;
    const TULOSQLiteQuery query(m_database, m_table,
        TULOSQLitePredicate(QString::fromLatin1(TULOSQLiteEntityPersistentIDColumn), m_persistentID));
    const bool ok = query.enumeratePersistentIDsAndProperties(
        properties,
        [&](qint64, const QVariantList &values, bool *stop) {
            QVariantMap map;
            for (int i = 0; i < properties.size(); ++i)
                map.insert(properties.at(i), values.at(i));
            result = map;
            *stop = true;
        },
        error);
    if (ok && !result)
        TULOSetError(error, TULORowGoneError());
    return ok ? result : std::nullopt;
}

bool TULOSQLiteEntity::setValuesForProperties(const QVariantMap &values, TULOError *error)
{
    if (values.isEmpty())
        return true;
    QStringList assignments;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        assignments.append(TULOSQLiteQuotedIdentifier(it.key()) + QStringLiteral(" = ?"));
    const QString sql = QStringLiteral("UPDATE ") + TULOSQLiteQuotedIdentifier(m_table)
        + QStringLiteral(" SET ") + assignments.join(QStringLiteral(", ")) + QStringLiteral(" WHERE ")
        + TULOPidColumn() + QStringLiteral(" = ?");
    QVariantList bound = values.values();
    bound.append(m_persistentID);
    const std::optional<qint64> changed = m_database->executeChangeSQL(sql, bound, error);
    if (changed && *changed == 0) {
        TULOSetError(error, TULORowGoneError());
        return false;
    }
    return changed.has_value();
}

bool TULOSQLiteEntity::deleteFromDatabase(TULOError *error)
{
    const TULOSQLiteQuery query(m_database, m_table,
        TULOSQLitePredicate(QString::fromLatin1(TULOSQLiteEntityPersistentIDColumn), m_persistentID));
    return query.deleteAllEntities(error).has_value();
}

bool TULOSQLiteEntity::operator==(const TULOSQLiteEntity &other) const
{
    return m_database == other.m_database && m_table == other.m_table
        && m_persistentID == other.m_persistentID;
}

#include <Quillon/platform/library/photolibraryindex_p.h>

#include <Quillon/platform/library/librarycache_p.h>
#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

namespace {

constexpr qint64 kSchemaVersion = 1;

const char *const kColumns = "path, size, modified, asset_type, uti, duration";

TULOPhotoLibraryIndex::Row rowFromStatement(const TULOSQLiteStatement &statement)
{
    TULOPhotoLibraryIndex::Row row;
    const QVariant path = statement.columnValue(0);
    row.path = path.typeId() == QMetaType::QString ? path.toString() : QString();
    row.size = statement.columnInt64(1);
    row.modified = statement.columnInt64(2);
    row.assetType = int(statement.columnInt64(3));
    const QVariant UTI = statement.columnValue(4);
    row.UTI = UTI.typeId() == QMetaType::QString ? UTI.toString() : QString();
    row.duration = statement.columnValue(5).toDouble();
    return row;
}

} // namespace

TULOPhotoLibraryIndex::TULOPhotoLibraryIndex(const QString &path)
    : m_database(std::make_unique<TULOSQLiteDatabase>(path))
{
    m_database->setSetupBlock([](TULOSQLiteDatabase &database) {
        TULOSetUpFileCacheDatabase(database, kSchemaVersion, {QStringLiteral("DROP TABLE IF EXISTS photo_files")},
            {QStringLiteral("CREATE TABLE IF NOT EXISTS photo_files ("
                            " path TEXT PRIMARY KEY NOT NULL,"
                            " size INTEGER NOT NULL,"
                            " modified INTEGER NOT NULL,"
                            " asset_type INTEGER NOT NULL,"
                            " uti TEXT,"
                            " duration REAL NOT NULL DEFAULT 0)"),
                // The shelf asks for the newest few of thousands.
                QStringLiteral("CREATE INDEX IF NOT EXISTS photo_files_by_date ON photo_files (modified DESC, path)")});
    });
    m_database->reopen();
}

TULOPhotoLibraryIndex::~TULOPhotoLibraryIndex() = default;

QHash<QString, TULOPhotoLibraryIndex::Row> TULOPhotoLibraryIndex::load(const QString &root, TULOError *error)
{
    QHash<QString, Row> rows;
    for (const Row &row : newest(root, -1, error))
        rows.insert(row.path, row);
    return rows;
}

QList<TULOPhotoLibraryIndex::Row> TULOPhotoLibraryIndex::newest(const QString &root, int limit, TULOError *error)
{
    QList<Row> rows;
    if (!m_database->isOpen() && !m_database->reopen(error))
        return rows;
    // Paths under the root sort between "root/" and "root0" ('0' follows '/'). The unary plus
    // keeps SQLite from answering through the path index, which holds every row of the root and
    // would sort them all for the newest few; walking the date index stops after `limit` rows.
    const bool ok = m_database->enumerateRowsForSQL(
        QStringLiteral("SELECT %1 FROM photo_files WHERE +path > ? AND +path < ? ORDER BY modified DESC, path LIMIT ?")
            .arg(QLatin1String(kColumns)),
        {root + QLatin1Char('/'), root + QLatin1Char('0'), limit < 0 ? qint64(-1) : qint64(limit)},
        [&rows](const TULOSQLiteStatement &statement, bool *) {
            Row row = rowFromStatement(statement);
            if (!row.path.isEmpty())
                rows.append(row);
        },
        error);
    if (!ok)
        rows.clear();
    return rows;
}

bool TULOPhotoLibraryIndex::apply(const QList<Row> &changed, const QStringList &removed, TULOError *error)
{
    QList<QVariantList> values;
    values.reserve(changed.size());
    for (const Row &row : changed)
        values.append(QVariantList{row.path, row.size, row.modified, row.assetType, row.UTI.isNull() ? QVariant() : QVariant(row.UTI),
            row.duration});
    return TULOApplyFileCacheChanges(*m_database, QStringLiteral("photo_files"),
        QStringLiteral("INSERT OR REPLACE INTO photo_files (%1) VALUES (?, ?, ?, ?, ?, ?)").arg(QLatin1String(kColumns)),
        values, removed, error);
}

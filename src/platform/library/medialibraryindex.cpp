#include <Quillon/platform/library/medialibraryindex_p.h>

#include <Quillon/platform/library/librarycache_p.h>

#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

namespace {

constexpr qint64 kSchemaVersion = 1;

const char *const kCreateSQL =
    "CREATE TABLE IF NOT EXISTS media_files ("
    " path TEXT PRIMARY KEY NOT NULL,"
    " size INTEGER NOT NULL,"
    " modified INTEGER NOT NULL,"
    " readable INTEGER NOT NULL,"
    " media_type INTEGER NOT NULL,"
    " title TEXT, artist TEXT, album_artist TEXT, album TEXT,"
    " store_item_id INTEGER NOT NULL DEFAULT 0,"
    " store_artist_id INTEGER NOT NULL DEFAULT 0,"
    " store_album_artist_id INTEGER NOT NULL DEFAULT 0,"
    " store_album_id INTEGER NOT NULL DEFAULT 0,"
    " explicit INTEGER NOT NULL DEFAULT 0,"
    " duration REAL NOT NULL DEFAULT 0,"
    " artwork_width INTEGER NOT NULL DEFAULT 0,"
    " artwork_height INTEGER NOT NULL DEFAULT 0)";

const char *const kSelectSQL =
    "SELECT path, size, modified, readable, media_type, title, artist, album_artist, album,"
    " store_item_id, store_artist_id, store_album_artist_id, store_album_id, explicit, duration,"
    " artwork_width, artwork_height FROM media_files";

const char *const kUpsertSQL =
    "INSERT OR REPLACE INTO media_files (path, size, modified, readable, media_type, title, artist,"
    " album_artist, album, store_item_id, store_artist_id, store_album_artist_id, store_album_id,"
    " explicit, duration, artwork_width, artwork_height)"
    " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

QString text(const QVariant &value)
{
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QVariant nullable(const QString &value)
{
    return value.isNull() ? QVariant() : QVariant(value);
}

} // namespace

TULOMediaLibraryIndex::TULOMediaLibraryIndex(const QString &path)
    : m_database(std::make_unique<TULOSQLiteDatabase>(path))
{
    m_database->setSetupBlock([](TULOSQLiteDatabase &database) {
        TULOSetUpFileCacheDatabase(database, kSchemaVersion, {QStringLiteral("DROP TABLE IF EXISTS media_files")},
            {QString::fromLatin1(kCreateSQL)});
    });
    m_database->reopen();
}

TULOMediaLibraryIndex::~TULOMediaLibraryIndex() = default;

QHash<QString, TULOMediaLibraryIndex::Row> TULOMediaLibraryIndex::load(TULOError *error)
{
    QHash<QString, Row> rows;
    if (!m_database->isOpen() && !m_database->reopen(error))
        return rows;
    const bool ok = m_database->enumerateRowsForSQL(
        QString::fromLatin1(kSelectSQL), {}, [&rows](const TULOSQLiteStatement &statement, bool *) {
            Row row;
            row.path = text(statement.columnValue(0));
            if (row.path.isEmpty())
                return;
            row.size = statement.columnInt64(1);
            row.modified = statement.columnInt64(2);
            row.readable = statement.columnInt64(3) != 0;
            row.mediaType = static_cast<quint64>(statement.columnInt64(4));
            row.tags.title = text(statement.columnValue(5));
            row.tags.artist = text(statement.columnValue(6));
            row.tags.albumArtist = text(statement.columnValue(7));
            row.tags.album = text(statement.columnValue(8));
            row.tags.storeItemID = statement.columnInt64(9);
            row.tags.storeArtistID = statement.columnInt64(10);
            row.tags.storeAlbumArtistID = statement.columnInt64(11);
            row.tags.storeAlbumID = statement.columnInt64(12);
            row.tags.explicitContent = statement.columnInt64(13) != 0;
            row.tags.duration = statement.columnValue(14).toDouble();
            const QSize artwork(int(statement.columnInt64(15)), int(statement.columnInt64(16)));
            if (!artwork.isEmpty())
                row.tags.artworkSize = artwork;
            rows.insert(row.path, row);
        },
        error);
    if (!ok)
        rows.clear();
    return rows;
}

bool TULOMediaLibraryIndex::apply(const QList<Row> &changed, const QStringList &removed, TULOError *error)
{
    QList<QVariantList> values;
    values.reserve(changed.size());
    for (const Row &row : changed) {
        const TULOMediaFileTags &t = row.tags;
        values.append(QVariantList{row.path, row.size, row.modified, row.readable ? 1 : 0, qint64(row.mediaType), nullable(t.title),
            nullable(t.artist), nullable(t.albumArtist), nullable(t.album), t.storeItemID, t.storeArtistID,
            t.storeAlbumArtistID, t.storeAlbumID, t.explicitContent ? 1 : 0, t.duration,
            t.artworkSize.isValid() ? t.artworkSize.width() : 0, t.artworkSize.isValid() ? t.artworkSize.height() : 0});
    }
    return TULOApplyFileCacheChanges(*m_database, QStringLiteral("media_files"), QString::fromLatin1(kUpsertSQL), values,
        removed, error);
}

#pragma once

#include <Quillon/platform/error.h>

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class TULOSQLiteDatabase;

// The photo library's SQLite index: one row per photo or video with the size and modification
// time it had when it was looked at, its type from its bytes and, for a video, its duration.
// A cache: a damaged file is set aside by the SQLite layer and the index is filled again.
class TULOPhotoLibraryIndex
{
public:
    struct Row {
        QString path;
        qint64 size = 0;
        qint64 modified = 0; // milliseconds since the epoch
        int assetType = 0;   // TULOPhotoAsset::AssetType
        QString UTI;
        double duration = 0; // seconds; 0 for photos and videos FFmpeg cannot read
    };

    explicit TULOPhotoLibraryIndex(const QString &path);
    ~TULOPhotoLibraryIndex();

    // Every row under `root`, by path: other folders may share the file. Empty (with `error`)
    // when the index cannot be opened.
    QHash<QString, Row> load(const QString &root, TULOError *error = nullptr);
    // The `limit` newest rows under `root` (newest first, then by path), without reading the rest.
    QList<Row> newest(const QString &root, int limit, TULOError *error = nullptr);
    // Writes `changed` and removes `removed` in one transaction.
    bool apply(const QList<Row> &changed, const QStringList &removed, TULOError *error = nullptr);

private:
    std::unique_ptr<TULOSQLiteDatabase> m_database;
};

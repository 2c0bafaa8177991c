#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/library/mediafiletags.h>

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class TULOSQLiteDatabase;

// The media library's SQLite index: one row per file with the size and modification time it
// had when it was read, and what was read from it. It is a cache; a damaged index file is set
// aside by the SQLite layer and the library is read again from the files.
class TULOMediaLibraryIndex
{
public:
    struct Row {
        QString path;
        qint64 size = 0;
        qint64 modified = 0; // milliseconds since the epoch
        bool readable = true; // false: the tags could not be read; retried when the file changes
        quint64 mediaType = 0;
        TULOMediaFileTags tags;
    };

    explicit TULOMediaLibraryIndex(const QString &path);
    ~TULOMediaLibraryIndex();

    // Every row, by path. Empty (with `error`) when the index cannot be opened.
    QHash<QString, Row> load(TULOError *error = nullptr);
    // Writes `changed` and removes `removed` in one transaction.
    bool apply(const QList<Row> &changed, const QStringList &removed, TULOError *error = nullptr);

private:
    std::unique_ptr<TULOSQLiteDatabase> m_database;
};

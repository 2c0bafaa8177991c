#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>

class TULOError;
class TULOSQLiteDatabase;

// What the media library and the photo library share in keeping a cache of a folder: the walk
// that finds files with their size and modification time, deciding which known files are gone,
// and the setup of the SQLite file the cache lives in.

// A file the walk found.
struct TULOFileStamp {
    QString path;
    QString suffix; // lower case, without the dot
    qint64 size = 0;
    qint64 modified = 0; // milliseconds since the epoch
};

struct TULOFolderWalk {
    QStringList folders;           // every folder looked into, the root first
    QStringList unreadableFolders; // folders that could not be opened
};

// Walks `root` and the folders below it. `found` runs for every regular file whose suffix
// `accepts`; `folderDone` (when given) after each folder. Symbolic links are not followed, so
// a loop cannot trap the walk.
TULOFolderWalk TULOWalkFolder(const QString &root, const std::function<bool(const QString &suffix)> &accepts,
    const std::function<void(const TULOFileStamp &file)> &found, const std::function<void()> &folderDone = {});

bool TULOPathIsUnder(const QString &path, const QStringList &folders);

// Rows of `known` that the walk did not see: those under a folder it could not read are kept as
// they were known (appended to `rows`), the others are gone. Returns the paths of the gone ones.
template<typename Row>
QStringList TULOSettleUnseenFiles(const QHash<QString, Row> &known, const QSet<QString> &seen,
    const QStringList &unreadableFolders, QList<Row> &rows)
{
    QStringList removed;
    for (auto it = known.constBegin(); it != known.constEnd(); ++it) {
        if (seen.contains(it.key()))
            continue;
        if (TULOPathIsUnder(it.key(), unreadableFolders))
            rows.append(it.value()); // cannot look inside now; keep what was known
        else
            removed.append(it.key());
    }
    return removed;
}

// Sets `database` up as a cache of files: no waiting for the disk on commits (it can be rebuilt
// from the files), and a file of another schema version is emptied and made anew by `createSQL`
// rather than migrated. The version is written only when it changes, so a warm open never writes.
void TULOSetUpFileCacheDatabase(TULOSQLiteDatabase &database, qint64 schemaVersion, const QStringList &dropSQL,
    const QStringList &createSQL);

// Writes the rows `changed` (each the values of `upsertSQL`) and deletes the rows of `removed`
// paths from `table`, in one transaction.
bool TULOApplyFileCacheChanges(TULOSQLiteDatabase &database, const QString &table, const QString &upsertSQL,
    const QList<QVariantList> &changed, const QStringList &removed, TULOError *error);

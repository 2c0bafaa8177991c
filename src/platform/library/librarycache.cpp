#include <Quillon/platform/library/librarycache_p.h>

#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

#include <QFile>

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

TULOFolderWalk TULOWalkFolder(const QString &root, const std::function<bool(const QString &suffix)> &accepts,
    const std::function<void(const TULOFileStamp &file)> &found, const std::function<void()> &folderDone)
{
    TULOFolderWalk walk;
    QStringList pending{root};
    while (!pending.isEmpty()) {
        const QString folder = pending.takeLast();
        // POSIX directory reading: a warm open is mostly this loop, and the entry type from
        // readdir plus one fstatat per wanted file is far cheaper than QFileInfo's machinery.
        DIR *directory = ::opendir(QFile::encodeName(folder).constData());
        if (!directory) {
            walk.unreadableFolders.append(folder);
            continue;
        }
        walk.folders.append(folder);
        const int directoryFD = ::dirfd(directory);
        while (const struct dirent *entry = ::readdir(directory)) {
            const char *name = entry->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            struct stat info;
            const bool knownType = entry->d_type != DT_UNKNOWN;
            if (entry->d_type == DT_DIR
                || (!knownType && ::fstatat(directoryFD, name, &info, AT_SYMLINK_NOFOLLOW) == 0
                    && S_ISDIR(info.st_mode))) {
                pending.append(folder + QLatin1Char('/') + QFile::decodeName(name));
                continue;
            }
            if (knownType && entry->d_type != DT_REG)
                continue;
            const char *dot = std::strrchr(name, '.');
            if (!dot)
                continue;
            TULOFileStamp file;
            file.suffix = QString::fromLatin1(dot + 1).toLower();
            if (!accepts(file.suffix))
                continue;
            if (::fstatat(directoryFD, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode))
                continue;
            file.path = folder + QLatin1Char('/') + QFile::decodeName(name);
            file.size = info.st_size;
            file.modified = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
            found(file);
        }
        ::closedir(directory);
        if (folderDone)
            folderDone();
    }
    return walk;
}

bool TULOPathIsUnder(const QString &path, const QStringList &folders)
{
    for (const QString &folder : folders) {
        if (path.startsWith(folder + QLatin1Char('/')))
            return true;
    }
    return false;
}

void TULOSetUpFileCacheDatabase(TULOSQLiteDatabase &database, qint64 schemaVersion, const QStringList &dropSQL,
    const QStringList &createSQL)
{
    database.executeSQL(QStringLiteral("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL"));
    const std::optional<qint64> version = database.userVersion();
    if (version == schemaVersion)
        return;
    if (version && *version != 0) {
        for (const QString &sql : dropSQL)
            database.executeSQL(sql);
    }
    for (const QString &sql : createSQL) {
        if (!database.executeSQL(sql))
            return;
    }
    database.setUserVersion(schemaVersion);
}

bool TULOApplyFileCacheChanges(TULOSQLiteDatabase &database, const QString &table, const QString &upsertSQL,
    const QList<QVariantList> &changed, const QStringList &removed, TULOError *error)
{
    if (changed.isEmpty() && removed.isEmpty())
        return true;
    if (!database.isOpen() && !database.reopen(error))
        return false;
    const QString deleteSQL = QStringLiteral("DELETE FROM %1 WHERE path = ?").arg(table);
    return database.performTransactionWithBlock(
        [&] {
            for (const QString &path : removed) {
                if (!database.executeSQL(deleteSQL, {path}, error))
                    return false;
            }
            for (const QVariantList &values : changed) {
                if (!database.executeSQL(upsertSQL, values, error))
                    return false;
            }
            return true;
        },
        error);
}

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/library/mediaalbum.h>
#include <Quillon/platform/library/medialibraryitem.h>
#include <Quillon/platform/library/mediasong.h>

#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class TULOMediaLibraryIndex;
class TULOOperationQueue;
struct TULOMediaFolderScan;

// The user's media library: every song and music video under the music folder, read with their
// tags, kept in an SQLite index so that opening it again reads only files that changed. Items
// that exist only in the store are added by the store's download machinery (addStoreItems).
// Reading the library is thread-safe; reload() may run on a worker thread.
class QUILLON_EXPORT TULOMediaLibrary : public QObject
{
    Q_OBJECT

public:
    struct ScanStatistics {
        int filesSeen = 0;
        int filesRead = 0;      // read with their tags because they were new or changed
        int filesRemoved = 0;   // in the index, gone from disk
        int filesUnreadable = 0;
    };

    // An empty path means the default: the music folder (the QUILLON_MUSIC_DIR environment
    // variable, else the XDG music directory), and an index in the user's cache folder.
    explicit TULOMediaLibrary(const QString &musicFolder = QString(), const QString &indexPath = QString(),
                              QObject *parent = nullptr);
    ~TULOMediaLibrary() override;

    static QString defaultMusicFolder();
    static QString defaultIndexPath();
    // One library over the default folders, made and read on first use (on the calling thread).
    static TULOMediaLibrary *defaultMediaLibrary();
    // The same library, not read yet when nobody has read it: for callers that read it in the
    // background (loadInBackground).
    static TULOMediaLibrary *defaultMediaLibraryWithoutLoading();

    QString musicFolder() const { return m_musicFolder; }
    QString indexPath() const { return m_indexPath; }

    // Brings the items up to date with the folder: new and changed files are read, files that
    // are gone are dropped. A folder that cannot be read is an error, and what was known of it
    // before is kept. Subfolders that cannot be read are skipped the same way.
    bool reload(TULOError *error = nullptr);
    // Runs on the reloading thread with the items of each folder as the walk passes it, so
    // that a first read can be shown as it fills.
    using ProgressBlock = std::function<void(const QList<TULOMediaLibraryItemPtr> &items)>;
    bool reloadReportingProgress(const ProgressBlock &progress, TULOError *error = nullptr);
    // True once a reload has finished.
    bool hasLoaded() const;
    // Reads the library on a worker thread of its own unless it has been read already; either
    // way `progress` gets the items and `done` follows, both on that worker thread. The
    // destructor waits for it.
    void loadInBackground(ProgressBlock progress, std::function<void(const TULOError &error)> done);
    ScanStatistics lastScanStatistics() const;

    QList<TULOMediaLibraryItemPtr> items() const;
    TULOMediaLibraryItemPtr itemForPersistentID(quint64 persistentID) const;
    TULOMediaLibraryItemPtr itemForFilePath(const QString &path) const;

    // Model objects over the items: one album per (album, album artist), one song per item.
    QList<std::shared_ptr<TULOMediaAlbum>> albums() const;
    QList<std::shared_ptr<TULOMediaSong>> songs() const;

    // Items that are in the user's store library but not on this computer (no file path).
    void addStoreItems(const QList<TULOMediaLibraryItemPtr> &items);
    // True for an item of this library that is in the store and has no local file.
    bool isItemDownloadableFromStore(const TULOMediaLibraryItem &item) const;

    // Gives a store item the file its download delivered (a file under the music folder), so
    // the item is local from now on and stays the same item across reloads.
    bool addDownloadedFile(const TULOMediaLibraryItemPtr &item, const QString &path, TULOError *error = nullptr);

    // Removes the items from the library and deletes their files. Stops at the first file that
    // cannot be deleted; items removed before it stay removed.
    bool removeItems(const QList<TULOMediaLibraryItemPtr> &items, TULOError *error = nullptr);

    // The persistent ID of a file path (stable across runs).
    static quint64 persistentIDForPath(const QString &path);

Q_SIGNALS:
    void libraryDidChange();

private:
    void adopt(const TULOMediaLibraryItemPtr &item);
    // The items that have a file, by path.
    QHash<QString, TULOMediaLibraryItemPtr> fileItems() const;
    // Takes the scanned files' items as the library's; true when they differ from before.
    bool adoptScan(const TULOMediaFolderScan &scan, const QList<TULOMediaLibraryItemPtr> &scannedItems);

    QString m_musicFolder;
    QString m_indexPath;
    std::unique_ptr<TULOMediaLibraryIndex> m_index;
    std::unique_ptr<TULOOperationQueue> m_queue;
    mutable QMutex m_mutex;
    QMutex m_reloadMutex;
    QList<TULOMediaLibraryItemPtr> m_items;
    ScanStatistics m_statistics;
    bool m_hasLoaded = false;
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/library/photoasset.h>

#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class QFileSystemWatcher;
class QTimer;
class TULOOperationQueue;

// Errors of the photo library, passed on unchanged by its callers.
inline constexpr TULOErrorDomainName TULOPhotoLibraryErrorDomain{"TULOPhotoLibraryErrorDomain"};

enum TULOPhotoLibraryErrorCode {
    TULOPhotoLibraryErrorInvalidURL = 1, // not an "assets-library" URL this library made
    TULOPhotoLibraryErrorAssetNotFound = 2, // no photo or video has that URL (any more)
    TULOPhotoLibraryErrorUnavailable = 3, // the pictures folder is missing or unreadable
    TULOPhotoLibraryErrorNotAVideo = 4, // a video file was asked of a photo
};

// The photo library: every photo and video in the user's pictures folder and below. Each has
// a stable asset URL with the scheme "assets-library", made from its place in the folder, so
// that the same file has the same URL in every run.
//
// What the library found is kept in an SQLite index beside the other caches (path, size,
// modification time, type, a video's duration), so the newest photos of a large library are
// known without listing the folder, and a walk reads only files that are new or changed.
//
// The framework reaches this class only through the photo-library module (its class
// "TULOPhotoLibrary"), so that a system without the module resolves no assets.
// Thread-safe; lookups may come from any thread.
class QUILLON_EXPORT TULOPhotoLibrary : public QObject
{
    Q_OBJECT

public:
    using ResultBlock = std::function<void(const TULOPhotoAsset &asset)>;
    using FailureBlock = std::function<void(const TULOError &error)>;

    using AssetsBlock = std::function<void(const QList<TULOPhotoAsset> &assets, const TULOError &error)>;

    // A library over defaultLibraryPath().
    Q_INVOKABLE explicit TULOPhotoLibrary(QObject *parent = nullptr);
    explicit TULOPhotoLibrary(const QString &libraryPath, QObject *parent = nullptr);
    // An empty index path means defaultIndexPath(libraryPath).
    TULOPhotoLibrary(const QString &libraryPath, const QString &indexPath, QObject *parent = nullptr);
    // Waits for lookups still running.
    ~TULOPhotoLibrary() override;

    // The QUILLON_PICTURES_DIR environment variable when set, else the XDG pictures folder.
    static QString defaultLibraryPath();
    // In the user's cache folder, one file per pictures folder.
    static QString defaultIndexPath(const QString &libraryPath);
    QString libraryPath() const { return m_libraryPath; }
    QString indexPath() const { return m_indexPath; }

    static bool isAssetURL(const QUrl &url);
    // The asset URL of a photo or video file in the library; empty for anything else.
    QUrl assetURLForFilePath(const QString &filePath) const;

    // Walks the folder and brings the index up to date: new and changed files are looked at
    // (their type from their bytes, a video's duration from FFmpeg), files that are gone are
    // dropped. libraryDidChange follows when something changed. Runs on the calling thread.
    bool refresh(TULOError *error = nullptr) const;
    // Files looked at by the last walk because they were new or changed; for tests.
    int lastRefreshReadCount() const;

    // Every photo and video, sorted by file path, after a refresh.
    QList<TULOPhotoAsset> assets(TULOError *error = nullptr) const;

    // The newest photos and videos first (by file date, then path), at most `limit` of them
    // (every one for a negative limit), after a refresh.
    QList<TULOPhotoAsset> recentAssets(int limit, TULOError *error = nullptr) const;
    // The same as the index knows them, without walking the folder: what a screen shows at once.
    QList<TULOPhotoAsset> indexedRecentAssets(int limit, TULOError *error = nullptr) const;

    // On a worker thread of the library: the indexed newest assets first (when the index has
    // any), then, after a refresh, the assets as they are now when they differ. `block` runs on
    // that worker thread, once or twice.
    void loadRecentAssets(int limit, AssetsBlock block);

    // While on, the library's folders are watched and a change is followed by a refresh (and
    // libraryDidChange). Call on the library's thread.
    void setWatchesFolders(bool watches);

    // Looks the asset up on a worker thread of the library. Exactly one of the blocks runs,
    // on that worker thread: resultBlock with the asset, or failureBlock with why there is none.
    void assetForURL(const QUrl &assetURL, ResultBlock resultBlock, FailureBlock failureBlock);
    // The same lookup done on the calling thread; a null asset with `error` on failure.
    TULOPhotoAsset assetForURLNow(const QUrl &assetURL, TULOError *error = nullptr) const;

    // The file of the video with that asset URL; null with `error` when there is no such
    // video (a photo's URL included).
    QString videoFilePathForAssetURL(const QUrl &assetURL, TULOError *error = nullptr) const;

Q_SIGNALS:
    // A refresh found files added, changed or removed. May be emitted on a worker thread.
    void libraryDidChange();

private:
    struct State;

    QUrl assetURLForPath(const QString &path) const;
    QString assetIdentifierForFilePath(const QString &filePath) const;
    void watchedFolderChanged();
    void watchFolders();

    QString m_libraryPath;
    QString m_indexPath;
    std::unique_ptr<State> d;
    std::unique_ptr<TULOOperationQueue> m_queue;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer *m_watchTimer = nullptr;
};

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
// The framework reaches this class only through the photo-library module (its class
// "TULOPhotoLibrary"), so that a system without the module resolves no assets.
// Thread-safe; lookups may come from any thread.
class QUILLON_EXPORT TULOPhotoLibrary : public QObject
{
    Q_OBJECT

public:
    using ResultBlock = std::function<void(const TULOPhotoAsset &asset)>;
    using FailureBlock = std::function<void(const TULOError &error)>;

    // A library over defaultLibraryPath().
    Q_INVOKABLE explicit TULOPhotoLibrary(QObject *parent = nullptr);
    explicit TULOPhotoLibrary(const QString &libraryPath, QObject *parent = nullptr);
    // Waits for lookups still running.
    ~TULOPhotoLibrary() override;

    // The QUILLON_PICTURES_DIR environment variable when set, else the XDG pictures folder.
    static QString defaultLibraryPath();
    QString libraryPath() const { return m_libraryPath; }

    static bool isAssetURL(const QUrl &url);
    // The asset URL of a photo or video file in the library; empty for anything else.
    QUrl assetURLForFilePath(const QString &filePath) const;

    // Every photo and video, sorted by file path.
    QList<TULOPhotoAsset> assets(TULOError *error = nullptr) const;

    // The newest photos and videos first (by file date, then path), at most `limit` of them
    // (every one for a negative limit). Only the chosen files are examined beyond their date,
    // so the newest few of a large library come quickly.
    QList<TULOPhotoAsset> recentAssets(int limit, TULOError *error = nullptr) const;

    // Looks the asset up on a worker thread of the library. Exactly one of the blocks runs,
    // on that worker thread: resultBlock with the asset, or failureBlock with why there is none.
    void assetForURL(const QUrl &assetURL, ResultBlock resultBlock, FailureBlock failureBlock);
    // The same lookup done on the calling thread; a null asset with `error` on failure.
    TULOPhotoAsset assetForURLNow(const QUrl &assetURL, TULOError *error = nullptr) const;

    // The file of the video with that asset URL; null with `error` when there is no such
    // video (a photo's URL included).
    QString videoFilePathForAssetURL(const QUrl &assetURL, TULOError *error = nullptr) const;

private:
    TULOPhotoAsset assetForFile(const QString &filePath) const;
    QString assetIdentifierForFilePath(const QString &filePath) const;
    bool rescan(TULOError *error) const;

    QString m_libraryPath;
    mutable QMutex m_mutex;
    mutable QHash<QString, QString> m_pathsByIdentifier;
    std::unique_ptr<TULOOperationQueue> m_queue;
};

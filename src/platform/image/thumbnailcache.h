#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QDateTime>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

// Errors of the thumbnail cache.
inline constexpr TULOErrorDomainName TULOThumbnailErrorDomain{"TULOThumbnailErrorDomain"};

enum TULOThumbnailErrorCode {
    TULOThumbnailErrorUnreadable = 1, // the file is missing or cannot be read
    TULOThumbnailErrorNotAnImage = 2, // the file is not an image this system decodes (or is corrupt)
    TULOThumbnailErrorWriteFailed = 3, // the thumbnail could not be stored
};

enum TULOThumbnailSize {
    TULOThumbnailSizeNormal = 128,
    TULOThumbnailSizeLarge = 256,
};

// The desktop's shared thumbnail cache, as file managers keep it: one PNG per file, named by
// the MD5 of the file's URI, in "normal" (128 pixels) or "large" (256 pixels), carrying the
// URI and the file's modification time so that a changed file is never shown with an old
// picture. Files that cannot be thumbnailed are remembered under "fail/<our name>".
// Thread-safe; every call does file work, so the GUI thread uses TULOThumbnailLoader.
class QUILLON_EXPORT TULOThumbnailCache
{
public:
    // An empty folder means the default: $XDG_CACHE_HOME/thumbnails, else ~/.cache/thumbnails.
    explicit TULOThumbnailCache(const QString &cacheFolder = QString());

    static QString defaultCacheFolder();
    QString cacheFolder() const { return m_cacheFolder; }

    // The file's absolute "file://" URI, percent-encoded, as the cache names it.
    static QByteArray URIForFile(const QString &filePath);
    QString thumbnailPath(const QString &filePath, TULOThumbnailSize size) const;
    QString failurePath(const QString &filePath) const;

    // The stored thumbnail when it belongs to the file as it is now; null otherwise.
    QImage cachedThumbnail(const QString &filePath, TULOThumbnailSize size) const;
    // The same for the file as the caller knows it (a library's index): the file itself is not
    // looked at, only the thumbnail, read once.
    QImage cachedThumbnail(const QString &filePath, TULOThumbnailSize size, const QDateTime &modified) const;
    // True when an earlier attempt found the file, as it is now, impossible to thumbnail.
    bool hasFailed(const QString &filePath) const;

    // Decodes the file at thumbnail size (no larger than `size` on its longer side, never
    // enlarged, turned upright); null with an error naming the file on failure.
    static QImage decodeThumbnail(const QString &filePath, TULOThumbnailSize size, TULOError *error = nullptr);
    bool storeThumbnail(const QString &filePath, const QImage &thumbnail, TULOThumbnailSize size,
        TULOError *error = nullptr) const;

    // The cached thumbnail, else one decoded and stored (a failure is stored as such and
    // answered from the cache next time). Null with an error when there is none.
    QImage thumbnail(const QString &filePath, TULOThumbnailSize size, TULOError *error = nullptr) const;

private:
    QString m_cacheFolder;
};

// Makes thumbnails through the cache on worker threads and hands them to the GUI thread. The
// latest requests go first, so what was scrolled to shows before what was scrolled past.
class QUILLON_EXPORT TULOThumbnailLoader : public QObject
{
    Q_OBJECT

public:
    explicit TULOThumbnailLoader(const TULOThumbnailCache &cache = TULOThumbnailCache(), QObject *parent = nullptr);
    // Drops what is pending and waits for the thumbnails being made.
    ~TULOThumbnailLoader() override;

    const TULOThumbnailCache &cache() const { return m_cache; }

    // Asks for a thumbnail; thumbnailReady follows once, unless cancelled first. A repeated
    // request for a pending file only moves it to the front; one for a file being made, or
    // made but not yet delivered, changes nothing. With the file's modification time
    // as an index knows it, a current cached thumbnail is served without looking at the file.
    void requestThumbnail(const QString &filePath, TULOThumbnailSize size = TULOThumbnailSizeNormal,
        const QDateTime &modified = QDateTime());
    // The same for what is about to be shown, nearest first as given: made beside the requests,
    // by workers that yield to the GUI thread. A later request for the file makes it an
    // ordinary one; a repeated prefetch changes nothing.
    void prefetchThumbnail(const QString &filePath, TULOThumbnailSize size = TULOThumbnailSizeNormal,
        const QDateTime &modified = QDateTime());
    // Drops the pending requests whose file `keep` refuses, and returns those files.
    QStringList cancelThumbnails(const std::function<bool(const QString &filePath)> &keep);
    void cancelAll();
    int pendingCount() const;

Q_SIGNALS:
    // On the GUI thread. A null image comes with the error that explains it; a picture comes as
    // premultiplied ARGB, ready to draw.
    void thumbnailReady(const QString &filePath, const QImage &image, const TULOError &error);

private:
    struct Request {
        QString filePath;
        TULOThumbnailSize size;
        QDateTime modified;
        bool ahead; // made ahead of a scroll, not shown yet
    };
    struct Shared;

    void startWorkers();
    void startWorker();

    TULOThumbnailCache m_cache;
    std::shared_ptr<Shared> m_shared;
};

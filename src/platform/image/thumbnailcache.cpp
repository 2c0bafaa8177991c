#include <Quillon/platform/image/thumbnailcache.h>

#include <Quillon/platform/privatefiles.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QMimeDatabase>
#include <QPointer>
#include <QStandardPaths>
#include <QThreadPool>
#include <QUrl>
#include <QWaitCondition>

#include <cerrno>

const char *const TULOThumbnailErrorDomain = "TULOThumbnailErrorDomain";

namespace {

// The name failures are kept under, so that another program's failures are not ours.
const char *const failureFolderName = "quillon-1";
const char *const keyURI = "Thumb::URI";
const char *const keyMTime = "Thumb::MTime";

QString text(const char *source)
{
    return QCoreApplication::translate("TULOThumbnailCache", source);
}

TULOError makeError(TULOThumbnailError code, const QString &description, const QString &filePath)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), filePath);
    return TULOError(QString::fromLatin1(TULOThumbnailErrorDomain), code, info);
}

QString folderForSize(TULOThumbnailSize size)
{
    return size == TULOThumbnailSizeLarge ? QStringLiteral("large") : QStringLiteral("normal");
}

QString mtimeString(const QFileInfo &info)
{
    return QString::number(info.lastModified().toSecsSinceEpoch());
}

// A thumbnail file belongs to the file when it names the file's URI and current mtime.
bool belongsTo(const QImageReader &reader, const QByteArray &uri, const QFileInfo &info)
{
    return reader.text(QLatin1String(keyURI)).toUtf8() == uri
        && reader.text(QLatin1String(keyMTime)) == mtimeString(info);
}

QByteArray encodePNG(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    return writer.write(image) ? bytes : QByteArray();
}

bool writeThumbnailFile(const QString &path, const QImage &image, TULOError *error)
{
    const QByteArray png = encodePNG(image);
    return TULOPrivateFiles::writeFile(path, [&](QIODevice *file, TULOError *writeError) {
        if (file->write(png) == png.size())
            return true;
        TULOSetError(writeError, TULOPrivateFiles::writeError(path, errno, file->errorString()));
        return false;
    }, error);
}

} // namespace

TULOThumbnailCache::TULOThumbnailCache(const QString &cacheFolder)
    : m_cacheFolder(cacheFolder.isEmpty() ? defaultCacheFolder() : cacheFolder)
{
}

QString TULOThumbnailCache::defaultCacheFolder()
{
    // The shared cache is the desktop's, not this application's own cache folder.
    const QByteArray xdg = qgetenv("XDG_CACHE_HOME");
    const QString base = !xdg.isEmpty() && QDir::isAbsolutePath(QFile::decodeName(xdg))
        ? QFile::decodeName(xdg)
        : QDir::homePath() + QStringLiteral("/.cache");
    return base + QStringLiteral("/thumbnails");
}

QByteArray TULOThumbnailCache::URIForFile(const QString &filePath)
{
    return QUrl::fromLocalFile(QFileInfo(filePath).absoluteFilePath()).toEncoded();
}

QString TULOThumbnailCache::thumbnailPath(const QString &filePath, TULOThumbnailSize size) const
{
    const QByteArray md5 = QCryptographicHash::hash(URIForFile(filePath), QCryptographicHash::Md5).toHex();
    return m_cacheFolder + QLatin1Char('/') + folderForSize(size) + QLatin1Char('/') + QString::fromLatin1(md5)
        + QStringLiteral(".png");
}

QString TULOThumbnailCache::failurePath(const QString &filePath) const
{
    const QByteArray md5 = QCryptographicHash::hash(URIForFile(filePath), QCryptographicHash::Md5).toHex();
    return m_cacheFolder + QStringLiteral("/fail/") + QLatin1String(failureFolderName) + QLatin1Char('/')
        + QString::fromLatin1(md5) + QStringLiteral(".png");
}

QImage TULOThumbnailCache::cachedThumbnail(const QString &filePath, TULOThumbnailSize size) const
{
    const QFileInfo info(filePath);
    if (!info.isFile())
        return QImage();
    QImageReader reader(thumbnailPath(filePath, size), "png");
    if (!belongsTo(reader, URIForFile(filePath), info))
        return QImage();
    return reader.read();
}

bool TULOThumbnailCache::hasFailed(const QString &filePath) const
{
    const QFileInfo info(filePath);
    QImageReader reader(failurePath(filePath), "png");
    return info.isFile() && belongsTo(reader, URIForFile(filePath), info);
}

QImage TULOThumbnailCache::decodeThumbnail(const QString &filePath, TULOThumbnailSize size, TULOError *error)
{
    const QFileInfo info(filePath);
    if (!info.isFile() || !info.isReadable()) {
        TULOSetError(error, makeError(TULOThumbnailErrorUnreadable,
            text("“%1” is missing or cannot be read.").arg(info.fileName()), filePath));
        return QImage();
    }
    QImageReader reader(filePath);
    reader.setAutoTransform(true);
    const QSize original = reader.size();
    if (original.isValid() && qMax(original.width(), original.height()) > int(size))
        reader.setScaledSize(original.scaled(int(size), int(size), Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (image.isNull()) {
        TULOSetError(error, makeError(TULOThumbnailErrorNotAnImage,
            text("“%1” is not a picture that can be shown (%2).").arg(info.fileName(), reader.errorString()),
            filePath));
        return QImage();
    }
    // Readers without scaled decoding hand back the full picture.
    if (qMax(image.width(), image.height()) > int(size))
        image = image.scaled(int(size), int(size), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

bool TULOThumbnailCache::storeThumbnail(const QString &filePath, const QImage &thumbnail, TULOThumbnailSize size,
    TULOError *error) const
{
    const QFileInfo info(filePath);
    QImage tagged = thumbnail;
    tagged.setText(QLatin1String(keyURI), QString::fromLatin1(URIForFile(filePath)));
    tagged.setText(QLatin1String(keyMTime), mtimeString(info));
    tagged.setText(QStringLiteral("Thumb::Size"), QString::number(info.size()));
    static const QMimeDatabase database;
    tagged.setText(QStringLiteral("Thumb::Mimetype"), database.mimeTypeForFile(info).name());
    tagged.setText(QStringLiteral("Software"), QStringLiteral("Quillon"));
    TULOError writeError;
    if (writeThumbnailFile(thumbnailPath(filePath, size), tagged, &writeError))
        return true;
    TULOSetError(error, makeError(TULOThumbnailErrorWriteFailed,
        text("The thumbnail of “%1” could not be stored: %2").arg(info.fileName(), writeError.localizedDescription()),
        filePath));
    return false;
}

QImage TULOThumbnailCache::thumbnail(const QString &filePath, TULOThumbnailSize size, TULOError *error) const
{
    QImage image = cachedThumbnail(filePath, size);
    if (!image.isNull())
        return image;
    if (hasFailed(filePath)) {
        TULOSetError(error, makeError(TULOThumbnailErrorNotAnImage,
            text("“%1” is not a picture that can be shown.").arg(QFileInfo(filePath).fileName()), filePath));
        return QImage();
    }
    TULOError decodeError;
    image = decodeThumbnail(filePath, size, &decodeError);
    if (image.isNull()) {
        // Remembered so that a broken file is not decoded again on every scroll.
        if (decodeError.code() == TULOThumbnailErrorNotAnImage) {
            QImage marker(1, 1, QImage::Format_ARGB32);
            marker.fill(Qt::transparent);
            marker.setText(QLatin1String(keyURI), QString::fromLatin1(URIForFile(filePath)));
            marker.setText(QLatin1String(keyMTime), mtimeString(QFileInfo(filePath)));
            writeThumbnailFile(failurePath(filePath), marker, nullptr);
        }
        TULOSetError(error, decodeError);
        return QImage();
    }
    // A cache that cannot be written still shows the picture.
    storeThumbnail(filePath, image, size, nullptr);
    return image;
}

struct TULOThumbnailLoader::Shared {
    QMutex mutex;
    QWaitCondition idle;
    QList<Request> pending;
    int running = 0;
    bool stopped = false;
};

TULOThumbnailLoader::TULOThumbnailLoader(const TULOThumbnailCache &cache, QObject *parent)
    : QObject(parent), m_cache(cache), m_shared(std::make_shared<Shared>())
{
    qRegisterMetaType<TULOError>();
}

TULOThumbnailLoader::~TULOThumbnailLoader()
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->stopped = true;
    m_shared->pending.clear();
    while (m_shared->running > 0)
        m_shared->idle.wait(&m_shared->mutex);
}

void TULOThumbnailLoader::requestThumbnail(const QString &filePath, TULOThumbnailSize size)
{
    {
        QMutexLocker lock(&m_shared->mutex);
        m_shared->pending.removeIf([&](const Request &request) { return request.filePath == filePath; });
        m_shared->pending.append(Request{filePath, size});
    }
    startWorkers();
}

void TULOThumbnailLoader::cancelAll()
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->pending.clear();
}

int TULOThumbnailLoader::pendingCount() const
{
    QMutexLocker lock(&m_shared->mutex);
    return int(m_shared->pending.size()) + m_shared->running;
}

void TULOThumbnailLoader::startWorkers()
{
    // Two workers: decoding is CPU-bound, and the GUI thread must keep a core.
    constexpr int maximumWorkers = 2;
    QMutexLocker lock(&m_shared->mutex);
    while (m_shared->running < maximumWorkers && m_shared->running < m_shared->pending.size()) {
        ++m_shared->running;
        const std::shared_ptr<Shared> shared = m_shared;
        const TULOThumbnailCache cache = m_cache;
        const QPointer<TULOThumbnailLoader> loader(this);
        QThreadPool::globalInstance()->start([shared, cache, loader] {
            for (;;) {
                Request request;
                {
                    QMutexLocker workerLock(&shared->mutex);
                    if (shared->stopped || shared->pending.isEmpty()) {
                        --shared->running;
                        shared->idle.wakeAll();
                        return;
                    }
                    request = shared->pending.takeLast();
                }
                TULOError error;
                const QImage image = cache.thumbnail(request.filePath, request.size, &error);
                QMetaObject::invokeMethod(QCoreApplication::instance(), [loader, request, image, error] {
                    if (loader)
                        Q_EMIT loader->thumbnailReady(request.filePath, image, error);
                }, Qt::QueuedConnection);
            }
        });
    }
}

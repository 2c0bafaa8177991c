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
#include <QtEndian>

#include <array>

#include <cerrno>


namespace {

// The name failures are kept under, so that another program's failures are not ours.
const char *const failureFolderName = "quillon-1";
const char *const keyURI = "Thumb::URI";
const char *const keyMTime = "Thumb::MTime";

QString text(const char *source)
{
    return QCoreApplication::translate("TULOThumbnailCache", source);
}

TULOError makeError(TULOThumbnailErrorCode code, const QString &description, const QString &filePath)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), filePath);
    return TULOError(TULOThumbnailErrorDomain, code, info);
}

QString folderForSize(TULOThumbnailSize size)
{
    return size == TULOThumbnailSizeLarge ? QStringLiteral("large") : QStringLiteral("normal");
}

QString mtimeString(const QFileInfo &info)
{
    return QString::number(info.lastModified().toSecsSinceEpoch());
}

quint32 crc32(const QByteArray &bytes)
{
    static const auto table = [] {
        std::array<quint32, 256> values{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xedb88320u ^ (c >> 1) : c >> 1;
            values[n] = c;
        }
        return values;
    }();
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes)
        crc = table[(crc ^ quint8(byte)) & 0xff] ^ (crc >> 8);
    return crc ^ 0xffffffffu;
}

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian(value, bytes.data());
    return bytes;
}

// The text chunks of a PNG up to its image data. Plain tEXt, as the cache's writers use, and
// the compressed and international forms that some write for long or non-Latin values.
QHash<QByteArray, QByteArray> readTextChunks(const QString &path)
{
    QHash<QByteArray, QByteArray> texts;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.read(8) != QByteArray("\x89PNG\r\n\x1a\n", 8))
        return texts;
    for (;;) {
        const QByteArray header = file.read(8);
        if (header.size() < 8)
            break;
        const quint32 length = qFromBigEndian<quint32>(header.constData());
        const QByteArray type = header.mid(4);
        if (type == "IDAT" || type == "IEND" || length > (1u << 20))
            break;
        const QByteArray data = file.read(length);
        file.skip(4);
        const qsizetype separator = data.indexOf('\0');
        if (separator <= 0)
            continue;
        const QByteArray key = data.left(separator);
        if (type == "tEXt") {
            texts.insert(key, data.mid(separator + 1));
        } else if (type == "zTXt" && data.size() > separator + 2) {
            texts.insert(key, qUncompress(bigEndian(1u << 20) + data.mid(separator + 2)));
        } else if (type == "iTXt" && data.size() > separator + 3 && data.at(separator + 1) == 0) {
            // key, 0, compression flag, method, language, 0, translated key, 0, text
            qsizetype at = data.indexOf('\0', separator + 3);
            at = at < 0 ? -1 : data.indexOf('\0', at + 1);
            if (at >= 0)
                texts.insert(key, data.mid(at + 1));
        }
    }
    return texts;
}

// A thumbnail file belongs to the file when it names the file's URI and current mtime.
bool belongsTo(const QString &thumbnailPath, const QByteArray &uri, const QFileInfo &info)
{
    const QHash<QByteArray, QByteArray> texts = readTextChunks(thumbnailPath);
    return texts.value(keyURI) == uri && texts.value(keyMTime) == mtimeString(info).toLatin1();
}

// A PNG with the texts as plain tEXt chunks right after its header, where readers look first.
QByteArray encodePNG(const QImage &image, const QList<QPair<QByteArray, QByteArray>> &texts)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image) || bytes.size() < 33)
        return QByteArray();
    QByteArray chunks;
    for (const auto &[key, value] : texts) {
        const QByteArray body = "tEXt" + key + '\0' + value;
        chunks += bigEndian(quint32(body.size() - 4)) + body + bigEndian(crc32(body));
    }
    // Signature (8) and IHDR (25) come first.
    bytes.insert(33, chunks);
    return bytes;
}

bool writeThumbnailFile(const QString &path, const QImage &image, const QFileInfo &info, TULOError *error)
{
    static const QMimeDatabase database;
    const QByteArray png = encodePNG(image,
        {{keyURI, TULOThumbnailCache::URIForFile(info.absoluteFilePath())}, {keyMTime, mtimeString(info).toLatin1()},
            {"Thumb::Size", QByteArray::number(info.size())},
            {"Thumb::Mimetype", database.mimeTypeForFile(info).name().toLatin1()}, {"Software", "Quillon"}});
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
    const QString path = thumbnailPath(filePath, size);
    if (!belongsTo(path, URIForFile(filePath), info))
        return QImage();
    return QImageReader(path, "png").read();
}

bool TULOThumbnailCache::hasFailed(const QString &filePath) const
{
    const QFileInfo info(filePath);
    return info.isFile() && belongsTo(failurePath(filePath), URIForFile(filePath), info);
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
    TULOError writeError;
    if (writeThumbnailFile(thumbnailPath(filePath, size), thumbnail, info, &writeError))
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
            writeThumbnailFile(failurePath(filePath), marker, QFileInfo(filePath), nullptr);
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

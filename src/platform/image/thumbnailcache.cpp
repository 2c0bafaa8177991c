#include <Quillon/platform/image/thumbnailcache.h>

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/privatefiles.h>
#include <Quillon/platform/threadpriority_p.h>

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
#include <QSet>
#include <QThread>
#include <QStandardPaths>
#include <QUrl>
#include <QWaitCondition>
#include <QtEndian>

#include <algorithm>
#include <array>

#include <cerrno>
#include <cstring>

#include <sys/mman.h>


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

// The threads thumbnails are made on, shared by every loader. Not Qt's global pool: the raster
// paint engine splits large fills and scalings into jobs on that pool and waits for them, so
// workers busy there with a queue of photos would stall the GUI thread's painting.
TULOOperationQueue *thumbnailQueue()
{
    // Never destroyed, like the main queue: a loader may still be finishing at exit.
    static TULOOperationQueue *const queue = [] {
        auto *made = new TULOOperationQueue(QStringLiteral("com.vantor.Quillon.thumbnails"));
        // Decoding is CPU-bound: at most half the processors (two at most), so that the GUI thread
        // always finds one free when it wakes. Lowered priorities alone do not do that: the
        // scheduler still hands a decoder a whole tick now and then, a frame's worth of waiting.
        made->setMaxConcurrentOperationCount(qBound(1, QThread::idealThreadCount() / 2, 2));
        return made;
    }();
    return queue;
}

// A thumbnail as the GUI thread gets it: in the format the raster engine draws from, converted
// here rather than at paint, and in memory of its own pages. Memory from this thread's allocator
// would be freed on the GUI thread under that allocator's lock, which this thread holds often
// while decoding: the GUI thread then waits for a worker the scheduler may have set aside.
QImage handedOverImage(const QImage &thumbnail)
{
    if (thumbnail.isNull())
        return thumbnail;
    const QImage image = thumbnail.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // The mapping's length is kept in front of the pixels, so that releasing them allocates nothing.
    constexpr size_t header = 64;
    const size_t length = header + size_t(image.sizeInBytes());
    void *pages = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        return image;
    std::memcpy(pages, &length, sizeof length);
    uchar *pixels = static_cast<uchar *>(pages) + header;
    std::memcpy(pixels, image.constBits(), size_t(image.sizeInBytes()));
    QImage handed(pixels, image.width(), image.height(), image.bytesPerLine(), image.format(),
        [](void *mapping) {
            size_t mapped = 0;
            std::memcpy(&mapped, mapping, sizeof mapped);
            ::munmap(mapping, mapped);
        },
        pages);
    handed.setDevicePixelRatio(image.devicePixelRatio());
    return handed;
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
QHash<QByteArray, QByteArray> readTextChunks(const QByteArray &png)
{
    QHash<QByteArray, QByteArray> texts;
    if (!png.startsWith(QByteArray("\x89PNG\r\n\x1a\n", 8)))
        return texts;
    qsizetype offset = 8;
    while (offset + 8 <= png.size()) {
        const quint32 length = qFromBigEndian<quint32>(png.constData() + offset);
        const QByteArray type = png.mid(offset + 4, 4);
        if (type == "IDAT" || type == "IEND" || length > (1u << 20) || offset + 8 + qsizetype(length) > png.size())
            break;
        const QByteArray data = png.mid(offset + 8, length);
        offset += 12 + qsizetype(length);
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

// A thumbnail file read once: the texts are checked and the picture decoded from the same bytes.
QByteArray readSmallFile(const QString &path)
{
    QFile file(path);
    // A thumbnail is a few kilobytes; anything huge is not one.
    if (!file.open(QIODevice::ReadOnly) || file.size() > (16 << 20))
        return QByteArray();
    return file.readAll();
}

// A thumbnail file belongs to the file when it names the file's URI and current mtime.
bool belongsTo(const QByteArray &png, const QByteArray &uri, const QDateTime &modified)
{
    const QHash<QByteArray, QByteArray> texts = readTextChunks(png);
    return texts.value(keyURI) == uri && texts.value(keyMTime) == QByteArray::number(modified.toSecsSinceEpoch());
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
    return cachedThumbnail(filePath, size, info.lastModified());
}

QImage TULOThumbnailCache::cachedThumbnail(const QString &filePath, TULOThumbnailSize size, const QDateTime &modified) const
{
    if (!modified.isValid())
        return QImage();
    const QByteArray png = readSmallFile(thumbnailPath(filePath, size));
    if (png.isEmpty() || !belongsTo(png, URIForFile(filePath), modified))
        return QImage();
    return QImage::fromData(png, "png");
}

bool TULOThumbnailCache::hasFailed(const QString &filePath) const
{
    const QFileInfo info(filePath);
    return info.isFile() && belongsTo(readSmallFile(failurePath(filePath)), URIForFile(filePath), info.lastModified());
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
    // Files taken by a worker whose answer is not delivered yet: their answer is coming.
    QSet<QString> inFlight;
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

void TULOThumbnailLoader::requestThumbnail(const QString &filePath, TULOThumbnailSize size, const QDateTime &modified)
{
    {
        QMutexLocker lock(&m_shared->mutex);
        if (m_shared->inFlight.contains(filePath))
            return;
        m_shared->pending.removeIf([&](const Request &request) { return request.filePath == filePath; });
        m_shared->pending.append(Request{filePath, size, modified, false});
    }
    startWorkers();
}

void TULOThumbnailLoader::prefetchThumbnail(const QString &filePath, TULOThumbnailSize size, const QDateTime &modified)
{
    {
        QMutexLocker lock(&m_shared->mutex);
        if (m_shared->inFlight.contains(filePath))
            return;
        for (const Request &request : std::as_const(m_shared->pending)) {
            if (request.filePath == filePath)
                return;
        }
        m_shared->pending.prepend(Request{filePath, size, modified, true});
    }
    startWorkers();
}

QStringList TULOThumbnailLoader::cancelThumbnails(const std::function<bool(const QString &filePath)> &keep)
{
    QStringList cancelled;
    QMutexLocker lock(&m_shared->mutex);
    m_shared->pending.removeIf([&](const Request &request) {
        if (keep(request.filePath))
            return false;
        cancelled << request.filePath;
        return true;
    });
    return cancelled;
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
    constexpr int maximumWorkers = 2;
    QMutexLocker lock(&m_shared->mutex);
    for (; m_shared->running < maximumWorkers && m_shared->running < m_shared->pending.size(); ++m_shared->running)
        startWorker();
}

void TULOThumbnailLoader::startWorker()
{
    const std::shared_ptr<Shared> shared = m_shared;
    const TULOThumbnailCache cache = m_cache;
    const QPointer<TULOThumbnailLoader> loader(this);
    thumbnailQueue()->addOperation([shared, cache, loader] {
        // A frame of the GUI thread must not wait for a decode.
        TULOYieldToForegroundWork(5);
        for (;;) {
            Request request;
            {
                QMutexLocker workerLock(&shared->mutex);
                // The cells on screen first, the latest asked for (what was scrolled to) first; then
                // those ahead, nearest to the screen first (prefetches are put at the front).
                const auto latestOfKind = [&](bool ahead) {
                    return std::find_if(shared->pending.rbegin(), shared->pending.rend(),
                        [ahead](const Request &pending) { return pending.ahead == ahead; });
                };
                auto next = latestOfKind(false);
                if (next == shared->pending.rend())
                    next = latestOfKind(true);
                if (shared->stopped || next == shared->pending.rend()) {
                    --shared->running;
                    shared->idle.wakeAll();
                    return;
                }
                request = *next;
                shared->pending.erase(std::next(next).base());
                shared->inFlight.insert(request.filePath);
            }
            TULOError error;
            QImage image = cache.cachedThumbnail(request.filePath, request.size, request.modified);
            if (image.isNull())
                image = cache.thumbnail(request.filePath, request.size, &error);
            image = handedOverImage(image);
            QMetaObject::invokeMethod(QCoreApplication::instance(), [shared, loader, request, image, error] {
                {
                    QMutexLocker deliveryLock(&shared->mutex);
                    shared->inFlight.remove(request.filePath);
                }
                if (loader)
                    Q_EMIT loader->thumbnailReady(request.filePath, image, error);
            }, Qt::QueuedConnection);
        }
    });
}

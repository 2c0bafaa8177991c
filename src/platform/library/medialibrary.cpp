#include <Quillon/platform/library/medialibrary.h>

#include <Quillon/platform/library/mediafiletags.h>
#include <Quillon/platform/library/librarycache_p.h>
#include <Quillon/platform/library/medialibraryindex_p.h>
#include <Quillon/platform/operationqueue.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImage>
#include <QSet>
#include <QStandardPaths>

#include <mutex>

// What one walk through the music folder found: every media file, read anew (changed) or
// taken from the index, and the folders it could not look into.
struct TULOMediaFolderScan {
    TULOMediaLibrary::ScanStatistics statistics;
    QList<TULOMediaLibraryIndex::Row> rows;
    QList<TULOMediaLibraryIndex::Row> changed;
    QSet<QString> changedPaths;
    QStringList unreadableFolders;
};

namespace {

// Suffixes the library lists; the tags of all of them are read by TagLib.
const QSet<QString> &audioSuffixes()
{
    static const QSet<QString> suffixes{QStringLiteral("mp3"),  QStringLiteral("m4a"), QStringLiteral("aac"),
                                        QStringLiteral("flac"), QStringLiteral("ogg"), QStringLiteral("oga"),
                                        QStringLiteral("opus"), QStringLiteral("wav"), QStringLiteral("aif"),
                                        QStringLiteral("aiff"), QStringLiteral("wv"),  QStringLiteral("ape"),
                                        QStringLiteral("mpc"),  QStringLiteral("wma")};
    return suffixes;
}

const QSet<QString> &videoSuffixes()
{
    static const QSet<QString> suffixes{QStringLiteral("mp4"), QStringLiteral("m4v"), QStringLiteral("mov")};
    return suffixes;
}

quint64 mediaTypeForSuffix(const QString &suffix)
{
    if (audioSuffixes().contains(suffix))
        return TULOMediaTypeMusic;
    if (videoSuffixes().contains(suffix))
        return TULOMediaTypeMusicVideo;
    return 0;
}

// Reads a song's embedded artwork only when someone wants to see it.
class EmbeddedArtworkSource : public TULOArtworkDataSource
{
public:
    QImage loadImage(const QString &token, TULOError *error) const override
    {
        const QByteArray bytes = TULOReadEmbeddedArtwork(token);
        QImage image;
        if (bytes.isEmpty() || !image.loadFromData(bytes)) {
            TULOSetError(error, TULOError(TULOFileErrorDomain, TULOFileErrorCorruptFile,
                                          {{QString::fromLatin1(TULOFilePathErrorKey), token},
                                           {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                            QStringLiteral("The artwork of \u201c%1\u201d cannot be read.")
                                                .arg(QFileInfo(token).fileName())}}));
        }
        return image;
    }
};

std::shared_ptr<const TULOArtworkDataSource> embeddedArtworkSource()
{
    static const auto source = std::make_shared<EmbeddedArtworkSource>();
    return source;
}

TULOMediaLibraryItemPtr makeItem(const TULOMediaLibraryIndex::Row &row, TULOMediaLibrary *library)
{
    auto item = std::make_shared<TULOMediaLibraryItem>();
    const TULOMediaFileTags &tags = row.tags;
    item->setPersistentID(TULOMediaLibrary::persistentIDForPath(row.path));
    item->setFilePath(row.path);
    item->setTitle(tags.title);
    item->setArtist(tags.artist);
    item->setAlbumArtist(tags.albumArtist);
    item->setAlbumTitle(tags.album);
    item->setStoreItemIdentifier(tags.storeItemID);
    item->setStoreArtistIdentifier(tags.storeArtistID);
    item->setStoreAlbumArtistIdentifier(tags.storeAlbumArtistID);
    item->setStoreAlbumIdentifier(tags.storeAlbumID);
    item->setExplicit(tags.explicitContent);
    item->setDuration(tags.duration);
    item->setMediaType(row.mediaType);
    if (tags.artworkSize.isValid())
        item->setArtwork(TULOArtworkCatalog(embeddedArtworkSource(), row.path), tags.artworkSize);
    item->setLibrary(library);
    return item;
}

// Walks the music folder: files the index knows unchanged are taken from it, the others are
// read. `batch` (when given) runs after each folder with the rows from `from` on.
TULOMediaFolderScan scanMusicFolder(const QString &root, const QHash<QString, TULOMediaLibraryIndex::Row> &cached,
    const std::function<void(const TULOMediaFolderScan &scan, qsizetype from)> &batch)
{
    TULOMediaFolderScan scan;
    qsizetype reported = 0;
    const TULOFolderWalk walk = TULOWalkFolder(
        root, [](const QString &suffix) { return mediaTypeForSuffix(suffix) != 0; },
        [&](const TULOFileStamp &file) {
            ++scan.statistics.filesSeen;
            const auto hit = cached.constFind(file.path);
            if (hit != cached.constEnd() && hit->size == file.size && hit->modified == file.modified) {
                scan.rows.append(*hit);
                return;
            }
            TULOMediaLibraryIndex::Row row;
            row.path = file.path;
            row.size = file.size;
            row.modified = file.modified;
            row.mediaType = mediaTypeForSuffix(file.suffix);
            row.readable = TULOReadMediaFileTags(file.path, &row.tags);
            if (!row.readable)
                ++scan.statistics.filesUnreadable;
            ++scan.statistics.filesRead;
            scan.rows.append(row);
            scan.changed.append(row);
            scan.changedPaths.insert(file.path);
        },
        [&] {
            if (batch && scan.rows.size() > reported) {
                batch(scan, reported);
                reported = scan.rows.size();
            }
        });
    scan.unreadableFolders = walk.unreadableFolders;
    return scan;
}

} // namespace

TULOMediaLibrary *TULOMediaLibraryItem::library() const
{
    return m_library.data();
}

void TULOMediaLibraryItem::setLibrary(TULOMediaLibrary *library)
{
    m_library = library;
}

bool TULOMediaLibraryItem::isDownloadableFromStore() const
{
    return m_library && m_library->isItemDownloadableFromStore(*this);
}

TULOMediaLibrary::TULOMediaLibrary(const QString &musicFolder, const QString &indexPath, QObject *parent)
    : QObject(parent)
    , m_musicFolder(QDir::cleanPath(musicFolder.isEmpty() ? defaultMusicFolder() : musicFolder))
    , m_indexPath(indexPath.isEmpty() ? defaultIndexPath() : indexPath)
    , m_index(std::make_unique<TULOMediaLibraryIndex>(m_indexPath))
    , m_queue(std::make_unique<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.mediaLibrary")))
{
}

TULOMediaLibrary::~TULOMediaLibrary()
{
    m_queue->waitUntilAllOperationsAreFinished();
}

QString TULOMediaLibrary::defaultMusicFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLON_MUSIC_DIR");
    if (!overridden.isEmpty())
        return overridden;
    return QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
}

QString TULOMediaLibrary::defaultIndexPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/com.vantor.Quillon/MediaLibrary.sqlitedb");
}

TULOMediaLibrary *TULOMediaLibrary::defaultMediaLibraryWithoutLoading()
{
    static TULOMediaLibrary *library = new TULOMediaLibrary;
    return library;
}

TULOMediaLibrary *TULOMediaLibrary::defaultMediaLibrary()
{
    TULOMediaLibrary *library = defaultMediaLibraryWithoutLoading();
    static std::once_flag once;
    std::call_once(once, [library] {
        if (!library->hasLoaded())
            library->reload();
    });
    return library;
}

quint64 TULOMediaLibrary::persistentIDForPath(const QString &path)
{
    const QByteArray digest = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1);
    quint64 id = 0;
    for (int i = 0; i < 8; ++i)
        id = (id << 8) | static_cast<quint8>(digest.at(i));
    return id ? id : 1;
}

QHash<QString, TULOMediaLibraryItemPtr> TULOMediaLibrary::fileItems() const
{
    QMutexLocker lock(&m_mutex);
    QHash<QString, TULOMediaLibraryItemPtr> items;
    for (const auto &item : std::as_const(m_items)) {
        if (!item->filePath().isEmpty())
            items.insert(item->filePath(), item);
    }
    return items;
}

bool TULOMediaLibrary::adoptScan(const TULOMediaFolderScan &scan, const QList<TULOMediaLibraryItemPtr> &scannedItems)
{
    QMutexLocker lock(&m_mutex);
    QList<TULOMediaLibraryItemPtr> items;
    QSet<TULOMediaLibraryItem *> before;
    for (const auto &item : std::as_const(m_items)) {
        if (item->filePath().isEmpty())
            items.append(item); // store items are not in the folder
        else
            before.insert(item.get());
    }
    bool didChange = scannedItems.size() != before.size();
    for (const auto &item : scannedItems) {
        if (!before.contains(item.get()))
            didChange = true;
    }
    items += scannedItems;
    m_items = items;
    m_statistics = scan.statistics;
    m_hasLoaded = true;
    return didChange;
}

bool TULOMediaLibrary::reload(TULOError *error)
{
    return reloadReportingProgress({}, error);
}

bool TULOMediaLibrary::reloadReportingProgress(const ProgressBlock &progress, TULOError *error)
{
    // One walk at a time: the index and the items follow a single scan.
    QMutexLocker reloading(&m_reloadMutex);
    const QFileInfo root(m_musicFolder);
    if (!root.isDir() || !root.isReadable() || !root.isExecutable()) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, root.exists() ? 257 : 260,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), m_musicFolder},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The music folder \u201c%1\u201d cannot be read.")
                                            .arg(QDir::toNativeSeparators(m_musicFolder))}}));
        return false;
    }

    // Unchanged files keep their item objects, so that holders of an item keep a live one.
    const QHash<QString, TULOMediaLibraryItemPtr> previous = fileItems();
    QList<TULOMediaLibraryItemPtr> items;
    const auto makeItems = [&](const TULOMediaFolderScan &found, qsizetype from) {
        QList<TULOMediaLibraryItemPtr> made;
        for (qsizetype i = from; i < found.rows.size(); ++i) {
            const TULOMediaLibraryIndex::Row &row = found.rows.at(i);
            const TULOMediaLibraryItemPtr old = previous.value(row.path);
            made.append(old && !found.changedPaths.contains(row.path) ? old : makeItem(row, this));
        }
        items += made;
        return made;
    };

    // A broken index only costs a full read; it is never a reason to fail.
    const QHash<QString, TULOMediaLibraryIndex::Row> cached = m_index->load();
    TULOMediaFolderScan scan = scanMusicFolder(m_musicFolder, cached, [&](const TULOMediaFolderScan &partial, qsizetype from) {
        const QList<TULOMediaLibraryItemPtr> made = makeItems(partial, from);
        if (progress)
            progress(made);
    });
    QSet<QString> seen;
    for (const auto &row : std::as_const(scan.rows))
        seen.insert(row.path);
    const QStringList removed = TULOSettleUnseenFiles(cached, seen, scan.unreadableFolders, scan.rows);
    // Files kept from folders that could not be read now are items too.
    const QList<TULOMediaLibraryItemPtr> kept = makeItems(scan, items.size());
    if (progress && !kept.isEmpty())
        progress(kept);
    scan.statistics.filesRemoved = int(removed.size());
    m_index->apply(scan.changed, removed);

    const bool removedOrRead = !scan.changed.isEmpty() || !removed.isEmpty();
    if (adoptScan(scan, items) || removedOrRead)
        Q_EMIT libraryDidChange();
    return true;
}

bool TULOMediaLibrary::hasLoaded() const
{
    QMutexLocker lock(&m_mutex);
    return m_hasLoaded;
}

void TULOMediaLibrary::loadInBackground(ProgressBlock progress, std::function<void(const TULOError &error)> done)
{
    m_queue->addOperation([this, progress = std::move(progress), done = std::move(done)] {
        TULOError error;
        if (!hasLoaded())
            reloadReportingProgress(progress, &error);
        else if (progress)
            progress(items());
        if (done)
            done(error);
    });
}

TULOMediaLibrary::ScanStatistics TULOMediaLibrary::lastScanStatistics() const
{
    QMutexLocker lock(&m_mutex);
    return m_statistics;
}

QList<TULOMediaLibraryItemPtr> TULOMediaLibrary::items() const
{
    QMutexLocker lock(&m_mutex);
    return m_items;
}

TULOMediaLibraryItemPtr TULOMediaLibrary::itemForPersistentID(quint64 persistentID) const
{
    QMutexLocker lock(&m_mutex);
    for (const auto &item : m_items) {
        if (item->persistentID() == persistentID)
            return item;
    }
    return nullptr;
}

TULOMediaLibraryItemPtr TULOMediaLibrary::itemForFilePath(const QString &path) const
{
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QMutexLocker lock(&m_mutex);
    for (const auto &item : m_items) {
        if (item->filePath() == clean)
            return item;
    }
    return nullptr;
}

QList<std::shared_ptr<TULOMediaAlbum>> TULOMediaLibrary::albums() const
{
    QList<std::shared_ptr<TULOMediaAlbum>> albums;
    QHash<QPair<QString, QString>, std::shared_ptr<TULOMediaAlbum>> byKey;
    for (const auto &item : items()) {
        if (item->albumTitle().isEmpty())
            continue;
        const QString artist = item->albumArtist().isEmpty() ? item->artist() : item->albumArtist();
        auto &album = byKey[qMakePair(item->albumTitle(), artist)];
        if (!album) {
            album = std::make_shared<TULOMediaAlbum>();
            album->setTitle(item->albumTitle());
            album->setAlbumArtistName(artist);
            albums.append(album);
        }
        if (!album->storeIdentifier() && item->storeAlbumIdentifier())
            album->setStoreIdentifier(item->storeAlbumIdentifier());
        if (album->artworkCatalog().isNull() && !item->artwork().isNull())
            album->setArtworkCatalog(item->artwork());
    }
    return albums;
}

QList<std::shared_ptr<TULOMediaSong>> TULOMediaLibrary::songs() const
{
    QList<std::shared_ptr<TULOMediaSong>> songs;
    for (const auto &item : items()) {
        auto song = std::make_shared<TULOMediaSong>();
        song->setTitle(item->title());
        song->setArtistName(item->artist());
        song->setStoreIdentifier(item->storeItemIdentifier());
        song->setHasVideo(item->hasVideo());
        song->setArtworkCatalog(item->artwork());
        songs.append(song);
    }
    return songs;
}

void TULOMediaLibrary::addStoreItems(const QList<TULOMediaLibraryItemPtr> &items)
{
    {
        QMutexLocker lock(&m_mutex);
        for (const auto &item : items) {
            if (!item || m_items.contains(item))
                continue;
            item->setLibrary(this);
            m_items.append(item);
        }
    }
    Q_EMIT libraryDidChange();
}

bool TULOMediaLibrary::isItemDownloadableFromStore(const TULOMediaLibraryItem &item) const
{
    if (item.library() != this || !item.filePath().isEmpty() || item.storeItemIdentifier() <= 0)
        return false;
    QMutexLocker lock(&m_mutex);
    for (const auto &known : m_items) {
        if (known.get() == &item)
            return true;
    }
    return false;
}

bool TULOMediaLibrary::addDownloadedFile(const TULOMediaLibraryItemPtr &item, const QString &path, TULOError *error)
{
    const QFileInfo info(path);
    if (!item || !info.isFile()) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, TULOFileErrorNoSuchFile,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), path},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The downloaded file is missing.")}}));
        return false;
    }
    // Indexed as the scan would see it, so the next reload keeps this item object.
    TULOMediaLibraryIndex::Row row;
    row.path = info.absoluteFilePath();
    row.size = info.size();
    row.modified = info.lastModified().toMSecsSinceEpoch();
    row.mediaType = mediaTypeForSuffix(info.suffix().toLower());
    row.readable = TULOReadMediaFileTags(row.path, &row.tags);
    if (!m_index->apply({row}, {}, error))
        return false;
    {
        QMutexLocker lock(&m_mutex);
        item->setFilePath(row.path);
        item->setLibrary(this);
        if (!m_items.contains(item))
            m_items.append(item);
    }
    Q_EMIT libraryDidChange();
    return true;
}

bool TULOMediaLibrary::removeItems(const QList<TULOMediaLibraryItemPtr> &items, TULOError *error)
{
    QStringList removedPaths;
    bool ok = true;
    for (const auto &item : items) {
        if (!item)
            continue;
        const QString path = item->filePath();
        if (!path.isEmpty() && QFileInfo::exists(path)) {
            QFile file(path);
            if (!file.remove()) {
                TULOSetError(error, TULOError(TULOFileErrorDomain, TULOFileErrorWriteNoPermission,
                                              {{QString::fromLatin1(TULOFilePathErrorKey), path},
                                               {QString::fromLatin1(TULOLocalizedDescriptionKey), file.errorString()}}));
                ok = false;
                break;
            }
        }
        if (!path.isEmpty())
            removedPaths.append(path);
        QMutexLocker lock(&m_mutex);
        m_items.removeAll(item);
    }
    m_index->apply({}, removedPaths);
    Q_EMIT libraryDidChange();
    return ok;
}

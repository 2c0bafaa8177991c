#include <Quillon/platform/library/medialibrary.h>

#include <Quillon/platform/library/mediafiletags.h>
#include <Quillon/platform/library/medialibraryindex_p.h>

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

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

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

bool isUnder(const QString &path, const QStringList &folders)
{
    for (const QString &folder : folders) {
        if (path.startsWith(folder + QLatin1Char('/')))
            return true;
    }
    return false;
}

TULOMediaFolderScan scanMusicFolder(const QString &root, const QHash<QString, TULOMediaLibraryIndex::Row> &cached)
{
    TULOMediaFolderScan scan;
    QStringList folders{root};
    while (!folders.isEmpty()) {
        const QString folder = folders.takeLast();
        // POSIX directory reading: a warm open is mostly this loop, and the entry type from
        // readdir plus one fstatat per media file is far cheaper than QFileInfo's machinery.
        DIR *directory = ::opendir(QFile::encodeName(folder).constData());
        if (!directory) {
            scan.unreadableFolders.append(folder);
            continue;
        }
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
                folders.append(folder + QLatin1Char('/') + QFile::decodeName(name));
                continue;
            }
            if (knownType && entry->d_type != DT_REG)
                continue; // symbolic links are not followed, so a loop cannot trap the scan
            const char *dot = std::strrchr(name, '.');
            if (!dot)
                continue;
            const quint64 mediaType = mediaTypeForSuffix(QString::fromLatin1(dot + 1).toLower());
            if (!mediaType)
                continue;
            if (::fstatat(directoryFD, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode))
                continue;
            const QString path = folder + QLatin1Char('/') + QFile::decodeName(name);
            ++scan.statistics.filesSeen;
            const qint64 size = info.st_size;
            const qint64 modified = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
            const auto hit = cached.constFind(path);
            if (hit != cached.constEnd() && hit->size == size && hit->modified == modified) {
                scan.rows.append(*hit);
                continue;
            }
            TULOMediaLibraryIndex::Row row;
            row.path = path;
            row.size = size;
            row.modified = modified;
            row.mediaType = mediaType;
            row.readable = TULOReadMediaFileTags(path, &row.tags);
            if (!row.readable)
                ++scan.statistics.filesUnreadable;
            ++scan.statistics.filesRead;
            scan.rows.append(row);
            scan.changed.append(row);
            scan.changedPaths.insert(path);
        }
        ::closedir(directory);
    }

    return scan;
}

// Files of the index that the walk did not see: those under a folder it could not read are
// kept as they were known (appended to `rows`), the others are gone. Returns the gone ones.
QStringList settleUnseenFiles(const QHash<QString, TULOMediaLibraryIndex::Row> &cached,
                              const QStringList &unreadableFolders, QList<TULOMediaLibraryIndex::Row> &rows)
{
    QSet<QString> seen;
    for (const auto &row : std::as_const(rows))
        seen.insert(row.path);
    QStringList removed;
    for (auto it = cached.constBegin(); it != cached.constEnd(); ++it) {
        if (seen.contains(it.key()))
            continue;
        if (isUnder(it.key(), unreadableFolders)) {
            rows.append(it.value()); // cannot look inside now; keep what was known
            seen.insert(it.key());
            continue;
        }
        removed.append(it.key());
    }
    return removed;
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
{
}

TULOMediaLibrary::~TULOMediaLibrary() = default;

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

TULOMediaLibrary *TULOMediaLibrary::defaultMediaLibrary()
{
    static TULOMediaLibrary *library = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        library = new TULOMediaLibrary;
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

bool TULOMediaLibrary::adoptScan(const TULOMediaFolderScan &scan)
{
    QMutexLocker lock(&m_mutex);
    bool didChange = false;
    // Unchanged files keep their item objects, so that holders of an item keep a live one.
    QHash<QString, TULOMediaLibraryItemPtr> previous;
    QList<TULOMediaLibraryItemPtr> items;
    for (const auto &item : std::as_const(m_items)) {
        if (item->filePath().isEmpty())
            items.append(item); // store items are not in the folder
        else
            previous.insert(item->filePath(), item);
    }
    for (const auto &row : std::as_const(scan.rows)) {
        const auto old = previous.constFind(row.path);
        if (old != previous.constEnd() && !scan.changedPaths.contains(row.path)) {
            items.append(*old);
        } else {
            items.append(makeItem(row, this));
            didChange = true;
        }
    }
    if (items.size() != m_items.size())
        didChange = true;
    m_items = items;
    m_statistics = scan.statistics;
    return didChange;
}

bool TULOMediaLibrary::reload(TULOError *error)
{
    const QFileInfo root(m_musicFolder);
    if (!root.isDir() || !root.isReadable() || !root.isExecutable()) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, root.exists() ? 257 : 260,
                                      {{QString::fromLatin1(TULOFilePathErrorKey), m_musicFolder},
                                       {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                        QStringLiteral("The music folder \u201c%1\u201d cannot be read.")
                                            .arg(QDir::toNativeSeparators(m_musicFolder))}}));
        return false;
    }

    // A broken index only costs a full read; it is never a reason to fail.
    const QHash<QString, TULOMediaLibraryIndex::Row> cached = m_index->load();
    TULOMediaFolderScan scan = scanMusicFolder(m_musicFolder, cached);
    const QStringList removed = settleUnseenFiles(cached, scan.unreadableFolders, scan.rows);
    scan.statistics.filesRemoved = int(removed.size());
    m_index->apply(scan.changed, removed);

    const bool removedOrRead = !scan.changed.isEmpty() || !removed.isEmpty();
    if (adoptScan(scan) || removedOrRead)
        Q_EMIT libraryDidChange();
    return true;
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

#include <Quillon/platform/library/photolibrary.h>

#include <Quillon/platform/library/librarycache_p.h>
#include <Quillon/platform/library/photolibraryindex_p.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/threadpriority_p.h>
#include <Quillon/platform/typeidentifiers.h>
#include <Quillon/platform/video/videoframesource.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMimeDatabase>
#include <QSet>
#include <QStandardPaths>
#include <QTimer>
#include <QUrlQuery>
#include <QUuid>

#include <algorithm>
#include <optional>



namespace {

const QString assetScheme = QStringLiteral("assets-library");

// Asset identifiers are name-based UUIDs of the path inside the library, so they survive
// restarts and re-indexing without a database.
const QUuid identifierNamespace(QStringLiteral("{6b3b8f0e-2f8e-4c59-9d1a-0f4b7c1f5e21}"));

QString text(const char *source)
{
    return QCoreApplication::translate("TULOPhotoLibrary", source);
}

TULOError makeError(TULOPhotoLibraryErrorCode code, const QString &description, const QUrl &url = QUrl())
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    if (!url.isEmpty())
        info.insert(QString::fromLatin1(TULOURLErrorKey), url);
    return TULOError(TULOPhotoLibraryErrorDomain, code, info);
}

using Row = TULOPhotoLibraryIndex::Row;

TULOPhotoAsset::AssetType typeForSuffix(const QString &suffix)
{
    // Suffixes repeat across thousands of files; the MIME database is asked once for each.
    static QMutex mutex;
    static QHash<QString, TULOPhotoAsset::AssetType> types;
    QMutexLocker lock(&mutex);
    const auto known = types.constFind(suffix);
    if (known != types.constEnd())
        return *known;
    static const QMimeDatabase database;
    const QString type = database.mimeTypeForFile(QStringLiteral("x.") + suffix, QMimeDatabase::MatchExtension).name();
    const TULOPhotoAsset::AssetType assetType = type.startsWith(QLatin1String("image/")) ? TULOPhotoAsset::Photo
        : type.startsWith(QLatin1String("video/"))                                     ? TULOPhotoAsset::Video
                                                                                       : TULOPhotoAsset::Unknown;
    types.insert(suffix, assetType);
    return assetType;
}

TULOPhotoAsset::AssetType typeForFile(const QString &filePath)
{
    return typeForSuffix(QFileInfo(filePath).suffix().toLower());
}

// Looks at a new or changed file: its type from its bytes (a PNG saved as .jpg is a PNG) and a
// video's duration.
Row examineFile(const TULOFileStamp &file, TULOPhotoAsset::AssetType type)
{
    Row row;
    row.path = file.path;
    row.size = file.size;
    row.modified = file.modified;
    row.assetType = type;
    static const QMimeDatabase database;
    QMimeType sniffed = database.mimeTypeForFile(file.path, QMimeDatabase::MatchContent);
    if (sniffed.isDefault())
        sniffed = database.mimeTypeForFile(file.path, QMimeDatabase::MatchExtension);
    row.UTI = TULOTypeIdentifiers::canonicalType(sniffed.name());
    if (type == TULOPhotoAsset::Video) {
        TULOVideoFrameSource video(file.path);
        if (video.open())
            row.duration = video.duration();
    }
    return row;
}

QString identifierFromURL(const QUrl &url)
{
    if (!TULOPhotoLibrary::isAssetURL(url))
        return QString();
    const QUuid identifier(QUrlQuery(url).queryItemValue(QStringLiteral("id")));
    return identifier.isNull() ? QString() : identifier.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

struct TULOPhotoLibrary::State {
    QMutex mutex; // guards the members below, never held over file work
    QMutex refreshMutex; // one walk at a time
    std::unique_ptr<TULOPhotoLibraryIndex> index;
    QHash<QString, Row> rows;
    bool rowsLoaded = false;
    QHash<QString, QString> pathsByIdentifier;
    bool identifiersValid = false;
    QStringList folders;
    int lastReadCount = 0;
};

TULOPhotoLibrary::TULOPhotoLibrary(QObject *parent)
    : TULOPhotoLibrary(defaultLibraryPath(), QString(), parent)
{
}

TULOPhotoLibrary::TULOPhotoLibrary(const QString &libraryPath, QObject *parent)
    : TULOPhotoLibrary(libraryPath, QString(), parent)
{
}

TULOPhotoLibrary::TULOPhotoLibrary(const QString &libraryPath, const QString &indexPath, QObject *parent)
    : QObject(parent)
    , m_libraryPath(QDir::cleanPath(QFileInfo(libraryPath).absoluteFilePath()))
    , m_indexPath(indexPath.isEmpty() ? defaultIndexPath(m_libraryPath) : indexPath)
    , d(std::make_unique<State>())
    , m_queue(std::make_unique<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.photoLibrary")))
{
}

TULOPhotoLibrary::~TULOPhotoLibrary()
{
    m_queue->waitUntilAllOperationsAreFinished();
}

QString TULOPhotoLibrary::defaultLibraryPath()
{
    const QByteArray override = qgetenv("QUILLON_PICTURES_DIR");
    if (!override.isEmpty())
        return QFile::decodeName(override);
    return QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
}

QString TULOPhotoLibrary::defaultIndexPath(const QString &libraryPath)
{
    const QByteArray folder = QDir::cleanPath(QFileInfo(libraryPath).absoluteFilePath()).toUtf8();
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/com.vantor.Quillon/PhotoLibrary-%1.sqlitedb")
              .arg(QString::fromLatin1(QCryptographicHash::hash(folder, QCryptographicHash::Sha1).toHex().left(12)));
}

bool TULOPhotoLibrary::isAssetURL(const QUrl &url)
{
    return url.isValid() && url.scheme() == assetScheme;
}

QString TULOPhotoLibrary::assetIdentifierForFilePath(const QString &filePath) const
{
    const QString relative = filePath.startsWith(m_libraryPath + QLatin1Char('/'))
        ? filePath.mid(m_libraryPath.size() + 1)
        : QDir(m_libraryPath).relativeFilePath(filePath);
    return QUuid::createUuidV5(identifierNamespace, relative).toString(QUuid::WithoutBraces).toUpper();
}

QUrl TULOPhotoLibrary::assetURLForPath(const QString &path) const
{
    const QString extension = QFileInfo(path).suffix().toUpper();
    QUrl url;
    url.setScheme(assetScheme);
    url.setHost(QStringLiteral("asset"));
    url.setPath(QStringLiteral("/asset.") + extension);
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("id"), assetIdentifierForFilePath(path));
    query.addQueryItem(QStringLiteral("ext"), extension);
    url.setQuery(query);
    return url;
}

QUrl TULOPhotoLibrary::assetURLForFilePath(const QString &filePath) const
{
    const QFileInfo info(filePath);
    const QString path = QDir::cleanPath(info.absoluteFilePath());
    if (!path.startsWith(m_libraryPath + QLatin1Char('/')) || !info.isFile()
        || typeForFile(path) == TULOPhotoAsset::Unknown)
        return QUrl();
    return assetURLForPath(path);
}

namespace {

TULOPhotoAsset assetForRow(const Row &row, const QUrl &assetURL)
{
    TULOPhotoAsset asset(assetURL, TULOPhotoAsset::AssetType(row.assetType), row.path, row.UTI, row.size,
        QDateTime::fromMSecsSinceEpoch(row.modified));
    asset.setDuration(row.duration);
    return asset;
}

bool newerFirst(const Row &a, const Row &b)
{
    return a.modified != b.modified ? a.modified > b.modified : a.path < b.path;
}

} // namespace

bool TULOPhotoLibrary::refresh(TULOError *error) const
{
    QMutexLocker walking(&d->refreshMutex);
    const QFileInfo root(m_libraryPath);
    if (!root.isDir() || !root.isReadable()) {
        TULOSetError(error,
            makeError(TULOPhotoLibraryErrorUnavailable,
                text("The pictures folder “%1” does not exist or cannot be read.").arg(m_libraryPath)));
        return false;
    }
    QHash<QString, Row> known;
    {
        QMutexLocker lock(&d->mutex);
        if (!d->index)
            d->index = std::make_unique<TULOPhotoLibraryIndex>(m_indexPath);
        if (!d->rowsLoaded) {
            // A broken index only costs looking at every file again; it is never a reason to fail.
            d->rows = d->index->load(m_libraryPath);
            d->rowsLoaded = true;
            d->identifiersValid = false;
        }
        known = d->rows;
    }
    QList<Row> rows, changed;
    QSet<QString> seen;
    const TULOFolderWalk walk = TULOWalkFolder(
        m_libraryPath, [](const QString &suffix) { return typeForSuffix(suffix) != TULOPhotoAsset::Unknown; },
        [&](const TULOFileStamp &file) {
            seen.insert(file.path);
            const auto hit = known.constFind(file.path);
            if (hit != known.constEnd() && hit->size == file.size && hit->modified == file.modified) {
                rows.append(*hit);
                return;
            }
            const Row row = examineFile(file, typeForSuffix(file.suffix));
            rows.append(row);
            changed.append(row);
        });
    const QStringList removed = TULOSettleUnseenFiles(known, seen, walk.unreadableFolders, rows);
    d->index->apply(changed, removed);
    {
        QMutexLocker lock(&d->mutex);
        d->rows.clear();
        for (const Row &row : std::as_const(rows))
            d->rows.insert(row.path, row);
        d->identifiersValid = false;
        d->folders = walk.folders;
        d->lastReadCount = int(changed.size());
    }
    // Folders that came with this walk are watched from now on (when watching).
    QMetaObject::invokeMethod(const_cast<TULOPhotoLibrary *>(this), &TULOPhotoLibrary::watchFolders, Qt::QueuedConnection);
    if (!changed.isEmpty() || !removed.isEmpty())
        Q_EMIT const_cast<TULOPhotoLibrary *>(this)->libraryDidChange();
    return true;
}

int TULOPhotoLibrary::lastRefreshReadCount() const
{
    QMutexLocker lock(&d->mutex);
    return d->lastReadCount;
}

QList<TULOPhotoAsset> TULOPhotoLibrary::assets(TULOError *error) const
{
    if (!refresh(error))
        return {};
    QList<Row> rows;
    {
        QMutexLocker lock(&d->mutex);
        rows = d->rows.values();
    }
    std::sort(rows.begin(), rows.end(), [](const Row &a, const Row &b) { return a.path < b.path; });
    QList<TULOPhotoAsset> result;
    result.reserve(rows.size());
    for (const Row &row : std::as_const(rows))
        result << assetForRow(row, assetURLForPath(row.path));
    return result;
}

QList<TULOPhotoAsset> TULOPhotoLibrary::recentAssets(int limit, TULOError *error) const
{
    if (!refresh(error))
        return {};
    return indexedRecentAssets(limit, error);
}

QList<TULOPhotoAsset> TULOPhotoLibrary::indexedRecentAssets(int limit, TULOError *error) const
{
    QList<Row> rows;
    bool loaded = false;
    {
        QMutexLocker lock(&d->mutex);
        loaded = d->rowsLoaded;
        if (loaded)
            rows = d->rows.values();
        else if (!d->index)
            d->index = std::make_unique<TULOPhotoLibraryIndex>(m_indexPath);
    }
    // Before the first walk the index file answers, reading only the rows asked for.
    if (!loaded)
        rows = d->index->newest(m_libraryPath, limit, error);
    const qsizetype count = limit < 0 ? rows.size() : std::min<qsizetype>(limit, rows.size());
    std::partial_sort(rows.begin(), rows.begin() + count, rows.end(), newerFirst);
    QList<TULOPhotoAsset> result;
    result.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        result << assetForRow(rows.at(i), assetURLForPath(rows.at(i).path));
    return result;
}

void TULOPhotoLibrary::loadRecentAssets(int limit, AssetsBlock block)
{
    m_queue->addOperation([this, limit, block = std::move(block)] {
        const QList<TULOPhotoAsset> indexed = indexedRecentAssets(limit);
        if (!indexed.isEmpty())
            block(indexed, TULOError());
        // The walk that checks the index against the folders is nobody's wait.
        TULOYieldToForegroundWork();
        TULOError error;
        const QList<TULOPhotoAsset> current = recentAssets(limit, &error);
        if (indexed.isEmpty() || current != indexed || error)
            block(current, error);
    });
}

void TULOPhotoLibrary::setWatchesFolders(bool watches)
{
    if (!watches) {
        delete m_watcher;
        m_watcher = nullptr;
        return;
    }
    if (m_watcher)
        return;
    m_watcher = new QFileSystemWatcher(this);
    m_watchTimer = m_watchTimer ? m_watchTimer : new QTimer(this);
    // A copy of many photos changes a folder many times; one walk follows the last change.
    m_watchTimer->setSingleShot(true);
    m_watchTimer->setInterval(250);
    connect(m_watchTimer, &QTimer::timeout, this, &TULOPhotoLibrary::watchedFolderChanged, Qt::UniqueConnection);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, m_watchTimer, qOverload<>(&QTimer::start));
    m_watcher->addPath(m_libraryPath);
    watchFolders();
}

void TULOPhotoLibrary::watchFolders()
{
    if (!m_watcher)
        return;
    QStringList folders;
    {
        QMutexLocker lock(&d->mutex);
        folders = d->folders;
    }
    const QStringList watched = m_watcher->directories();
    QStringList added;
    for (const QString &folder : std::as_const(folders)) {
        if (!watched.contains(folder))
            added << folder;
    }
    if (!added.isEmpty())
        m_watcher->addPaths(added);
}

void TULOPhotoLibrary::watchedFolderChanged()
{
    m_queue->addOperation([this] {
        TULOYieldToForegroundWork();
        refresh();
    });
}

TULOPhotoAsset TULOPhotoLibrary::assetForURLNow(const QUrl &assetURL, TULOError *error) const
{
    const QString identifier = identifierFromURL(assetURL);
    if (identifier.isEmpty()) {
        TULOSetError(error,
            makeError(TULOPhotoLibraryErrorInvalidURL,
                text("“%1” is not a photo library address.").arg(assetURL.toString()), assetURL));
        return TULOPhotoAsset();
    }
    const auto rowForIdentifier = [this, &identifier]() -> std::optional<Row> {
        QMutexLocker lock(&d->mutex);
        if (!d->identifiersValid) {
            d->pathsByIdentifier.clear();
            for (auto it = d->rows.constBegin(); it != d->rows.constEnd(); ++it)
                d->pathsByIdentifier.insert(assetIdentifierForFilePath(it.key()), it.key());
            d->identifiersValid = true;
        }
        const auto path = d->pathsByIdentifier.constFind(identifier);
        if (path == d->pathsByIdentifier.constEnd())
            return std::nullopt;
        return d->rows.value(*path);
    };
    std::optional<Row> row = rowForIdentifier();
    // A file added, moved, changed or removed since the last walk is only known by walking again.
    const QFileInfo file(row ? row->path : QString());
    if (!row || !file.isFile() || file.size() != row->size || file.lastModified().toMSecsSinceEpoch() != row->modified) {
        if (!refresh(error))
            return TULOPhotoAsset();
        row = rowForIdentifier();
    }
    const TULOPhotoAsset asset = row ? assetForRow(*row, assetURLForPath(row->path)) : TULOPhotoAsset();
    if (asset.isNull()) {
        TULOSetError(error,
            makeError(TULOPhotoLibraryErrorAssetNotFound,
                text("The photo or video is no longer in the photo library."), assetURL));
    }
    return asset;
}

void TULOPhotoLibrary::assetForURL(const QUrl &assetURL, ResultBlock resultBlock, FailureBlock failureBlock)
{
    m_queue->addOperation(
        [this, assetURL, resultBlock = std::move(resultBlock), failureBlock = std::move(failureBlock)] {
            TULOError error;
            const TULOPhotoAsset asset = assetForURLNow(assetURL, &error);
            if (!asset.isNull()) {
                if (resultBlock)
                    resultBlock(asset);
            } else if (failureBlock) {
                failureBlock(error);
            }
        });
}

QString TULOPhotoLibrary::videoFilePathForAssetURL(const QUrl &assetURL, TULOError *error) const
{
    const TULOPhotoAsset asset = assetForURLNow(assetURL, error);
    if (asset.isNull())
        return QString();
    if (asset.assetType() != TULOPhotoAsset::Video) {
        TULOSetError(error,
            makeError(TULOPhotoLibraryErrorNotAVideo,
                text("“%1” is a photo, not a video.").arg(QFileInfo(asset.filePath()).fileName()), assetURL));
        return QString();
    }
    return asset.filePath();
}

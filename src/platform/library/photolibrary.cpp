#include <Quillon/platform/library/photolibrary.h>

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QUrlQuery>
#include <QUuid>

#include <algorithm>


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

TULOPhotoAsset::AssetType typeForFile(const QString &filePath)
{
    static const QMimeDatabase database;
    const QString type = database.mimeTypeForFile(filePath, QMimeDatabase::MatchExtension).name();
    if (type.startsWith(QLatin1String("image/")))
        return TULOPhotoAsset::Photo;
    if (type.startsWith(QLatin1String("video/")))
        return TULOPhotoAsset::Video;
    return TULOPhotoAsset::Unknown;
}

QString identifierFromURL(const QUrl &url)
{
    if (!TULOPhotoLibrary::isAssetURL(url))
        return QString();
    const QUuid identifier(QUrlQuery(url).queryItemValue(QStringLiteral("id")));
    return identifier.isNull() ? QString() : identifier.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

TULOPhotoLibrary::TULOPhotoLibrary(QObject *parent)
    : TULOPhotoLibrary(defaultLibraryPath(), parent)
{
}

TULOPhotoLibrary::TULOPhotoLibrary(const QString &libraryPath, QObject *parent)
    : QObject(parent)
    , m_libraryPath(QDir::cleanPath(QFileInfo(libraryPath).absoluteFilePath()))
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

bool TULOPhotoLibrary::isAssetURL(const QUrl &url)
{
    return url.isValid() && url.scheme() == assetScheme;
}

QString TULOPhotoLibrary::assetIdentifierForFilePath(const QString &filePath) const
{
    const QString relative = QDir(m_libraryPath).relativeFilePath(filePath);
    return QUuid::createUuidV5(identifierNamespace, relative).toString(QUuid::WithoutBraces).toUpper();
}

QUrl TULOPhotoLibrary::assetURLForFilePath(const QString &filePath) const
{
    const QFileInfo info(filePath);
    const QString path = QDir::cleanPath(info.absoluteFilePath());
    if (!path.startsWith(m_libraryPath + QLatin1Char('/')) || !info.isFile()
        || typeForFile(path) == TULOPhotoAsset::Unknown)
        return QUrl();
    const QString extension = info.suffix().toUpper();
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

TULOPhotoAsset TULOPhotoLibrary::assetForFile(const QString &filePath) const
{
    const QFileInfo info(filePath);
    const TULOPhotoAsset::AssetType type = typeForFile(filePath);
    if (!info.isFile() || type == TULOPhotoAsset::Unknown)
        return TULOPhotoAsset();
    // The representation's type comes from the bytes: a PNG saved as .jpg is a PNG.
    static const QMimeDatabase database;
    QMimeType sniffed = database.mimeTypeForFile(info, QMimeDatabase::MatchContent);
    if (sniffed.isDefault())
        sniffed = database.mimeTypeForFile(info, QMimeDatabase::MatchExtension);
    const QString UTI = TULOTypeIdentifiers::canonicalType(sniffed.name());
    return TULOPhotoAsset(
        assetURLForFilePath(filePath), type, info.absoluteFilePath(), UTI, info.size(), info.lastModified());
}

bool TULOPhotoLibrary::rescan(TULOError *error) const
{
    const QFileInfo root(m_libraryPath);
    if (!root.isDir() || !root.isReadable()) {
        TULOSetError(error,
            makeError(TULOPhotoLibraryErrorUnavailable,
                text("The pictures folder “%1” does not exist or cannot be read.").arg(m_libraryPath)));
        return false;
    }
    QHash<QString, QString> paths;
    QDirIterator files(m_libraryPath, QDir::Files | QDir::Readable, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = QDir::cleanPath(files.next());
        if (typeForFile(path) != TULOPhotoAsset::Unknown)
            paths.insert(assetIdentifierForFilePath(path), path);
    }
    QMutexLocker lock(&m_mutex);
    m_pathsByIdentifier = paths;
    return true;
}

QList<TULOPhotoAsset> TULOPhotoLibrary::assets(TULOError *error) const
{
    if (!rescan(error))
        return {};
    QStringList paths;
    {
        QMutexLocker lock(&m_mutex);
        paths = m_pathsByIdentifier.values();
    }
    paths.sort();
    QList<TULOPhotoAsset> result;
    for (const QString &path : std::as_const(paths)) {
        const TULOPhotoAsset asset = assetForFile(path);
        if (!asset.isNull())
            result << asset;
    }
    return result;
}

QList<TULOPhotoAsset> TULOPhotoLibrary::recentAssets(int limit, TULOError *error) const
{
    if (!rescan(error))
        return {};
    QList<QFileInfo> files;
    {
        QMutexLocker lock(&m_mutex);
        files.reserve(m_pathsByIdentifier.size());
        for (const QString &path : std::as_const(m_pathsByIdentifier))
            files.append(QFileInfo(path));
    }
    std::sort(files.begin(), files.end(), [](const QFileInfo &a, const QFileInfo &b) {
        const QDateTime dateA = a.lastModified(), dateB = b.lastModified();
        return dateA != dateB ? dateA > dateB : a.filePath() < b.filePath();
    });
    QList<TULOPhotoAsset> result;
    for (const QFileInfo &file : std::as_const(files)) {
        if (limit >= 0 && result.size() >= limit)
            break;
        const TULOPhotoAsset asset = assetForFile(file.filePath());
        if (!asset.isNull())
            result << asset;
    }
    return result;
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
    QString path;
    {
        QMutexLocker lock(&m_mutex);
        path = m_pathsByIdentifier.value(identifier);
    }
    // A file added, moved or removed since the last scan is only found by scanning again.
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        if (!rescan(error))
            return TULOPhotoAsset();
        QMutexLocker lock(&m_mutex);
        path = m_pathsByIdentifier.value(identifier);
    }
    const TULOPhotoAsset asset = path.isEmpty() ? TULOPhotoAsset() : assetForFile(path);
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

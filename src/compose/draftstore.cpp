#include <Quillon/compose/draftstore.h>

#include <Quillon/platform/privatefiles.h>
#include <Quillon/platform/store/postoutbox.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSet>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>

namespace {

const QLatin1String TULODraftFileName("draft.json");
constexpr int TULODraftFormatVersion = 1;
constexpr int TULODraftLongestSaveDelay = 1000;
// The file domain's code for a file whose contents make no sense, as the platform numbers it.
constexpr qint64 TULOFileReadCorruptFileError = 259;

TULOError corruptDraftError(const QString &path, const QString &reason)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), path);
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey),
        QStringLiteral("The draft \"%1\" cannot be read: %2.").arg(path, reason));
    return TULOError(TULOFileErrorDomain, TULOFileReadCorruptFileError, info);
}

QString hexDigest(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().left(32));
}

// Writes the attachment files of one draft into its folder, each under a name made of its
// content (or, for a file, of its path, size and time), so an unchanged one is never written twice.
class TULODraftFileWriter
{
public:
    explicit TULODraftFileWriter(const QString &folder)
        : m_folder(folder) {}

    QSet<QString> names() const { return m_names; }

    QString addBytes(const QByteArray &bytes, const QString &extension, TULOError *error)
    {
        const QString name = hexDigest(bytes) + extension;
        const bool written = write(name, [&bytes](QIODevice *file, TULOError *) { return file->write(bytes) == bytes.size(); }, error);
        return written ? name : QString();
    }

    QString addImage(const QImage &image, TULOError *error)
    {
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return addBytes(png, QStringLiteral(".png"), error);
    }

    QString addFile(const QFileInfo &info, TULOError *error)
    {
        const QByteArray identity = info.absoluteFilePath().toUtf8() + '\n' + QByteArray::number(info.size()) + '\n'
            + QByteArray::number(info.lastModified().toMSecsSinceEpoch());
        const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
        const QString name = hexDigest(identity) + suffix;
        const bool written = write(name, [&info](QIODevice *file, TULOError *writeError) {
            QFile source(info.absoluteFilePath());
            if (!source.open(QIODevice::ReadOnly)) {
                TULOSetError(writeError, TULOPrivateFiles::writeError(info.absoluteFilePath(), EIO, source.errorString()));
                return false;
            }
            while (!source.atEnd()) {
                const QByteArray chunk = source.read(1 << 20);
                if (chunk.isEmpty() || file->write(chunk) != chunk.size())
                    return false;
            }
            return true;
        }, error);
        return written ? name : QString();
    }

private:
    bool write(const QString &name, const std::function<bool(QIODevice *, TULOError *)> &writer, TULOError *error)
    {
        m_names.insert(name);
        const QString path = m_folder + QLatin1Char('/') + name;
        return QFileInfo::exists(path) || TULOPrivateFiles::writeFile(path, writer, error);
    }

    QString m_folder;
    QSet<QString> m_names;
};

// Files the composition would lose when the process ends: recordings and prepared assets.
bool isTransientFile(const QFileInfo &info)
{
    const QString temporary = QDir(QDir::tempPath()).canonicalPath() + QLatin1Char('/');
    return info.canonicalFilePath().startsWith(temporary);
}

QJsonObject encodeAttachment(const TULOAttachment &attachment, TULODraftFileWriter &files, TULOError *error)
{
    QJsonObject object;
    object.insert(QStringLiteral("uti"), attachment.UTI());
    if (!attachment.data().isEmpty()) {
        const QString name = files.addBytes(attachment.data(), QStringLiteral(".bin"), error);
        if (name.isEmpty())
            return {};
        object.insert(QStringLiteral("dataFile"), name);
    }
    if (!attachment.assetImage().isNull()) {
        const QString name = files.addImage(attachment.assetImage(), error);
        if (name.isEmpty())
            return {};
        object.insert(QStringLiteral("assetImageFile"), name);
    }
    const QUrl assetURL = attachment.assetURL();
    const QFileInfo assetFile(assetURL.isLocalFile() ? assetURL.toLocalFile() : QString());
    if (assetFile.isFile() && isTransientFile(assetFile)) {
        const QString name = files.addFile(assetFile, error);
        if (name.isEmpty())
            return {};
        object.insert(QStringLiteral("assetFile"), name);
    } else if (assetURL.isValid()) {
        object.insert(QStringLiteral("assetURL"), assetURL.toString());
    }
    if (!attachment.thumbnailImage().isNull()) {
        const QString name = files.addImage(attachment.thumbnailImage(), error);
        if (name.isEmpty())
            return {};
        object.insert(QStringLiteral("thumbnailImageFile"), name);
    }
    object.insert(QStringLiteral("duration"), attachment.duration());
    if (attachment.pixelSize().isValid())
        object.insert(QStringLiteral("pixelSize"), QJsonArray { attachment.pixelSize().width(), attachment.pixelSize().height() });
    if (const auto album = attachment.album()) {
        object.insert(QStringLiteral("album"), QJsonObject {
            { QStringLiteral("itemIdentifier"), album->itemIdentifier() },
            { QStringLiteral("kind"), album->kind() },
            { QStringLiteral("artistName"), album->artistName() },
            { QStringLiteral("collectionName"), album->collectionName() },
            { QStringLiteral("displayName"), album->displayName() },
        });
    }
    QJsonArray artists;
    for (const TULOPostArtist &artist : attachment.artists())
        artists.append(QJsonArray { artist.identifier(), artist.name() });
    object.insert(QStringLiteral("artists"), artists);
    object.insert(QStringLiteral("attachmentDescription"), attachment.attachmentDescription());
    object.insert(QStringLiteral("categoryName"), attachment.categoryName());
    object.insert(QStringLiteral("explicit"), attachment.isExplicitContent());
    object.insert(QStringLiteral("message"), attachment.message());
    object.insert(QStringLiteral("thumbnailImageTime"), attachment.thumbnailImageTime());
    object.insert(QStringLiteral("title"), attachment.title());
    return object;
}

// Reads one attachment back; a file the draft names but does not hold makes the draft unreadable.
TULOAttachmentPtr decodeAttachment(const QJsonObject &object, const QDir &folder, QString *missing)
{
    const auto fileOf = [&](const QString &field) -> QString {
        const QString name = object.value(field).toString();
        if (name.isEmpty())
            return {};
        // Only names this store made: nothing outside the draft's folder.
        if (name.contains(QLatin1Char('/')) || name.startsWith(QLatin1Char('.')) || !folder.exists(name)) {
            *missing = name;
            return {};
        }
        return folder.filePath(name);
    };
    const auto attachment = std::make_shared<TULOAttachment>();
    attachment->setUTI(object.value(QStringLiteral("uti")).toString());
    if (const QString path = fileOf(QStringLiteral("dataFile")); !path.isEmpty()) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            *missing = path;
            return nullptr;
        }
        attachment->setData(file.readAll());
    }
    if (const QString path = fileOf(QStringLiteral("assetImageFile")); !path.isEmpty())
        attachment->setAssetImage(QImage(path));
    if (const QString path = fileOf(QStringLiteral("assetFile")); !path.isEmpty())
        attachment->setAssetURL(QUrl::fromLocalFile(path));
    else if (object.contains(QStringLiteral("assetURL")))
        attachment->setAssetURL(QUrl(object.value(QStringLiteral("assetURL")).toString()));
    if (const QString path = fileOf(QStringLiteral("thumbnailImageFile")); !path.isEmpty())
        attachment->setThumbnailImage(QImage(path));
    if (!missing->isEmpty())
        return nullptr;
    attachment->setDuration(object.value(QStringLiteral("duration")).toDouble());
    const QJsonArray size = object.value(QStringLiteral("pixelSize")).toArray();
    if (size.size() == 2)
        attachment->setPixelSize(QSizeF(size.at(0).toDouble(), size.at(1).toDouble()));
    if (object.contains(QStringLiteral("album"))) {
        const QJsonObject albumObject = object.value(QStringLiteral("album")).toObject();
        TULOStoreItem album;
        album.setItemIdentifier(albumObject.value(QStringLiteral("itemIdentifier")).toString());
        album.setKind(albumObject.value(QStringLiteral("kind")).toString());
        album.setArtistName(albumObject.value(QStringLiteral("artistName")).toString());
        album.setCollectionName(albumObject.value(QStringLiteral("collectionName")).toString());
        album.setDisplayName(albumObject.value(QStringLiteral("displayName")).toString());
        attachment->setAlbum(album);
    }
    QList<TULOPostArtist> artists;
    for (const QJsonValue &value : object.value(QStringLiteral("artists")).toArray()) {
        const QJsonArray pair = value.toArray();
        artists.append(TULOPostArtist(pair.at(0).toString(), pair.at(1).toString()));
    }
    attachment->setArtists(artists);
    attachment->setAttachmentDescription(object.value(QStringLiteral("attachmentDescription")).toString());
    attachment->setCategoryName(object.value(QStringLiteral("categoryName")).toString());
    attachment->setExplicitContent(object.value(QStringLiteral("explicit")).toBool());
    attachment->setMessage(object.value(QStringLiteral("message")).toString());
    attachment->setThumbnailImageTime(object.value(QStringLiteral("thumbnailImageTime")).toDouble());
    attachment->setTitle(object.value(QStringLiteral("title")).toString());
    return attachment;
}

QJsonArray stringArray(const QStringList &strings)
{
    QJsonArray array;
    for (const QString &string : strings)
        array.append(string);
    return array;
}

} // namespace

size_t qHash(const TULODraftKey &key, size_t seed)
{
    return qHashMulti(seed, key.authorIdentifier, key.itemIdentifier);
}

bool TULOCompositionDraft::isEmpty() const
{
    return text.trimmed().isEmpty() && attachments.isEmpty();
}

TULODraftStore::TULODraftStore(const QString &folder, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(folder.isEmpty() ? defaultFolder() : folder))
    , m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer, &QTimer::timeout, this, &TULODraftStore::writePending);
}

TULODraftStore::~TULODraftStore()
{
    flush();
}

TULODraftStore *TULODraftStore::defaultStore()
{
    // Parented to the application, so pending changes are written when it ends.
    static QPointer<TULODraftStore> store;
    if (!store)
        store = new TULODraftStore(QString(), QCoreApplication::instance());
    return store;
}

QString TULODraftStore::defaultFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLON_DRAFTS_DIR");
    if (!overridden.isEmpty())
        return overridden;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/Library/com.vantor.Quillon/Drafts");
}

void TULODraftStore::setSaveDelay(int milliseconds)
{
    m_saveDelay = qBound(0, milliseconds, TULODraftLongestSaveDelay);
}

QString TULODraftStore::folderForKey(const TULODraftKey &key) const
{
    return m_folder + QLatin1Char('/') + hexDigest(key.authorIdentifier.toUtf8() + '\n' + key.itemIdentifier.toUtf8());
}

void TULODraftStore::scheduleSave(const TULODraftKey &key, const TULOCompositionDraft &draft)
{
    m_pending.insert(key, draft);
    if (!m_timer->isActive())
        m_timer->start(m_saveDelay);
}

void TULODraftStore::writePending()
{
    const auto pending = m_pending;
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        TULOError error;
        if (!save(it.key(), it.value(), &error))
            Q_EMIT draftSaveDidFail(it.key(), error);
    }
}

bool TULODraftStore::flush(TULOError *error)
{
    m_timer->stop();
    bool flushed = true;
    const auto pending = m_pending;
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        TULOError failure;
        if (!save(it.key(), it.value(), &failure) && flushed) {
            TULOSetError(error, failure);
            flushed = false;
        }
    }
    return flushed;
}

bool TULODraftStore::save(const TULODraftKey &key, const TULOCompositionDraft &draft, TULOError *error)
{
    if (draft.isEmpty())
        return discard(key, error);
    const QString folder = folderForKey(key);
    if (!TULOPrivateFiles::makeFolder(folder, error))
        return false;
    TULODraftFileWriter files(folder);
    QJsonArray attachments;
    for (const TULOAttachmentPtr &attachment : draft.attachments) {
        if (!attachment)
            continue;
        const QJsonObject object = encodeAttachment(*attachment, files, error);
        if (object.isEmpty())
            return false;
        attachments.append(object);
    }
    const QJsonObject document {
        { QStringLiteral("version"), TULODraftFormatVersion },
        { QStringLiteral("authorKey"), key.authorIdentifier },
        { QStringLiteral("itemKey"), key.itemIdentifier },
        { QStringLiteral("text"), draft.text },
        { QStringLiteral("attachments"), attachments },
        { QStringLiteral("author"), draft.authorIdentifier },
        { QStringLiteral("attribution"), draft.attributionAuthorIdentifier },
        { QStringLiteral("services"), stringArray(draft.enabledServiceIdentifiers) },
    };
    const QByteArray json = QJsonDocument(document).toJson(QJsonDocument::Compact);
    const bool written = TULOPrivateFiles::writeFile(folder + QLatin1Char('/') + TULODraftFileName,
        [&json](QIODevice *file, TULOError *) { return file->write(json) == json.size(); }, error);
    if (!written)
        return false;
    // Only now may the files the previous draft named go, and what a kill left half written.
    const QSet<QString> keep = files.names();
    for (const QFileInfo &info : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden)) {
        if (info.fileName() != TULODraftFileName && !keep.contains(info.fileName()))
            QFile::remove(info.absoluteFilePath());
    }
    m_pending.remove(key);
    return true;
}

std::optional<TULOCompositionDraft> TULODraftStore::load(const TULODraftKey &key, TULOError *error) const
{
    if (const auto pending = m_pending.constFind(key); pending != m_pending.cend()) {
        if (pending->isEmpty())
            return std::nullopt;
        return *pending;
    }
    const QDir folder(folderForKey(key));
    const QString path = folder.filePath(TULODraftFileName);
    QFile file(path);
    if (!file.exists())
        return std::nullopt;
    if (!file.open(QIODevice::ReadOnly)) {
        TULOSetError(error, corruptDraftError(path, file.errorString()));
        return std::nullopt;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!document.isObject()) {
        TULOSetError(error, corruptDraftError(path, parseError.errorString()));
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    if (object.value(QStringLiteral("version")).toInt() != TULODraftFormatVersion) {
        TULOSetError(error, corruptDraftError(path, QStringLiteral("unknown format version")));
        return std::nullopt;
    }
    if (object.value(QStringLiteral("authorKey")).toString() != key.authorIdentifier
        || object.value(QStringLiteral("itemKey")).toString() != key.itemIdentifier) {
        TULOSetError(error, corruptDraftError(path, QStringLiteral("it belongs to another composition")));
        return std::nullopt;
    }
    TULOCompositionDraft draft;
    draft.text = object.value(QStringLiteral("text")).toString();
    draft.authorIdentifier = object.value(QStringLiteral("author")).toString();
    draft.attributionAuthorIdentifier = object.value(QStringLiteral("attribution")).toString();
    for (const QJsonValue &service : object.value(QStringLiteral("services")).toArray())
        draft.enabledServiceIdentifiers.append(service.toString());
    for (const QJsonValue &value : object.value(QStringLiteral("attachments")).toArray()) {
        QString missing;
        const TULOAttachmentPtr attachment = decodeAttachment(value.toObject(), folder, &missing);
        if (!attachment) {
            TULOSetError(error, corruptDraftError(path, QStringLiteral("the attachment file \"%1\" is missing").arg(missing)));
            return std::nullopt;
        }
        draft.attachments.append(attachment);
    }
    return draft;
}

bool TULODraftStore::hasDraft(const TULODraftKey &key) const
{
    if (const auto pending = m_pending.constFind(key); pending != m_pending.cend())
        return !pending->isEmpty();
    return QFileInfo::exists(folderForKey(key) + QLatin1Char('/') + TULODraftFileName);
}

bool TULODraftStore::discard(const TULODraftKey &key, TULOError *error)
{
    m_pending.remove(key);
    const QString folder = folderForKey(key);
    // The draft file first: once it is gone the draft is gone, whatever happens to the rest.
    const QString path = folder + QLatin1Char('/') + TULODraftFileName;
    if (QFileInfo::exists(path) && !QFile::remove(path)) {
        TULOSetError(error, TULOPrivateFiles::writeError(path, EACCES, QStringLiteral("the draft cannot be removed")));
        return false;
    }
    QDir(folder).removeRecursively();
    return true;
}

bool TULODraftStore::discardPosted(
    const TULODraftKey &key, const TULOPostOutbox *outbox, const QString &idempotencyKey, TULOError *error)
{
    if (!outbox || idempotencyKey.isEmpty())
        return false;
    const QList<TULOPostOutboxEntry> entries = outbox->entries();
    const bool held = std::any_of(entries.cbegin(), entries.cend(),
        [&idempotencyKey](const TULOPostOutboxEntry &entry) { return entry.idempotencyKey == idempotencyKey; });
    if (!held)
        return false;
    return discard(key, error);
}

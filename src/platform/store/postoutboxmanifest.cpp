#include <Quillon/platform/store/postoutboxmanifest_p.h>

#include <Quillon/platform/privatefiles.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/storerequest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

int attachmentTypeForUTI(const QString &uti)
{
    if (uti.startsWith(QLatin1String("image/")))
        return 2;
    if (uti.startsWith(QLatin1String("video/")))
        return 4;
    if (uti == QLatin1String("audio/x-caf"))
        return 3; // sound bites are recorded as CAF
    return 1;
}

} // namespace

TULOError TULOPostOutboxManifest::fileError(qint64 code, const QString &path, const QString &description)
{
    return TULOError(TULOFileErrorDomain, code,
        {{QString::fromLatin1(TULOFilePathErrorKey), path},
            {QString::fromLatin1(TULOLocalizedDescriptionKey), description}});
}

QJsonObject TULOPostOutboxManifest::errorDictionary(const TULOError &error)
{
    QJsonObject o {{QStringLiteral("domain"), error.domain()}, {QStringLiteral("code"), double(error.code())},
        {QStringLiteral("message"), error.localizedDescription()}};
    const QVariant status = error.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey));
    if (status.isValid())
        o.insert(QStringLiteral("httpStatus"), status.toInt());
    const QVariant code = error.userInfo().value(QString::fromLatin1(TULOStoreServerErrorCodeKey));
    if (code.isValid())
        o.insert(QStringLiteral("errorCode"), code.toString());
    if (!error.localizedFailureReason().isEmpty())
        o.insert(QStringLiteral("reason"), error.localizedFailureReason());
    return o;
}

TULOError TULOPostOutboxManifest::errorFromDictionary(const QJsonObject &o)
{
    if (o.isEmpty())
        return TULOError();
    QVariantMap userInfo {
        {QString::fromLatin1(TULOLocalizedDescriptionKey), o.value(QStringLiteral("message")).toString()}};
    if (o.contains(QStringLiteral("httpStatus")))
        userInfo.insert(
            QString::fromLatin1(TULOStoreHTTPStatusKey), o.value(QStringLiteral("httpStatus")).toInt());
    if (o.contains(QStringLiteral("errorCode")))
        userInfo.insert(QString::fromLatin1(TULOStoreServerErrorCodeKey),
            o.value(QStringLiteral("errorCode")).toString());
    if (o.contains(QStringLiteral("reason")))
        userInfo.insert(QString::fromLatin1(TULOLocalizedFailureReasonKey), o.value(QStringLiteral("reason")).toString());
    return TULOError(o.value(QStringLiteral("domain")).toString(),
        qint64(o.value(QStringLiteral("code")).toDouble()), userInfo);
}

QJsonObject TULOPostOutboxManifest::attachmentDictionary(const TULOPostAttachment &attachment, const QString &part, qint64 size)
{
    QJsonArray artists;
    for (const TULOPostArtist &artist : attachment.artists())
        artists.append(QJsonObject {
            {QStringLiteral("id"), artist.identifier()}, {QStringLiteral("name"), artist.name()}});
    QJsonObject o {{QStringLiteral("part"), part},
        {QStringLiteral("type"), attachmentTypeForUTI(attachment.UTI())},
        {QStringLiteral("uti"), attachment.UTI()}, {QStringLiteral("title"), attachment.title()},
        {QStringLiteral("subtitle"), attachment.subtitle()},
        {QStringLiteral("explicit"), attachment.isExplicitContent()}, {QStringLiteral("artists"), artists},
        {QStringLiteral("size"), double(size)}};
    if (!attachment.attachmentDescription().isEmpty())
        o.insert(QStringLiteral("description"), attachment.attachmentDescription());
    if (!attachment.albumIdentifier().isEmpty())
        o.insert(QStringLiteral("albumId"), attachment.albumIdentifier());
    if (!attachment.categoryName().isEmpty())
        o.insert(QStringLiteral("category"), attachment.categoryName());
    if (attachment.UTI().startsWith(QLatin1String("video/")))
        o.insert(QStringLiteral("previewFrameTime"), attachment.previewFrameTimestamp());
    return o;
}

QJsonObject TULOPostOutboxManifest::make(const QString &key, const QUrl &bagURL, const QString &accountName,
    const TULOPostDescription &description, const QJsonArray &attachments, const QJsonArray &files)
{
    QJsonObject wire {{QStringLiteral("text"), description.text()},
        {QStringLiteral("authorId"), description.authorIdentifier()},
        {QStringLiteral("authorType"), description.authorType()},
        {QStringLiteral("attributed"), description.isAttributed()},
        {QStringLiteral("attachments"), attachments}};
    const QList<TULOPostItem> items = description.contentItems().value_or(QList<TULOPostItem>());
    if (!items.isEmpty()) {
        wire.insert(QStringLiteral("item"),
            QJsonObject {{QStringLiteral("id"), items.first().identifier()},
                {QStringLiteral("type"), TULOStorePlatformKindForPostItemType(items.first().type())}});
    }
    QJsonArray destinations;
    for (const TULOExternalDestination &d :
        description.externalServiceDestinations().value_or(QList<TULOExternalDestination>())) {
        QJsonObject o {{QStringLiteral("service"), d.serviceIdentifier()}};
        if (!d.accessToken().isEmpty())
            o.insert(QStringLiteral("accessToken"), d.accessToken());
        if (!d.pageIdentifier().isNull())
            o.insert(QStringLiteral("pageId"), d.pageIdentifier());
        if (!d.pageAccessToken().isEmpty())
            o.insert(QStringLiteral("pageAccessToken"), d.pageAccessToken());
        destinations.append(o);
    }
    wire.insert(QStringLiteral("externalDestinations"), destinations);

    return QJsonObject {{QStringLiteral("version"), 1}, {QStringLiteral("key"), key},
        {QStringLiteral("bagURL"), bagURL.toString()}, {QStringLiteral("accountName"), accountName},
        {QStringLiteral("state"), QStringLiteral("pending")}, {QStringLiteral("attempts"), 0},
        {QStringLiteral("created"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("description"), wire}, {QStringLiteral("files"), files}};
}

int TULOPostOutboxManifest::lockFolder(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder + QLatin1Char('/') + QLatin1String(LockName));
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int saved = errno;
        ::close(fd);
        errno = saved;
        return -1;
    }
    return fd;
}

std::optional<TULOPostOutboxEntry> TULOPostOutboxManifest::read(const QString &folder, const QString &key)
{
    QFile file(folder + QLatin1Char('/') + QLatin1String(FileName));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    const QJsonObject m = document.object();
    if (!document.isObject() || m.value(QStringLiteral("key")).toString() != key)
        return std::nullopt;
    TULOPostOutboxEntry e;
    e.idempotencyKey = key;
    e.folder = folder;
    e.bagURL = QUrl(m.value(QStringLiteral("bagURL")).toString());
    e.accountName = m.value(QStringLiteral("accountName")).toString();
    e.state = m.value(QStringLiteral("state")).toString() == QLatin1String("failed")
        ? TULOPostOutboxEntry::Failed
        : TULOPostOutboxEntry::Pending;
    e.attempts = m.value(QStringLiteral("attempts")).toInt();
    e.nextAttempt
        = QDateTime::fromString(m.value(QStringLiteral("nextAttempt")).toString(), Qt::ISODateWithMs);
    e.lastError = errorFromDictionary(m.value(QStringLiteral("lastError")).toObject());
    e.created = QDateTime::fromString(m.value(QStringLiteral("created")).toString(), Qt::ISODateWithMs);
    if (!e.created.isValid()) // written before posts carried their time
        e.created = QFileInfo(file).lastModified().toUTC();
    for (const QJsonValue &value : m.value(QStringLiteral("files")).toArray())
        e.size += qint64(value.toObject().value(QStringLiteral("size")).toDouble());
    e.description = m.value(QStringLiteral("description")).toObject();
    e.manifest = m;
    return e;
}

bool TULOPostOutboxManifest::write(const QString &folder, const QJsonObject &manifest, TULOError *error, bool durable)
{
    const QString path = folder + QLatin1Char('/') + QLatin1String(FileName);
    const QByteArray data = QJsonDocument(manifest).toJson(QJsonDocument::Indented);
    // Owner-only: a manifest may carry a Facebook access token. Attempts and errors are replaced
    // whole but not synced: a power cut may cost the count, never the post.
    return TULOPrivateFiles::writeFile(
        path, [&data](QIODevice *file, TULOError *) { return file->write(data) == data.size(); }, error,
        durable ? TULOPrivateFiles::Synced : TULOPrivateFiles::Cached);
}

QStringList TULOPostOutboxManifest::folderNames(const QString &folder)
{
    return QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Unsorted);
}

QHash<QString, QString> TULOPostOutboxEntry::fileNamesByPart() const
{
    QHash<QString, QString> names;
    for (const QJsonValue &value : manifest.value(QStringLiteral("files")).toArray()) {
        const QJsonObject f = value.toObject();
        names.insert(f.value(QStringLiteral("part")).toString(), f.value(QStringLiteral("fileName")).toString());
    }
    return names;
}

#include <Quillon/platform/store/postoutbox.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/platform/store/postupload_p.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/storerequest.h>
#include <Quillon/platform/privatefiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkInformation>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QTimer>
#include <QUuid>
#include <unistd.h>

namespace {

const char *const TULOPostUploadTaskName = "com.vantor.Quillon.postUpload";
const char *const TULOOutboxManifestName = "post.json";
const char *const TULOOutboxPartialSuffix = ".partial";

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

TULOError fileError(qint64 code, const QString &path, const QString &description)
{
    return TULOError(QString::fromLatin1(TULOFileErrorDomain), code,
        {{QString::fromLatin1(TULOFilePathErrorKey), path},
            {QString::fromLatin1(TULOLocalizedDescriptionKey), description}});
}

// Same file system: a hard link, free even for a 2 GB video. Otherwise a copy.
bool linkOrCopy(const QString &source, const QString &destination)
{
    if (::link(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) == 0)
        return true;
    // A copy keeps the source's mode; the outbox's own files are the user's alone.
    return QFile::copy(source, destination) && TULOPrivateFiles::makeFile(destination);
}

QJsonObject errorDictionary(const TULOError &error)
{
    QJsonObject o {{QStringLiteral("domain"), error.domain()}, {QStringLiteral("code"), double(error.code())},
        {QStringLiteral("message"), error.localizedDescription()}};
    const QVariant status = error.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey));
    if (status.isValid())
        o.insert(QStringLiteral("httpStatus"), status.toInt());
    const QVariant code = error.userInfo().value(QString::fromLatin1(TULOStoreServerErrorCodeKey));
    if (code.isValid())
        o.insert(QStringLiteral("errorCode"), code.toString());
    return o;
}

TULOError errorFromDictionary(const QJsonObject &o)
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
    return TULOError(o.value(QStringLiteral("domain")).toString(),
        qint64(o.value(QStringLiteral("code")).toDouble()), userInfo);
}

QJsonObject attachmentDictionary(const TULOPostAttachment &attachment, const QString &part, qint64 size)
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

QString quotedFileName(const QString &name)
{
    QString quoted = name;
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('"'), QStringLiteral("\\\""));
    quoted.remove(QLatin1Char('\r')).remove(QLatin1Char('\n'));
    return quoted;
}

} // namespace

TULOPostOutbox::TULOPostOutbox(const QString &folder, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(folder.isEmpty() ? defaultFolder() : folder))
    , m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, [this] { resume(); });
    TULOPrivateFiles::makeFolder(m_folder); // a failure shows when a post is put in
    // A post whose writing was cut short was never handed over: its originals are intact.
    for (const QFileInfo &info : QDir(m_folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (info.fileName().endsWith(QLatin1String(TULOOutboxPartialSuffix)))
            QDir(info.absoluteFilePath()).removeRecursively();
    }
    if (QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) {
        connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, this,
            [this](QNetworkInformation::Reachability reachability) {
                if (reachability == QNetworkInformation::Reachability::Online)
                    resume(true);
            });
    }
}

TULOPostOutbox::~TULOPostOutbox()
{
    for (const quint64 task : std::as_const(m_inFlight))
        TULOBackgroundTask::end(task);
}

QString TULOPostOutbox::defaultFolder()
{
    const QString overridden = qEnvironmentVariable("QUILLON_OUTBOX_DIR");
    if (!overridden.isEmpty())
        return overridden;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/Library/com.vantor.Quillon/Outbox");
}

TULOPostOutbox *TULOPostOutbox::defaultOutbox()
{
    static QPointer<TULOPostOutbox> outbox;
    if (!outbox)
        outbox = new TULOPostOutbox(QString(), QCoreApplication::instance());
    return outbox;
}

void TULOPostOutbox::setRetryDelays(int first, int longest)
{
    m_firstDelay = qMax(0, first);
    m_longestDelay = qMax(m_firstDelay, longest);
}

bool TULOPostOutbox::writeManifest(const QString &folder, const QJsonObject &manifest, TULOError *error)
{
    const QString path = folder + QLatin1Char('/') + QLatin1String(TULOOutboxManifestName);
    const QByteArray data = QJsonDocument(manifest).toJson(QJsonDocument::Indented);
    // Owner-only: a manifest may carry a Facebook access token.
    return TULOPrivateFiles::writeFile(
        path, [&data](QIODevice *file, TULOError *) { return file->write(data) == data.size(); }, error);
}

QString TULOPostOutbox::enqueue(
    const TULOPostDescription &description, const QUrl &bagURL, const QString &accountName, TULOError *error)
{
    const QString key = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString partial = m_folder + QLatin1Char('/') + key + QLatin1String(TULOOutboxPartialSuffix);
    if (!TULOPrivateFiles::makeFolder(partial, error))
        return QString();
    auto cleanup = qScopeGuard([&] { QDir(partial).removeRecursively(); });

    QJsonArray files;
    int partNumber = 0;
    // Links one attachment's file into the outbox and describes it.
    const auto take = [&](const TULOPostAttachment &attachment, QJsonObject *dictionary) -> bool {
        const QString source = attachment.assetURL().toLocalFile();
        const QFileInfo info(source);
        if (source.isEmpty() || !info.isFile()) {
            TULOSetError(error,
                fileError(4, source.isEmpty() ? attachment.assetURL().toString() : source,
                    QStringLiteral("The attachment file \"%1\" does not exist.").arg(info.fileName())));
            return false;
        }
        if (attachment.UTI().isEmpty()) {
            TULOSetError(error,
                fileError(4, source,
                    QStringLiteral("The attachment file \"%1\" has no type.").arg(info.fileName())));
            return false;
        }
        const QString part = QStringLiteral("file%1").arg(partNumber++);
        const QString stored
            = part + (info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix());
        if (!linkOrCopy(info.absoluteFilePath(), partial + QLatin1Char('/') + stored)) {
            TULOSetError(error,
                fileError(640, source,
                    QStringLiteral("The attachment file \"%1\" could not be put in the outbox.")
                        .arg(info.fileName())));
            return false;
        }
        const qint64 size = QFileInfo(partial + QLatin1Char('/') + stored).size();
        files.append(QJsonObject {{QStringLiteral("part"), part}, {QStringLiteral("stored"), stored},
            {QStringLiteral("original"), info.absoluteFilePath()},
            {QStringLiteral("deletes"), attachment.deletesAssetWhenFinished()},
            {QStringLiteral("contentType"), attachment.UTI()}, {QStringLiteral("fileName"), info.fileName()},
            {QStringLiteral("size"), double(size)}});
        *dictionary = attachmentDictionary(attachment, part, size);
        return true;
    };

    QJsonArray attachments;
    for (const TULOPostAttachment &attachment :
        description.attachments().value_or(QList<TULOPostAttachment>())) {
        QJsonObject dictionary;
        if (!take(attachment, &dictionary))
            return QString();
        if (const auto cover = attachment.childAttachmentForRelationship(
                QString::fromLatin1(TULOAttachmentRelationshipCoverImage))) {
            QJsonObject coverDictionary;
            if (!take(*cover, &coverDictionary))
                return QString();
            coverDictionary.remove(QStringLiteral("type"));
            dictionary.insert(QStringLiteral("cover"), coverDictionary);
        }
        attachments.append(dictionary);
    }
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

    const QJsonObject manifest {{QStringLiteral("version"), 1}, {QStringLiteral("key"), key},
        {QStringLiteral("bagURL"), bagURL.toString()}, {QStringLiteral("accountName"), accountName},
        {QStringLiteral("state"), QStringLiteral("pending")}, {QStringLiteral("attempts"), 0},
        {QStringLiteral("description"), wire}, {QStringLiteral("files"), files}};
    if (!writeManifest(partial, manifest, error))
        return QString();
    const QString folder = m_folder + QLatin1Char('/') + key;
    if (!QDir().rename(partial, folder)) {
        TULOSetError(
            error, fileError(513, folder, QStringLiteral("The post could not be put in the outbox.")));
        return QString();
    }
    cleanup.dismiss();
    return key;
}

std::optional<TULOPostOutboxEntry> TULOPostOutbox::entry(const QString &key) const
{
    const QString folder = m_folder + QLatin1Char('/') + key;
    QFile file(folder + QLatin1Char('/') + QLatin1String(TULOOutboxManifestName));
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
    e.description = m.value(QStringLiteral("description")).toObject();
    e.manifest = m;
    return e;
}

QList<TULOPostOutboxEntry> TULOPostOutbox::entries() const
{
    QList<TULOPostOutboxEntry> result;
    const QFileInfoList folders
        = QDir(m_folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Time | QDir::Reversed);
    for (const QFileInfo &info : folders) {
        if (info.fileName().endsWith(QLatin1String(TULOOutboxPartialSuffix)))
            continue;
        if (const auto e = entry(info.fileName()))
            result.append(*e);
    }
    return result;
}

bool TULOPostOutbox::discard(const QString &key, TULOError *error)
{
    if (m_inFlight.contains(key) || !entry(key)) {
        TULOSetError(error,
            fileError(
                4, m_folder + QLatin1Char('/') + key, QStringLiteral("No such post waits in the outbox.")));
        return false;
    }
    return QDir(m_folder + QLatin1Char('/') + key).removeRecursively();
}

void TULOPostOutbox::resume(bool now)
{
    const QDateTime current = QDateTime::currentDateTimeUtc();
    for (const TULOPostOutboxEntry &e : entries()) {
        if (e.state != TULOPostOutboxEntry::Pending || m_inFlight.contains(e.idempotencyKey))
            continue;
        if (now || !e.nextAttempt.isValid() || e.nextAttempt <= current)
            send(e);
    }
    scheduleTimer();
}

void TULOPostOutbox::scheduleTimer()
{
    QDateTime earliest;
    for (const TULOPostOutboxEntry &e : entries()) {
        if (e.state != TULOPostOutboxEntry::Pending || m_inFlight.contains(e.idempotencyKey)
            || !e.nextAttempt.isValid())
            continue;
        if (!earliest.isValid() || e.nextAttempt < earliest)
            earliest = e.nextAttempt;
    }
    if (!earliest.isValid()) {
        m_timer->stop();
        return;
    }
    m_timer->start(
        int(qBound<qint64>(0, QDateTime::currentDateTimeUtc().msecsTo(earliest), qint64(m_longestDelay))));
}

void TULOPostOutbox::send(const TULOPostOutboxEntry &e)
{
    m_inFlight.insert(
        e.idempotencyKey, TULOBackgroundTask::begin(QString::fromLatin1(TULOPostUploadTaskName)));
    const TULOClientContext defaultContext = TULOClientContext::defaultContext();
    const TULOClientContext context = (!defaultContext.isNull() && defaultContext.bagURL() == e.bagURL)
        ? defaultContext
        : TULOClientContext(e.bagURL);
    // The session of the account that wrote the post; the keeper has it when another is active.
    TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore();
    QString token;
    const std::optional<TULOStoreAccount> active = accounts->activeAccount();
    if (active && active->accountName().compare(e.accountName, Qt::CaseInsensitive) == 0)
        token = active->token();
    else if (!e.accountName.isEmpty() && accounts->tokenKeeper())
        token = accounts->tokenKeeper()->tokenForAccount(e.accountName);
    QPointer<TULOPostOutbox> self(this);
    context.loadURLBag(
        [self, e, token, context](const std::optional<TULOUrlBag> &bag, const TULOError &error) {
            TULODispatchMain([self, e, token, context, bag, error] {
                if (!self)
                    return;
                if (!bag) {
                    self->recordFailure(e.idempotencyKey, error, true);
                    return;
                }
                TULOError missing;
                const QUrl url = bag->urlForKey(QStringLiteral("postUpload"), &missing);
                if (url.isEmpty()) {
                    self->recordFailure(e.idempotencyKey, missing, true);
                    return;
                }
                self->sendWithBag(e, url, token, context);
            });
        });
}

void TULOPostOutbox::sendWithBag(const TULOPostOutboxEntry &e, const QUrl &uploadURL, const QString &token,
    const TULOClientContext &context)
{
    QList<TULOPostUpload::Part> parts;
    TULOPostUpload::Part descriptionPart;
    descriptionPart.headers = "Content-Disposition: form-data; name=\"description\"\r\n"
                              "Content-Type: application/json; charset=utf-8";
    descriptionPart.body = QJsonDocument(e.description).toJson(QJsonDocument::Compact);
    descriptionPart.size = descriptionPart.body.size();
    parts.append(descriptionPart);
    // Files stream from the outbox in blocks: no file is ever read whole into memory.
    for (const QJsonValue &value : e.manifest.value(QStringLiteral("files")).toArray()) {
        const QJsonObject f = value.toObject();
        auto file = std::make_shared<QFile>(
            e.folder + QLatin1Char('/') + f.value(QStringLiteral("stored")).toString());
        if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            recordFailure(e.idempotencyKey, fileError(260, file->fileName(), file->errorString()), false);
            return;
        }
        TULOPostUpload::Part part;
        part.headers = QStringLiteral("Content-Disposition: form-data; name=\"%1\"; filename=\"%2\"\r\n"
                                      "Content-Type: %3")
                           .arg(f.value(QStringLiteral("part")).toString(),
                               quotedFileName(f.value(QStringLiteral("fileName")).toString()),
                               f.value(QStringLiteral("contentType")).toString())
                           .toUtf8();
        part.size = file->size();
        part.file = std::move(file);
        parts.append(part);
    }
    TULOStoreRequest storeRequest(uploadURL);
    storeRequest.setMethod(QByteArrayLiteral("POST"));
    storeRequest.setToken(token);
    storeRequest.setRawHeader("Idempotency-Key", e.idempotencyKey.toLatin1());
    // An inactivity limit: a long upload is fine as long as bytes keep moving.
    auto *upload = new TULOPostUpload(
        storeRequest.networkRequest(context), std::move(parts), context.requestTimeout(), this);
    const QString key = e.idempotencyKey;
    connect(upload, &TULOPostUpload::uploadProgress, this, [this, key](qint64 sent, qint64 total) {
        if (total > 0)
            Q_EMIT postUploadProgress(key, sent, total);
    });
    connect(upload, &TULOPostUpload::finished, this, [this, key, upload] { finishAttempt(key, upload); });
    upload->start();
}

void TULOPostOutbox::finishAttempt(const QString &key, TULOPostUpload *upload)
{
    upload->deleteLater();
    const int status = upload->status();
    const QByteArray body = upload->body();
    const QUrl url = upload->url();
    if (status == 0) {
        const bool timedOut = upload->error() == QNetworkReply::OperationCanceledError
            || upload->error() == QNetworkReply::TimeoutError;
        recordFailure(key,
            TULOStoreError(timedOut ? TULOStoreErrorTimedOut : TULOStoreErrorRequestFailed, url,
                {{QString::fromLatin1(TULOUnderlyingErrorKey),
                     QVariant::fromValue(TULONetworkError(upload->error(), upload->errorString(), url))},
                    {QString::fromLatin1(TULOLocalizedDescriptionKey), upload->errorString()}}),
            true);
        return;
    }
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    if (status >= 200 && status < 300
        && answer.value(QStringLiteral("status")).toString() == QLatin1String("success")) {
        // Accepted: the outbox copy and the files the post owned go.
        if (const auto e = entry(key)) {
            for (const QJsonValue &value : e->manifest.value(QStringLiteral("files")).toArray()) {
                const QJsonObject f = value.toObject();
                if (f.value(QStringLiteral("deletes")).toBool())
                    QFile::remove(f.value(QStringLiteral("original")).toString());
            }
        }
        QDir(m_folder + QLatin1Char('/') + key).removeRecursively();
        TULOBackgroundTask::end(m_inFlight.take(key));
        Q_EMIT postDidFinish(key, QUrl(answer.value(QStringLiteral("url")).toString()));
        scheduleTimer();
        return;
    }
    QVariantMap userInfo {{QString::fromLatin1(TULOStoreHTTPStatusKey), status}};
    if (answer.value(QStringLiteral("errorCode")).isString())
        userInfo.insert(QString::fromLatin1(TULOStoreServerErrorCodeKey),
            answer.value(QStringLiteral("errorCode")).toString());
    userInfo.insert(QString::fromLatin1(TULOLocalizedDescriptionKey),
        answer.value(QStringLiteral("message"))
            .toString(QStringLiteral("The store answered %1.").arg(status)));
    const bool clientError = status >= 400 && status < 500 && status != 408 && status != 429;
    recordFailure(key, TULOStoreError(TULOStoreErrorRequestFailed, url, userInfo), !clientError);
}

void TULOPostOutbox::recordFailure(const QString &key, const TULOError &error, bool retryable)
{
    TULOBackgroundTask::end(m_inFlight.take(key));
    std::optional<TULOPostOutboxEntry> e = entry(key);
    if (!e)
        return;
    QJsonObject manifest = e->manifest;
    const int attempts = e->attempts + 1;
    manifest.insert(QStringLiteral("attempts"), attempts);
    manifest.insert(QStringLiteral("lastError"), errorDictionary(error));
    if (retryable) {
        const qint64 delay = qMin<qint64>(qint64(m_firstDelay) << qMin(attempts - 1, 20), m_longestDelay);
        manifest.insert(QStringLiteral("nextAttempt"),
            QDateTime::currentDateTimeUtc().addMSecs(delay).toString(Qt::ISODateWithMs));
    } else {
        manifest.insert(QStringLiteral("state"), QStringLiteral("failed"));
        manifest.remove(QStringLiteral("nextAttempt"));
    }
    writeManifest(e->folder, manifest, nullptr);
    Q_EMIT postDidFail(key, error, retryable);
    scheduleTimer();
}

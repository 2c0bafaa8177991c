#include <Quillon/platform/store/storedownloadmanager.h>

#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/storerequest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeDatabase>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>

namespace {

const char *const TULOStoreDownloadsFolder = "Store Downloads";

// A file name from the item's names, without characters a file system may refuse.
QString fileNameForItem(const TULOMediaLibraryItem &item, const QString &suffix)
{
    QString base
        = item.artist().isEmpty() ? item.title() : item.artist() + QStringLiteral(" - ") + item.title();
    if (base.trimmed().isEmpty())
        base = QString::number(item.storeItemIdentifier());
    static const QString forbidden = QStringLiteral("/\\:*?\"<>|");
    for (QChar &c : base) {
        if (forbidden.contains(c) || c.unicode() < 0x20)
            c = QLatin1Char('_');
    }
    return base.left(120).trimmed() + QLatin1Char('.') + suffix;
}

QString suffixForReply(QNetworkReply *reply)
{
    const QString type = reply->header(QNetworkRequest::ContentTypeHeader)
                             .toString()
                             .section(QLatin1Char(';'), 0, 0)
                             .trimmed();
    const QMimeType mime = QMimeDatabase().mimeTypeForName(type);
    if (mime.isValid() && !mime.preferredSuffix().isEmpty())
        return mime.preferredSuffix();
    return QStringLiteral("m4a");
}

} // namespace

TULOStoreDownloadManager::TULOStoreDownloadManager(QObject *parent)
    : QObject(parent)
    , m_network(new QNetworkAccessManager(this))
{
}

TULOStoreDownloadManager::~TULOStoreDownloadManager()
{
    for (Transfer &transfer : m_active) {
        if (transfer.reply)
            transfer.reply->abort();
        if (transfer.file) {
            transfer.file->remove();
            delete transfer.file;
        }
    }
}

TULOStoreDownloadManager *TULOStoreDownloadManager::sharedManager()
{
    static QPointer<TULOStoreDownloadManager> manager;
    if (!manager)
        manager = new TULOStoreDownloadManager(QCoreApplication::instance());
    return manager;
}

QList<TULOStoreDownloadPtr> TULOStoreDownloadManager::downloads() const
{
    QList<TULOStoreDownloadPtr> list;
    for (const Transfer &transfer : m_active)
        list.append(transfer.download);
    return list;
}

TULOClientContext TULOStoreDownloadManager::context() const
{
    return m_context.isNull() ? TULOClientContext::defaultContext() : m_context;
}

QString TULOStoreDownloadManager::token() const
{
    const std::optional<TULOStoreAccount> account = TULOStoreAccountStore::defaultStore()->activeAccount();
    return account ? account->token() : QString();
}

void TULOStoreDownloadManager::addObserver(
    TULOStoreDownloadManagerObserver *observer, const TULOStoreDownloadPtr &download)
{
    if (!observer || !download)
        return;
    QList<TULOStoreDownloadManagerObserver *> &list = m_observers[download.get()];
    if (!list.contains(observer))
        list.append(observer);
}

void TULOStoreDownloadManager::removeObserver(
    TULOStoreDownloadManagerObserver *observer, const TULOStoreDownloadPtr &download)
{
    if (!download)
        return;
    auto it = m_observers.find(download.get());
    if (it == m_observers.end())
        return;
    it->removeAll(observer);
    if (it->isEmpty())
        m_observers.erase(it);
}

void TULOStoreDownloadManager::addDownloads(const QList<TULOStoreDownloadPtr> &downloads)
{
    const TULOClientContext ctx = context();
    for (const TULOStoreDownloadPtr &download : downloads) {
        if (!download || m_active.contains(download.get()) || download->hasEnded())
            continue;
        m_active.insert(download.get(), Transfer {download, nullptr, nullptr});
        const TULOMediaLibraryItemPtr item = download->mediaItem();
        if (!item || item->storeItemIdentifier() <= 0 || ctx.isNull()) {
            // Ended from the event loop, so observers added after this call still hear it.
            QMetaObject::invokeMethod(
                this,
                [this, download] {
                    end(download, TULOStoreDownloadState::Failed,
                        TULOStoreError(TULOStoreErrorItemNotFound, QUrl(),
                            {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                QStringLiteral(
                                    "The item is not in the store, or no store is configured.")}}));
                },
                Qt::QueuedConnection);
            continue;
        }
        QPointer<TULOStoreDownloadManager> self(this);
        ctx.loadURLBag([self, download](const std::optional<TULOUrlBag> &bag, const TULOError &error) {
            TULODispatchMain([self, download, bag, error] {
                if (!self || download->hasEnded() || !self->m_active.contains(download.get()))
                    return;
                TULOError missing = error;
                const QUrl url = bag ? bag->urlForKey(QStringLiteral("downloads"), &missing) : QUrl();
                if (url.isEmpty())
                    self->end(download, TULOStoreDownloadState::Failed, missing);
                else
                    self->begin(download, url);
            });
        });
    }
}

void TULOStoreDownloadManager::begin(const TULOStoreDownloadPtr &download, const QUrl &downloadsURL)
{
    const TULOMediaLibraryItemPtr item = download->mediaItem();
    TULOMediaLibrary *library = item->library();
    const QString folder = (library ? library->musicFolder() : TULOMediaLibrary::defaultMusicFolder())
        + QLatin1Char('/') + QLatin1String(TULOStoreDownloadsFolder);
    QDir().mkpath(folder);
    auto *file = new QFile(folder + QStringLiteral("/.%1.download").arg(item->storeItemIdentifier()));
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        const TULOError error(TULOFileErrorDomain, TULOFileErrorWriteNoPermission,
            {{QString::fromLatin1(TULOFilePathErrorKey), file->fileName()},
                {QString::fromLatin1(TULOLocalizedDescriptionKey), file->errorString()}});
        delete file;
        end(download, TULOStoreDownloadState::Failed, error);
        return;
    }
    TULOStoreRequest storeRequest(
        QUrl(downloadsURL.toString() + QLatin1Char('/') + QString::number(item->storeItemIdentifier())));
    storeRequest.setToken(token());
    QNetworkRequest request = storeRequest.networkRequest(context());
    request.setTransferTimeout(context().requestTimeout());
    QNetworkReply *reply = m_network->get(request);
    Transfer &transfer = m_active[download.get()];
    transfer.reply = reply;
    transfer.file = file;
    download->m_state = TULOStoreDownloadState::Downloading;
    // Written as it arrives: a music video never sits in memory whole.
    connect(reply, &QNetworkReply::readyRead, this, [this, download, reply, file] {
        if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() / 100 != 2)
            return;
        const QByteArray chunk = reply->readAll();
        if (file->write(chunk) != chunk.size()) {
            const TULOError error(TULOFileErrorDomain, TULOFileErrorOutOfSpace,
                {{QString::fromLatin1(TULOFilePathErrorKey), file->fileName()},
                    {QString::fromLatin1(TULOLocalizedDescriptionKey), file->errorString()}});
            end(download, TULOStoreDownloadState::Failed, error);
        }
    });
    connect(reply, &QNetworkReply::downloadProgress, this, [this, download](qint64 received, qint64 total) {
        if (download->hasEnded())
            return;
        download->m_bytesReceived = received;
        download->m_bytesExpected = total;
        notifyProgress(download);
    });
    connect(reply, &QNetworkReply::finished, this, [this, download] { finishTransfer(download); });
}

void TULOStoreDownloadManager::finishTransfer(const TULOStoreDownloadPtr &download)
{
    auto it = m_active.find(download.get());
    if (it == m_active.end() || !it->reply || download->hasEnded())
        return;
    QNetworkReply *reply = it->reply;
    QFile *file = it->file;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QUrl url = reply->url();
    if (reply->error() != QNetworkReply::NoError || status / 100 != 2) {
        const QJsonObject answer = QJsonDocument::fromJson(reply->readAll()).object();
        QVariantMap userInfo {{QString::fromLatin1(TULOLocalizedDescriptionKey),
            answer.value(QStringLiteral("message")).toString(reply->errorString())}};
        if (status)
            userInfo.insert(QString::fromLatin1(TULOStoreHTTPStatusKey), status);
        else
            userInfo.insert(QString::fromLatin1(TULOUnderlyingErrorKey),
                QVariant::fromValue(TULONetworkError(reply->error(), reply->errorString(), url)));
        const bool timedOut = status == 0 && reply->error() == QNetworkReply::OperationCanceledError;
        end(download, TULOStoreDownloadState::Failed,
            TULOStoreError(timedOut ? TULOStoreErrorTimedOut : TULOStoreErrorRequestFailed, url, userInfo));
        return;
    }
    const QByteArray rest = reply->readAll();
    const bool written = file->write(rest) == rest.size() && file->flush();
    const TULOMediaLibraryItemPtr item = download->mediaItem();
    const QString destination = QFileInfo(file->fileName()).absolutePath() + QLatin1Char('/')
        + fileNameForItem(*item, suffixForReply(reply));
    file->close();
    QFile::remove(destination);
    TULOError error;
    if (!written || !QFile::rename(file->fileName(), destination)) {
        error = TULOError(TULOFileErrorDomain, TULOFileErrorOutOfSpace,
            {{QString::fromLatin1(TULOFilePathErrorKey), destination},
                {QString::fromLatin1(TULOLocalizedDescriptionKey),
                    QStringLiteral("The download could not be saved.")}});
        end(download, TULOStoreDownloadState::Failed, error);
        return;
    }
    TULOMediaLibrary *library = item->library();
    if (library && !library->addDownloadedFile(item, destination, &error)) {
        QFile::remove(destination);
        end(download, TULOStoreDownloadState::Failed, error);
        return;
    }
    if (!library)
        item->setFilePath(destination);
    download->m_filePath = destination;
    end(download, TULOStoreDownloadState::Finished, TULOError());
}

void TULOStoreDownloadManager::cancelDownloads(const QList<TULOStoreDownloadPtr> &downloads)
{
    for (const TULOStoreDownloadPtr &download : downloads) {
        if (download && m_active.contains(download.get()) && !download->hasEnded())
            end(download, TULOStoreDownloadState::Cancelled, TULOError());
    }
}

void TULOStoreDownloadManager::notifyProgress(const TULOStoreDownloadPtr &download)
{
    for (TULOStoreDownloadManagerObserver *observer : m_observers.value(download.get()))
        observer->downloadManagerDownloadDidProgress(this, download);
    Q_EMIT downloadDidProgress(download);
}

void TULOStoreDownloadManager::end(
    const TULOStoreDownloadPtr &download, TULOStoreDownloadState state, const TULOError &error)
{
    const Transfer transfer = m_active.take(download.get());
    download->m_state = state;
    download->m_error = error;
    if (transfer.reply) {
        transfer.reply->disconnect(this);
        if (transfer.reply->isRunning())
            transfer.reply->abort();
        transfer.reply->deleteLater();
    }
    if (transfer.file) {
        if (transfer.file->exists())
            transfer.file->remove(); // the partial file; a finished one was renamed away
        delete transfer.file;
    }
    // A copy: an observer may remove itself while being told.
    const QList<TULOStoreDownloadManagerObserver *> observers = m_observers.value(download.get());
    for (TULOStoreDownloadManagerObserver *observer : observers)
        observer->downloadManagerDownloadDidFinish(this, download);
    Q_EMIT downloadDidFinish(download);
}

void TULOStoreDownloadManager::loadCloudLibrary(TULOMediaLibrary *library, CloudLibraryCompletion completion)
{
    const TULOClientContext ctx = context();
    QPointer<TULOStoreDownloadManager> self(this);
    QPointer<TULOMediaLibrary> target(library);
    const auto fail = [completion](const TULOError &error) {
        if (completion)
            completion(0, error);
    };
    if (ctx.isNull() || !library) {
        QMetaObject::invokeMethod(
            this,
            [fail] {
                fail(TULOStoreError(TULOStoreErrorBagValueMissing, QUrl(),
                    {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                        QStringLiteral("No store or library to load into.")}}));
            },
            Qt::QueuedConnection);
        return;
    }
    const QString sessionToken = token();
    ctx.loadURLBag([self, target, ctx, fail, completion, sessionToken](
                       const std::optional<TULOUrlBag> &bag, const TULOError &error) {
        TULODispatchMain([self, target, ctx, fail, completion, sessionToken, bag, error] {
            if (!self || !target)
                return;
            TULOError missing = error;
            const QUrl url = bag ? bag->urlForKey(QStringLiteral("cloudLibrary"), &missing) : QUrl();
            if (url.isEmpty()) {
                fail(missing);
                return;
            }
            TULOStoreRequest storeRequest(url);
            storeRequest.setToken(sessionToken);
            QNetworkRequest request = storeRequest.networkRequest(ctx);
            request.setTransferTimeout(ctx.requestTimeout());
            QNetworkReply *reply = self->m_network->get(request);
            QObject::connect(reply, &QNetworkReply::finished, self, [reply, target, fail, completion, url] {
                reply->deleteLater();
                const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                const QJsonDocument document = QJsonDocument::fromJson(reply->readAll());
                const QJsonValue items = document.object().value(QStringLiteral("items"));
                if (!target || status / 100 != 2 || !items.isArray()) {
                    fail(TULOStoreError(TULOStoreErrorRequestFailed, url,
                        {{QString::fromLatin1(TULOStoreHTTPStatusKey), status},
                            {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                QStringLiteral("The store library could not be read.")}}));
                    return;
                }
                QSet<qint64> known;
                for (const TULOMediaLibraryItemPtr &item : target->items())
                    known.insert(item->storeItemIdentifier());
                QList<TULOMediaLibraryItemPtr> added;
                for (const QJsonValue &value : items.toArray()) {
                    const QJsonObject o = value.toObject();
                    const qint64 identifier = o.value(QStringLiteral("id")).toString().toLongLong();
                    if (identifier <= 0 || known.contains(identifier))
                        continue; // malformed, or already on this computer
                    known.insert(identifier);
                    auto item = std::make_shared<TULOMediaLibraryItem>();
                    item->setPersistentID(quint64(identifier) | (quint64(1) << 63));
                    item->setStoreItemIdentifier(identifier);
                    item->setTitle(o.value(QStringLiteral("name")).toString());
                    item->setArtist(o.value(QStringLiteral("artistName")).toString());
                    item->setAlbumArtist(item->artist());
                    item->setAlbumTitle(o.value(QStringLiteral("collectionName")).toString());
                    item->setStoreArtistIdentifier(
                        o.value(QStringLiteral("artistId")).toString().toLongLong());
                    item->setStoreAlbumIdentifier(
                        o.value(QStringLiteral("collectionId")).toString().toLongLong());
                    item->setDuration(o.value(QStringLiteral("durationInMillis")).toDouble() / 1000.0);
                    item->setMediaType(
                        o.value(QStringLiteral("kind")).toString() == QLatin1String("musicVideo")
                            ? TULOMediaTypeMusicVideo
                            : TULOMediaTypeMusic);
                    added.append(item);
                }
                target->addStoreItems(added);
                if (completion)
                    completion(int(added.size()), TULOError());
            });
        });
    });
}

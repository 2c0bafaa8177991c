#include "sandboxposts.h"

#include "sandboxstore_p.h"
#include "sandboxupload.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>
#include <QUuid>

namespace {

// The media family a post attachment type must have.
QString familyForType(int type)
{
    switch (type) {
    case 1:
    case 3:
        return QStringLiteral("audio/");
    case 2:
        return QStringLiteral("image/");
    case 4:
        return QStringLiteral("video/");
    default:
        return QString();
    }
}

void drain(const httplib::ContentReader &reader, const httplib::Request &request)
{
    if (request.is_multipart_form_data())
        reader([](const httplib::MultipartFormData &) { return true; },
            [](const char *, size_t) { return true; });
    else
        reader([](const char *, size_t) { return true; });
}

} // namespace

TULOSandboxPosts::TULOSandboxPosts(TULOSandboxStorePrivate *store)
    : m_store(store)
{
}

std::shared_ptr<TULOSandboxPosts> TULOSandboxPosts::install(TULOSandboxStorePrivate *store)
{
    auto posts = std::make_shared<TULOSandboxPosts>(store);
    QDir().mkpath(posts->postsFolder());
    posts->sweepStaleStaging();
    posts->m_open
        = posts->m_database.open(store->dataDirectory + QStringLiteral("/posts.sqlite"), &posts->m_openError);
    TULOSandboxPosts *self = posts.get();
    store->server->Post("/posts",
        [self](const httplib::Request &request, httplib::Response &response,
            const httplib::ContentReader &reader) { self->handleUpload(request, response, reader); });
    store->route(
        "GET", "/posts", [self](const httplib::Request &q, httplib::Response &r) { self->handleList(q, r); });
    store->route("GET", R"(/posts/([0-9a-f-]{36})/files/([A-Za-z0-9_.-]{1,80}))",
        [self](const httplib::Request &q, httplib::Response &r) { self->handleFile(q, r); });
    store->route(
        "GET", "/feed", [self](const httplib::Request &q, httplib::Response &r) { self->handleFeed(q, r); });
    return posts;
}

void TULOSandboxPosts::sweepStaleStaging()
{
    // A store that was killed mid-upload left its staging folder behind. Another process on
    // the same data folder may be receiving an upload right now: its folder keeps changing,
    // since the read time-out ends any upload that stalls.
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addSecs(-staleStagingSeconds);
    const QDir folder(postsFolder());
    for (const QFileInfo &staging : folder.entryInfoList({QStringLiteral(".staging-*")}, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot)) {
        QDateTime changed = staging.lastModified();
        for (const QFileInfo &file : QDir(staging.filePath()).entryInfoList(QDir::Files | QDir::Hidden))
            changed = std::max(changed, file.lastModified());
        if (changed < cutoff)
            QDir(staging.filePath()).removeRecursively();
    }
}

QString TULOSandboxPosts::postsFolder() const
{
    return m_store->dataDirectory + QStringLiteral("/posts");
}

QString TULOSandboxPosts::fileURL(
    const TULOSandboxPost &post, const TULOSandboxPostAttachment &attachment) const
{
    return m_store->base()
        + QStringLiteral("/posts/%1/files/%2").arg(post.postIdentifier, attachment.fileName);
}

void TULOSandboxPosts::lockKey(const QString &key)
{
    std::unique_lock lock(m_keyMutex);
    m_keyReleased.wait(lock, [&] { return !m_keysInFlight.contains(key); });
    m_keysInFlight.insert(key);
}

void TULOSandboxPosts::unlockKey(const QString &key)
{
    {
        std::lock_guard lock(m_keyMutex);
        m_keysInFlight.remove(key);
    }
    m_keyReleased.notify_all();
}

void TULOSandboxPosts::handleUpload(
    const httplib::Request &request, httplib::Response &response, const httplib::ContentReader &reader)
{
    const std::optional<TULOSandboxAccount> account = acceptedSender(request, response, reader);
    if (!account)
        return;
    const QString key = QString::fromStdString(request.get_header_value("Idempotency-Key")).trimmed();
    lockKey(key);
    const auto unlock = qScopeGuard([&] { unlockKey(key); });
    if (const std::optional<TULOSandboxPost> stored = m_database.postForIdempotencyKey(key)) {
        drain(reader, request); // sent again: the first post stands
        answerPost(response, 200, *stored);
        return;
    }

    // Parts stream into a staging folder; only a complete, valid post moves out of it.
    const QString postIdentifier = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString staging = postsFolder() + QStringLiteral("/.staging-") + postIdentifier;
    QDir().mkpath(staging);
    const auto cleanStaging = qScopeGuard([&] { QDir(staging).removeRecursively(); });
    TULOSandboxUploadReceiver receiver(staging, maximumFileSize);
    if (!receiver.receive(reader)) {
        // The sender went away mid-body: nothing of it is kept.
        TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", QStringLiteral("The post arrived incomplete."));
        return;
    }
    if (const TULOSandboxUploadFailure &failure = receiver.failure(); failure.status) {
        TULOSandboxStorePrivate::failure(response, failure.status, failure.code, failure.message);
        return;
    }
    std::optional<TULOSandboxPost> post = describedPost(receiver.description(), receiver.parts(), *account, response);
    if (!post)
        return;
    post->postIdentifier = postIdentifier;
    post->idempotencyKey = key;
    keepPost(*post, staging, response);
}

std::optional<TULOSandboxAccount> TULOSandboxPosts::acceptedSender(
    const httplib::Request &request, httplib::Response &response, const httplib::ContentReader &reader)
{
    if (const std::optional<TULOSandboxFault> fault = m_store->takeFault(QString::fromStdString(request.path))) {
        if (fault->kind() == TULOSandboxFault::Kind::Delay) {
            if (!m_store->waitUnlessStopping(fault->milliseconds())) {
                TULOSandboxStorePrivate::failure(response, 503, "stopping", QStringLiteral("The store is shutting down."));
                return std::nullopt;
            }
        } else if (fault->kind() == TULOSandboxFault::Kind::Status) {
            drain(reader, request);
            TULOSandboxStorePrivate::failure(response, fault->httpStatus(), "injected", QStringLiteral("Injected failure."));
            return std::nullopt;
        }
    }
    const std::optional<TULOSandboxAccount> account = m_store->signedAccount(request, response);
    const auto refuse = [&](int status, const char *code, const QString &message) -> std::optional<TULOSandboxAccount> {
        drain(reader, request);
        if (status)
            TULOSandboxStorePrivate::failure(response, status, code, message);
        return std::nullopt;
    };
    if (!account)
        return refuse(0, nullptr, QString()); // answered 401 already
    if (!m_open)
        return refuse(500, "storeFailure", m_openError);
    const QString key = QString::fromStdString(request.get_header_value("Idempotency-Key")).trimmed();
    static const QRegularExpression keyPattern(QStringLiteral("^[A-Za-z0-9_-]{8,128}$"));
    if (!keyPattern.match(key).hasMatch())
        return refuse(400, "malformedRequest",
                      QStringLiteral("An Idempotency-Key header of 8 to 128 letters, digits, - or _ is needed."));
    if (!request.is_multipart_form_data())
        return refuse(400, "malformedRequest", QStringLiteral("A post is sent as multipart/form-data."));
    return account;
}

std::optional<TULOSandboxPost> TULOSandboxPosts::describedPost(const QByteArray &description,
                                                               const QMap<QString, TULOSandboxReceivedPart> &parts,
                                                               const TULOSandboxAccount &account, httplib::Response &response) const
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(description, &parseError);
    const QJsonObject object = document.object();
    const auto bad = [&](const QString &message) {
        TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", message);
    };
    if (!document.isObject()) {
        bad(QStringLiteral("The description part is not a JSON object."));
        return std::nullopt;
    }
    if (!object.value(QStringLiteral("text")).isString() || !object.value(QStringLiteral("authorId")).isString()) {
        bad(QStringLiteral("The description needs \"text\" and \"authorId\" strings."));
        return std::nullopt;
    }

    TULOSandboxPost post;
    post.accountIdentifier = account.identifier;
    post.authorIdentifier = object.value(QStringLiteral("authorId")).toString();
    post.text = object.value(QStringLiteral("text")).toString();
    post.attributed = object.value(QStringLiteral("attributed")).toBool();
    post.created = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    std::optional<TULOSandboxAuthor> author;
    for (const TULOSandboxAuthor &candidate : m_store->database.authorsOfAccount(account.identifier)) {
        if (candidate.identifier == post.authorIdentifier)
            author = candidate;
    }
    if (!author) {
        TULOSandboxStorePrivate::failure(response, 403, "forbiddenAuthor",
                                         QStringLiteral("This account may not post as %1.").arg(post.authorIdentifier));
        return std::nullopt;
    }
    if (post.attributed && !author->permissions.contains(QStringLiteral("shareWithAttribution"))) {
        TULOSandboxStorePrivate::failure(response, 403, "forbiddenAttribution",
                                         QStringLiteral("%1 may not post with attribution.").arg(author->name));
        return std::nullopt;
    }
    post.authorName = author->name;
    post.authorType = author->type;
    if (post.attributed)
        post.attributionName = account.displayName;
    const QJsonObject item = object.value(QStringLiteral("item")).toObject();
    post.itemIdentifier = item.value(QStringLiteral("id")).toString();
    post.itemType = item.value(QStringLiteral("type")).toString();

    if (!readAttachments(object, parts, post, response))
        return std::nullopt;
    return post;
}

bool TULOSandboxPosts::readAttachments(const QJsonObject &object, const QMap<QString, TULOSandboxReceivedPart> &parts,
                                       TULOSandboxPost &post, httplib::Response &response) const
{
    const auto bad = [&](const QString &message) {
        TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", message);
    };
    // Every file part is described exactly once, with the size and type that arrived.
    QSet<QString> described;
    const auto takeAttachment
        = [&](const QJsonValue &value, bool cover, TULOSandboxPostAttachment *out) -> bool {
        const QJsonObject a = value.toObject();
        const QString part = a.value(QStringLiteral("part")).toString();
        if (!value.isObject() || !parts.contains(part) || described.contains(part)) {
            bad(QStringLiteral("An attachment names no file part, or one already used: \"%1\".").arg(part));
            return false;
        }
        described.insert(part);
        const TULOSandboxReceivedPart &received = parts[part];
        out->type = cover ? 2 : a.value(QStringLiteral("type")).toInt();
        out->uti = TULOSandboxMimeWithoutParameters(a.value(QStringLiteral("uti")).toString());
        const QString family = familyForType(out->type);
        if (family.isEmpty() || !received.contentType.startsWith(family)
            || out->uti != received.contentType) {
            TULOSandboxStorePrivate::failure(response, 415, "unsupportedType",
                QStringLiteral("Part \"%1\" is %2, which does not fit attachment type %3 (%4).")
                    .arg(part, received.contentType)
                    .arg(out->type)
                    .arg(out->uti));
            return false;
        }
        const QJsonValue size = a.value(QStringLiteral("size"));
        if (!size.isDouble() || qint64(size.toDouble()) != received.size) {
            bad(QStringLiteral("Part \"%1\" has %2 bytes, not the %3 described.")
                    .arg(part)
                    .arg(received.size)
                    .arg(size.toDouble()));
            return false;
        }
        out->title = a.value(QStringLiteral("title")).toString();
        out->subtitle = a.value(QStringLiteral("subtitle")).toString();
        out->description = a.value(QStringLiteral("description")).toString();
        out->artists = a.value(QStringLiteral("artists")).toArray();
        out->albumIdentifier = a.value(QStringLiteral("albumId")).toString();
        out->albumName = a.value(QStringLiteral("album")).toString();
        out->categoryName = a.value(QStringLiteral("category")).toString();
        out->explicitContent = a.value(QStringLiteral("explicit")).toBool();
        out->previewFrameTime = a.value(QStringLiteral("previewFrameTime")).toDouble(-1);
        out->fileName = received.storedName;
        out->originalFileName = received.fileName;
        out->size = received.size;
        return true;
    };
    for (const QJsonValue &value : object.value(QStringLiteral("attachments")).toArray()) {
        TULOSandboxPostAttachment attachment;
        if (!takeAttachment(value, false, &attachment))
            return false;
        const QJsonValue cover = value.toObject().value(QStringLiteral("cover"));
        if (!cover.isUndefined() && !cover.isNull()) {
            TULOSandboxPostAttachment child;
            if (!takeAttachment(cover, true, &child))
                return false;
            attachment.children.append(child);
        }
        post.attachments.append(attachment);
    }
    if (described.size() != parts.size()) {
        bad(QStringLiteral("The post carries file parts that no attachment describes."));
        return false;
    }
    for (const QJsonValue &value : object.value(QStringLiteral("externalDestinations")).toArray()) {
        const QJsonObject d = value.toObject();
        const QString service = d.value(QStringLiteral("service")).toString();
        if (service != QLatin1String("facebook") && service != QLatin1String("twitter")) {
            bad(QStringLiteral("Unknown cross-posting service \"%1\".").arg(service));
            return false;
        }
        const QJsonValue page = d.value(QStringLiteral("pageId"));
        post.destinations.append({service, page.isString() ? page.toString() : QString()});
    }

    return true;
}

void TULOSandboxPosts::keepPost(const TULOSandboxPost &post, const QString &staging, httplib::Response &response)
{
    const QString folder = postsFolder() + QLatin1Char('/') + post.postIdentifier;
    if (!QDir().rename(staging, folder)) {
        TULOSandboxStorePrivate::failure(response, 500, "storeFailure", QStringLiteral("The post's files could not be kept."));
        return;
    }
    QString error;
    if (!m_database.insert(post, &error)) {
        QDir(folder).removeRecursively();
        if (const std::optional<TULOSandboxPost> stored = m_database.postForIdempotencyKey(post.idempotencyKey)) {
            answerPost(response, 200, *stored);
            return;
        }
        TULOSandboxStorePrivate::failure(response, 500, "storeFailure", error);
        return;
    }
    answerPost(response, 201, post);
}

void TULOSandboxPosts::answerPost(httplib::Response &response, int status, const TULOSandboxPost &post) const
{
    TULOSandboxStorePrivate::reply(response, status,
                                   {{QStringLiteral("status"), QStringLiteral("success")},
                                    {QStringLiteral("postId"), post.postIdentifier},
                                    {QStringLiteral("url"), m_store->base() + QStringLiteral("/feed#post-") + post.postIdentifier}});
}

QJsonObject TULOSandboxPosts::postDictionary(const TULOSandboxPost &post) const
{
    const auto attachmentDictionary = [&](const TULOSandboxPostAttachment &a) {
        QJsonObject o {{QStringLiteral("url"), fileURL(post, a)}, {QStringLiteral("type"), a.type},
            {QStringLiteral("uti"), a.uti}, {QStringLiteral("title"), a.title},
            {QStringLiteral("subtitle"), a.subtitle}, {QStringLiteral("artists"), a.artists},
            {QStringLiteral("explicit"), a.explicitContent}, {QStringLiteral("size"), double(a.size)}};
        if (!a.description.isEmpty())
            o.insert(QStringLiteral("description"), a.description);
        if (!a.albumIdentifier.isEmpty())
            o.insert(QStringLiteral("albumId"), a.albumIdentifier);
        if (!a.albumName.isEmpty())
            o.insert(QStringLiteral("album"), a.albumName);
        if (!a.categoryName.isEmpty())
            o.insert(QStringLiteral("category"), a.categoryName);
        if (a.previewFrameTime >= 0)
            o.insert(QStringLiteral("previewFrameTime"), a.previewFrameTime);
        return o;
    };
    QJsonArray attachments;
    for (const TULOSandboxPostAttachment &a : post.attachments) {
        QJsonObject o = attachmentDictionary(a);
        if (!a.children.isEmpty())
            o.insert(QStringLiteral("cover"), attachmentDictionary(a.children.first()));
        attachments.append(o);
    }
    QJsonArray destinations;
    for (const TULOSandboxPostDestination &d : post.destinations) {
        QJsonObject o {{QStringLiteral("service"), d.service}};
        if (!d.pageIdentifier.isNull())
            o.insert(QStringLiteral("pageId"), d.pageIdentifier);
        destinations.append(o);
    }
    QJsonObject o {{QStringLiteral("postId"), post.postIdentifier},
        {QStringLiteral("authorId"), post.authorIdentifier}, {QStringLiteral("authorType"), post.authorType},
        {QStringLiteral("authorName"), post.authorName}, {QStringLiteral("attributed"), post.attributed},
        {QStringLiteral("text"), post.text}, {QStringLiteral("created"), post.created},
        {QStringLiteral("attachments"), attachments}, {QStringLiteral("externalDestinations"), destinations}};
    if (post.attributed)
        o.insert(QStringLiteral("attributionName"), post.attributionName);
    if (!post.itemIdentifier.isEmpty())
        o.insert(QStringLiteral("item"),
            QJsonObject {
                {QStringLiteral("id"), post.itemIdentifier}, {QStringLiteral("type"), post.itemType}});
    return o;
}

void TULOSandboxPosts::handleList(const httplib::Request &request, httplib::Response &response)
{
    QJsonArray list;
    const QString author = request.has_param("authorId")
        ? QString::fromStdString(request.get_param_value("authorId"))
        : QString();
    for (const TULOSandboxPost &post : m_database.posts(author))
        list.append(postDictionary(post));
    TULOSandboxStorePrivate::reply(response, 200, {{QStringLiteral("posts"), list}});
}

void TULOSandboxPosts::handleFile(const httplib::Request &request, httplib::Response &response)
{
    const QString postIdentifier = QString::fromStdString(request.matches[1]);
    const QString name = QString::fromStdString(request.matches[2]);
    const std::optional<TULOSandboxPost> post = m_database.post(postIdentifier);
    QString type;
    if (post) {
        for (const TULOSandboxPostAttachment &a : post->attachments) {
            if (a.fileName == name)
                type = a.uti;
            for (const TULOSandboxPostAttachment &c : a.children) {
                if (c.fileName == name)
                    type = c.uti;
            }
        }
    }
    auto file = std::make_shared<QFile>(
        postsFolder() + QLatin1Char('/') + postIdentifier + QLatin1Char('/') + name);
    if (type.isEmpty() || !file->open(QIODevice::ReadOnly)) {
        TULOSandboxStorePrivate::failure(response, 404, "notFound", QStringLiteral("No such file."));
        return;
    }
    // Streamed: a video is never read into memory whole.
    response.set_content_provider(size_t(file->size()), type.toStdString(),
        [file](size_t offset, size_t length, httplib::DataSink &sink) {
            QByteArray chunk(qsizetype(std::min<size_t>(length, 1 << 16)), Qt::Uninitialized);
            if (!file->seek(qint64(offset)))
                return false;
            const qint64 read = file->read(chunk.data(), chunk.size());
            return read > 0 && sink.write(chunk.constData(), size_t(read));
        });
}

void TULOSandboxPosts::handleFeed(const httplib::Request &request, httplib::Response &response)
{
    const QString author = request.has_param("authorId")
        ? QString::fromStdString(request.get_param_value("authorId"))
        : QString();
    response.set_content(feedPage(m_database.posts(author)).toStdString(), "text/html; charset=utf-8");
}

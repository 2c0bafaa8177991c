#include <Quillon/platform/store/postoutbox.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/platform/store/postoutboxmanifest_p.h>
#include <Quillon/platform/store/postupload_p.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/storerequest.h>
#include <Quillon/platform/privatefiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkInformation>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QThreadPool>
#include <QTimer>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

using Manifest = TULOPostOutboxManifest;

const char *const TULOPostUploadTaskName = "com.vantor.Quillon.postUpload";
// A partial folder without a lock file is left alone this long: its writer may be about to lock it.
constexpr qint64 TULOOutboxPartialGrace = 10 * 60;
// A lock file younger than this may not be held yet by the writer that made it.
constexpr qint64 TULOOutboxLockGrace = 60;
// How often a post another process holds is looked at again.
constexpr int TULOOutboxElsewherePoll = 1000;
// Folder notifications come in bursts (a post is several files); one read of the folder per burst.
constexpr int TULOOutboxRefreshDelay = 100;

// Same file system: a hard link, free even for a 2 GB video. Otherwise a copy.
bool linkOrCopy(const QString &source, const QString &destination, QString *reason)
{
    if (::link(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) == 0)
        return true;
    // A copy keeps the source's mode; the outbox's own files are the user's alone.
    QFile file(source);
    if (file.copy(destination) && TULOPrivateFiles::makeFile(destination))
        return true;
    *reason = file.errorString();
    return false;
}

QString quotedFileName(const QString &name)
{
    QString quoted = name;
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('"'), QStringLiteral("\\\""));
    quoted.remove(QLatin1Char('\r')).remove(QLatin1Char('\n'));
    return quoted;
}

QString statusInWords(int status)
{
    switch (status) {
    case 400:
        return QStringLiteral("the store found the post malformed");
    case 401:
        return QStringLiteral("the store no longer accepts the sign-in it was sent with");
    case 403:
        return QStringLiteral("the account may not post this");
    case 404:
        return QStringLiteral("the store has no such upload address");
    case 413:
        return QStringLiteral("the post is too large for the store");
    case 415:
        return QStringLiteral("the store does not take a file of this type");
    default:
        return QStringLiteral("the store refused the post");
    }
}

} // namespace

TULOPostOutbox::TULOPostOutbox(const QString &folder, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(folder.isEmpty() ? defaultFolder() : folder))
    , m_timer(new QTimer(this))
    , m_refreshTimer(new QTimer(this))
    , m_disk(new QThreadPool(this))
{
    // One thread: what it writes lands in the order it was asked for.
    m_disk->setMaxThreadCount(1);
    m_disk->setExpiryTimeout(-1);
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, [this] { resume(); });
    m_refreshTimer->setSingleShot(true);
    m_refreshTimer->setInterval(TULOOutboxRefreshDelay);
    connect(m_refreshTimer, &QTimer::timeout, this, &TULOPostOutbox::refresh);
    TULOPrivateFiles::makeFolder(m_folder); // a failure shows when a post is put in
    // Watched before it is read, so that nothing changed in between goes unnoticed.
    m_watcher = new QFileSystemWatcher(QStringList {m_folder}, this);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, m_refreshTimer, [this] {
        if (!m_refreshTimer->isActive())
            m_refreshTimer->start();
    });
    // The disk thread's first task; the destructor waits for it, so `this` outlives it.
    onDiskThread([this, folder = m_folder] {
        const QList<TULOPostOutboxEntry> found = readFolder(folder);
        QMetaObject::invokeMethod(this, [this, found] { didRead(found); }, Qt::QueuedConnection);
    });
}

TULOPostOutbox::~TULOPostOutbox()
{
    m_disk->waitForDone();
    for (const quint64 task : std::as_const(m_inFlight))
        TULOBackgroundTask::end(task);
    for (const int fd : std::as_const(m_locks))
        ::close(fd);
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

void TULOPostOutbox::setMaximumConcurrentUploads(int count)
{
    m_maximumUploads = qMax(1, count);
    startQueued();
}

QList<TULOPostOutboxEntry> TULOPostOutbox::readFolder(const QString &folder)
{
    QList<TULOPostOutboxEntry> found;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const QString &name : Manifest::folderNames(folder)) {
        const QString path = folder + QLatin1Char('/') + name;
        if (name.endsWith(QLatin1String(Manifest::PartialSuffix))) {
            // A post whose writing was cut short was never handed over: its originals are intact.
            // One still being written holds its lock. A lock file just made is not tried: its
            // writer may not hold it yet, and taking it first would sweep the folder under it.
            bool stale = false;
            const QFileInfo lock(path + QLatin1Char('/') + QLatin1String(Manifest::LockName));
            if (lock.exists()) {
                if (lock.lastModified().toUTC().secsTo(now) > TULOOutboxLockGrace) {
                    const int fd = Manifest::lockFolder(path);
                    stale = fd >= 0;
                    if (fd >= 0)
                        ::close(fd);
                }
            } else {
                stale = QFileInfo(path).lastModified().toUTC().secsTo(now) > TULOOutboxPartialGrace;
            }
            if (stale)
                QDir(path).removeRecursively();
            continue;
        }
        if (name.startsWith(QLatin1Char('.')))
            continue;
        if (const auto e = Manifest::read(path, name))
            found.append(*e);
    }
    std::stable_sort(found.begin(), found.end(), [](const TULOPostOutboxEntry &a, const TULOPostOutboxEntry &b) {
        return a.created < b.created;
    });
    return found;
}

void TULOPostOutbox::didRead(const QList<TULOPostOutboxEntry> &found)
{
    // The posts written here meanwhile are known already; those that left must not come back.
    QStringList read;
    read.reserve(found.size());
    for (const TULOPostOutboxEntry &e : found) {
        if (m_index.contains(e.idempotencyKey) || m_goneBeforeReady.contains(e.idempotencyKey)
            || m_leaving.contains(e.idempotencyKey))
            continue;
        m_index.insert(e.idempotencyKey, e);
        read.append(e.idempotencyKey);
    }
    QStringList order;
    order.reserve(read.size() + m_order.size());
    std::merge(read.cbegin(), read.cend(), m_order.cbegin(), m_order.cend(), std::back_inserter(order),
        [this](const QString &a, const QString &b) { return m_index.constFind(a)->created < m_index.constFind(b)->created; });
    m_order = std::move(order);
    m_goneBeforeReady.clear();
    m_ready = true;
    Q_EMIT ready();
    if (std::exchange(m_refreshWhenReady, false))
        refresh();
    if (const std::optional<bool> now = std::exchange(m_resumeWhenReady, std::nullopt))
        resume(*now);
}

void TULOPostOutbox::refresh()
{
    if (!m_ready) {
        m_refreshWhenReady = true;
        return;
    }
    const QStringList names = Manifest::folderNames(m_folder);
    const QSet<QString> present(names.cbegin(), names.cend());
    const QStringList known = m_order;
    for (const QString &key : known) {
        if (!present.contains(key) && !m_inFlight.contains(key))
            remove(key);
    }
    bool added = false;
    for (const QString &name : names) {
        if (m_index.contains(name) || m_leaving.contains(name) || name.endsWith(QLatin1String(Manifest::PartialSuffix))
            || name.startsWith(QLatin1Char('.')))
            continue;
        if (const auto e = Manifest::read(m_folder + QLatin1Char('/') + name, name)) {
            insert(*e);
            added = true;
        }
    }
    if (added)
        scheduleTimer();
}

void TULOPostOutbox::insert(const TULOPostOutboxEntry &e)
{
    m_index.insert(e.idempotencyKey, e);
    // Mostly the newest: found from the end.
    qsizetype at = m_order.size();
    while (at > 0 && m_index.value(m_order.at(at - 1)).created > e.created)
        --at;
    m_order.insert(at, e.idempotencyKey);
    Q_EMIT postWasAdded(e.idempotencyKey);
}

void TULOPostOutbox::remove(const QString &key)
{
    if (!m_index.remove(key))
        return;
    if (!m_ready)
        m_goneBeforeReady.insert(key);
    m_order.removeOne(key);
    if (m_queued.remove(key))
        m_queue.removeOne(key);
    m_requested.remove(key);
    m_elsewhere.remove(key);
    unlock(key);
    Q_EMIT postWasRemoved(key);
}

void TULOPostOutbox::unlock(const QString &key)
{
    const auto it = m_locks.constFind(key);
    if (it == m_locks.cend())
        return;
    ::close(*it);
    m_locks.erase(it);
}

void TULOPostOutbox::onDiskThread(std::function<void()> work)
{
    m_disk->start(std::move(work));
}

QString TULOPostOutbox::enqueue(
    const TULOPostDescription &description, const QUrl &bagURL, const QString &accountName, TULOError *error)
{
    const QString key = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString partial = m_folder + QLatin1Char('/') + key + QLatin1String(Manifest::PartialSuffix);
    if (!TULOPrivateFiles::makeFolder(partial, error))
        return QString();
    // Held from the first byte: no other process takes the post while it is written or sent.
    int lock = Manifest::lockFolder(partial);
    auto cleanup = qScopeGuard([&] {
        QDir(partial).removeRecursively();
        if (lock >= 0)
            ::close(lock);
    });
    if (lock < 0) {
        TULOSetError(error, Manifest::fileError(TULOFileErrorWriteNoPermission, partial, QStringLiteral("The outbox folder cannot be written: %1").arg(qt_error_string(errno))));
        return QString();
    }

    QJsonArray files;
    int partNumber = 0;
    // Links one attachment's file into the outbox and describes it.
    const auto take = [&](const TULOPostAttachment &attachment, QJsonObject *dictionary) -> bool {
        const QString source = attachment.assetURL().toLocalFile();
        const QFileInfo info(source);
        if (source.isEmpty() || !info.isFile()) {
            TULOSetError(error,
                Manifest::fileError(TULOFileErrorNoSuchFile, source.isEmpty() ? attachment.assetURL().toString() : source,
                    QStringLiteral("The attachment file \"%1\" does not exist.").arg(info.fileName())));
            return false;
        }
        if (attachment.UTI().isEmpty()) {
            TULOSetError(error,
                Manifest::fileError(TULOFileErrorNoSuchFile, source,
                    QStringLiteral("The attachment file \"%1\" has no type.").arg(info.fileName())));
            return false;
        }
        const QString part = QStringLiteral("file%1").arg(partNumber++);
        const QString stored
            = part + (info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix());
        QString reason;
        if (!linkOrCopy(info.absoluteFilePath(), partial + QLatin1Char('/') + stored, &reason)) {
            TULOSetError(error,
                Manifest::fileError(TULOFileErrorOutOfSpace, source,
                    QStringLiteral("The attachment file \"%1\" could not be put in the outbox: %2")
                        .arg(info.fileName(), reason)));
            return false;
        }
        const qint64 size = QFileInfo(partial + QLatin1Char('/') + stored).size();
        files.append(QJsonObject {{QStringLiteral("part"), part}, {QStringLiteral("stored"), stored},
            {QStringLiteral("original"), info.absoluteFilePath()},
            {QStringLiteral("deletes"), attachment.deletesAssetWhenFinished()},
            {QStringLiteral("contentType"), attachment.UTI()}, {QStringLiteral("fileName"), info.fileName()},
            {QStringLiteral("size"), double(size)}});
        *dictionary = Manifest::attachmentDictionary(attachment, part, size);
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
    const QJsonObject manifest = Manifest::make(key, bagURL, accountName, description, attachments, files);
    if (!Manifest::write(partial, manifest, error, true))
        return QString();
    const QString folder = m_folder + QLatin1Char('/') + key;
    if (!QDir().rename(partial, folder)) {
        TULOSetError(
            error, Manifest::fileError(TULOFileErrorWriteNoPermission, folder, QStringLiteral("The post could not be put in the outbox.")));
        return QString();
    }
    cleanup.dismiss();
    m_locks.insert(key, lock);
    if (const auto e = Manifest::read(folder, key))
        insert(*e);
    return key;
}

std::optional<TULOPostOutboxEntry> TULOPostOutbox::entry(const QString &key) const
{
    const auto it = m_index.constFind(key);
    if (it == m_index.cend())
        return std::nullopt;
    return *it;
}

QList<TULOPostOutboxEntry> TULOPostOutbox::entries() const
{
    QList<TULOPostOutboxEntry> result;
    result.reserve(m_order.size());
    for (const QString &key : m_order)
        result.append(m_index.value(key));
    return result;
}

bool TULOPostOutbox::isSendingElsewhere(const QString &key) const
{
    const auto it = m_index.constFind(key);
    if (it == m_index.cend() || m_locks.contains(key))
        return false;
    const int fd = Manifest::lockFolder(it->folder);
    if (fd >= 0) {
        ::close(fd);
        return false;
    }
    return errno == EWOULDBLOCK;
}

bool TULOPostOutbox::discard(const QString &key, TULOError *error)
{
    const auto e = entry(key);
    if (!e) {
        TULOSetError(error,
            Manifest::fileError(TULOFileErrorNoSuchFile, m_folder + QLatin1Char('/') + key, QStringLiteral("No such post waits in the outbox.")));
        return false;
    }
    int fd = m_locks.value(key, -1);
    if (m_inFlight.contains(key) || (fd < 0 && (fd = Manifest::lockFolder(e->folder)) < 0)) {
        TULOSetError(error,
            Manifest::fileError(
                16, e->folder, QStringLiteral("The post is being sent; it can be discarded once that attempt ends.")));
        return false;
    }
    m_locks.insert(key, fd);
    // The manifest goes first: without it no process takes the post for one to send.
    if (!QFile::remove(e->folder + QLatin1Char('/') + QLatin1String(Manifest::FileName))
        || !QDir(e->folder).removeRecursively()) {
        TULOSetError(error, Manifest::fileError(TULOFileErrorWriteNoPermission, e->folder, QStringLiteral("The post's files could not all be removed.")));
        remove(key);
        return false;
    }
    remove(key);
    scheduleTimer();
    return true;
}

bool TULOPostOutbox::retry(const QString &key, TULOError *error)
{
    const auto it = m_index.find(key);
    if (it == m_index.end()) {
        TULOSetError(error,
            Manifest::fileError(TULOFileErrorNoSuchFile, m_folder + QLatin1Char('/') + key, QStringLiteral("No such post waits in the outbox.")));
        return false;
    }
    m_requested.insert(key);
    if (m_inFlight.contains(key))
        return true;
    if (it->state == TULOPostOutboxEntry::Failed) {
        int fd = m_locks.value(key, -1);
        if (fd < 0 && (fd = Manifest::lockFolder(it->folder)) < 0) {
            TULOSetError(error,
                Manifest::fileError(TULOFileErrorBusy, it->folder, QStringLiteral("Another process is sending the post.")));
            return false;
        }
        m_locks.insert(key, fd);
        QJsonObject manifest = it->manifest;
        manifest.insert(QStringLiteral("state"), QStringLiteral("pending"));
        manifest.insert(QStringLiteral("attempts"), 0);
        manifest.remove(QStringLiteral("nextAttempt"));
        if (!Manifest::write(it->folder, manifest, error, true))
            return false;
        it->manifest = manifest;
        it->state = TULOPostOutboxEntry::Pending;
        it->attempts = 0;
        it->nextAttempt = QDateTime();
        Q_EMIT postDidChange(key);
    }
    queue(key, true);
    startQueued();
    scheduleTimer();
    return true;
}

void TULOPostOutbox::resume(bool now)
{
    if (!m_ready)
        m_resumeWhenReady = now || m_resumeWhenReady.value_or(false);
    const QDateTime current = QDateTime::currentDateTimeUtc();
    for (const QString &key : std::as_const(m_order)) {
        const TULOPostOutboxEntry &e = m_index[key];
        if (e.state != TULOPostOutboxEntry::Pending || m_inFlight.contains(key) || m_queued.contains(key)
            || (m_requestedOnly && !m_requested.contains(key)))
            continue;
        if (now || m_elsewhere.contains(key) || !e.nextAttempt.isValid() || e.nextAttempt <= current)
            queue(key);
    }
    startQueued();
    scheduleTimer();
}

void TULOPostOutbox::queue(const QString &key, bool first)
{
    if (m_queued.contains(key))
        m_queue.removeOne(key);
    m_queued.insert(key);
    if (first)
        m_queue.prepend(key);
    else
        m_queue.append(key);
}

void TULOPostOutbox::startQueued()
{
    while (m_inFlight.size() < m_maximumUploads && !m_queue.isEmpty()) {
        const QString key = m_queue.takeFirst();
        m_queued.remove(key);
        send(key);
    }
}

void TULOPostOutbox::scheduleTimer()
{
    QDateTime earliest;
    bool poll = false;
    // After every result: a walk over the index as it lies, no lookup per post.
    for (auto it = m_index.cbegin(); it != m_index.cend(); ++it) {
        const QString &key = it.key();
        const TULOPostOutboxEntry &e = it.value();
        if (e.state != TULOPostOutboxEntry::Pending || m_inFlight.contains(key) || m_queued.contains(key)
            || (m_requestedOnly && !m_requested.contains(key)))
            continue;
        if (m_elsewhere.contains(key)) {
            poll = true;
            continue;
        }
        if (!e.nextAttempt.isValid()) { // another process wrote it and has let go of it
            earliest = QDateTime::currentDateTimeUtc();
            break;
        }
        if (!earliest.isValid() || e.nextAttempt < earliest)
            earliest = e.nextAttempt;
    }
    qint64 delay = earliest.isValid()
        ? qBound<qint64>(0, QDateTime::currentDateTimeUtc().msecsTo(earliest), qint64(m_longestDelay))
        : -1;
    if (poll && (delay < 0 || delay > TULOOutboxElsewherePoll))
        delay = TULOOutboxElsewherePoll;
    if (delay < 0)
        m_timer->stop();
    else
        m_timer->start(int(delay));
    if (earliest.isValid() && delay > 0)
        watchReachability();
}

void TULOPostOutbox::watchReachability()
{
    // Coming back online ends every backoff at once. The backend, a plugin that asks the
    // system's network service, is loaded only once a post waits out a backoff: a post that
    // goes through at once (a command-line post above all) never needs it.
    if (m_watchesReachability)
        return;
    m_watchesReachability = true;
    if (QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) {
        connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, this,
            [this](QNetworkInformation::Reachability reachability) {
                if (reachability == QNetworkInformation::Reachability::Online)
                    resume(true);
            });
    }
}

TULOClientContext TULOPostOutbox::contextFor(const QUrl &bagURL)
{
    const TULOClientContext defaultContext = TULOClientContext::defaultContext();
    if (!defaultContext.isNull() && defaultContext.bagURL() == bagURL)
        return defaultContext;
    // One per store, so its bag is loaded once and not per post.
    auto it = m_contexts.find(bagURL);
    if (it == m_contexts.end())
        it = m_contexts.insert(bagURL, TULOClientContext(bagURL));
    return *it;
}

void TULOPostOutbox::send(const QString &key)
{
    const auto found = m_index.constFind(key);
    if (found == m_index.cend())
        return;
    if (!m_locks.contains(key)) {
        const int fd = Manifest::lockFolder(found->folder);
        if (fd < 0) {
            if (errno == EWOULDBLOCK) {
                if (!m_elsewhere.contains(key)) {
                    m_elsewhere.insert(key);
                    Q_EMIT postDidChange(key);
                }
            } else {
                remove(key);
            }
            return;
        }
        m_locks.insert(key, fd);
        const bool wasElsewhere = m_elsewhere.remove(key);
        // Newly ours: another process may have sent it, or counted attempts, since it was read.
        // While we hold it, nobody else writes it and the index is the truth.
        const auto current = Manifest::read(found->folder, key);
        if (!current) {
            QDir(found->folder).removeRecursively(); // only the lock file is left of it
            remove(key);
            return;
        }
        m_index.insert(key, *current);
        if (current->state != TULOPostOutboxEntry::Pending) {
            unlock(key);
            Q_EMIT postDidChange(key);
            return;
        }
        if (wasElsewhere && current->nextAttempt.isValid()
            && current->nextAttempt > QDateTime::currentDateTimeUtc()) {
            Q_EMIT postDidChange(key); // it waits out the backoff its last sender chose
            return;
        }
    }
    const TULOPostOutboxEntry e = m_index.value(key);
    // Its manifest says pending while it is sent, so a process that stops mid-upload leaves it queued.
    m_inFlight.insert(key, TULOBackgroundTask::begin(QString::fromLatin1(TULOPostUploadTaskName),
        [self = QPointer<TULOPostOutbox>(this), key] {
            if (self && self->m_inFlight.contains(key))
                Q_EMIT self->postWasInterrupted(key);
        }));
    Q_EMIT postWillSend(key);
    Q_EMIT postDidChange(key);
    const TULOClientContext context = contextFor(e.bagURL);
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
                if (!self || !self->m_inFlight.contains(e.idempotencyKey))
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
            recordFailure(e.idempotencyKey, Manifest::fileError(TULOFileErrorReadNoSuchFile, file->fileName(), file->errorString()), false);
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
    const std::optional<TULOPostOutboxEntry> e = entry(key);
    if (status >= 200 && status < 300
        && answer.value(QStringLiteral("status")).toString() == QLatin1String("success")) {
        // Accepted: the outbox copy and the files the post owned go.
        if (e) {
            QStringList originals;
            for (const QJsonValue &value : e->manifest.value(QStringLiteral("files")).toArray()) {
                const QJsonObject f = value.toObject();
                if (f.value(QStringLiteral("deletes")).toBool())
                    originals << f.value(QStringLiteral("original")).toString();
            }
            // The lock goes with the files, after them: until then no other process takes the post.
            const int lock = m_locks.take(key);
            const QString folder = e->folder;
            m_leaving.insert(key);
            onDiskThread([this, key, originals, folder, lock] {
                for (const QString &original : originals)
                    QFile::remove(original);
                // The manifest first: a process that takes the lock after us finds nothing to send.
                QFile::remove(folder + QLatin1Char('/') + QLatin1String(Manifest::FileName));
                QDir(folder).removeRecursively();
                ::close(lock);
                QMetaObject::invokeMethod(this, [this, key] { m_leaving.remove(key); }, Qt::QueuedConnection);
            });
        }
        TULOBackgroundTask::end(m_inFlight.take(key));
        Q_EMIT postDidFinish(key, QUrl(answer.value(QStringLiteral("url")).toString()));
        remove(key);
        startQueued();
        scheduleTimer();
        return;
    }
    QString message = answer.value(QStringLiteral("message"))
                          .toString(QStringLiteral("The store answered %1.").arg(status));
    // The store names upload parts; the user knows the files by their names.
    if (e) {
        const QHash<QString, QString> names = e->fileNamesByPart();
        for (auto it = names.cbegin(); it != names.cend(); ++it) {
            message.replace(QStringLiteral("Part \"%1\"").arg(it.key()), QStringLiteral("File \"%1\"").arg(it.value()));
            message.replace(QStringLiteral("\"%1\"").arg(it.key()), QStringLiteral("\"%1\"").arg(it.value()));
        }
    }
    QVariantMap userInfo {{QString::fromLatin1(TULOStoreHTTPStatusKey), status},
        {QString::fromLatin1(TULOLocalizedDescriptionKey), message}};
    if (answer.value(QStringLiteral("errorCode")).isString())
        userInfo.insert(QString::fromLatin1(TULOStoreServerErrorCodeKey),
            answer.value(QStringLiteral("errorCode")).toString());
    const bool clientError = status >= 400 && status < 500 && status != 408 && status != 429;
    if (clientError)
        userInfo.insert(QString::fromLatin1(TULOLocalizedFailureReasonKey), statusInWords(status));
    recordFailure(key, TULOStoreError(TULOStoreErrorRequestFailed, url, userInfo), !clientError);
}

void TULOPostOutbox::recordFailure(const QString &key, const TULOError &error, bool retryable)
{
    TULOBackgroundTask::end(m_inFlight.take(key));
    const auto it = m_index.find(key);
    if (it == m_index.end())
        return;
    QJsonObject manifest = it->manifest;
    const int attempts = it->attempts + 1;
    manifest.insert(QStringLiteral("attempts"), attempts);
    manifest.insert(QStringLiteral("lastError"), Manifest::errorDictionary(error));
    QDateTime next;
    if (retryable) {
        const qint64 delay = qMin<qint64>(qint64(m_firstDelay) << qMin(attempts - 1, 20), m_longestDelay);
        next = QDateTime::currentDateTimeUtc().addMSecs(delay);
        manifest.insert(QStringLiteral("nextAttempt"), next.toString(Qt::ISODateWithMs));
    } else {
        manifest.insert(QStringLiteral("state"), QStringLiteral("failed"));
        manifest.remove(QStringLiteral("nextAttempt"));
    }
    // Kept in memory even when the disk refuses it: the post itself is safe in its folder.
    const QString folder = it->folder;
    onDiskThread([folder, manifest] { Manifest::write(folder, manifest, nullptr, false); });
    it->manifest = manifest;
    it->attempts = attempts;
    it->lastError = error;
    it->nextAttempt = next;
    it->state = retryable ? TULOPostOutboxEntry::Pending : TULOPostOutboxEntry::Failed;
    // A post that can never go is let go of, for any process to show or discard. A retried one
    // stays with this process until it lands or the process ends.
    if (!retryable)
        unlock(key);
    Q_EMIT postDidChange(key);
    Q_EMIT postDidFail(key, error, retryable);
    startQueued();
    scheduleTimer();
}

#pragma once

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/records/postdescription.h>
#include <Quillon/quillon_export.h>

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <optional>

class TULOPostUpload;
class QFileSystemWatcher;
class QThreadPool;
class QTimer;

// One post waiting in the outbox, as its manifest on disk describes it.
struct QUILLON_EXPORT TULOPostOutboxEntry
{
    enum State { Pending, Failed };

    QString idempotencyKey;
    QString folder;
    QUrl bagURL;
    QString accountName;
    State state = Pending;
    int attempts = 0;
    QDateTime nextAttempt; // UTC; null: at once
    TULOError lastError;
    QDateTime created; // UTC
    qint64 size = 0; // bytes of all its files
    QJsonObject description; // the upload's description part
    QJsonObject manifest; // everything, as stored

    // The file names the user attached, by their upload part ("file0" -> "clip.mkv").
    QHash<QString, QString> fileNamesByPart() const;
};

// The durable outbox of post uploads. A post is written to disk (its description and its files)
// before any byte is sent, and stays there until the store has accepted it; a failed or
// interrupted upload is sent again with backoff when the outbox resumes (at start, on a timer,
// when the network returns). Each post carries one idempotency key for all its attempts, so
// the store keeps it once. Client errors that a resend cannot fix (4xx other than 408 and
// 429) end the retries and keep the post for the host to show.
//
// Several processes may share one outbox folder: a post is sent only by the process holding
// its lock (an flock on the post's folder, released by the kernel when a process dies), so no
// upload runs twice. The manifests are read once into memory, on the outbox's disk thread so
// that a long outbox does not hold up the main thread at start (ready() says when), and kept
// current from this process's own changes and from the folder's change notifications; a few
// uploads run at a time, the others wait their turn.
// Lives on the main thread; every signal is emitted there.
class QUILLON_EXPORT TULOPostOutbox : public QObject
{
    Q_OBJECT

public:
    // An empty folder means the default: "Library/com.vantor.Quillon/Outbox" in the shared
    // resources directory (or QUILLON_OUTBOX_DIR when set).
    explicit TULOPostOutbox(const QString &folder = QString(), QObject *parent = nullptr);
    ~TULOPostOutbox() override;

    static TULOPostOutbox *defaultOutbox();
    static QString defaultFolder();
    QString folder() const { return m_folder; }

    // Writes the post and its files to the outbox (files are linked, or copied across file
    // systems). Returns the post's idempotency key, or a null string with the error when a file
    // is missing or the outbox cannot be written (a full disk); then nothing is left behind.
    QString enqueue(const TULOPostDescription &description, const QUrl &bagURL, const QString &accountName,
        TULOError *error = nullptr);

    // True once the folder has been read (ready() was emitted). Until then entries() and
    // entry() know only the posts this outbox wrote itself, retry() and discard() only those,
    // and what resume() and refresh() ask for is done for the others once they are read.
    bool isReady() const { return m_ready; }

    // Sends every pending post whose retry time has come; `now` ignores the backoff.
    void resume(bool now = false);
    // The posts in the outbox, oldest first.
    QList<TULOPostOutboxEntry> entries() const;
    std::optional<TULOPostOutboxEntry> entry(const QString &idempotencyKey) const;
    // Sends one post at once, a failed one included (its attempts start over).
    bool retry(const QString &idempotencyKey, TULOError *error = nullptr);
    // Removes a post with its outbox files; the user's own files stay. Not while it is sent.
    bool discard(const QString &idempotencyKey, TULOError *error = nullptr);
    // True while this process sends the post.
    bool isSending(const QString &idempotencyKey) const { return m_inFlight.contains(idempotencyKey); }
    // True when another process holds the post (it is sending it).
    bool isSendingElsewhere(const QString &idempotencyKey) const;

    // Backoff: the first retry after `first` ms, doubling per attempt up to `longest` ms.
    void setRetryDelays(int first, int longest);
    // Uploads that run at once (2 by default); more wait for a free one.
    void setMaximumConcurrentUploads(int count);
    // For a tool that sends some posts and ends: the timer, resume() and the network's return
    // then send only the posts passed to retry(); the others wait for another run instead of
    // being started and cut off.
    void setSendsRequestedPostsOnly(bool only) { m_requestedOnly = only; }
    // Reads the folder again for posts other processes added or finished. The folder's change
    // notifications do this by themselves, a moment later.
    void refresh();

Q_SIGNALS:
    // The folder has been read and entries() holds every post; emitted once, after the
    // constructor has returned. The posts found are announced here, not by postWasAdded.
    void ready();
    // A post appeared (this process wrote it, or another did) or left the outbox (after
    // postDidFinish when it was delivered).
    void postWasAdded(const QString &idempotencyKey);
    void postWasRemoved(const QString &idempotencyKey);
    // Its state, attempts, error or sending changed.
    void postDidChange(const QString &idempotencyKey);
    // An attempt begins: the bytes start to move.
    void postWillSend(const QString &idempotencyKey);
    void postUploadProgress(const QString &idempotencyKey, qint64 bytesSent, qint64 bytesTotal);
    // The store accepted the post; its files are gone.
    void postDidFinish(const QString &idempotencyKey, const QUrl &postURL);
    // An attempt failed; `willRetry` false means the post stays failed until discarded.
    void postDidFail(const QString &idempotencyKey, const TULOError &error, bool willRetry);
    // The application must stop while the post is sent: it stays in the outbox, pending, and
    // is sent again when an outbox resumes (the next start at the latest).
    void postWasInterrupted(const QString &idempotencyKey);

private:
    // The one full read of the folder: what a crash left half-written goes, the posts are read.
    // Any thread.
    static QList<TULOPostOutboxEntry> readFolder(const QString &folder);
    void didRead(const QList<TULOPostOutboxEntry> &found);
    void startQueued();
    void queue(const QString &key, bool first = false);
    void send(const QString &key);
    void sendWithBag(const TULOPostOutboxEntry &entry, const QUrl &uploadURL, const QString &token,
        const TULOClientContext &context);
    void finishAttempt(const QString &key, TULOPostUpload *upload);
    void recordFailure(const QString &key, const TULOError &error, bool retryable);
    void scheduleTimer();
    void watchReachability();
    void insert(const TULOPostOutboxEntry &entry);
    void remove(const QString &key);
    void unlock(const QString &key);
    TULOClientContext contextFor(const QUrl &bagURL);
    // Disk work that need not hold up the main thread (after a failure, after delivery), in order.
    void onDiskThread(std::function<void()> work);

    QString m_folder;
    QTimer *m_timer = nullptr;
    QTimer *m_refreshTimer = nullptr;
    QFileSystemWatcher *m_watcher = nullptr;
    QThreadPool *m_disk = nullptr;
    QHash<QString, TULOPostOutboxEntry> m_index; // key -> entry
    QStringList m_order; // keys, oldest first
    QHash<QString, int> m_locks; // key -> the locked descriptor this process holds
    QHash<QString, quint64> m_inFlight; // key -> background task
    QStringList m_queue; // due, waiting for a free upload, in order
    QSet<QString> m_queued; // the same, to look up
    QSet<QString> m_elsewhere; // locked by another process at the last try
    QSet<QString> m_leaving; // delivered, its folder being removed
    QHash<QUrl, TULOClientContext> m_contexts;
    int m_firstDelay = 2000;
    int m_longestDelay = 5 * 60 * 1000;
    int m_maximumUploads = 2;
    bool m_requestedOnly = false;
    bool m_watchesReachability = false;
    QSet<QString> m_requested; // passed to retry()
    bool m_ready = false;
    // Asked for before the folder was read, done once it is.
    std::optional<bool> m_resumeWhenReady; // resume(now)
    bool m_refreshWhenReady = false;
    QSet<QString> m_goneBeforeReady; // delivered or discarded: not taken back from the read
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/records/postdescription.h>

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <optional>

class TULOClientContext;
class TULOPostUpload;
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
    QJsonObject description; // the upload's description part
    QJsonObject manifest; // everything, as stored
};

// The durable outbox of post uploads. A post is written to disk (its description and its files)
// before any byte is sent, and stays there until the store has accepted it; a failed or
// interrupted upload is sent again with backoff when the outbox resumes (at start, on a timer,
// when the network returns). Each post carries one idempotency key for all its attempts, so
// the store keeps it once. Client errors that a resend cannot fix (4xx other than 408 and
// 429) end the retries and keep the post for the host to show.
// Lives on the main thread.
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
    // is missing or the outbox cannot be written; then nothing is left behind.
    QString enqueue(const TULOPostDescription &description, const QUrl &bagURL, const QString &accountName,
        TULOError *error = nullptr);

    // Sends every pending post whose retry time has come; `now` ignores the backoff.
    void resume(bool now = false);
    QList<TULOPostOutboxEntry> entries() const;
    // Removes a post (a failed one the host has shown) with its outbox files.
    bool discard(const QString &idempotencyKey, TULOError *error = nullptr);
    bool isSending(const QString &idempotencyKey) const { return m_inFlight.contains(idempotencyKey); }

    // Backoff: the first retry after `first` ms, doubling per attempt up to `longest` ms.
    void setRetryDelays(int first, int longest);

Q_SIGNALS:
    void postUploadProgress(const QString &idempotencyKey, qint64 bytesSent, qint64 bytesTotal);
    // The store accepted the post; its files are gone.
    void postDidFinish(const QString &idempotencyKey, const QUrl &postURL);
    // An attempt failed; `willRetry` false means the post stays failed until discarded.
    void postDidFail(const QString &idempotencyKey, const TULOError &error, bool willRetry);

private:
    void send(const TULOPostOutboxEntry &entry);
    void sendWithBag(const TULOPostOutboxEntry &entry, const QUrl &uploadURL, const QString &token,
        const TULOClientContext &context);
    void finishAttempt(const QString &key, TULOPostUpload *upload);
    void recordFailure(const QString &key, const TULOError &error, bool retryable);
    void scheduleTimer();
    bool writeManifest(const QString &folder, const QJsonObject &manifest, TULOError *error);
    std::optional<TULOPostOutboxEntry> entry(const QString &key) const;

    QString m_folder;
    QTimer *m_timer = nullptr;
    QHash<QString, quint64> m_inFlight; // key -> background task
    int m_firstDelay = 2000;
    int m_longestDelay = 5 * 60 * 1000;
};

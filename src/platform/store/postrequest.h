#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/records/postdescription.h>

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>

#include <Quillon/platform/store/postoutbox.h>

// Uploads one post to the store's post endpoint: the description and every attachment file
// (cover-image children included), streamed from disk. The post goes through the durable
// outbox (TULOPostOutbox), so a failed or interrupted upload is sent again later; the files
// marked deletesAssetWhenFinished are deleted once the store has accepted the post.
// Main thread. A request without a parent belongs to its outbox once started and deletes
// itself after its completion.
class QUILLON_EXPORT TULOPostRequest : public QObject
{
    Q_OBJECT

public:
    // Called once: with the post's feed address when the store accepted it, or with the error
    // after which no retry follows (a file that cannot be read, a client error of the store).
    // Temporary failures are retried and do not end the request.
    using CompletionBlock = std::function<void(const QUrl &postURL, const TULOError &error)>;

    explicit TULOPostRequest(const TULOPostDescription &description, QObject *parent = nullptr);
    ~TULOPostRequest() override;

    TULOPostDescription postDescription() const { return m_description; }
    // The store to post to; by default the application's client context.
    void setClientContext(const TULOClientContext &context) { m_context = context; }
    // The store account that posts; by default the active one.
    void setAccountName(const QString &accountName) { m_accountName = accountName; }
    // By default TULOPostOutbox::defaultOutbox().
    void setOutbox(TULOPostOutbox *outbox) { m_outbox = outbox; }

    // Writes the post to the outbox and starts the upload. A post that cannot be written
    // (a missing file, no store configured) completes at once, from the event loop, with its error.
    void startWithCompletionBlock(CompletionBlock block);

    // The key the store tells resends apart by; null before start.
    QString idempotencyKey() const { return m_key; }
    qint64 bytesSent() const { return m_bytesSent; }
    qint64 bytesTotal() const { return m_bytesTotal; }
    bool isFinished() const { return m_finished; }

Q_SIGNALS:
    void uploadProgress(qint64 bytesSent, qint64 bytesTotal);
    // A temporary failure; the outbox sends the post again later.
    void uploadWillRetry(const TULOError &error);

private:
    void complete(const QUrl &url, const TULOError &error);

    TULOPostDescription m_description;
    TULOClientContext m_context;
    QString m_accountName;
    QPointer<TULOPostOutbox> m_outbox;
    CompletionBlock m_completion;
    QString m_key;
    qint64 m_bytesSent = 0;
    qint64 m_bytesTotal = 0;
    bool m_finished = false;
    bool m_deletesItself = false;
};

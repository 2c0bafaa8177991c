#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

// Errors of the upload status itself.
inline constexpr TULOErrorDomainName TULOUploadStatusErrorDomain{"com.vantor.Quillon.UploadStatus"};
enum TULOUploadStatusErrorCode : qint64 {
    // The post could not be prepared: an attachment gave no file, with no error of its own, or
    // the application had to stop first (the composition is then still a draft).
    TULOUploadStatusErrorPreparationFailed = 1,
};

class TULOPostOutbox;
class TULOPostRequest;

// The upload of a posted composition, for the host to follow after the container is gone:
// progress, the post's address once the store has it, or why it failed with a way to send it
// again or give it up. Lives as long as the host holds it; signals arrive on the GUI thread.
class QUILLON_EXPORT TULOUploadStatus : public QObject
{
    Q_OBJECT

public:
    enum State {
        Idle,      // nothing posted yet
        Preparing, // the files of the post are being made
        Uploading, // in the outbox, being sent (or waiting to be sent again)
        Posted,    // the store has the post: postURL()
        Failed,    // error() tells why; retry() or discard()
        Queued,    // the application had to stop while it was sent: it waits in the outbox and
                   // goes when the outbox resumes (the next start at the latest)
    };
    Q_ENUM(State)

    explicit TULOUploadStatus(QObject *parent = nullptr);
    ~TULOUploadStatus() override;

    State state() const { return m_state; }
    qint64 bytesSent() const { return m_bytesSent; }
    qint64 bytesTotal() const { return m_bytesTotal; }
    QUrl postURL() const { return m_postURL; }
    TULOError error() const { return m_error; }
    // The outbox's key of the post; null until the upload started.
    QString idempotencyKey() const { return m_key; }

    // Sends this failed post again at once (other posts waiting in the outbox keep their turn);
    // false when it is not in the outbox, with the outbox's error when it cannot be sent.
    bool retry(TULOError *error = nullptr);
    // Gives a failed post up and deletes its files; false when it cannot be removed.
    bool discard(TULOError *error = nullptr);

    // Used by the container.
    void beginPreparing();
    void failPreparing(const TULOError &error);
    // After the request started; its completion goes to finishUpload().
    void startUpload(TULOPostRequest *request, TULOPostOutbox *outbox);
    void finishUpload(const QUrl &postURL, const TULOError &error) { finish(postURL, error); }

Q_SIGNALS:
    void stateChanged(TULOUploadStatus::State state);
    void progress(qint64 bytesSent, qint64 bytesTotal);
    void posted(const QUrl &postURL);
    void failed(const TULOError &error);

private:
    void setState(State state);
    void finish(const QUrl &url, const TULOError &error);

    State m_state = Idle;
    qint64 m_bytesSent = 0;
    qint64 m_bytesTotal = 0;
    QUrl m_postURL;
    TULOError m_error;
    QString m_key;
    QPointer<TULOPostOutbox> m_outbox;
};

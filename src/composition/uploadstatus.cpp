#include <Quillon/composition/uploadstatus.h>

#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>

#include <utility>


TULOUploadStatus::TULOUploadStatus(QObject *parent)
    : QObject(parent)
{
}

TULOUploadStatus::~TULOUploadStatus() = default;

void TULOUploadStatus::setState(State state)
{
    if (state == m_state)
        return;
    m_state = state;
    Q_EMIT stateChanged(state);
}

void TULOUploadStatus::beginPreparing()
{
    m_error = TULOError();
    m_postURL = QUrl();
    setState(Preparing);
}

void TULOUploadStatus::failPreparing(const TULOError &error)
{
    finish(QUrl(), error);
}

void TULOUploadStatus::startUpload(TULOPostRequest *request, TULOPostOutbox *outbox)
{
    m_outbox = outbox;
    m_key = request->idempotencyKey();
    setState(Uploading);
    connect(request, &TULOPostRequest::uploadProgress, this, [this](qint64 sent, qint64 total) {
        if (m_state != Uploading)
            return;
        m_bytesSent = sent;
        m_bytesTotal = total;
        Q_EMIT progress(sent, total);
    });
    // Later attempts (a retry the host asks for, a resend at the next start of the outbox)
    // come from the outbox itself, once the request is gone.
    connect(outbox, &TULOPostOutbox::postUploadProgress, this, [this](const QString &key, qint64 sent, qint64 total) {
        if (key != m_key || m_state != Uploading)
            return;
        m_bytesSent = sent;
        m_bytesTotal = total;
        Q_EMIT progress(sent, total);
    });
    // The process must stop mid-upload; should it go on after all, the next attempt says so.
    connect(outbox, &TULOPostOutbox::postWasInterrupted, this, [this](const QString &key) {
        if (key == m_key && m_state == Uploading)
            setState(Queued);
    });
    connect(outbox, &TULOPostOutbox::postWillSend, this, [this](const QString &key) {
        if (key == m_key && m_state == Queued)
            setState(Uploading);
    });
    connect(outbox, &TULOPostOutbox::postDidFinish, this, [this](const QString &key, const QUrl &url) {
        if (key == m_key)
            finish(url, TULOError());
    });
    connect(outbox, &TULOPostOutbox::postDidFail, this, [this](const QString &key, const TULOError &error, bool willRetry) {
        if (key == m_key && !willRetry)
            finish(QUrl(), error);
    });
}

void TULOUploadStatus::finish(const QUrl &url, const TULOError &error)
{
    // The request and the outbox may both tell the same end.
    if (m_state == Posted || (m_state == Failed && !error.isNull()))
        return;
    m_postURL = url;
    m_error = error;
    if (error.isNull()) {
        setState(Posted);
        Q_EMIT posted(url);
    } else {
        setState(Failed);
        Q_EMIT failed(error);
    }
}

bool TULOUploadStatus::retry(TULOError *error)
{
    if (m_state != Failed || m_key.isEmpty() || !m_outbox || !m_outbox->entry(m_key))
        return false;
    // Uploading before the outbox starts: the attempt may report at once.
    const TULOError previous = std::exchange(m_error, TULOError());
    setState(Uploading);
    if (m_outbox->retry(m_key, error))
        return true;
    m_error = previous;
    setState(Failed);
    return false;
}

bool TULOUploadStatus::discard(TULOError *error)
{
    if (m_key.isEmpty() || !m_outbox)
        return false;
    return m_outbox->discard(m_key, error);
}

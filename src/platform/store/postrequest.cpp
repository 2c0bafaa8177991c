#include <Quillon/platform/store/postrequest.h>

#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>

#include <QTimer>

TULOPostRequest::TULOPostRequest(const TULOPostDescription &description, QObject *parent)
    : QObject(parent)
    , m_description(description)
{
}

TULOPostRequest::~TULOPostRequest() = default;

void TULOPostRequest::startWithCompletionBlock(CompletionBlock block)
{
    m_completion = std::move(block);
    TULOPostOutbox *outbox = m_outbox ? m_outbox.data() : TULOPostOutbox::defaultOutbox();
    m_outbox = outbox;
    if (!parent()) {
        setParent(outbox);
        m_deletesItself = true;
    }
    const TULOClientContext context = m_context.isNull() ? TULOClientContext::defaultContext() : m_context;
    QString accountName = m_accountName;
    if (accountName.isEmpty()) {
        if (const auto active = TULOStoreAccountStore::defaultStore()->activeAccount())
            accountName = active->accountName();
    }
    TULOError error;
    if (context.isNull() || context.bagURL().isEmpty())
        error = TULOStoreError(TULOStoreErrorBagValueMissing, QUrl(),
            {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                QStringLiteral("No store is configured to post to.")}});
    else
        m_key = outbox->enqueue(m_description, context.bagURL(), accountName, &error);
    if (m_key.isEmpty()) {
        QTimer::singleShot(0, this, [this, error] { complete(QUrl(), error); });
        return;
    }
    const QString key = m_key;
    connect(outbox, &TULOPostOutbox::postUploadProgress, this,
        [this, key](const QString &k, qint64 sent, qint64 total) {
            if (k != key)
                return;
            m_bytesSent = sent;
            m_bytesTotal = total;
            Q_EMIT uploadProgress(sent, total);
        });
    connect(outbox, &TULOPostOutbox::postDidFinish, this, [this, key](const QString &k, const QUrl &url) {
        if (k == key)
            complete(url, TULOError());
    });
    connect(outbox, &TULOPostOutbox::postDidFail, this,
        [this, key](const QString &k, const TULOError &e, bool willRetry) {
            if (k != key)
                return;
            if (willRetry)
                Q_EMIT uploadWillRetry(e);
            else
                complete(QUrl(), e);
        });
    // Discarded before the store had it: the request ends with it.
    connect(outbox, &TULOPostOutbox::postWasRemoved, this, [this, key](const QString &k) {
        if (k == key)
            complete(QUrl(), TULOError::withDescription(TULOStoreErrorDomain,
                TULOStoreErrorUserCancelled, QStringLiteral("The post was discarded from the outbox.")));
    });
    // Sends this post and whatever else still waits.
    outbox->resume(true);
}

void TULOPostRequest::complete(const QUrl &url, const TULOError &error)
{
    if (m_finished)
        return;
    m_finished = true;
    if (m_outbox)
        disconnect(m_outbox, nullptr, this, nullptr);
    CompletionBlock completion = std::move(m_completion);
    if (completion)
        completion(url, error);
    if (m_deletesItself)
        deleteLater();
}

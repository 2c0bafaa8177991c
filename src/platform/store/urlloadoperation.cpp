#include <Quillon/platform/store/urlloadoperation.h>

#include <Quillon/platform/store/storeerror.h>

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

// Qt reports HTTP failure statuses as errors too (400 even as a protocol error); with a status
// line those are answers. Network and proxy failures (1-199) are transport failures even after
// a status line, as when the connection drops in the middle of the body.
static bool isTransportFailure(QNetworkReply::NetworkError error, int httpStatus)
{
    if (error == QNetworkReply::NoError)
        return false;
    return httpStatus <= 0 || int(error) < 200;
}

TULOUrlLoadOperation::TULOUrlLoadOperation(const QUrl &url)
    : m_request(url)
{
}

TULOUrlLoadOperation::TULOUrlLoadOperation(const TULOStoreRequest &request)
    : m_request(request)
{
}

TULOStoreRequest TULOUrlLoadOperation::request() const
{
    std::lock_guard lock(m_mutex);
    return m_request;
}

void TULOUrlLoadOperation::setDataConsumer(std::shared_ptr<TULODataConsumer> consumer)
{
    std::lock_guard lock(m_mutex);
    m_consumer = std::move(consumer);
}

void TULOUrlLoadOperation::setClientContext(const TULOClientContext &context)
{
    std::lock_guard lock(m_mutex);
    m_context = context;
}

void TULOUrlLoadOperation::setStorefrontSuffix(const QString &suffix)
{
    std::lock_guard lock(m_mutex);
    m_storefrontSuffix = suffix;
}

void TULOUrlLoadOperation::setTimeout(int milliseconds)
{
    std::lock_guard lock(m_mutex);
    m_timeout = milliseconds;
}

void TULOUrlLoadOperation::setParentOperation(const std::weak_ptr<TULOOperation> &parent)
{
    std::lock_guard lock(m_mutex);
    m_parent = parent;
}

bool TULOUrlLoadOperation::cancellationRequested() const
{
    if (isCancelled())
        return true;
    std::shared_ptr<TULOOperation> parent;
    {
        std::lock_guard lock(m_mutex);
        parent = m_parent.lock();
    }
    return parent && parent->isCancelled();
}

void TULOUrlLoadOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOUrlLoadOperation::OutputBlock TULOUrlLoadOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

TULOUrlResponse TULOUrlLoadOperation::response() const
{
    std::lock_guard lock(m_mutex);
    return m_response;
}

QByteArray TULOUrlLoadOperation::data() const
{
    std::lock_guard lock(m_mutex);
    return m_data;
}

QVariant TULOUrlLoadOperation::output() const
{
    std::lock_guard lock(m_mutex);
    return m_output;
}

TULOError TULOUrlLoadOperation::error() const
{
    std::lock_guard lock(m_mutex);
    return m_error;
}

void TULOUrlLoadOperation::main()
{
    TULOStoreRequest request;
    TULOClientContext context;
    std::shared_ptr<TULODataConsumer> consumer;
    QString storefront;
    int timeout = 0;
    {
        std::lock_guard lock(m_mutex);
        request = m_request;
        context = m_context;
        consumer = m_consumer;
        storefront = m_storefrontSuffix;
        timeout = m_timeout >= 0 ? m_timeout
                  : context.isNull() ? TULOClientContext::DefaultRequestTimeout
                                     : context.requestTimeout();
    }

    TULOUrlResponse response;
    response.url = request.url();
    QByteArray data;
    QVariant output;
    TULOError error;

    if (!request.url().isValid() || request.url().isRelative()) {
        error = TULOStoreError(TULOStoreErrorRequestFailed, request.url(),
                               {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store address is not valid.")}});
    } else if (!cancellationRequested()) {
        // A manager of this thread's own, driven by a local loop: the main thread never waits.
        QNetworkAccessManager manager;
        manager.setAutoDeleteReplies(false);
        const QNetworkRequest networkRequest = request.networkRequest(context, storefront);
        QNetworkReply *reply = request.method() == "GET"
                                   ? manager.get(networkRequest)
                                   : manager.sendCustomRequest(networkRequest, request.method(), request.body());
        QEventLoop loop;
        bool timedOut = false;
        QTimer deadline;
        deadline.setSingleShot(true);
        QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
            timedOut = true;
            reply->abort();
        });
        QTimer cancelPoll;
        QObject::connect(&cancelPoll, &QTimer::timeout, &loop, [&] {
            if (cancellationRequested())
                reply->abort();
        });
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        deadline.start(timeout);
        cancelPoll.start(100);
        if (!reply->isFinished())
            loop.exec();
        deadline.stop();
        cancelPoll.stop();

        response.httpStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        response.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        for (const auto &pair : reply->rawHeaderPairs())
            response.headers.append(pair);
        data = reply->readAll();
        const QNetworkReply::NetworkError networkError = reply->error();
        const QString networkDescription = reply->errorString();
        delete reply;

        if (timedOut || networkError == QNetworkReply::TimeoutError) {
            error = TULOStoreError(TULOStoreErrorTimedOut, request.url(),
                                   {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store did not answer in time.")}});
        } else if (isTransportFailure(networkError, response.httpStatus)) {
            error = TULOStoreError(TULOStoreErrorRequestFailed, request.url(),
                                   {{QString::fromLatin1(TULOLocalizedDescriptionKey), networkDescription},
                                    {QString::fromLatin1(TULOStoreHTTPStatusKey), response.httpStatus},
                                    {QString::fromLatin1(TULOUnderlyingErrorKey),
                                     QVariant::fromValue(TULONetworkError(networkError, networkDescription, request.url()))}});
        } else if (consumer) {
            output = consumer->objectForData(data, response, &error);
        } else {
            output = data;
        }
    }
    if (cancellationRequested() && error.isNull() && !output.isValid())
        error = TULOStoreError(TULOStoreErrorUserCancelled, request.url());

    OutputBlock block;
    {
        std::lock_guard lock(m_mutex);
        m_response = response;
        m_data = data;
        m_output = output;
        m_error = error;
        block = std::exchange(m_outputBlock, nullptr);
    }
    if (block)
        block(output, error);
}

#include <Quillon/platform/store/urlloadoperation.h>

#include <Quillon/platform/store/networkaccess_p.h>
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
    {
        std::lock_guard lock(m_mutex);
        if (m_ran || !m_error.isNull())
            return m_error;
    }
    // Cancelled before it could run: no request was made.
    if (isCancelled())
        return TULOStoreError(TULOStoreErrorUserCancelled, request().url());
    return TULOError();
}

static QNetworkReply::NetworkError networkErrorForStatus(int status)
{
    switch (status) {
    case 401: return QNetworkReply::AuthenticationRequiredError;
    case 403: return QNetworkReply::ContentAccessDenied;
    case 404: return QNetworkReply::ContentNotFoundError;
    case 405: return QNetworkReply::ContentOperationNotPermittedError;
    case 409: return QNetworkReply::ContentConflictError;
    case 410: return QNetworkReply::ContentGoneError;
    case 500: return QNetworkReply::InternalServerError;
    case 501: return QNetworkReply::OperationNotImplementedError;
    case 503: return QNetworkReply::ServiceUnavailableError;
    default: return status >= 500 ? QNetworkReply::UnknownServerError : QNetworkReply::UnknownContentError;
    }
}

TULOError TULOUrlLoadOperation::networkError() const
{
    std::lock_guard lock(m_mutex);
    if (!m_error.isNull()) {
        const TULOError underlying = m_error.userInfo().value(QString::fromLatin1(TULOUnderlyingErrorKey)).value<TULOError>();
        return underlying.isNull() ? m_error : underlying;
    }
    if (m_response.isSuccess())
        return TULOError();
    return TULONetworkError(networkErrorForStatus(m_response.httpStatus),
                            QStringLiteral("The server answered with status %1.").arg(m_response.httpStatus), m_response.url);
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
    } else if (!isCancelled()) {
        // The request first: its TLS settings decide whether the manager's connections still fit.
        const QNetworkRequest networkRequest = request.networkRequest(context, storefront);
        QNetworkAccessManager *manager = TULONetworkAccess::managerForCurrentThread();
        QNetworkReply *reply = request.method() == "GET"
                                   ? manager->get(networkRequest)
                                   : manager->sendCustomRequest(networkRequest, request.method(), request.body());
        QEventLoop loop;
        bool timedOut = false;
        QTimer deadline;
        deadline.setSingleShot(true);
        QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
            timedOut = true;
            reply->abort();
        });
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        deadline.start(timeout);
        // A cancel from any thread aborts the reply on this one; the handler is gone before
        // the reply is deleted, and an abort still queued is dropped with it.
        const auto abortInFlight = [reply] {
            QMetaObject::invokeMethod(reply, &QNetworkReply::abort, Qt::QueuedConnection);
        };
        const int cancellation = addCancellationHandler(abortInFlight);
        if (!reply->isFinished())
            loop.exec();
        removeCancellationHandler(cancellation);
        deadline.stop();

        response.httpStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        response.contentType = reply->header(QNetworkRequest::ContentTypeHeader).toByteArray();
        for (const auto &pair : reply->rawHeaderPairs())
            response.headers.append(pair);
        // An aborted reply is closed; reading it would only earn a warning.
        if (reply->isOpen())
            data = reply->readAll();
        const QNetworkReply::NetworkError networkError = reply->error();
        const QString networkDescription = reply->errorString();
        delete reply;

        if (networkError == QNetworkReply::OperationCanceledError && !timedOut && isCancelled()) {
            error = TULOStoreError(TULOStoreErrorUserCancelled, request.url());
        } else if (timedOut || networkError == QNetworkReply::TimeoutError) {
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
    if (isCancelled() && error.isNull() && !output.isValid())
        error = TULOStoreError(TULOStoreErrorUserCancelled, request.url());

    OutputBlock block;
    {
        std::lock_guard lock(m_mutex);
        m_response = response;
        m_data = data;
        m_output = output;
        m_error = error;
        m_ran = true;
        block = std::exchange(m_outputBlock, nullptr);
    }
    if (block)
        block(output, error);
}

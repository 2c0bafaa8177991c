#include <Quillon/platform/store/complexstoreoperation.h>

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>

TULOComplexStoreOperation::TULOComplexStoreOperation(const TULOClientContext &context)
    : m_context(context)
{
}

int TULOComplexStoreOperation::httpStatus() const
{
    return m_httpStatus.load();
}

std::optional<TULOUrlBag> TULOComplexStoreOperation::urlBag(TULOError *error)
{
    return m_context.loadURLBagAndWait(error);
}

std::shared_ptr<TULOUrlLoadOperation> TULOComplexStoreOperation::newLoadOperation(const TULOStoreRequest &request) const
{
    auto child = std::make_shared<TULOUrlLoadOperation>(request);
    child->setClientContext(m_context);
    child->setDataConsumer(std::make_shared<TULOProtocolDataConsumer>());
    return child;
}

void TULOComplexStoreOperation::runChildOperation(const std::shared_ptr<TULOUrlLoadOperation> &child)
{
    child->setParentOperation(weak_from_this());
    if (isCancelled())
        child->cancel();
    child->start();
    m_httpStatus = child->response().httpStatus;
}

TULOError TULOComplexStoreOperation::errorForResponse(const TULOUrlLoadOperation &child)
{
    const TULOError own = child.error();
    if (!own.isNull())
        return own;
    const TULOUrlResponse response = child.response();
    const QVariantMap reply = child.output().toMap();
    QVariantMap userInfo{{QString::fromLatin1(TULOStoreHTTPStatusKey), response.httpStatus}};
    const QString code = TULOLookupString(reply.value(QStringLiteral("errorCode")));
    const QString message = TULOLookupString(reply.value(QStringLiteral("message")));
    if (!code.isEmpty())
        userInfo.insert(QString::fromLatin1(TULOStoreServerErrorCodeKey), code);
    userInfo.insert(QString::fromLatin1(TULOLocalizedDescriptionKey),
                    !message.isEmpty() ? message : QStringLiteral("The store answered with status %1.").arg(response.httpStatus));
    return TULOStoreError(TULOStoreErrorRequestFailed, response.url, userInfo);
}

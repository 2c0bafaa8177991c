#include <Quillon/platform/store/resourceloadoperation.h>

#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/store/complexstoreoperation.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>
#include <Quillon/platform/store/urlloadoperation.h>

TULOResourceLoadOperation::TULOResourceLoadOperation(std::shared_ptr<const TULOArtworkRequest> request)
    : m_request(std::move(request))
{
}

void TULOResourceLoadOperation::setClientContext(const TULOClientContext &context)
{
    std::lock_guard lock(m_mutex);
    m_context = context;
}

TULOClientContext TULOResourceLoadOperation::clientContext() const
{
    std::lock_guard lock(m_mutex);
    return m_context;
}

void TULOResourceLoadOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOResourceLoadOperation::OutputBlock TULOResourceLoadOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

TULOResourceLoadOperation::OutputBlock TULOResourceLoadOperation::takeOutputBlock()
{
    std::lock_guard lock(m_mutex);
    return std::exchange(m_outputBlock, nullptr);
}

void TULOResourceLoadOperation::main()
{
    QVariant output;
    TULOError error;
    const QUrl url = m_request ? m_request->url() : QUrl();
    if (url.isEmpty()) {
        error = TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                               {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The artwork has no address.")}});
    } else {
        auto child = std::make_shared<TULOUrlLoadOperation>(TULOStoreRequest(url));
        const TULOClientContext own = m_request->clientContext();
        const TULOClientContext context = own.isNull() ? clientContext() : own;
        if (!context.isNull())
            child->setClientContext(context);
        std::shared_ptr<TULODataConsumer> consumer = m_request->dataConsumer();
        child->setDataConsumer(consumer ? consumer : std::make_shared<TULOStyledImageDataConsumer>());
        child->setParentOperation(weak_from_this());
        if (isCancelled())
            child->cancel();
        child->start();
        error = child->error();
        output = child->output();
        if (error.isNull() && !child->response().isSuccess()) {
            error = TULOComplexStoreOperation::errorForResponse(*child);
            output = QVariant();
        }
    }
    if (OutputBlock block = takeOutputBlock())
        block(output, error);
}

#include <Quillon/platform/ui/storeviewcontroller.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operationqueue.h>

TULOStoreViewController::TULOStoreViewController(QObject *parent)
    : TULOViewController(parent)
{
}

TULOStoreViewController::~TULOStoreViewController() = default;

void TULOStoreViewController::setClientContext(const std::shared_ptr<TULOClientContext> &context)
{
    // Contexts are compared by identity.
    if (m_clientContext == context)
        return;
    m_clientContext = context;
    Q_EMIT clientContextChanged();
}

std::shared_ptr<TULOOperationQueue> TULOStoreViewController::operationQueue()
{
    if (!m_operationQueue) {
        m_operationQueue = std::make_shared<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.")
                                                                + QString::fromLatin1(metaObject()->className()));
    }
    return m_operationQueue;
}

void TULOStoreViewController::setOperationQueue(const std::shared_ptr<TULOOperationQueue> &queue)
{
    m_operationQueue = queue;
}

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/viewcontroller.h>

#include <memory>

class TULOClientContext;
class TULOOperationQueue;

// Base of the framework's screens: the host's client context, and the queue this screen's
// operations run on. Both are shared; a screen that opens another hands them on explicitly.
class QUILLON_EXPORT TULOStoreViewController : public TULOViewController
{
    Q_OBJECT

public:
    explicit TULOStoreViewController(QObject *parent = nullptr);
    ~TULOStoreViewController() override;

    std::shared_ptr<TULOClientContext> clientContext() const { return m_clientContext; }
    void setClientContext(const std::shared_ptr<TULOClientContext> &context);

    // The queue given with setOperationQueue(), else one of this screen's own, made on first use.
    std::shared_ptr<TULOOperationQueue> operationQueue();
    void setOperationQueue(const std::shared_ptr<TULOOperationQueue> &queue);

Q_SIGNALS:
    void clientContextChanged();

private:
    std::shared_ptr<TULOClientContext> m_clientContext;
    std::shared_ptr<TULOOperationQueue> m_operationQueue;
};

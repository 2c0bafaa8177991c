#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/store/dataconsumer.h>
#include <Quillon/platform/store/storerequest.h>

#include <functional>
#include <memory>
#include <mutex>

// Loads one store request on the thread that runs it (a queue thread, or a parent operation's
// thread when run synchronously), through that thread's network access manager, and hands the
// consumed body to its output block. Cancelling it aborts the request in flight; an operation
// that runs it inside its own work links the two with a TULOCancellationLink.
//
// The output's error is set for failures of the exchange itself: no answer (100, with the
// transport error underneath), no answer in time (121) or a body the consumer cannot read
// (100). An HTTP status outside 200-299 is not an error here: callers judge httpStatus(),
// because some replies carry meaning with a failing status.
class QUILLON_EXPORT TULOUrlLoadOperation : public TULOOperation
{
public:
    using OutputBlock = std::function<void(const QVariant &output, const TULOError &error)>;

    explicit TULOUrlLoadOperation(const QUrl &url);
    explicit TULOUrlLoadOperation(const TULOStoreRequest &request);

    TULOStoreRequest request() const;

    void setDataConsumer(std::shared_ptr<TULODataConsumer> consumer);
    void setClientContext(const TULOClientContext &context);
    void setStorefrontSuffix(const QString &suffix);
    // Milliseconds; by default the client context's request timeout.
    void setTimeout(int milliseconds);

    // Called exactly once, on the running thread, unless cleared before the end.
    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

    // After the run: the response's status (0 without one), the raw body and the result. An
    // operation cancelled before it ran has store error 16.
    TULOUrlResponse response() const;
    QByteArray data() const;
    QVariant output() const;
    TULOError error() const;
    // The failure in the network layer's terms (TULONetworkErrorDomain): the transport error,
    // or for a failing HTTP status the error code the network layer names it with. Null on
    // success; the store's error (a time-out, a cancel) when there was no transport error.
    TULOError networkError() const;

protected:
    void main() override;

private:

    mutable std::mutex m_mutex;
    TULOStoreRequest m_request;
    std::shared_ptr<TULODataConsumer> m_consumer;
    TULOClientContext m_context;
    QString m_storefrontSuffix;
    int m_timeout = -1;
    OutputBlock m_outputBlock;
    TULOUrlResponse m_response;
    QByteArray m_data;
    QVariant m_output;
    TULOError m_error;
    bool m_ran = false;
};

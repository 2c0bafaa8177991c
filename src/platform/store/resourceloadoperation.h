#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operation.h>

#include <QVariant>

#include <functional>
#include <memory>
#include <mutex>

class TULOArtworkRequest;

// Produces the image of one artwork request. This one fetches the request's URL (with the
// request's or the loader's client context, so with its timeout) through the request's data
// consumer; subclasses that render images themselves override main() and end it with
// takeOutputBlock(). The output block is called once, on the running thread.
class QUILLON_EXPORT TULOResourceLoadOperation : public TULOOperation
{
public:
    using OutputBlock = std::function<void(const QVariant &output, const TULOError &error)>;

    explicit TULOResourceLoadOperation(std::shared_ptr<const TULOArtworkRequest> request);

    std::shared_ptr<const TULOArtworkRequest> resourceRequest() const { return m_request; }
    // Used when the request has no client context of its own.
    void setClientContext(const TULOClientContext &context);
    TULOClientContext clientContext() const;

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

protected:
    void main() override;
    // The block, cleared so that it runs only once.
    OutputBlock takeOutputBlock();

private:
    const std::shared_ptr<const TULOArtworkRequest> m_request;
    mutable std::mutex m_mutex;
    TULOClientContext m_context;
    OutputBlock m_outputBlock;
};

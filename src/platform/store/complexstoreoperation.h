#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <memory>

// Base of operations that make one or more store requests: it reaches the URL bag of its
// client context and runs load-URL child operations synchronously on its own thread.
class QUILLON_EXPORT TULOComplexStoreOperation : public TULOOperation
{
public:
    explicit TULOComplexStoreOperation(const TULOClientContext &context = TULOClientContext());

    TULOClientContext clientContext() const { return m_context; }

    // HTTP status of the last child's response (0 before any, or without an answer).
    int httpStatus() const;

protected:
    // The bag, loaded if needed; blocks this operation's thread.
    std::optional<TULOUrlBag> urlBag(TULOError *error);
    // A child operation with this context, the protocol consumer and the storefront suffix.
    std::shared_ptr<TULOUrlLoadOperation> newLoadOperation(const TULOStoreRequest &request) const;
    // Runs `child` on this thread and returns when it has finished.
    void runChildOperation(const std::shared_ptr<TULOUrlLoadOperation> &child);

    static bool isSuccessStatus(int status) { return status >= 200 && status <= 299; }

public:
    // The store error for a reply that did not succeed: the child's own error, or 100
    // carrying the status and the store's "errorCode" and "message".
    static TULOError errorForResponse(const TULOUrlLoadOperation &child);

private:
    TULOClientContext m_context;
    std::atomic<int> m_httpStatus{0};
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/store/complexstoreoperation.h>
#include <Quillon/platform/store/storeaccount.h>

// Shared by the operations that make one signed GET of a bag endpoint.
class QUILLON_EXPORT TULOSignedStoreOperation : public TULOComplexStoreOperation
{
public:
    TULOSignedStoreOperation(const TULOClientContext &context, TULOStoreAccountStore *accounts);

protected:
    // The decoded reply of a signed GET of the bag's `bagKey`, or nullopt with the error. A
    // missing session, or one the store no longer accepts, is TULOErrorDomain code 2, so the
    // caller signs in again.
    std::optional<QVariantMap> signedReply(const QString &bagKey, TULOError *error);

private:
    TULOStoreAccountStore *m_accounts;
};

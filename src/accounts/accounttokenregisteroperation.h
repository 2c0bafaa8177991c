#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountrequestoperation.h>
#include <Quillon/platform/records/externaldestination.h>

#include <functional>
#include <mutex>

// Hands an account's fresh tokens for a post's destination to the store.
class QUILLON_EXPORT TULOAccountTokenRegisterOperation : public TULOAccountRequestOperation
{
public:
    // Called on the thread that runs the operation.
    using OutputBlock = std::function<void(bool success, const TULOError &error)>;

    // Name of the lock that guards the output block.
    static const char *const LockName;

    TULOAccountTokenRegisterOperation(const TULOPostAuthor &author, const TULOExternalDestination &externalDestination,
                                      const TULOAccount &account, const TULOClientContext &context = TULOClientContext());

    TULOExternalDestination externalDestination() const { return m_externalDestination; }
    TULOAccount account() const { return m_account; }

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

    // The query items after the author's: each only when its value is there.
    QList<QPair<QString, QString>> queryItems() const;

protected:
    void main() override;

private:
    // This operation's own copy of the author-type mapping.
    static QString queryKeyForAuthorType(const QString &authorType);

    const TULOExternalDestination m_externalDestination;
    const TULOAccount m_account;
    mutable std::mutex m_lock;
    OutputBlock m_outputBlock;
};

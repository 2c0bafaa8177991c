#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/accountrequestoperation.h>

#include <functional>
#include <mutex>

// Asks the store which account of a service the author has linked there.
class QUILLON_EXPORT TULOAccountInfoRequestOperation : public TULOAccountRequestOperation
{
public:
    // The account (or nullopt with or without an error); runs on the access queue.
    using OutputBlock = std::function<void(const std::optional<TULOAccount> &account, const TULOError &error)>;

    static const char *const AccessQueueLabel;

    TULOAccountInfoRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author,
                                    const TULOClientContext &context = TULOClientContext());

    QString serviceIdentifier() const { return m_serviceIdentifier; }

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

    // The account an "accountInfo" dictionary describes for `serviceIdentifier`, if it does.
    static std::optional<TULOAccount> accountWithInfo(const QVariantMap &accountInfo, const QString &serviceIdentifier);

protected:
    void main() override;

private:
    const QString m_serviceIdentifier;
    mutable std::mutex m_mutex;
    OutputBlock m_outputBlock;
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/records/externaldestination.h>
#include <Quillon/platform/records/postauthor.h>

#include <QList>

#include <functional>
#include <memory>
#include <mutex>

// What the token refresh asks of an author's account store. Its calls come from the refresh's
// worker thread; completions may come on any thread, or (for an account whose tokens are
// renewed elsewhere) never.
class QUILLON_EXPORT TULOAccountTokenRefreshStore
{
public:
    using RenewCompletion = std::function<void(qint64 result, const TULOAccount &renewed, const TULOError &error)>;
    using RegisterCompletion = std::function<void(bool success, const TULOError &error)>;

    virtual ~TULOAccountTokenRefreshStore() = default;
    virtual std::optional<TULOAccount> accountForServiceIdentifier(const QString &serviceIdentifier) = 0;
    // Result 0 with the renewed account, or another result with the error.
    virtual void renewCredentialsForAccount(const TULOAccount &account, RenewCompletion completion) = 0;
    virtual void registerExternalDestination(const TULOExternalDestination &destination, const TULOAccount &account,
                                             RegisterCompletion completion) = 0;
};

// Before a post: renews the credentials of each external service's account, registers them
// with the store, and hands back the destinations the post goes to.
class QUILLON_EXPORT TULOAccountTokenRefreshOperation : public TULOOperation
{
public:
    // The destinations (or nullopt with the error). Called once, on the operation's thread.
    using OutputBlock = std::function<void(const std::optional<QList<TULOExternalDestination>> &destinations, const TULOError &error)>;
    using AccountStoreFactory = std::function<std::shared_ptr<TULOAccountTokenRefreshStore>(const TULOPostAuthor &author)>;

    // Name of the lock that guards the properties and the results.
    static const char *const LockName;
    static constexpr int DefaultWaitLimit = 60000; // milliseconds

    TULOAccountTokenRefreshOperation(const TULOPostAuthor &author, const QList<TULOSocialService> &externalServices);
    ~TULOAccountTokenRefreshOperation() override;

    TULOPostAuthor author() const { return m_author; }
    QList<TULOSocialService> externalServices() const { return m_externalServices; }

    std::shared_ptr<TULOAccountTokenRefreshStore> accountStore() const;
    void setAccountStore(std::shared_ptr<TULOAccountTokenRefreshStore> store);
    OutputBlock outputBlock() const;
    void setOutputBlock(OutputBlock block);

    // How long main() waits for every service; the default is a minute.
    void setWaitLimit(int milliseconds) { m_waitLimit = milliseconds; }

    // How an operation without a store makes one for its author (the account store installs
    // it). Without either, no service has a linked account.
    static void setAccountStoreFactory(AccountStoreFactory factory);

protected:
    void main() override;

private:
    struct Results;
    using DestinationCompletion = std::function<void(const std::optional<TULOExternalDestination> &, const TULOError &)>;
    static void getExternalDestinationForServiceIdentifier(const QString &serviceIdentifier,
                                                           const std::shared_ptr<TULOAccountTokenRefreshStore> &store,
                                                           DestinationCompletion completion);
    static void registerExternalDestination(const TULOExternalDestination &destination, const QString &serviceIdentifier,
                                            const std::shared_ptr<TULOAccountTokenRefreshStore> &store,
                                            TULOAccountTokenRefreshStore::RegisterCompletion completion);

    const TULOPostAuthor m_author;
    const QList<TULOSocialService> m_externalServices;
    int m_waitLimit = DefaultWaitLimit;
    // Shared with completions that may outlive the operation.
    std::shared_ptr<Results> m_results;
};

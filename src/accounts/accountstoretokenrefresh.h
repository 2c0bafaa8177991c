#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/accounttokenrefreshoperation.h>

#include <QPointer>

#include <Quillon/accounts/accountstore.h>

// What the token refresh needs of an author's accounts, answered by a TULOAccountStore. It is
// called from the refresh's worker thread; the store's calls it uses are safe there.
class QUILLON_EXPORT TULOAccountStoreTokenRefresh : public TULOAccountTokenRefreshStore
{
public:
    // Uses a store someone else owns (the compose screen's); calls do nothing once it is gone.
    explicit TULOAccountStoreTokenRefresh(TULOAccountStore *store);
    // Makes and owns a store for `author`, ended on the main thread with the adapter.
    explicit TULOAccountStoreTokenRefresh(const TULOPostAuthor &author);
    ~TULOAccountStoreTokenRefresh() override;

    TULOAccountStore *accountStore() const { return m_store; }

    std::optional<TULOAccount> accountForServiceIdentifier(const QString &serviceIdentifier) override;
    void renewCredentialsForAccount(const TULOAccount &account, RenewCompletion completion) override;
    void registerExternalDestination(const TULOExternalDestination &destination, const TULOAccount &account,
        RegisterCompletion completion) override;

    // Lets refresh operations without a store make one of these for their author. Account
    // stores install it when the first one is made; hosts may call it earlier. Idempotent.
    static void installAccountStoreFactory();

private:
    QPointer<TULOAccountStore> m_store;
    bool m_owned = false;
};

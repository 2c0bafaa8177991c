#pragma once

#include <Quillon/platform/store/storeaccount.h>

#include <QHash>

#include <memory>
#include <mutex>

class TULOCredentialStore;

// Keeps store session tokens in the secure credential store, one item per account (the
// account name without case) under the service TULOStoreSessionCredentialService, and beside
// them which account was active.
class TULOCredentialStoreTokenKeeper : public TULOStoreTokenKeeper
{
public:
    // Uses the process-wide credential store, reached on first use.
    TULOCredentialStoreTokenKeeper();
    // Uses `store`, which the keeper then owns.
    explicit TULOCredentialStoreTokenKeeper(std::unique_ptr<TULOCredentialStore> store);
    ~TULOCredentialStoreTokenKeeper() override;

    QString tokenForAccount(const QString &accountName) override;
    bool setTokenForAccount(const QString &token, const QString &accountName) override;
    // Kept as one more item of the same service, under the name TULOStoreActiveAccountItem.
    std::optional<TULOStoreAccount> lastActiveAccount() override;
    void setLastActiveAccount(const std::optional<TULOStoreAccount> &account) override;

private:
    TULOCredentialStore *store();

    std::unique_ptr<TULOCredentialStore> m_owned;
    std::mutex m_unsavedMutex;
    QHash<QString, QString> m_unsaved; // tokens the store could not keep, by account

};

extern const char *const TULOStoreSessionCredentialService;
// Account names are case-folded e-mail style names; this one cannot clash with them.
extern const char *const TULOStoreActiveAccountItem;

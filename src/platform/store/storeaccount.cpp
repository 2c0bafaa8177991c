#include <Quillon/platform/store/storeaccount.h>

#include <Quillon/platform/store/credentialstoretokenkeeper.h>

#include <memory>

TULOStoreAccountStore::TULOStoreAccountStore()
    : m_keeper(std::make_unique<TULOCredentialStoreTokenKeeper>())
{
}

TULOStoreAccountStore *TULOStoreAccountStore::defaultStore()
{
    static TULOStoreAccountStore store;
    return &store;
}

std::optional<TULOStoreAccount> TULOStoreAccountStore::activeAccount() const
{
    std::lock_guard lock(m_mutex);
    if (!m_active)
        return std::nullopt;
    TULOStoreAccount account = *m_active;
    account.setToken(m_keeper->tokenForAccount(account.accountName()));
    return account;
}

void TULOStoreAccountStore::setActiveAccount(const TULOStoreAccount &account)
{
    std::lock_guard lock(m_mutex);
    m_keeper->setTokenForAccount(account.token(), account.accountName());
    TULOStoreAccount kept = account;
    kept.setToken(QString()); // the keeper holds it, nobody else
    m_active = kept;
}

void TULOStoreAccountStore::invalidateToken()
{
    std::lock_guard lock(m_mutex);
    if (m_active)
        m_keeper->setTokenForAccount(QString(), m_active->accountName());
}

void TULOStoreAccountStore::signOut()
{
    std::lock_guard lock(m_mutex);
    if (m_active)
        m_keeper->setTokenForAccount(QString(), m_active->accountName());
    m_active.reset();
}

void TULOStoreAccountStore::setTokenKeeper(std::unique_ptr<TULOStoreTokenKeeper> keeper)
{
    std::lock_guard lock(m_mutex);
    m_keeper = keeper ? std::move(keeper) : std::make_unique<TULOCredentialStoreTokenKeeper>();
}

TULOStoreTokenKeeper *TULOStoreAccountStore::tokenKeeper() const
{
    std::lock_guard lock(m_mutex);
    return m_keeper.get();
}

#include <Quillon/platform/store/storeaccount.h>

#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>

#include <QLoggingCategory>

#include <memory>

Q_LOGGING_CATEGORY(lcTULOStoreAccounts, "quillon.store.accounts", QtWarningMsg)

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
    if (!m_active && !m_lastActiveRead) {
        m_lastActiveRead = true;
        m_active = m_keeper->lastActiveAccount();
    }
    if (!m_active)
        return std::nullopt;
    TULOStoreAccount account = *m_active;
    if (account.token().isEmpty())
        account.setToken(m_keeper->tokenForAccount(account.accountName()));
    return account;
}

bool TULOStoreAccountStore::setActiveAccount(const TULOStoreAccount &account)
{
    std::lock_guard lock(m_mutex);
    TULOStoreAccount kept = account;
    const bool saved = m_keeper->setTokenForAccount(account.token(), account.accountName());
    if (saved) {
        kept.setToken(QString()); // the keeper holds it, nobody else
    } else if (!account.token().isEmpty()) {
        // Dropping it would make every signed request sign in again, without end.
        static std::once_flag told;
        std::call_once(told, [] {
            qCWarning(lcTULOStoreAccounts, "The store session could not be saved in the credential store; "
                                           "it is kept in memory until the application quits.");
        });
    }
    m_active = kept;
    m_lastActiveRead = true;
    m_keeper->setLastActiveAccount(kept);
    return saved;
}

void TULOStoreAccountStore::invalidateToken()
{
    std::lock_guard lock(m_mutex);
    if (m_active) {
        m_active->setToken(QString());
        m_keeper->setTokenForAccount(QString(), m_active->accountName());
    }
}

void TULOStoreAccountStore::signOut()
{
    std::lock_guard lock(m_mutex);
    if (m_active)
        m_keeper->setTokenForAccount(QString(), m_active->accountName());
    m_active.reset();
    m_lastActiveRead = true;
    m_keeper->setLastActiveAccount(std::nullopt);
}

void TULOStoreAccountStore::setTokenKeeper(std::unique_ptr<TULOStoreTokenKeeper> keeper)
{
    std::lock_guard lock(m_mutex);
    m_keeper = keeper ? std::move(keeper) : std::make_unique<TULOCredentialStoreTokenKeeper>();
    m_lastActiveRead = m_active.has_value();
}

TULOStoreTokenKeeper *TULOStoreAccountStore::tokenKeeper() const
{
    std::lock_guard lock(m_mutex);
    return m_keeper.get();
}

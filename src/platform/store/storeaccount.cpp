#include "platform/store/storeaccount.h"

#include <QHash>

#include <memory>

namespace {

class MemoryTokenKeeper : public TULOStoreTokenKeeper
{
public:
    QString tokenForAccount(const QString &accountName) override
    {
        std::lock_guard lock(m_mutex);
        return m_tokens.value(accountName.toCaseFolded());
    }
    bool setTokenForAccount(const QString &token, const QString &accountName) override
    {
        std::lock_guard lock(m_mutex);
        if (token.isEmpty())
            m_tokens.remove(accountName.toCaseFolded());
        else
            m_tokens.insert(accountName.toCaseFolded(), token);
        return true;
    }

private:
    std::mutex m_mutex;
    QHash<QString, QString> m_tokens;
};

} // namespace

TULOStoreAccountStore::TULOStoreAccountStore()
    : m_keeper(std::make_unique<MemoryTokenKeeper>())
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
    m_keeper = keeper ? std::move(keeper) : std::make_unique<MemoryTokenKeeper>();
}

TULOStoreTokenKeeper *TULOStoreAccountStore::tokenKeeper() const
{
    std::lock_guard lock(m_mutex);
    return m_keeper.get();
}

#include <Quillon/accounts/accountstoretokenrefresh.h>

#include <Quillon/accounts/accountstore.h>

#include <mutex>

TULOAccountStoreTokenRefresh::TULOAccountStoreTokenRefresh(TULOAccountStore *store)
    : m_store(store)
{
}

TULOAccountStoreTokenRefresh::TULOAccountStoreTokenRefresh(const TULOPostAuthor &author)
    : m_store(new TULOAccountStore(author))
    , m_owned(true)
{
}

TULOAccountStoreTokenRefresh::~TULOAccountStoreTokenRefresh()
{
    // The store lives on the main thread, where its late results are checked against it.
    if (m_owned && m_store)
        m_store->deleteLater();
}

std::optional<TULOAccount> TULOAccountStoreTokenRefresh::accountForServiceIdentifier(const QString &serviceIdentifier)
{
    if (!m_store)
        return std::nullopt;
    return m_store->accountForServiceIdentifier(serviceIdentifier);
}

void TULOAccountStoreTokenRefresh::renewCredentialsForAccount(const TULOAccount &account, RenewCompletion completion)
{
    if (!m_store)
        return;
    auto renewed = std::make_shared<TULOAccount>(account);
    m_store->renewCredentialsForAccount(renewed, [renewed, completion](qint64 result, const TULOError &error) {
        if (completion)
            completion(result, *renewed, error);
    });
}

void TULOAccountStoreTokenRefresh::registerExternalDestination(
    const TULOExternalDestination &destination, const TULOAccount &account, RegisterCompletion completion)
{
    if (!m_store) {
        if (completion)
            completion(false, TULOError());
        return;
    }
    m_store->registerExternalDestination(destination, account, std::move(completion));
}

void TULOAccountStoreTokenRefresh::installAccountStoreFactory()
{
    static std::once_flag installed;
    std::call_once(installed, [] {
        TULOAccountTokenRefreshOperation::setAccountStoreFactory([](const TULOPostAuthor &author) {
            return std::make_shared<TULOAccountStoreTokenRefresh>(author);
        });
    });
}

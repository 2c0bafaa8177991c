#include <Quillon/accounts/accounttokenrefreshoperation.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/group.h>
#include <Quillon/platform/store/storeerror.h>

namespace {

std::mutex factoryMutex;
TULOAccountTokenRefreshOperation::AccountStoreFactory accountStoreFactory;

TULOError noAccountError(const QString &serviceIdentifier)
{
    return TULOError::withDescription(TULOErrorDomain, TULOErrorNoLinkedAccount,
                                      QStringLiteral("No %1 account is linked.").arg(serviceIdentifier));
}

} // namespace

const char *const TULOAccountTokenRefreshOperation::LockName = "com.vantor.Quillon.tokenRefresh";

struct TULOAccountTokenRefreshOperation::Results
{
    std::mutex lock; // LockName
    std::shared_ptr<TULOAccountTokenRefreshStore> accountStore;
    OutputBlock outputBlock;
    QList<TULOExternalDestination> destinations;
    QList<TULOError> errors;
    TULOGroup group;
};

TULOAccountTokenRefreshOperation::TULOAccountTokenRefreshOperation(const TULOPostAuthor &author,
                                                                   const QList<TULOSocialService> &externalServices)
    : m_author(author)
    , m_externalServices(externalServices)
    , m_results(std::make_shared<Results>())
{
    setName(QString::fromLatin1(LockName));
}

TULOAccountTokenRefreshOperation::~TULOAccountTokenRefreshOperation() = default;

std::shared_ptr<TULOAccountTokenRefreshStore> TULOAccountTokenRefreshOperation::accountStore() const
{
    std::lock_guard lock(m_results->lock);
    return m_results->accountStore;
}

void TULOAccountTokenRefreshOperation::setAccountStore(std::shared_ptr<TULOAccountTokenRefreshStore> store)
{
    std::lock_guard lock(m_results->lock);
    m_results->accountStore = std::move(store);
}

TULOAccountTokenRefreshOperation::OutputBlock TULOAccountTokenRefreshOperation::outputBlock() const
{
    std::lock_guard lock(m_results->lock);
    return m_results->outputBlock;
}

void TULOAccountTokenRefreshOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_results->lock);
    m_results->outputBlock = std::move(block);
}

void TULOAccountTokenRefreshOperation::setAccountStoreFactory(AccountStoreFactory factory)
{
    std::lock_guard lock(factoryMutex);
    accountStoreFactory = std::move(factory);
}

void TULOAccountTokenRefreshOperation::getExternalDestinationForServiceIdentifier(const QString &serviceIdentifier,
                                                                                  const std::shared_ptr<TULOAccountTokenRefreshStore> &store,
                                                                                  DestinationCompletion completion)
{
    const std::optional<TULOAccount> account = store ? store->accountForServiceIdentifier(serviceIdentifier) : std::nullopt;
    if (!account) {
        completion(std::nullopt, noAccountError(serviceIdentifier));
        return;
    }
    if (account->serviceIdentifier() != QLatin1String(TULOServiceIdentifierTwitter))
        return; // Facebook tokens are renewed by the store itself: this service never completes.
    store->renewCredentialsForAccount(*account, [completion](qint64 result, const TULOAccount &renewed, const TULOError &error) {
        if (result != 0 || !error.isNull()) {
            completion(std::nullopt, error);
            return;
        }
        TULOExternalDestination destination(QString::fromLatin1(TULOExternalServiceTwitter));
        destination.setAccessToken(renewed.authenticationToken());
        completion(destination, TULOError());
    });
}

void TULOAccountTokenRefreshOperation::registerExternalDestination(const TULOExternalDestination &destination,
                                                                   const QString &serviceIdentifier,
                                                                   const std::shared_ptr<TULOAccountTokenRefreshStore> &store,
                                                                   TULOAccountTokenRefreshStore::RegisterCompletion completion)
{
    const std::optional<TULOAccount> account = store ? store->accountForServiceIdentifier(serviceIdentifier) : std::nullopt;
    if (!account) {
        completion(false, noAccountError(serviceIdentifier));
        return;
    }
    store->registerExternalDestination(destination, *account, std::move(completion));
}

void TULOAccountTokenRefreshOperation::main()
{
    std::shared_ptr<TULOAccountTokenRefreshStore> store = accountStore();
    if (!store) {
        AccountStoreFactory factory;
        {
            std::lock_guard lock(factoryMutex);
            factory = accountStoreFactory;
        }
        if (factory)
            store = factory(m_author);
    }
    const std::shared_ptr<Results> results = m_results;
    for (const TULOSocialService &service : m_externalServices) {
        const QString identifier = service.identifier();
        results->group.enter();
        getExternalDestinationForServiceIdentifier(
            identifier, store, [results, identifier, store](const std::optional<TULOExternalDestination> &destination, const TULOError &error) {
                if (!destination) {
                    std::lock_guard lock(results->lock);
                    results->errors.append(error.isNull() ? TULOStoreError(TULOStoreErrorRequestFailed) : error);
                    results->group.leave();
                    return;
                }
                registerExternalDestination(*destination, identifier, store,
                                            [results, destination](bool success, const TULOError &registerError) {
                                                {
                                                    std::lock_guard lock(results->lock);
                                                    if (success)
                                                        results->destinations.append(*destination);
                                                    else
                                                        results->errors.append(registerError.isNull()
                                                                                   ? TULOStoreError(TULOStoreErrorRequestFailed)
                                                                                   : registerError);
                                                }
                                                results->group.leave();
                                            });
            });
    }
    const bool finished = results->group.waitFor(std::chrono::milliseconds(m_waitLimit));

    std::optional<QList<TULOExternalDestination>> destinations;
    TULOError error;
    OutputBlock block;
    {
        std::lock_guard lock(results->lock);
        if (!finished)
            error = TULOStoreError(TULOStoreErrorTimedOut);
        else if (!results->errors.isEmpty())
            error = results->errors.constFirst();
        else
            destinations = results->destinations;
        block = std::exchange(results->outputBlock, nullptr);
    }
    if (block)
        block(destinations, error);
}

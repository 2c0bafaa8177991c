#include <Quillon/accounts/accountstore.h>

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accountentity_p.h>
#include <Quillon/accounts/accountinforequestoperation.h>
#include <Quillon/accounts/accountstoretokenrefresh.h>
#include <Quillon/accounts/accounttokenregisteroperation.h>
#include <Quillon/accounts/accountunlinkrequestoperation.h>
#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/accounts/facebookpageupdateoperation.h>
#include <Quillon/accounts/facebookpermissions.h>
#include <Quillon/accounts/facebookuserregistrationoperation.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/twitterauthenticationrequest.h>
#include <Quillon/accounts/unscrambledstring_p.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/preferences.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/credentials/credentialstore.h>

#include <QCoreApplication>
#include <QThreadPool>

const char *const TULOAccountStoreDidChangeNotification = "TULOAccountStoreDidChangeNotification";
const char *const TULOAccountStoreAutopostingEnabledKeyFormat = "autoposting-%1-enabled";
const char *const TULOAccountStorePreferredFacebookDestinationKey = "preferredFacebookAutopostingDestination";

static bool TULOIsFacebook(const QString &serviceIdentifier)
{
    return serviceIdentifier == QLatin1String(TULOServiceIdentifierFacebook);
}

static TULOSQLitePredicate TULOAuthorServicePredicate(const TULOPostAuthor &author, const QString &serviceIdentifier)
{
    return TULOSQLitePredicate(QString::fromLatin1(TULOAccountEntityPropertyAuthorIdentity), author.identifier())
        .andEquals(QString::fromLatin1(TULOAccountEntityPropertyAuthorType), author.authorType())
        .andEquals(QString::fromLatin1(TULOAccountEntityPropertyServiceIdentifier), serviceIdentifier);
}

TULOAccountStore::TULOAccountStore(const TULOPostAuthor &author, QObject *parent)
    : TULOAccountStore(author, TULOClientContext::defaultContext(), parent)
{
}

TULOAccountStore::TULOAccountStore(const TULOPostAuthor &author, const TULOClientContext &context, QObject *parent)
    : QObject(parent)
    , m_author(author)
    , m_context(context)
    , m_operationQueue(std::make_shared<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.accountStore")))
{
    m_operationQueue->setMaxConcurrentOperationCount(1);
    TULOAccountStoreTokenRefresh::installAccountStoreFactory();
    // Results are applied on the main thread; a store made on a worker belongs there too, so
    // that deleteLater() ends it where its weak references are checked.
    QCoreApplication *application = QCoreApplication::instance();
    if (application && !parent && thread() != application->thread())
        moveToThread(application->thread());
    updateAccountInfoWithServiceIdentifier(QString::fromLatin1(TULOServiceIdentifierFacebook));
    // Linux desktops have no system-wide account store whose changes could concern us, so
    // there is nothing to observe here; every change goes through this class and notifies.
}

TULOAccountStore::~TULOAccountStore()
{
    // A request may still be waiting on a slow store; let it end on a worker instead of making
    // the main thread wait for the queue. Its result finds the store gone and is dropped.
    m_operationQueue->cancelAllOperations();
    if (m_operationQueue->operationCount() > 0) {
        QThreadPool::globalInstance()->start([queue = std::move(m_operationQueue)]() mutable { queue.reset(); });
    }
}

// Accounts

std::optional<TULOAccount> TULOAccountStore::accountForServiceIdentifier(const QString &serviceIdentifier) const
{
    if (TULOIsFacebook(serviceIdentifier)) {
        std::lock_guard lock(m_accountsMutex);
        const auto found = m_accounts.constFind(serviceIdentifier);
        if (found == m_accounts.constEnd())
            return std::nullopt;
        return *found;
    }
    return databaseAccount(serviceIdentifier);
}

std::optional<TULOAccount> TULOAccountStore::databaseAccount(const QString &serviceIdentifier) const
{
    TULOAccountDatabase *database = TULOAccountDatabase::sharedDatabase();
    std::optional<TULOAccount> account;
    database->performTransactionWithBlock([&] {
        const TULOSQLiteQuery query
            = TULOAccountEntity::queryWithPredicate(database, TULOAuthorServicePredicate(m_author, serviceIdentifier));
        query.enumeratePersistentIDsAndProperties(TULOAccountEntity::accountProperties(),
            [&](qint64, const QVariantList &values, bool *stop) {
                account = TULOAccountEntity::accountWithValues(serviceIdentifier, values);
                *stop = true;
            });
        return true;
    });
    return account;
}

bool TULOAccountStore::saveAccount(const TULOAccount &account, TULOError *error)
{
    const QString service = account.serviceIdentifier();
    if (TULOIsFacebook(service)) {
        {
            std::lock_guard lock(m_accountsMutex);
            m_accounts.insert(service, account);
        }
        postDidChange();
        return true;
    }
    if (!saveDatabaseAccount(account, error))
        return false;
    postDidChange();
    return true;
}

bool TULOAccountStore::saveDatabaseAccount(const TULOAccount &account, TULOError *error)
{
    // Where credentials may only rest in a keyring and none answers, an account with a password
    // is refused before anything is kept.
    if (!account.valueForProperty(QString::fromLatin1(TULOAccountPropertyPassword)).isNull()
        && !TULOCredentialStore::sharedStore()->canKeepItems(error))
        return false;
    TULOAccountDatabase *database = TULOAccountDatabase::sharedDatabase();
    TULOError failure;
    TULOError transactionFailure;
    bool inserted = false;
    // Delete and insert commit together, so a failed insert leaves the old row in place.
    const bool committed = database->performTransactionWithBlock([&] {
        const TULOSQLiteQuery query = TULOAccountEntity::queryWithPredicate(
            database, TULOAuthorServicePredicate(m_author, account.serviceIdentifier()));
        if (!query.deleteAllEntities(&failure))
            return false;
        const QVariantMap values
            = TULOAccountEntity::valuesForAccount(account, m_author.identifier(), m_author.authorType());
        inserted = TULOAccountEntity::insertIntoDatabase(database, values, &failure).has_value();
        return inserted;
    }, &transactionFailure);
    // The password goes to the credential store whatever the database answered.
    account.saveToCredentialStore();
    if (!committed || !inserted) {
        TULOSetError(error, failure.isNull() ? transactionFailure : failure);
        return false;
    }
    return true;
}

bool TULOAccountStore::removeAccount(const TULOAccount &account, TULOError *error)
{
    const QString service = account.serviceIdentifier();
    if (TULOIsFacebook(service)) {
        {
            std::lock_guard lock(m_accountsMutex);
            m_accounts.remove(service);
        }
        postDidChange();
        return true;
    }
    if (!removeDatabaseAccount(account, error))
        return false;
    postDidChange();
    return true;
}

bool TULOAccountStore::removeDatabaseAccount(const TULOAccount &account, TULOError *error)
{
    TULOAccountDatabase *database = TULOAccountDatabase::sharedDatabase();
    const QString service = account.serviceIdentifier();
    TULOError failure;
    bool deleted = false;
    bool passwordStillUsed = false;
    database->performTransactionWithBlock([&] {
        // The user name too: removing a stale copy of another account must not delete the row.
        const TULOSQLiteQuery query = TULOAccountEntity::queryWithPredicate(database,
            TULOAuthorServicePredicate(m_author, service)
                .andEquals(QString::fromLatin1(TULOAccountEntityPropertyUserName), account.userName()));
        deleted = query.deleteAllEntities(&failure).has_value();
        if (!deleted)
            return false;
        // The credential item is keyed by user name and service only, so another author who
        // linked the same account still needs it.
        const TULOSQLiteQuery others = TULOAccountEntity::queryWithPredicate(database,
            TULOSQLitePredicate(QString::fromLatin1(TULOAccountEntityPropertyServiceIdentifier), service)
                .andEquals(QString::fromLatin1(TULOAccountEntityPropertyUserName), account.userName()));
        passwordStillUsed = others.countOfEntities().value_or(1) > 0;
        return true;
    });
    if (!deleted) {
        TULOSetError(error, failure);
        return false;
    }
    if (!passwordStillUsed)
        account.removeFromCredentialStore();
    return true;
}

// Server requests

void TULOAccountStore::refreshFacebookAccountInfo()
{
    updateAccountInfoWithServiceIdentifier(QString::fromLatin1(TULOServiceIdentifierFacebook));
}

void TULOAccountStore::updateAccountInfoWithServiceIdentifier(
    const QString &serviceIdentifier, std::function<void(TULOAccountStore *store)> then)
{
    auto request = std::make_shared<TULOAccountInfoRequestOperation>(serviceIdentifier, m_author, m_context);
    request->setOutputBlock([store = QPointer<TULOAccountStore>(this), serviceIdentifier, then = std::move(then)](
                                const std::optional<TULOAccount> &account, const TULOError &error) {
        TULODispatchMain([store, serviceIdentifier, then, account, error] {
            if (!store)
                return;
            store->applyAccountInfo(serviceIdentifier, account, error);
            if (then)
                then(store);
            Q_EMIT store->accountInfoRequestDidFinish(serviceIdentifier, error);
        });
    });
    enqueue(request);
}

void TULOAccountStore::applyAccountInfo(
    const QString &serviceIdentifier, const std::optional<TULOAccount> &account, const TULOError &error)
{
    // A failed request keeps whatever the store had; only a clean answer changes anything.
    if (error.isNull()) {
        if (account) {
            saveAccount(*account);
        } else if (const std::optional<TULOAccount> current = accountForServiceIdentifier(serviceIdentifier)) {
            removeAccount(*current);
        }
    }
}

void TULOAccountStore::requestAccessToAccountForServiceIdentifier(const QString &serviceIdentifier,
    const QStringList &permissions, TULOViewController *presentingViewController, TULOAccessCompletion completion)
{
    Q_UNUSED(permissions) // sign-in always asks for the write permissions
    if (!TULOIsFacebook(serviceIdentifier)) {
        // Twitter signs in with a user name and password, not through a web page.
        if (completion)
            completion(true, TULOError());
        return;
    }
    if (!presentingViewController) {
        if (completion)
            completion(false, TULOError(TULOErrorDomain, TULOErrorFacebookSignInGaveNothing));
        return;
    }
    TULOError unavailable;
    auto *signIn = TULOFacebookAuthenticationViewController::create(facebookAppId(), TULOFacebookWritePermissions(),
                                                                    nullptr, &unavailable);
    if (!signIn) {
        if (completion)
            completion(false, unavailable);
        return;
    }
    auto *navigation = new TULONavigationController(signIn);
    const QPointer<TULOViewController> presenter(presentingViewController);
    const auto dismiss = [presenter] {
        if (presenter)
            presenter->dismissViewController(true);
    };
    const QPointer<TULOAccountStore> store(this);
    signIn->setAuthenticationCompletionBlock([store, completion, dismiss](const TULOError &error, const QString &code) {
        if (code.isEmpty()) {
            if (completion)
                completion(false, error.isNull() ? TULOError(TULOErrorDomain, TULOErrorFacebookSignInGaveNothing) : error);
            dismiss();
            return;
        }
        if (!store) {
            dismiss();
            return;
        }
        auto registration
            = std::make_shared<TULOFacebookUserRegistrationOperation>(code, store->m_author, store->m_context);
        registration->setOutputBlock([store, completion, dismiss](bool success, const TULOError &registrationError) {
            TULODispatchMain([store, completion, dismiss, success, registrationError] {
                // Code 8 accompanies a success too; callers judge by the boolean alone.
                const TULOError passed = registrationError.isNull()
                    ? TULOError(TULOErrorDomain, TULOErrorFacebookRegistrationUnconfirmed)
                    : registrationError;
                if (store && success) {
                    // The switch needs the account, which only the store's answer brings.
                    store->updateAccountInfoWithServiceIdentifier(QString::fromLatin1(TULOServiceIdentifierFacebook),
                        [](TULOAccountStore *current) {
                            current->setAccountEnabled(true, QString::fromLatin1(TULOServiceIdentifierFacebook));
                        });
                }
                if (completion)
                    completion(success, passed);
                dismiss();
            });
        });
        store->enqueue(registration);
    });
    presentingViewController->presentViewController(navigation, true);
    signIn->startAuthenticationProcess();
}

void TULOAccountStore::verifyUserName(const QString &userName, const QString &password,
    const QString &serviceIdentifier, TULOVerifyCompletion completion)
{
    if (serviceIdentifier != QLatin1String(TULOServiceIdentifierTwitter)) {
        if (completion)
            completion(std::nullopt, TULOError(TULOErrorDomain, TULOErrorVerificationServiceUnsupported));
        return;
    }
    // Hosts and screens hear back on the GUI thread, as everywhere else.
    authenticateWithService(userName, password,
        [completion](const std::optional<TULOAccount> &account, const TULOError &error) {
            if (completion)
                TULODispatchMain([completion, account, error] { completion(account, error); });
        });
}

void TULOAccountStore::authenticateWithService(const QString &userName, const QString &password, TULOVerifyCompletion completion)
{
    // The request object lives until it has answered; its block drops itself after the call.
    auto request = std::make_shared<TULOTwitterAuthenticationRequest>(userName, password);
    request->startWithResponseBlock(
        [request, completion](const std::optional<TULOAccount> &account, const TULOError &error) mutable {
            if (completion)
                completion(account, error);
            request.reset();
        });
}

void TULOAccountStore::renewCredentialsForAccount(
    const std::shared_ptr<TULOAccount> &account, TULORenewCompletion completion)
{
    // Facebook tokens are renewed by the store; the completion is deliberately never called.
    if (!account || TULOIsFacebook(account->serviceIdentifier()))
        return;
    if (account->serviceIdentifier() != QLatin1String(TULOServiceIdentifierTwitter)) {
        if (completion)
            completion(TULOAccountCredentialRenewalFailed, TULOError(TULOErrorDomain, TULOErrorVerificationServiceUnsupported));
        return;
    }
    authenticateWithService(account->userName(), account->password(),
        [account, completion](const std::optional<TULOAccount> &fresh, const TULOError &error) {
            if (error.isNull() && fresh) {
                account->updateWithTULOAccount(*fresh);
                if (completion)
                    completion(TULOAccountCredentialRenewalRenewed, TULOError());
                return;
            }
            if (completion)
                completion(TULOAccountCredentialRenewalFailed, error);
        });
}

void TULOAccountStore::registerExternalDestination(
    const TULOExternalDestination &destination, const TULOAccount &account, TULORegisterCompletion completion)
{
    auto registration = std::make_shared<TULOAccountTokenRegisterOperation>(m_author, destination, account, m_context);
    bool success = false;
    TULOError error;
    registration->setOutputBlock([&success, &error](bool registered, const TULOError &registrationError) {
        success = registered;
        error = registrationError;
    });
    // On this thread, not the queue: the caller (the token refresh) waits for it anyway.
    registration->start();
    if (completion)
        completion(success, error);
}

void TULOAccountStore::updateFacebookPreferredPageIdentifier(
    const QString &pageIdentifier, const TULOAccount &account, TULOPageUpdateCompletion completion)
{
    if (!TULOIsFacebook(account.serviceIdentifier()))
        return;
    auto update = std::make_shared<TULOFacebookPageUpdateOperation>(pageIdentifier, m_author, m_context);
    update->setOutputBlock([store = QPointer<TULOAccountStore>(this), completion](bool success, const TULOError &error) {
        TULODispatchMain([store, completion, success, error] {
            if (!store)
                return;
            store->refreshFacebookAccountInfo();
            if (completion)
                completion(success, error);
        });
    });
    enqueue(update);
}

void TULOAccountStore::unlinkAccount(const TULOAccount &account, TULOUnlinkCompletion completion)
{
    auto unlink = std::make_shared<TULOAccountUnlinkRequestOperation>(account.serviceIdentifier(), m_author, m_context);
    unlink->setOutputBlock([store = QPointer<TULOAccountStore>(this), account, completion](
                               bool success, const TULOError &error) {
        TULODispatchMain([store, account, completion, success, error] {
            if (!store)
                return;
            if (success)
                store->removeAccount(account);
            if (completion)
                completion(success, error);
        });
    });
    enqueue(unlink);
}

// Preferences

QString TULOAccountStore::autopostingEnabledKey(const QString &serviceIdentifier)
{
    return QString::fromLatin1(TULOAccountStoreAutopostingEnabledKeyFormat).arg(serviceIdentifier);
}

bool TULOAccountStore::isAccountEnabledForServiceIdentifier(const QString &serviceIdentifier) const
{
    if (!accountForServiceIdentifier(serviceIdentifier))
        return false;
    return TULOPreferences::frameworkPreferences().boolForKey(autopostingEnabledKey(serviceIdentifier));
}

void TULOAccountStore::setAccountEnabled(bool enabled, const QString &serviceIdentifier)
{
    const bool stored = enabled && accountForServiceIdentifier(serviceIdentifier).has_value();
    TULOPreferences::frameworkPreferences().setBool(autopostingEnabledKey(serviceIdentifier), stored);
    postDidChange();
}

qint64 TULOAccountStore::preferredFacebookAutopostingDestination() const
{
    return TULOPreferences::frameworkPreferences().integerForKey(
        QString::fromLatin1(TULOAccountStorePreferredFacebookDestinationKey));
}

void TULOAccountStore::setPreferredFacebookAutopostingDestination(qint64 destination)
{
    TULOPreferences::frameworkPreferences().setInteger(
        QString::fromLatin1(TULOAccountStorePreferredFacebookDestinationKey), destination);
    postDidChange();
}

QString TULOAccountStore::externalServiceForServiceIdentifier(const QString &serviceIdentifier)
{
    if (serviceIdentifier == QLatin1String(TULOServiceIdentifierFacebook))
        return QString::fromLatin1(TULOExternalServiceFacebook);
    if (serviceIdentifier == QLatin1String(TULOServiceIdentifierTwitter))
        return QString::fromLatin1(TULOExternalServiceTwitter);
    return QString();
}

// Notification and queue

void TULOAccountStore::postDidChange()
{
    if (TULOIsMainThread()) {
        TULONotificationCenter::defaultCenter()->postNotification(
            QString::fromLatin1(TULOAccountStoreDidChangeNotification), this);
        return;
    }
    TULODispatchMain([store = QPointer<TULOAccountStore>(this)] {
        if (store)
            store->postDidChange();
    });
}

void TULOAccountStore::enqueue(const std::shared_ptr<TULOOperation> &operation)
{
    if (m_operationQueue)
        m_operationQueue->addOperation(operation);
}

// Application id

QString TULOAccountStore::facebookAppId()
{
    return TULOUnscrambledString(TULODeploymentConfiguration::current().scrambledFacebookAppId());
}

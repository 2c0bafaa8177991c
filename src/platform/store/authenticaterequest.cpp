#include <Quillon/platform/store/authenticaterequest.h>

#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/complexstoreoperation.h>
#include <Quillon/platform/store/storeerror.h>

static std::mutex promptMutex;
static TULOAuthenticationContext::PromptHandler &promptStorage()
{
    static TULOAuthenticationContext::PromptHandler handler;
    return handler;
}

static TULOOperationQueue *authenticationQueue()
{
    static TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.authenticate"));
    return &queue;
}

// Runs one request as a complex store operation would, on this thread.
class TULOSignInExchange : public TULOComplexStoreOperation
{
public:
    using TULOComplexStoreOperation::TULOComplexStoreOperation;
    std::shared_ptr<TULOUrlLoadOperation> exchange(const TULOStoreRequest &request)
    {
        auto child = newLoadOperation(request);
        runChildOperation(child);
        return child;
    }
    using TULOComplexStoreOperation::errorForResponse;
};

static TULOError describedStoreError(qint64 code, const QString &description)
{
    return TULOStoreError(code, QUrl(), {{QString::fromLatin1(TULOLocalizedDescriptionKey), description}});
}

void TULOAuthenticationContext::setDefaultPromptHandler(PromptHandler handler)
{
    std::lock_guard lock(promptMutex);
    promptStorage() = std::move(handler);
}

TULOAuthenticationContext::PromptHandler TULOAuthenticationContext::defaultPromptHandler()
{
    std::lock_guard lock(promptMutex);
    return promptStorage();
}

TULOAuthenticateRequest::TULOAuthenticateRequest(const TULOAuthenticationContext &authenticationContext,
                                                 const TULOClientContext &clientContext, TULOStoreAccountStore *accountStore)
    : m_authentication(authenticationContext)
    , m_context(clientContext)
    , m_accounts(accountStore ? accountStore : TULOStoreAccountStore::defaultStore())
{
}

void TULOAuthenticateRequest::startWithResponseBlock(ResponseBlock block)
{
    TULOAuthenticateRequest request = *this;
    authenticationQueue()->addOperation([request, block]() mutable {
        TULOError error;
        const std::optional<TULOStoreAccount> account = request.run(&error);
        if (block)
            block(account, account ? TULOError() : error);
    });
}

std::optional<bool> TULOAuthenticateRequest::sessionIsValid(const TULOUrlBag &bag, const QString &token, TULOError *error)
{
    const QUrl url = bag.urlForKey(QStringLiteral("session"), error);
    if (url.isEmpty())
        return std::nullopt;
    TULOStoreRequest request(url);
    request.setToken(token);
    TULOSignInExchange exchange(m_context);
    const auto child = exchange.exchange(request);
    if (child->response().httpStatus == 401)
        return false;
    if (!child->error().isNull() || !child->response().isSuccess()) {
        TULOSetError(error, TULOSignInExchange::errorForResponse(*child));
        return std::nullopt;
    }
    return true;
}

std::optional<TULOStoreAccount> TULOAuthenticateRequest::run(TULOError *error)
{
    const std::optional<TULOUrlBag> bag = m_context.loadURLBagAndWait(error);
    if (!bag)
        return std::nullopt;

    // A kept session is reused as long as the store accepts it.
    std::optional<TULOStoreAccount> active = m_accounts->activeAccount();
    const QString wanted = m_authentication.accountName();
    const bool sameAccount = active && (wanted.isEmpty() || active->accountName().compare(wanted, Qt::CaseInsensitive) == 0);
    if (sameAccount && active->isAuthenticated()) {
        const std::optional<bool> valid = sessionIsValid(*bag, active->token(), error);
        if (!valid)
            return std::nullopt;
        if (*valid)
            return active;
        m_accounts->invalidateToken();
    }

    if (m_authentication.promptStyle() != TULOAuthenticationContext::PromptStyleAllowed) {
        TULOSetError(error, describedStoreError(TULOStoreErrorRequestFailed, QStringLiteral("Signing in to the store is needed.")));
        return std::nullopt;
    }
    const TULOAuthenticationContext::PromptHandler prompt = m_authentication.promptHandler();
    if (!prompt) {
        TULOSetError(error, describedStoreError(TULOStoreErrorUserCancelled, QStringLiteral("There is no way to ask for the store password.")));
        return std::nullopt;
    }
    const QString offered = !wanted.isEmpty() ? wanted : active ? active->accountName() : QString();
    std::optional<TULOAuthenticationPromptReply> reply;
    TULODispatchMainSync([&] { reply = prompt(offered, TULOError()); });
    if (!reply) {
        TULOSetError(error, describedStoreError(TULOStoreErrorUserCancelled, QStringLiteral("Signing in was cancelled.")));
        return std::nullopt;
    }
    if (reply->createAccount) {
        TULOSetError(error, describedStoreError(TULOStoreErrorAccountCreationRefused,
                                                QStringLiteral("A new store account cannot be created here.")));
        return std::nullopt;
    }

    const QUrl url = bag->urlForKey(QStringLiteral("signIn"), error);
    if (url.isEmpty())
        return std::nullopt;
    TULOStoreRequest request(url);
    request.setFormBody({{QStringLiteral("accountName"), reply->accountName}, {QStringLiteral("password"), reply->password}});
    TULOSignInExchange exchange(m_context);
    const auto child = exchange.exchange(request);
    const QVariantMap body = child->output().toMap();
    const QString token = TULOLookupString(body.value(QStringLiteral("token")));
    const QString identifier = TULOLookupIdentifierString(body.value(QStringLiteral("accountId")));
    if (!child->error().isNull() || !child->response().isSuccess() || token.isEmpty() || identifier.toLongLong() == 0) {
        TULOError failure = TULOSignInExchange::errorForResponse(*child);
        if (failure.isNull() || child->response().isSuccess())
            failure = TULOStoreError(TULOStoreErrorRequestFailed, url,
                                     {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store's sign-in reply is incomplete.")}});
        TULOSetError(error, failure);
        return std::nullopt;
    }
    TULOStoreAccount account;
    account.setIdentifier(identifier.toLongLong());
    account.setAccountName(TULOLookupString(body.value(QStringLiteral("accountName"))).isEmpty()
                               ? reply->accountName
                               : TULOLookupString(body.value(QStringLiteral("accountName"))));
    account.setDisplayName(TULOLookupString(body.value(QStringLiteral("displayName"))));
    account.setToken(token);
    m_accounts->setActiveAccount(account);
    return account;
}

#include <Quillon/platform/store/signedstoreoperation.h>

#include <Quillon/platform/store/storeerror.h>

static TULOError signInAgainError(const TULOError &cause)
{
    QVariantMap userInfo{{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store session has ended.")}};
    if (!cause.isNull())
        userInfo.insert(QString::fromLatin1(TULOUnderlyingErrorKey), QVariant::fromValue(cause));
    return TULOError(TULOErrorDomain, TULOErrorSignInRequired, userInfo);
}

TULOSignedStoreOperation::TULOSignedStoreOperation(const TULOClientContext &context, TULOStoreAccountStore *accounts)
    : TULOComplexStoreOperation(context)
    , m_accounts(accounts ? accounts : TULOStoreAccountStore::defaultStore())
{
}

std::optional<QVariantMap> TULOSignedStoreOperation::signedReply(const QString &bagKey, TULOError *error)
{
    const std::optional<TULOUrlBag> bag = urlBag(error);
    if (!bag)
        return std::nullopt;
    const QUrl url = bag->urlForKey(bagKey, error);
    if (url.isEmpty())
        return std::nullopt;
    const std::optional<TULOStoreAccount> account = m_accounts->activeAccount();
    if (!account || !account->isAuthenticated()) {
        TULOSetError(error, signInAgainError(TULOError()));
        return std::nullopt;
    }
    TULOStoreRequest request(url);
    request.setToken(account->token());
    const auto child = newLoadOperation(request);
    runChildOperation(child);
    if (child->error().isNull() && child->response().httpStatus == 401) {
        m_accounts->invalidateToken();
        TULOSetError(error, signInAgainError(errorForResponse(*child)));
        return std::nullopt;
    }
    if (!child->error().isNull() || !child->response().isSuccess()) {
        TULOSetError(error, errorForResponse(*child));
        return std::nullopt;
    }
    return child->output().toMap();
}

#include <Quillon/accounts/accountinforequestoperation.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>

const char *const TULOAccountInfoRequestOperation::AccessQueueLabel = "com.vantor.Quillon.TULOAccountInfoRequestOperation.accessQueue";

TULOAccountInfoRequestOperation::TULOAccountInfoRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author,
                                                                 const TULOClientContext &context)
    : TULOAccountRequestOperation(author, context)
    , m_serviceIdentifier(serviceIdentifier)
{
}

void TULOAccountInfoRequestOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOAccountInfoRequestOperation::OutputBlock TULOAccountInfoRequestOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

std::optional<TULOAccount> TULOAccountInfoRequestOperation::accountWithInfo(const QVariantMap &accountInfo,
                                                                           const QString &serviceIdentifier)
{
    const QVariant handle = accountInfo.value(QStringLiteral("handle"));
    const QVariant accountId = accountInfo.value(QStringLiteral("accountId"));
    if (!TULOLookupIsString(handle) || !TULOLookupIsString(accountId))
        return std::nullopt;
    TULOAccount account(serviceIdentifier);
    account.setUserName(handle.toString());
    account.setValue(accountId.toString(), QString::fromLatin1(TULOAccountPropertyUserId));
    if (serviceIdentifier == QLatin1String(TULOServiceIdentifierFacebook)) {
        const QVariant pageList = accountInfo.value(QStringLiteral("facebookPages"));
        QList<TULOFacebookPage> pages;
        if (pageList.typeId() == QMetaType::QVariantList) {
            for (const QVariant &entry : pageList.toList()) {
                if (entry.typeId() != QMetaType::QVariantMap)
                    continue;
                if (const std::optional<TULOFacebookPage> page = TULOFacebookPage::withDictionary(entry.toMap()))
                    pages.append(*page);
            }
        }
        // No pages at all is no list, not an empty one.
        if (!pages.isEmpty())
            account.setPages(pages);
        const QVariant pageId = accountInfo.value(QStringLiteral("pageId"));
        if (TULOLookupIsString(pageId))
            account.setPreferredPageIdentifier(pageId.toString());
    }
    return account;
}

void TULOAccountInfoRequestOperation::main()
{
    std::optional<TULOAccount> account;
    TULOError error;
    const QUrl url = musicForumEndpoint(QStringLiteral("socialAccountInfo"));
    if (url.isEmpty()) {
        error = TULOStoreError(TULOStoreErrorRequestFailed);
    } else {
        const auto child = load(url, {{QStringLiteral("accountType"), m_serviceIdentifier}},
                                TULOPostAuthor::queryKeyForAuthorType(author().authorType()));
        const QVariant info = child->output().toMap().value(QStringLiteral("accountInfo"));
        const bool hasInfo = info.typeId() == QMetaType::QVariantMap;
        if (isSuccessStatus(child->response().httpStatus)) {
            if (!hasInfo)
                error = child->error().isNull() ? TULOStoreError(TULOStoreErrorRequestFailed, url) : child->error();
        } else {
            error = errorForResponse(*child);
        }
        // Whatever the status, an account description that came is read.
        if (hasInfo)
            account = accountWithInfo(info.toMap(), m_serviceIdentifier);
    }
    if (OutputBlock block = outputBlock()) {
        accessQueue(AccessQueueLabel)->addOperation([block, account, error] { block(account, error); });
    }
}

#include <Quillon/accounts/accounttokenregisteroperation.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/store/storeerror.h>

const char *const TULOAccountTokenRegisterOperation::LockName = "com.vantor.Quillon.tokenRegister";

TULOAccountTokenRegisterOperation::TULOAccountTokenRegisterOperation(const TULOPostAuthor &author,
                                                                     const TULOExternalDestination &externalDestination,
                                                                     const TULOAccount &account, const TULOClientContext &context)
    : TULOAccountRequestOperation(author, context)
    , m_externalDestination(externalDestination)
    , m_account(account)
{
}

void TULOAccountTokenRegisterOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_lock);
    m_outputBlock = std::move(block);
}

TULOAccountTokenRegisterOperation::OutputBlock TULOAccountTokenRegisterOperation::outputBlock() const
{
    std::lock_guard lock(m_lock);
    return m_outputBlock;
}

QString TULOAccountTokenRegisterOperation::queryKeyForAuthorType(const QString &authorType)
{
    const QString type = authorType.toLower();
    if (type == QLatin1String("artist"))
        return QStringLiteral("artist");
    if (type == QLatin1String("brand"))
        return QStringLiteral("brand");
    if (type == QLatin1String("sorvelbrand"))
        return QStringLiteral("SorvelBrand");
    if (type == QLatin1String("activitycurator"))
        return QStringLiteral("activityCurator");
    return QStringLiteral("user");
}

QList<QPair<QString, QString>> TULOAccountTokenRegisterOperation::queryItems() const
{
    QList<QPair<QString, QString>> items;
    const auto add = [&items](const char *name, const QString &value) {
        if (!value.isNull())
            items.append({QString::fromLatin1(name), value});
    };
    add("accessToken", m_account.authenticationToken());
    add("accessTokenSecret", m_account.authenticationSecret());
    const QVariant userId = m_account.valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId));
    add("userId", userId.typeId() == QMetaType::QString ? userId.toString() : QString());
    add("pageAccessToken", m_externalDestination.pageAccessToken());
    add("pageId", m_account.preferredPageIdentifier());
    return items;
}

void TULOAccountTokenRegisterOperation::main()
{
    bool success = false;
    TULOError error;
    const bool facebook = m_account.serviceIdentifier() == QLatin1String(TULOServiceIdentifierFacebook);
    const QUrl url = musicForumEndpoint(facebook ? QStringLiteral("updateFacebookAccount") : QStringLiteral("updateTwitterAccount"));
    if (url.isEmpty()) {
        error = TULOStoreError(TULOStoreErrorBagValueMissing);
    } else {
        // The reply's body is not looked at: the status says it all.
        const auto child = load(url, queryItems(), queryKeyForAuthorType(author().authorType()));
        success = isSuccessStatus(child->response().httpStatus);
        if (!success)
            error = errorForResponse(*child);
    }
    if (OutputBlock block = outputBlock())
        block(success, error);
}

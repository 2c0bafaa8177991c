#include "accounts/facebookuserregistrationoperation.h"

#include "platform/deploymentconfiguration.h"
#include "platform/operationqueue.h"
#include "platform/store/storeerror.h"

const char *const TULOFacebookUserRegistrationOperation::AccessQueueLabel = "com.vantor.TULOFacebookUserRegistrationOperation.accessQueue";

TULOFacebookUserRegistrationOperation::TULOFacebookUserRegistrationOperation(const QString &token, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountRequestOperation(author, context)
    , m_token(token)
{
}

void TULOFacebookUserRegistrationOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOFacebookUserRegistrationOperation::OutputBlock TULOFacebookUserRegistrationOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

void TULOFacebookUserRegistrationOperation::main()
{
    bool success = false;
    TULOError error;
    const QUrl url = endpoint();
    if (url.isEmpty()) {
        error = TULOStoreError(TULOStoreErrorRequestFailed);
    } else {
        const auto child = load(url, queryItems(), TULOPostAuthor::queryKeyForAuthorType(author().authorType()));
        std::tie(success, error) = statusResult(*child);
    }
    if (OutputBlock block = outputBlock())
        accessQueue(AccessQueueLabel)->addOperation([block, success, error] { block(success, error); });
}

QUrl TULOFacebookUserRegistrationOperation::endpoint()
{
    // A fixed store endpoint of the deployment, not a bag entry.
    return TULODeploymentConfiguration::current().facebookAuthorizationURL(clientContext());
}

QList<QPair<QString, QString>> TULOFacebookUserRegistrationOperation::queryItems() const
{
    return {{QStringLiteral("code"), m_token}};
}

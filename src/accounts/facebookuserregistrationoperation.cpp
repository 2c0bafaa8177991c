#include <Quillon/accounts/facebookuserregistrationoperation.h>

#include <Quillon/platform/deploymentconfiguration.h>

const char *const TULOFacebookUserRegistrationOperation::AccessQueueLabel = "com.vantor.TULOFacebookUserRegistrationOperation.accessQueue";

TULOFacebookUserRegistrationOperation::TULOFacebookUserRegistrationOperation(const QString &token, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountStatusRequestOperation(author, context, AccessQueueLabel)
    , m_token(token)
{
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

#include <Quillon/accounts/accountunlinkrequestoperation.h>


const char *const TULOAccountUnlinkRequestOperation::AccessQueueLabel = "com.vantor.Quillon.TULOAccountUnlinkRequestOperation.accessQueue";

TULOAccountUnlinkRequestOperation::TULOAccountUnlinkRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountStatusRequestOperation(author, context, AccessQueueLabel)
    , m_serviceIdentifier(serviceIdentifier)
{
}

QUrl TULOAccountUnlinkRequestOperation::endpoint()
{
    return musicForumEndpoint(QStringLiteral("unlinkSocialAccount"));
}

QList<QPair<QString, QString>> TULOAccountUnlinkRequestOperation::queryItems() const
{
    return {{QStringLiteral("accountType"), m_serviceIdentifier}};
}

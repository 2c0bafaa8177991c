#include <Quillon/accounts/facebookpageupdateoperation.h>


const char *const TULOFacebookPageUpdateOperation::AccessQueueLabel = "com.vantor.TULOFacebookPageUpdateOperation.accessQueue";

TULOFacebookPageUpdateOperation::TULOFacebookPageUpdateOperation(const QString &pageIdentifier, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountStatusRequestOperation(author, context, AccessQueueLabel)
    , m_pageIdentifier(pageIdentifier)
{
}

QUrl TULOFacebookPageUpdateOperation::endpoint()
{
    return musicForumEndpoint(QStringLiteral("updateFacebookAccount"));
}

QList<QPair<QString, QString>> TULOFacebookPageUpdateOperation::queryItems() const
{
    return {{QStringLiteral("pageId"), m_pageIdentifier}};
}

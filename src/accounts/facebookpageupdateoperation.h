#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/accountrequestoperation.h>

// Tells the store which Facebook page the author posts to.
class QUILLON_EXPORT TULOFacebookPageUpdateOperation : public TULOAccountStatusRequestOperation
{
public:
    static const char *const AccessQueueLabel;

    TULOFacebookPageUpdateOperation(const QString &pageIdentifier, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The page the store is to post to.
    QString pageIdentifier() const { return m_pageIdentifier; }

protected:
    QUrl endpoint() override;
    QList<QPair<QString, QString>> queryItems() const override;

private:
    const QString m_pageIdentifier;
};

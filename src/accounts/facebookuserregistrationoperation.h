#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/accountrequestoperation.h>

// Hands the Facebook sign-in's authorization code to the store, which links the account.
class QUILLON_EXPORT TULOFacebookUserRegistrationOperation : public TULOAccountStatusRequestOperation
{
public:
    static const char *const AccessQueueLabel;

    TULOFacebookUserRegistrationOperation(const QString &token, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The authorization code of the Facebook sign-in dialog.
    QString token() const { return m_token; }

protected:
    QUrl endpoint() override;
    QList<QPair<QString, QString>> queryItems() const override;

private:
    const QString m_token;
};

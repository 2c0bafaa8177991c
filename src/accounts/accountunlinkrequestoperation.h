#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/accountrequestoperation.h>

// Asks the store to forget the author's account of a service.
class QUILLON_EXPORT TULOAccountUnlinkRequestOperation : public TULOAccountStatusRequestOperation
{
public:
    static const char *const AccessQueueLabel;

    TULOAccountUnlinkRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The service whose account is unlinked.
    QString serviceIdentifier() const { return m_serviceIdentifier; }

protected:
    QUrl endpoint() override;
    QList<QPair<QString, QString>> queryItems() const override;

private:
    const QString m_serviceIdentifier;
};

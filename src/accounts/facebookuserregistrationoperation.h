#pragma once

#include "accounts/accountrequestoperation_p.h"

#include <functional>
#include <mutex>

// Hands the Facebook sign-in's authorization code to the store, which links the account.
class TULOFacebookUserRegistrationOperation : public TULOAccountRequestOperation
{
public:
    // Runs on the access queue. Judge by `success`: an error may come with it.
    using OutputBlock = std::function<void(bool success, const TULOError &error)>;

    static const char *const AccessQueueLabel;

    TULOFacebookUserRegistrationOperation(const QString &token, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The authorization code of the Facebook sign-in dialog.
    QString token() const { return m_token; }

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

protected:
    void main() override;

private:
    QUrl endpoint();
    QList<QPair<QString, QString>> queryItems() const;

    const QString m_token;
    mutable std::mutex m_mutex;
    OutputBlock m_outputBlock;
};

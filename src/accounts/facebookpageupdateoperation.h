#pragma once

#include "accounts/accountrequestoperation_p.h"

#include <functional>
#include <mutex>

// Tells the store which Facebook page the author posts to.
class TULOFacebookPageUpdateOperation : public TULOAccountRequestOperation
{
public:
    // Runs on the access queue. Judge by `success`: an error may come with it.
    using OutputBlock = std::function<void(bool success, const TULOError &error)>;

    static const char *const AccessQueueLabel;

    TULOFacebookPageUpdateOperation(const QString &pageIdentifier, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The page the store is to post to.
    QString pageIdentifier() const { return m_pageIdentifier; }

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

protected:
    void main() override;

private:
    QUrl endpoint();
    QList<QPair<QString, QString>> queryItems() const;

    const QString m_pageIdentifier;
    mutable std::mutex m_mutex;
    OutputBlock m_outputBlock;
};

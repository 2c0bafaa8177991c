#pragma once

#include "accounts/accountrequestoperation_p.h"

#include <functional>
#include <mutex>

// Asks the store to forget the author's account of a service.
class TULOAccountUnlinkRequestOperation : public TULOAccountRequestOperation
{
public:
    // Runs on the access queue. Judge by `success`: an error may come with it.
    using OutputBlock = std::function<void(bool success, const TULOError &error)>;

    static const char *const AccessQueueLabel;

    TULOAccountUnlinkRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author, const TULOClientContext &context = TULOClientContext());

    // The service whose account is unlinked.
    QString serviceIdentifier() const { return m_serviceIdentifier; }

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

protected:
    void main() override;

private:
    QUrl endpoint();
    QList<QPair<QString, QString>> queryItems() const;

    const QString m_serviceIdentifier;
    mutable std::mutex m_mutex;
    OutputBlock m_outputBlock;
};

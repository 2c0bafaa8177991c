#include "accounts/accountunlinkrequestoperation.h"

#include "platform/operationqueue.h"
#include "platform/store/storeerror.h"

const char *const TULOAccountUnlinkRequestOperation::AccessQueueLabel = "com.vantor.Quillon.TULOAccountUnlinkRequestOperation.accessQueue";

TULOAccountUnlinkRequestOperation::TULOAccountUnlinkRequestOperation(const QString &serviceIdentifier, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountRequestOperation(author, context)
    , m_serviceIdentifier(serviceIdentifier)
{
}

void TULOAccountUnlinkRequestOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOAccountUnlinkRequestOperation::OutputBlock TULOAccountUnlinkRequestOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

void TULOAccountUnlinkRequestOperation::main()
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

QUrl TULOAccountUnlinkRequestOperation::endpoint()
{
    return musicForumEndpoint(QStringLiteral("unlinkSocialAccount"));
}

QList<QPair<QString, QString>> TULOAccountUnlinkRequestOperation::queryItems() const
{
    return {{QStringLiteral("accountType"), m_serviceIdentifier}};
}

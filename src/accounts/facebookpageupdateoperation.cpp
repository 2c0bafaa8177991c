#include "accounts/facebookpageupdateoperation.h"

#include "platform/operationqueue.h"
#include "platform/store/storeerror.h"

const char *const TULOFacebookPageUpdateOperation::AccessQueueLabel = "com.vantor.TULOFacebookPageUpdateOperation.accessQueue";

TULOFacebookPageUpdateOperation::TULOFacebookPageUpdateOperation(const QString &pageIdentifier, const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOAccountRequestOperation(author, context)
    , m_pageIdentifier(pageIdentifier)
{
}

void TULOFacebookPageUpdateOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOFacebookPageUpdateOperation::OutputBlock TULOFacebookPageUpdateOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

void TULOFacebookPageUpdateOperation::main()
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

QUrl TULOFacebookPageUpdateOperation::endpoint()
{
    return musicForumEndpoint(QStringLiteral("updateFacebookAccount"));
}

QList<QPair<QString, QString>> TULOFacebookPageUpdateOperation::queryItems() const
{
    return {{QStringLiteral("pageId"), m_pageIdentifier}};
}

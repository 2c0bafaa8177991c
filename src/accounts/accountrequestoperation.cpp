#include <Quillon/accounts/accountrequestoperation.h>

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeaccount.h>
#include <Quillon/platform/store/storeerror.h>

#include <QHash>

#include <mutex>

TULOAccountRequestOperation::TULOAccountRequestOperation(const TULOPostAuthor &author, const TULOClientContext &context)
    : TULOComplexStoreOperation(context.isNull() ? TULOClientContext::defaultContext() : context)
    , m_author(author)
{
}

TULOOperationQueue *TULOAccountRequestOperation::accessQueue(const char *label)
{
    static std::mutex mutex;
    static QHash<QByteArray, TULOOperationQueue *> *const queues = new QHash<QByteArray, TULOOperationQueue *>;
    std::lock_guard lock(mutex);
    TULOOperationQueue *&queue = (*queues)[QByteArray(label)];
    if (!queue) {
        queue = new TULOOperationQueue(QString::fromLatin1(label));
        queue->setMaxConcurrentOperationCount(1);
    }
    return queue;
}

QUrl TULOAccountRequestOperation::musicForumEndpoint(const QString &key)
{
    const std::optional<TULOUrlBag> bag = urlBag(nullptr);
    if (!bag)
        return QUrl();
    const QVariant forum = bag->valueForKey(QStringLiteral("musicForum"));
    if (forum.typeId() != QMetaType::QVariantMap)
        return QUrl();
    const QVariant endpoint = forum.toMap().value(key);
    if (!TULOLookupIsString(endpoint))
        return QUrl();
    return QUrl(endpoint.toString());
}

std::shared_ptr<TULOUrlLoadOperation> TULOAccountRequestOperation::load(const QUrl &url, const QList<QPair<QString, QString>> &items,
                                                                       const QString &authorQueryKey)
{
    QList<QPair<QString, QString>> query{{authorQueryKey, m_author.identifier()}};
    query.append(items);
    TULOStoreRequest request(url);
    request.setQueryItems(query);
    if (const std::optional<TULOStoreAccount> account = TULOStoreAccountStore::defaultStore()->activeAccount();
        account && account->isAuthenticated())
        request.setToken(account->token());
    const auto child = newLoadOperation(request);
    runChildOperation(child);
    return child;
}

std::pair<bool, TULOError> TULOAccountRequestOperation::statusResult(const TULOUrlLoadOperation &child)
{
    const QVariant status = child.output().toMap().value(QStringLiteral("status"));
    const bool success = TULOLookupIsString(status) && status.toString() == QLatin1String("success");
    TULOError error = child.error();
    if (error.isNull() && !isSuccessStatus(child.response().httpStatus))
        error = errorForResponse(child);
    return {success, error};
}

TULOAccountStatusRequestOperation::TULOAccountStatusRequestOperation(const TULOPostAuthor &author, const TULOClientContext &context,
                                                                     const char *accessQueueLabel)
    : TULOAccountRequestOperation(author, context)
    , m_accessQueueLabel(accessQueueLabel)
{
}

void TULOAccountStatusRequestOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

TULOAccountStatusRequestOperation::OutputBlock TULOAccountStatusRequestOperation::outputBlock() const
{
    std::lock_guard lock(m_mutex);
    return m_outputBlock;
}

void TULOAccountStatusRequestOperation::main()
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
        accessQueue(m_accessQueueLabel)->addOperation([block, success, error] { block(success, error); });
}

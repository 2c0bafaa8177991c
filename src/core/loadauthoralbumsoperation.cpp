#include <Quillon/core/loadauthoralbumsoperation.h>

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/semaphore_p.h>
#include <Quillon/platform/store/platformrequestoperation.h>
#include <Quillon/platform/store/storeerror.h>

namespace {

constexpr int TULOPersonalizationStyle = 2;

QString queueName()
{
    return QStringLiteral("com.vantor.Quillon.TULOLoadAuthorAlbumsOperation");
}

} // namespace

TULOLoadAuthorAlbumsOperation::TULOLoadAuthorAlbumsOperation(const QString &authorIdentifier, const TULOClientContext &clientContext)
    : m_authorIdentifier(authorIdentifier)
    , m_clientContext(clientContext)
{
    setName(queueName());
}

TULOLoadAuthorAlbumsOperation::OutputBlock TULOLoadAuthorAlbumsOperation::outputBlock() const
{
    std::lock_guard lock(m_lock);
    return m_outputBlock;
}

void TULOLoadAuthorAlbumsOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_lock);
    m_outputBlock = std::move(block);
}

void TULOLoadAuthorAlbumsOperation::main()
{
    std::optional<TULOUrlBag> bag;
    TULOError error;
    if (m_clientContext.isNull()) {
        error = TULOStoreError(TULOStoreErrorBagValueMissing, QUrl(),
                               {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("There is no store to ask.")}});
    } else {
        bag = m_clientContext.loadURLBagAndWait(&error, this);
    }

    std::optional<QList<TULOStoreItem>> albums;
    if (bag) {
        error = TULOError();
        albums = loadArtistContentWithPlatformContext(TULOPlatformContext(*bag, m_clientContext), &error);
        if (albums)
            error = TULOError();
    }

    OutputBlock block = outputBlock();
    if (block) {
        block(albums, error);
        setOutputBlock(nullptr);
    }
}

std::optional<QList<TULOStoreItem>> TULOLoadAuthorAlbumsOperation::loadArtistContentWithPlatformContext(const TULOPlatformContext &platformContext,
                                                                                                        TULOError *error)
{
    TULOPlatformRequestOperation request(platformContext);
    const TULOCancellationLink link(this, &request);
    request.setItemIdentifiers({m_authorIdentifier});
    request.setKeyProfile(QString::fromLatin1(TULOLookupKeyProfileArtistContent));
    request.setPersonalizationStyle(TULOPersonalizationStyle);
    request.setStorefrontSuffix(m_clientContext.storefrontSuffix());
    request.setValueForRequestParameter(QString::fromLatin1(TULOPlatformProtocolVersion), QString::fromLatin1(TULOPlatformRequestVersionParameter));

    std::optional<QList<TULOStoreItem>> albums;
    TULOError failure;
    request.setResponseBlock([this, &albums, &failure, &platformContext](const std::optional<TULOLookupResponse> &response,
                                                                       const TULOError &responseError) {
        if (response)
            albums = loadAlbumsWithLookupResponse(*response, platformContext, &failure);
        else
            failure = responseError;
    });
    request.start();
    if (!albums)
        TULOSetError(error, failure);
    return albums;
}

std::optional<QList<TULOStoreItem>> TULOLoadAuthorAlbumsOperation::loadAlbumsWithLookupResponse(const TULOLookupResponse &response,
                                                                                                const TULOPlatformContext &platformContext,
                                                                                                TULOError *error)
{
    std::optional<TULOLookupItem> author = response.itemForKey(m_authorIdentifier);
    if (!author) {
        bool numeric = false;
        const qint64 number = m_authorIdentifier.toLongLong(&numeric);
        if (numeric)
            author = response.itemForKey(number);
    }
    if (!author) {
        TULOSetError(error, TULOError(TULOStoreErrorDomain, TULOStoreErrorItemNotFound));
        return std::nullopt;
    }

    QList<TULOStoreItem> albums;
    QVariantList identifiersToLookUp;
    const QVariantMap dictionary = author->lookupDictionary();
    const QVariant children = dictionary.value(QStringLiteral("children"));
    const QVariant contentByKind = dictionary.value(QStringLiteral("contentByKind"));
    const bool childrenUsable = !children.isValid() || children.typeId() == QMetaType::QVariantMap;
    if (contentByKind.typeId() == QMetaType::QVariantMap && childrenUsable) {
        const QVariant albumIdentifiers = contentByKind.toMap().value(QStringLiteral("album"));
        if (albumIdentifiers.typeId() == QMetaType::QVariantList) {
            const QVariantMap described = children.toMap();
            for (const QVariant &identifier : albumIdentifiers.toList()) {
                QVariant child;
                if (TULOLookupIsString(identifier))
                    child = described.value(identifier.toString());
                if (!child.isValid() && TULOLookupIsNumber(identifier))
                    child = described.value(TULOLookupIdentifierString(identifier));
                if (child.typeId() == QMetaType::QVariantMap)
                    albums.append(TULOStoreItem::withItemDictionary(child.toMap()));
                else
                    identifiersToLookUp.append(identifier);
            }
        }
    }

    if (!identifiersToLookUp.isEmpty()) {
        const QList<TULOStoreItem> lookedUp = loadAlbumsWithItemIdentifiers(identifiersToLookUp, platformContext);
        albums.append(lookedUp);
    }
    return albums;
}

QList<TULOStoreItem> TULOLoadAuthorAlbumsOperation::loadAlbumsWithItemIdentifiers(const QVariantList &identifiers,
                                                                                  const TULOPlatformContext &platformContext)
{
    QList<TULOStoreItem> results;
    TULOOperationQueue queue(queueName());
    queue.setMaxConcurrentOperationCount(MaximumConcurrentLookups);
    for (const QVariant &identifier : identifiers) {
        auto request = std::make_shared<TULOPlatformRequestOperation>(platformContext);
        request->setItemIdentifiers({identifier});
        request->setKeyProfile(QString::fromLatin1(TULOLookupKeyProfileLockup));
        request->setPersonalizationStyle(TULOPersonalizationStyle);
        request->setStorefrontSuffix(m_clientContext.storefrontSuffix());
        request->setValueForRequestParameter(QString::fromLatin1(TULOPlatformProtocolVersion),
                                             QString::fromLatin1(TULOPlatformRequestVersionParameter));
        request->setResponseBlock([this, &results](const std::optional<TULOLookupResponse> &response, const TULOError &) {
            if (!response || response->isEmpty())
                return;
            std::lock_guard lock(m_lock);
            for (const TULOLookupItem &item : response->allItems())
                results.append(TULOStoreItem::withItemDictionary(item.lookupDictionary()));
        });
        queue.addOperation(request);
    }
    const int cancellation = addCancellationHandler([&queue] { queue.cancelAllOperations(); });
    queue.waitUntilAllOperationsAreFinished();
    removeCancellationHandler(cancellation);
    std::lock_guard lock(m_lock);
    return results;
}

#include <Quillon/platform/store/resourceloader.h>

#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/platform/store/resourceloadoperation.h>
#include <Quillon/platform/store/storeerror.h>

#include <QCache>
#include <QHash>

#include <algorithm>
#include <limits>
#include <vector>

struct TULOResourceLoad
{
    std::vector<std::shared_ptr<TULOArtworkRequest>> requests;
    int reason = 0;
    quint64 order = 0;
    std::shared_ptr<TULOResourceLoadOperation> operation; // set once running
};

class TULOResourceLoaderPrivate : public std::enable_shared_from_this<TULOResourceLoaderPrivate>
{
public:
    explicit TULOResourceLoaderPrivate(const TULOClientContext &context)
        : context(context)
    {
        cache.setMaxCost(int(TULOResourceLoader::DefaultCacheLimit / 1024));
    }

    void schedule();
    void finished(const QString &identifier, const std::shared_ptr<TULOResourceLoadOperation> &operation, const QVariant &output,
                  const TULOError &error);

    TULOClientContext context;
    QHash<QString, TULOResourceLoad> loads;
    QCache<QString, QImage> cache; // cost in KiB
    int maxConcurrent = TULOResourceLoader::DefaultMaxConcurrentLoads;
    int running = 0;
    quint64 nextOrder = 0;
    // Last member: destroyed first, waiting for running loads before the rest goes.
    std::unique_ptr<TULOOperationQueue> queue = std::make_unique<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.resourceLoader"));
};

void TULOResourceLoaderPrivate::schedule()
{
    while (running < maxConcurrent) {
        QString next;
        const TULOResourceLoad *best = nullptr;
        for (auto it = loads.cbegin(); it != loads.cend(); ++it) {
            const TULOResourceLoad &load = it.value();
            if (load.operation)
                continue;
            if (!best || load.reason > best->reason || (load.reason == best->reason && load.order < best->order)) {
                best = &load;
                next = it.key();
            }
        }
        if (!best)
            return;
        TULOResourceLoad &load = loads[next];
        std::shared_ptr<TULOResourceLoadOperation> operation = load.requests.front()->newLoadOperation();
        if (!operation) {
            const auto requests = load.requests;
            loads.remove(next);
            const TULOError error = TULOStoreError(TULOStoreErrorRequestFailed, requests.front()->url(),
                                                   {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The artwork cannot be loaded.")}});
            for (const auto &request : requests) {
                if (TULOArtworkRequestDelegate *delegate = request->delegate())
                    delegate->artworkRequestDidFailWithError(request, error);
            }
            continue;
        }
        operation->setClientContext(context);
        std::weak_ptr<TULOResourceLoaderPrivate> weak = weak_from_this();
        std::weak_ptr<TULOResourceLoadOperation> weakOperation = operation;
        operation->setOutputBlock([weak, weakOperation, next](const QVariant &output, const TULOError &error) {
            TULODispatchMain([weak, weakOperation, next, output, error] {
                const auto self = weak.lock();
                const auto operation = weakOperation.lock();
                if (self && operation)
                    self->finished(next, operation, output, error);
            });
        });
        load.operation = operation;
        ++running;
        queue->addOperation(operation);
    }
}

void TULOResourceLoaderPrivate::finished(const QString &identifier, const std::shared_ptr<TULOResourceLoadOperation> &operation,
                                         const QVariant &output, const TULOError &error)
{
    const auto found = loads.constFind(identifier);
    // A load cancelled meanwhile (and perhaps started again) is not this one.
    if (found == loads.cend() || found->operation != operation)
        return;
    const std::vector<std::shared_ptr<TULOArtworkRequest>> requests = found->requests;
    loads.erase(found);
    --running;

    const QImage image = output.typeId() == QMetaType::QImage ? output.value<QImage>() : QImage();
    TULOError failure = error;
    if (failure.isNull() && image.isNull())
        failure = TULOStoreError(TULOStoreErrorRequestFailed, requests.front()->url(),
                                 {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The artwork is not an image.")}});
    if (failure.isNull())
        cache.insert(identifier, new QImage(image), int(std::max<qsizetype>(1, image.sizeInBytes() / 1024)));
    // Delegates may start new loads; schedule once they have been told.
    for (const auto &request : requests) {
        TULOArtworkRequestDelegate *delegate = request->delegate();
        if (!delegate)
            continue;
        if (failure.isNull())
            delegate->artworkRequestDidLoadImage(request, image);
        else
            delegate->artworkRequestDidFailWithError(request, failure);
    }
    schedule();
}

TULOResourceLoader::TULOResourceLoader(const TULOClientContext &context)
    : d(std::make_shared<TULOResourceLoaderPrivate>(context))
{
}

TULOResourceLoader::~TULOResourceLoader()
{
    cancelAllLoads();
}

TULOClientContext TULOResourceLoader::clientContext() const
{
    return d->context;
}

bool TULOResourceLoader::loadResourceWithRequest(const std::shared_ptr<TULOArtworkRequest> &request, int reason)
{
    if (!request)
        return false;
    const QString identifier = request->requestIdentifier();
    if (d->cache.contains(identifier))
        return false;
    const auto found = d->loads.find(identifier);
    if (found != d->loads.end()) {
        if (std::find(found->requests.cbegin(), found->requests.cend(), request) == found->requests.cend())
            found->requests.push_back(request);
        found->reason = std::max(found->reason, reason);
        return false;
    }
    TULOResourceLoad load;
    load.requests.push_back(request);
    load.reason = reason;
    load.order = d->nextOrder++;
    d->loads.insert(identifier, load);
    d->schedule();
    return true;
}

QImage TULOResourceLoader::cachedResourceForRequestIdentifier(const QString &identifier) const
{
    const QImage *image = d->cache.object(identifier);
    return image ? *image : QImage();
}

bool TULOResourceLoader::hasRequestWithIdentifier(const QString &identifier) const
{
    return d->cache.contains(identifier) || d->loads.contains(identifier);
}

std::optional<int> TULOResourceLoader::reasonForRequestIdentifier(const QString &identifier) const
{
    const auto found = d->loads.constFind(identifier);
    if (found == d->loads.cend())
        return std::nullopt;
    return found->reason;
}

int TULOResourceLoader::pendingLoadCount() const
{
    return int(d->loads.size());
}

int TULOResourceLoader::maxConcurrentLoads() const
{
    return d->maxConcurrent;
}

void TULOResourceLoader::setMaxConcurrentLoads(int count)
{
    d->maxConcurrent = std::max(1, count);
    d->schedule();
}

qint64 TULOResourceLoader::cacheLimit() const
{
    return qint64(d->cache.maxCost()) * 1024;
}

void TULOResourceLoader::setCacheLimit(qint64 bytes)
{
    d->cache.setMaxCost(int(std::clamp<qint64>(bytes / 1024, 0, std::numeric_limits<int>::max())));
}

void TULOResourceLoader::removeAllCachedResources()
{
    d->cache.clear();
}

void TULOResourceLoader::cancelAllLoads()
{
    for (const TULOResourceLoad &load : std::as_const(d->loads)) {
        if (load.operation)
            load.operation->cancel();
    }
    d->loads.clear();
    d->running = 0;
}

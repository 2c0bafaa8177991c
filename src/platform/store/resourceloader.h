#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>

#include <QImage>
#include <QString>

#include <memory>
#include <optional>

class TULOArtworkRequest;
class TULOResourceLoaderPrivate;

// Why an image is wanted; a higher reason loads first.
enum TULOResourceLoadReason : int {
    TULOResourceLoadReasonPrefetch = 0, // may be shown soon (suggestions about to appear)
    TULOResourceLoadReasonVisible = 1,  // on screen now
};

// Loads artwork requests a few at a time, the highest reason first (in request order within a
// reason), and keeps the images by request identifier. Requests with one identifier share a
// load. Use it on the main thread: delegates are told there. Destroying it cancels what is
// still loading, and nobody is told about those.
class QUILLON_EXPORT TULOResourceLoader
{
public:
    static constexpr int DefaultMaxConcurrentLoads = 4;
    static constexpr qint64 DefaultCacheLimit = 32 * 1024 * 1024; // bytes of decoded pixels

    explicit TULOResourceLoader(const TULOClientContext &context = TULOClientContext::defaultContext());
    ~TULOResourceLoader();

    TULOResourceLoader(const TULOResourceLoader &) = delete;
    TULOResourceLoader &operator=(const TULOResourceLoader &) = delete;

    TULOClientContext clientContext() const;

    // Starts loading unless the identifier's image is cached or already on its way; a request
    // for an identifier on its way joins that load (its delegate is told too) and raises its
    // reason when this one is higher. True when a new load was started or queued.
    bool loadResourceWithRequest(const std::shared_ptr<TULOArtworkRequest> &request, int reason);

    // The cached image; a null image when there is none.
    QImage cachedResourceForRequestIdentifier(const QString &identifier) const;
    // Whether the identifier is cached, loading or waiting to load.
    bool hasRequestWithIdentifier(const QString &identifier) const;
    // The reason of a load still waiting or running; nullopt when there is none.
    std::optional<int> reasonForRequestIdentifier(const QString &identifier) const;
    // Loads waiting and running.
    int pendingLoadCount() const;

    int maxConcurrentLoads() const;
    void setMaxConcurrentLoads(int count);
    qint64 cacheLimit() const;
    void setCacheLimit(qint64 bytes);
    void removeAllCachedResources();
    // Forgets every waiting load and cancels the running ones; their delegates are not told.
    void cancelAllLoads();

private:
    std::shared_ptr<TULOResourceLoaderPrivate> d;
};

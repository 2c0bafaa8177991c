#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/weakdelegate.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/store/dataconsumer.h>

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <memory>
#include <mutex>

class TULOArtworkRequest;
class TULOResourceLoadOperation;

// Told by the resource loader, on the main thread, how an artwork request ended.
class QUILLON_EXPORT TULOArtworkRequestDelegate
{
public:
    virtual ~TULOArtworkRequestDelegate() = default;
    virtual void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image)
    {
        Q_UNUSED(request)
        Q_UNUSED(image)
    }
    virtual void artworkRequestDidFailWithError(const std::shared_ptr<TULOArtworkRequest> &request, const TULOError &error)
    {
        Q_UNUSED(request)
        Q_UNUSED(error)
    }
};

// One image to load: where from, how to turn the bytes into an image, whom to tell, and the
// key it is cached under. Held by std::shared_ptr; a loader compares requests by identifier.
// Set it up on one thread before handing it to a loader; it is read from the loader's threads.
class QUILLON_EXPORT TULOArtworkRequest : public std::enable_shared_from_this<TULOArtworkRequest>
{
public:
    TULOArtworkRequest();
    explicit TULOArtworkRequest(const QUrl &url, const QString &cacheKey = QString());
    virtual ~TULOArtworkRequest();

    TULOArtworkRequest(const TULOArtworkRequest &) = delete;
    TULOArtworkRequest &operator=(const TULOArtworkRequest &) = delete;

    // The cache key when one is set (the tag's or author's identifier), otherwise a key of this
    // request alone. Requests with one identifier share one load and one cached image.
    QString requestIdentifier() const;
    QString cacheKey() const;
    void setCacheKey(const QString &key);

    QUrl url() const;
    void setUrl(const QUrl &url);
    // Null: the image as the store sent it.
    std::shared_ptr<TULODataConsumer> dataConsumer() const;
    void setDataConsumer(std::shared_ptr<TULODataConsumer> consumer);
    // Null: the loader's context.
    TULOClientContext clientContext() const;
    void setClientContext(const TULOClientContext &context);

    // Held weakly when it is a QObject (a view or controller), else as a plain pointer that the
    // owner clears before it goes away.
    TULOArtworkRequestDelegate *delegate() const;
    void setDelegate(TULOArtworkRequestDelegate *delegate);

    // The operation that produces the image; the default fetches url() through dataConsumer().
    virtual std::shared_ptr<TULOResourceLoadOperation> newLoadOperation() const;

private:
    mutable std::mutex m_mutex;
    QString m_uniqueIdentifier;
    QString m_cacheKey;
    QUrl m_url;
    std::shared_ptr<TULODataConsumer> m_consumer;
    TULOClientContext m_context;
    TULOWeakDelegate<TULOArtworkRequestDelegate> m_delegate;
};

#include <Quillon/platform/store/artworkrequest.h>

#include <Quillon/platform/store/resourceloadoperation.h>

#include <atomic>

static QString nextUniqueIdentifier()
{
    static std::atomic<quint64> counter{0};
    // A prefix no store identifier has, so it never meets a cache key.
    return QStringLiteral("#artwork-%1").arg(++counter);
}

TULOArtworkRequest::TULOArtworkRequest()
    : m_uniqueIdentifier(nextUniqueIdentifier())
{
}

TULOArtworkRequest::TULOArtworkRequest(const QUrl &url, const QString &cacheKey)
    : m_uniqueIdentifier(nextUniqueIdentifier())
    , m_cacheKey(cacheKey)
    , m_url(url)
{
}

TULOArtworkRequest::~TULOArtworkRequest() = default;

QString TULOArtworkRequest::requestIdentifier() const
{
    std::lock_guard lock(m_mutex);
    return m_cacheKey.isEmpty() ? m_uniqueIdentifier : m_cacheKey;
}

QString TULOArtworkRequest::cacheKey() const
{
    std::lock_guard lock(m_mutex);
    return m_cacheKey;
}

void TULOArtworkRequest::setCacheKey(const QString &key)
{
    std::lock_guard lock(m_mutex);
    m_cacheKey = key;
}

QUrl TULOArtworkRequest::url() const
{
    std::lock_guard lock(m_mutex);
    return m_url;
}

void TULOArtworkRequest::setUrl(const QUrl &url)
{
    std::lock_guard lock(m_mutex);
    m_url = url;
}

std::shared_ptr<TULODataConsumer> TULOArtworkRequest::dataConsumer() const
{
    std::lock_guard lock(m_mutex);
    return m_consumer;
}

void TULOArtworkRequest::setDataConsumer(std::shared_ptr<TULODataConsumer> consumer)
{
    std::lock_guard lock(m_mutex);
    m_consumer = std::move(consumer);
}

TULOClientContext TULOArtworkRequest::clientContext() const
{
    std::lock_guard lock(m_mutex);
    return m_context;
}

void TULOArtworkRequest::setClientContext(const TULOClientContext &context)
{
    std::lock_guard lock(m_mutex);
    m_context = context;
}

TULOArtworkRequestDelegate *TULOArtworkRequest::delegate() const
{
    std::lock_guard lock(m_mutex);
    return m_delegate.get();
}

void TULOArtworkRequest::setDelegate(TULOArtworkRequestDelegate *delegate)
{
    std::lock_guard lock(m_mutex);
    m_delegate.set(delegate);
}

std::shared_ptr<TULOResourceLoadOperation> TULOArtworkRequest::newLoadOperation() const
{
    return std::make_shared<TULOResourceLoadOperation>(shared_from_this());
}

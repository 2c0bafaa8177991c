#include <Quillon/platform/clientcontext.h>

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/semaphore_p.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QCoreApplication>
#include <QSharedData>

#include <mutex>
#include <vector>

const char *const TULOClientConfigurationLocaleKey = "locale";
const char *const TULOClientConfigurationStorefrontSuffixKey = "storefrontSuffix";

class TULOClientContextPrivate : public QSharedData
{
public:
    mutable std::mutex mutex;
    QUrl bagURL;
    QVariantMap configuration;
    int requestTimeout = TULOClientContext::DefaultRequestTimeout;
    std::optional<TULOUrlBag> bag;
    bool loading = false;
    std::vector<std::pair<int, TULOClientContext::URLBagCompletion>> waiting;
    int nextWaiter = 1;
    std::weak_ptr<TULOOperation> loader;
    int generation = 0; // of the load in flight; an abandoned load's answer is not used
    TULOClientContext::LocalizedStringHandler localizedStrings;
};

static TULOOperationQueue *bagQueue()
{
    static TULOOperationQueue queue(QStringLiteral("com.vantor.Quillon.urlBag"));
    return &queue;
}

static std::mutex defaultMutex;
static TULOClientContext &defaultStorage()
{
    static TULOClientContext context;
    return context;
}

TULOClientContext::TULOClientContext() = default;

TULOClientContext::TULOClientContext(const QUrl &bagURL)
    : d(new TULOClientContextPrivate)
{
    d->bagURL = bagURL;
}

TULOClientContext::TULOClientContext(const QVariantMap &configuration)
    : d(new TULOClientContextPrivate)
{
    d->configuration = configuration;
}

TULOClientContext::TULOClientContext(const TULOClientContext &other) = default;
TULOClientContext &TULOClientContext::operator=(const TULOClientContext &other) = default;
TULOClientContext::~TULOClientContext() = default;

bool TULOClientContext::isNull() const
{
    return !d;
}

QUrl TULOClientContext::bagURL() const
{
    return d ? d->bagURL : QUrl();
}

QVariantMap TULOClientContext::configuration() const
{
    if (!d)
        return {};
    std::lock_guard lock(d->mutex);
    return d->configuration;
}

QVariant TULOClientContext::valueForConfigurationKey(const QString &key) const
{
    if (!d)
        return QVariant();
    std::lock_guard lock(d->mutex);
    return d->configuration.value(key);
}

void TULOClientContext::setValueForConfigurationKey(const QVariant &value, const QString &key)
{
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    if (value.isValid())
        d->configuration.insert(key, value);
    else
        d->configuration.remove(key);
}

QString TULOClientContext::locale() const
{
    const QVariant value = valueForConfigurationKey(QString::fromLatin1(TULOClientConfigurationLocaleKey));
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QString TULOClientContext::storefrontSuffix() const
{
    const QVariant value = valueForConfigurationKey(QString::fromLatin1(TULOClientConfigurationStorefrontSuffixKey));
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QString TULOClientContext::localizedStringForKey(const QString &key, const QString &table) const
{
    if (!d || key.isEmpty())
        return key;
    LocalizedStringHandler handler;
    {
        std::lock_guard lock(d->mutex);
        handler = d->localizedStrings;
    }
    if (handler)
        return handler(key, table);
    const QByteArray keyBytes = key.toUtf8();
    const QByteArray tableBytes = table.toUtf8();
    const QString inTable = QCoreApplication::translate(tableBytes.constData(), keyBytes.constData());
    if (inTable != key)
        return inTable;
    const QString byID = qtTrId(keyBytes.constData());
    return byID.isEmpty() ? key : byID;
}

void TULOClientContext::setLocalizedStringHandler(LocalizedStringHandler handler)
{
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    d->localizedStrings = std::move(handler);
}

int TULOClientContext::requestTimeout() const
{
    if (!d)
        return DefaultRequestTimeout;
    std::lock_guard lock(d->mutex);
    return d->requestTimeout;
}

void TULOClientContext::setRequestTimeout(int milliseconds)
{
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    d->requestTimeout = milliseconds > 0 ? milliseconds : DefaultRequestTimeout;
}

void TULOClientContext::loadURLBag(URLBagCompletion completion) const
{
    waitForURLBag(std::move(completion));
}

int TULOClientContext::waitForURLBag(URLBagCompletion completion) const
{
    if (!d) {
        if (completion)
            completion(std::nullopt, TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                                                    {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                                      QStringLiteral("No store is configured.")}}));
        return 0;
    }
    std::optional<TULOUrlBag> ready;
    int waiter = 0;
    {
        std::lock_guard lock(d->mutex);
        if (d->bag) {
            ready = d->bag;
        } else {
            waiter = d->nextWaiter++;
            d->waiting.emplace_back(waiter, std::move(completion));
            if (d->loading)
                return waiter;
            d->loading = true;
        }
    }
    if (ready) {
        if (completion)
            completion(ready, TULOError());
        return 0;
    }

    int generation = 0;
    {
        std::lock_guard lock(d->mutex);
        generation = ++d->generation;
    }
    auto load = std::make_shared<TULOUrlLoadOperation>(d->bagURL);
    load->setName(QStringLiteral("com.vantor.Quillon.urlBag.load"));
    load->setClientContext(*this);
    const QExplicitlySharedDataPointer<TULOClientContextPrivate> shared = d;
    const QUrl source = d->bagURL;
    TULOUrlLoadOperation *loader = load.get();
    load->setOutputBlock([shared, source, loader, generation](const QVariant &output, const TULOError &loadError) {
        std::optional<TULOUrlBag> bag;
        TULOError error = loadError;
        const int status = loader->response().httpStatus;
        if (error.isNull() && (status < 200 || status > 299))
            error = TULOStoreError(TULOStoreErrorRequestFailed, source,
                                   {{QString::fromLatin1(TULOStoreHTTPStatusKey), status},
                                    {QString::fromLatin1(TULOLocalizedDescriptionKey),
                                     QStringLiteral("The store's URL bag is not available (status %1).").arg(status)}});
        if (error.isNull())
            bag = TULOUrlBag::withData(output.toByteArray(), source, &error);
        std::vector<std::pair<int, URLBagCompletion>> waiting;
        {
            std::lock_guard lock(shared->mutex);
            if (generation != shared->generation)
                return;
            if (bag)
                shared->bag = bag;
            shared->loading = false;
            waiting.swap(shared->waiting);
        }
        for (const auto &[key, completion] : waiting) {
            if (completion)
                completion(bag, bag ? TULOError() : error);
        }
    });
    {
        std::lock_guard lock(d->mutex);
        d->loader = load;
    }
    bagQueue()->addOperation(load);
    return waiter;
}

void TULOClientContext::stopWaitingForURLBag(int waiter) const
{
    std::shared_ptr<TULOOperation> abandoned;
    {
        std::lock_guard lock(d->mutex);
        const auto removed = std::erase_if(d->waiting, [waiter](const auto &entry) { return entry.first == waiter; });
        if (removed && d->waiting.empty() && d->loading) {
            // Nobody wants this load any more: the next waiter starts a fresh one.
            abandoned = d->loader.lock();
            d->loading = false;
            ++d->generation;
        }
    }
    if (abandoned)
        abandoned->cancel();
}

std::optional<TULOUrlBag> TULOClientContext::loadURLBagAndWait(TULOError *error, const TULOOperation *waiter) const
{
    // Shared: a cancelled waiter returns before the load answers.
    struct Wait
    {
        TULOSemaphore done;
        std::mutex mutex;
        bool answered = false;
        std::optional<TULOUrlBag> bag;
        TULOError failure;
    };
    const auto wait = std::make_shared<Wait>();
    const int key = waitForURLBag([wait](const std::optional<TULOUrlBag> &bag, const TULOError &loadError) {
        {
            std::lock_guard lock(wait->mutex);
            wait->answered = true;
            wait->bag = bag;
            wait->failure = loadError;
        }
        wait->done.signal();
    });
    const int cancellation = waiter ? waiter->addCancellationHandler([wait] { wait->done.signal(); }) : 0;
    wait->done.wait();
    if (waiter)
        waiter->removeCancellationHandler(cancellation);
    std::unique_lock lock(wait->mutex);
    if (!wait->answered) {
        lock.unlock();
        stopWaitingForURLBag(key);
        TULOSetError(error, TULOStoreError(TULOStoreErrorUserCancelled, d ? d->bagURL : QUrl()));
        return std::nullopt;
    }
    if (!wait->bag)
        TULOSetError(error, wait->failure);
    return wait->bag;
}

std::optional<TULOUrlBag> TULOClientContext::loadedURLBag() const
{
    if (!d)
        return std::nullopt;
    std::lock_guard lock(d->mutex);
    return d->bag;
}

void TULOClientContext::invalidateURLBag()
{
    if (!d)
        return;
    std::lock_guard lock(d->mutex);
    d->bag.reset();
}

TULOClientContext TULOClientContext::defaultContext()
{
    std::lock_guard lock(defaultMutex);
    return defaultStorage();
}

void TULOClientContext::setDefaultContext(const TULOClientContext &context)
{
    std::lock_guard lock(defaultMutex);
    defaultStorage() = context;
}

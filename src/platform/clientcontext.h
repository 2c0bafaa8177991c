#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/store/urlbag.h>

#include <QExplicitlySharedDataPointer>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <optional>

// Configuration keys of a client context.
extern QUILLON_EXPORT const char *const TULOClientConfigurationLocaleKey;            // e.g. "en_GB"
extern QUILLON_EXPORT const char *const TULOClientConfigurationStorefrontSuffixKey;  // e.g. "143441-1,32"

class TULOClientContextPrivate;
class TULOOperation;

// What the framework knows about the store it talks to: the bag's address, a few
// configuration values, the request timeout, and the URL bag once loaded. Copies share the
// loaded bag. A default-constructed context is null ("no context").
class QUILLON_EXPORT TULOClientContext
{
public:
    using URLBagCompletion = std::function<void(const std::optional<TULOUrlBag> &bag, const TULOError &error)>;

    static constexpr int DefaultRequestTimeout = 30000; // milliseconds

    TULOClientContext();
    explicit TULOClientContext(const QUrl &bagURL);
    // A context with configuration values and no store (no bag to load), as a host that only
    // wants localised texts makes one.
    explicit TULOClientContext(const QVariantMap &configuration);
    TULOClientContext(const TULOClientContext &other);
    TULOClientContext &operator=(const TULOClientContext &other);
    ~TULOClientContext();

    bool isNull() const;
    QUrl bagURL() const;

    QVariantMap configuration() const;
    QVariant valueForConfigurationKey(const QString &key) const;
    void setValueForConfigurationKey(const QVariant &value, const QString &key);
    QString locale() const;
    QString storefrontSuffix() const;

    // The host's own text for `key` in `table`, which the framework's localisation falls back
    // to when its tables lack the key. Unless the host set a handler, the application's
    // installed translators are asked (context `table`, then by ID); when none has the text,
    // and on a null context, the answer is `key` itself.
    QString localizedStringForKey(const QString &key, const QString &table) const;
    using LocalizedStringHandler = std::function<QString(const QString &key, const QString &table)>;
    // Lets the host answer with texts of its own; shared by the copies of this context.
    void setLocalizedStringHandler(LocalizedStringHandler handler);

    // Every request made for this context gives up after this many milliseconds.
    int requestTimeout() const;
    void setRequestTimeout(int milliseconds);

    // Loads the bag unless it is loaded already; `completion` runs once, on a worker thread
    // (or at once on the calling thread when the bag is already there). Concurrent calls share
    // one request. A failed load is not kept: the next call tries again.
    void loadURLBag(URLBagCompletion completion) const;
    // Blocks until the bag is there or has failed, or until `waiter` is cancelled (store error
    // 16); when nobody waits for the bag any more its request is aborted. Never call it on the
    // main thread.
    std::optional<TULOUrlBag> loadURLBagAndWait(TULOError *error = nullptr, const TULOOperation *waiter = nullptr) const;
    std::optional<TULOUrlBag> loadedURLBag() const;
    void invalidateURLBag();

    // The application's context; null until the host (or the demo) sets one.
    static TULOClientContext defaultContext();
    static void setDefaultContext(const TULOClientContext &context);

    bool operator==(const TULOClientContext &other) const { return d == other.d; }

private:
    // loadURLBag that names its place among the waiters (0: answered at once).
    int waitForURLBag(URLBagCompletion completion) const;
    void stopWaitingForURLBag(int waiter) const;
    QExplicitlySharedDataPointer<TULOClientContextPrivate> d;
};

Q_DECLARE_METATYPE(TULOClientContext)

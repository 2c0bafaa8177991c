#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <mutex>

// Configuration keys of a client context.
extern const char *const TULOClientConfigurationLocaleKey;            // "locale": a locale name such as "de_DE"
extern const char *const TULOClientConfigurationStorefrontSuffixKey; // "storefrontSuffix"

// What the host tells the framework about itself: configuration values (its locale, the
// storefront suffix of its store requests) and its own localised texts, which the framework
// falls back to when its tables lack a key. Shared by std::shared_ptr and compared by
// identity; safe to read from any thread. A host overrides localizedStringForKey() to offer
// its own texts.
class TULOClientContext
{
public:
    TULOClientContext();
    explicit TULOClientContext(const QVariantMap &configuration);
    virtual ~TULOClientContext();

    TULOClientContext(const TULOClientContext &) = delete;
    TULOClientContext &operator=(const TULOClientContext &) = delete;

    QVariantMap configuration() const;
    void setConfiguration(const QVariantMap &configuration);
    // An invalid QVariant when the key is absent.
    QVariant valueForConfigurationKey(const QString &key) const;
    // An invalid `value` removes the key.
    void setValueForConfigurationKey(const QVariant &value, const QString &key);

    // The locale key's value when it is a non-empty string, else a null string.
    QString localeName() const;
    QString storefrontSuffix() const;

    // The host's text for `key` in `table`. The default asks the application's installed
    // translators (context `table`, then ID-based) and answers `key` itself when none has it.
    virtual QString localizedStringForKey(const QString &key, const QString &table) const;

private:
    mutable std::mutex m_mutex;
    QVariantMap m_configuration;
};

#include <Quillon/platform/store/loadclientcontextoperation.h>

#include <Quillon/platform/preferences.h>
#include <Quillon/platform/store/storeerror.h>

#include <QLocale>

const char *const TULOStoreBagURLEnvironmentVariable = "QUILLON_STORE_BAG_URL";
const char *const TULOStoreBagURLPreferencesKey = "StoreBagURL";
const char *const TULOStorefrontSuffixPreferencesKey = "StorefrontSuffix";

// Two operations finding no default at once must not both install one.
static std::mutex installMutex;

TULOLoadClientContextOperation::TULOLoadClientContextOperation() = default;

TULOLoadClientContextOperation::TULOLoadClientContextOperation(const QUrl &bagURL)
    : m_bagURL(bagURL)
{
}

void TULOLoadClientContextOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

QUrl TULOLoadClientContextOperation::configuredBagURL()
{
    const QString fromEnvironment = qEnvironmentVariable(TULOStoreBagURLEnvironmentVariable).trimmed();
    const QString address = !fromEnvironment.isEmpty()
                                ? fromEnvironment
                                : TULOPreferences::frameworkPreferences().stringForKey(QString::fromLatin1(TULOStoreBagURLPreferencesKey)).trimmed();
    return address.isEmpty() ? QUrl() : QUrl(address, QUrl::StrictMode);
}

void TULOLoadClientContextOperation::main()
{
    TULOClientContext context;
    TULOError error;
    bool made = false;
    {
        std::lock_guard lock(installMutex);
        context = TULOClientContext::defaultContext();
        if (context.isNull()) {
            QUrl bagURL;
            {
                std::lock_guard own(m_mutex);
                bagURL = m_bagURL;
            }
            if (bagURL.isEmpty())
                bagURL = configuredBagURL();
            if (!bagURL.isValid() || bagURL.isRelative()) {
                error = TULOStoreError(TULOStoreErrorRequestFailed, bagURL,
                                       {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                         bagURL.isEmpty() ? QStringLiteral("No store is set up.") : QStringLiteral("The store address is not valid.")}});
            } else {
                context = TULOClientContext(bagURL);
                context.setValueForConfigurationKey(QLocale::system().name(), QString::fromLatin1(TULOClientConfigurationLocaleKey));
                const QString storefront = TULOPreferences::frameworkPreferences().stringForKey(QString::fromLatin1(TULOStorefrontSuffixPreferencesKey));
                if (!storefront.isEmpty())
                    context.setValueForConfigurationKey(storefront, QString::fromLatin1(TULOClientConfigurationStorefrontSuffixKey));
                made = true;
            }
        }
        // The bag loads under the lock, so a second operation waits and then finds the default.
        if (error.isNull() && !context.loadURLBagAndWait(&error))
            context = TULOClientContext();
        if (made && !context.isNull())
            TULOClientContext::setDefaultContext(context);
    }
    OutputBlock block;
    {
        std::lock_guard lock(m_mutex);
        block = std::exchange(m_outputBlock, nullptr);
    }
    if (block)
        block(context, context.isNull() ? error : TULOError());
}

#include <Quillon/platform/store/platformcontext.h>

#include <Quillon/platform/store/storeerror.h>

TULOPlatformContext::TULOPlatformContext(const TULOUrlBag &bag, const TULOClientContext &clientContext)
    : m_bag(bag)
    , m_clientContext(clientContext)
{
}

QUrl TULOPlatformContext::lookupURL(TULOError *error) const
{
    return m_bag.urlForKey(QStringLiteral("lookup"), error);
}

QUrl TULOPlatformContext::artworkURL(const QString &itemIdentifier, const QSize &pixelSize, const QString &format,
                                     TULOError *error) const
{
    const QString pattern = m_bag.stringForKey(QStringLiteral("artwork"), error);
    if (pattern.isEmpty())
        return QUrl();
    if (itemIdentifier.isEmpty() || pixelSize.isEmpty()) {
        TULOSetError(error, TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                                           {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The artwork asked for has no item or no size.")}}));
        return QUrl();
    }
    QString filled = pattern;
    filled.replace(QLatin1String("{id}"), QString::fromLatin1(QUrl::toPercentEncoding(itemIdentifier)))
        .replace(QLatin1String("{w}"), QString::number(pixelSize.width()))
        .replace(QLatin1String("{h}"), QString::number(pixelSize.height()))
        .replace(QLatin1String("{f}"), format);
    const QUrl url(filled, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative()) {
        TULOSetError(error, TULOStoreError(TULOStoreErrorBagValueMissing, QUrl(),
                                           {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store's artwork address is not valid.")}}));
        return QUrl();
    }
    return url;
}

int TULOPlatformContext::requestTimeout() const
{
    return m_clientContext.isNull() ? TULOClientContext::DefaultRequestTimeout : m_clientContext.requestTimeout();
}

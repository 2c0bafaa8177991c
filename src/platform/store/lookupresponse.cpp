#include <Quillon/platform/store/lookupresponse.h>

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>

std::optional<TULOLookupResponse> TULOLookupResponse::withDictionary(const QVariantMap &reply, TULOError *error)
{
    const QVariant results = reply.value(QStringLiteral("results"));
    if (results.typeId() != QMetaType::QVariantMap) {
        TULOSetError(error, TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                                           {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store's lookup reply has no results.")}}));
        return std::nullopt;
    }
    TULOLookupResponse response;
    response.m_results = results.toMap();
    const QVariant version = reply.value(QStringLiteral("version"));
    if (TULOLookupIsNumber(version))
        response.m_version = version.toInt();
    response.m_storefront = TULOLookupString(reply.value(QStringLiteral("storefront")));
    return response;
}

std::optional<TULOLookupItem> TULOLookupResponse::itemForKey(const QVariant &key) const
{
    // A number with a fraction names no item.
    const QString text = TULOLookupIdentifierString(key);
    if (text.isEmpty() || (TULOLookupIsNumber(key) && text.contains(QLatin1Char('.'))))
        return std::nullopt;
    const QVariant value = m_results.value(text);
    if (value.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return TULOLookupItem(text, value.toMap());
}

QList<TULOLookupItem> TULOLookupResponse::allItems() const
{
    QList<TULOLookupItem> items;
    for (auto it = m_results.cbegin(); it != m_results.cend(); ++it) {
        if (it.value().typeId() == QMetaType::QVariantMap)
            items.append(TULOLookupItem(it.key(), it.value().toMap()));
    }
    return items;
}

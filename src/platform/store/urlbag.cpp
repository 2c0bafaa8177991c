#include <Quillon/platform/store/urlbag.h>

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

static TULOError missing(const QString &key, const char *expected)
{
    return TULOStoreError(TULOStoreErrorBagValueMissing, QUrl(),
                          {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                            QStringLiteral("The store's URL bag has no %1 \"%2\".").arg(QLatin1String(expected), key)}});
}

// Only absolute http(s) addresses are endpoints; anything else is as good as missing.
static QUrl endpoint(const QVariant &value)
{
    if (!TULOLookupIsString(value))
        return QUrl();
    const QUrl url(value.toString(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")) || url.host().isEmpty())
        return QUrl();
    return url;
}

std::optional<TULOUrlBag> TULOUrlBag::withData(const QByteArray &data, const QUrl &source, TULOError *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (!document.isObject()) {
        const QString reason = parseError.error != QJsonParseError::NoError
                                   ? parseError.errorString()
                                   : QStringLiteral("not a dictionary");
        TULOSetError(error, TULOStoreError(TULOStoreErrorRequestFailed, source,
                                           {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                             QStringLiteral("The store's URL bag cannot be read (%1).").arg(reason)}}));
        return std::nullopt;
    }
    return TULOUrlBag(document.object().toVariantMap());
}

QVariant TULOUrlBag::valueForKey(const QString &key, TULOError *error) const
{
    const auto it = m_dictionary.constFind(key);
    if (it == m_dictionary.cend() || it->isNull()) {
        TULOSetError(error, missing(key, "value"));
        return QVariant();
    }
    return *it;
}

QString TULOUrlBag::stringForKey(const QString &key, TULOError *error) const
{
    const QVariant value = m_dictionary.value(key);
    if (!TULOLookupIsString(value)) {
        TULOSetError(error, missing(key, "string"));
        return QString();
    }
    return value.toString();
}

QUrl TULOUrlBag::urlForKey(const QString &key, TULOError *error) const
{
    const QUrl url = endpoint(m_dictionary.value(key));
    if (url.isEmpty())
        TULOSetError(error, missing(key, "address"));
    return url;
}

QVariantMap TULOUrlBag::dictionaryForKey(const QString &key, TULOError *error) const
{
    const QVariant value = m_dictionary.value(key);
    if (value.typeId() != QMetaType::QVariantMap) {
        TULOSetError(error, missing(key, "dictionary"));
        return QVariantMap();
    }
    return value.toMap();
}

QVariantList TULOUrlBag::arrayForKey(const QString &key, TULOError *error) const
{
    const QVariant value = m_dictionary.value(key);
    if (value.typeId() != QMetaType::QVariantList) {
        TULOSetError(error, missing(key, "list"));
        return QVariantList();
    }
    return value.toList();
}

std::optional<double> TULOUrlBag::numberForKey(const QString &key, TULOError *error) const
{
    const std::optional<double> number = TULOLookupDouble(m_dictionary.value(key));
    if (!number)
        TULOSetError(error, missing(key, "number"));
    return number;
}

QUrl TULOUrlBag::urlForKeyPath(const QString &key, const QString &innerKey, TULOError *error) const
{
    const QVariant outer = m_dictionary.value(key);
    if (outer.typeId() != QMetaType::QVariantMap) {
        TULOSetError(error, missing(key, "dictionary"));
        return QUrl();
    }
    const QUrl url = endpoint(outer.toMap().value(innerKey));
    if (url.isEmpty())
        TULOSetError(error, missing(key + QLatin1Char('/') + innerKey, "address"));
    return url;
}

#include <Quillon/platform/store/dataconsumer.h>

#include <Quillon/platform/store/storeerror.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

QVariant TULOProtocolDataConsumer::objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (document.isObject())
        return document.object().toVariantMap();
    const QString reason = parseError.error != QJsonParseError::NoError
                               ? QStringLiteral("%1 at byte %2").arg(parseError.errorString()).arg(parseError.offset)
                               : QStringLiteral("not a dictionary");
    TULOSetError(error, TULOStoreError(TULOStoreErrorRequestFailed, response.url,
                                       {{QString::fromLatin1(TULOLocalizedDescriptionKey),
                                         QStringLiteral("The store's reply cannot be read (%1).").arg(reason)},
                                        {QString::fromLatin1(TULOStoreHTTPStatusKey), response.httpStatus}}));
    return QVariant();
}

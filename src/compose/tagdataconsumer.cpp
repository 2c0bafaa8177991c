#include <Quillon/compose/tagdataconsumer.h>

#include <Quillon/platform/store/storeerror.h>


std::optional<QList<TULOTag>> TULOTagDataConsumer::tagsForData(const QByteArray &data, TULOError *error)
{
    const QVariant tags = objectForData(data, TULOUrlResponse(), error);
    if (!tags.isValid())
        return std::nullopt;
    return tags.value<QList<TULOTag>>();
}

QVariant TULOTagDataConsumer::objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error)
{
    const QVariant object = TULOProtocolDataConsumer::objectForData(data, response, error);
    if (!object.isValid())
        return QVariant();
    const std::optional<QList<TULOTag>> tags = tagsForObject(object, error);
    return tags ? QVariant::fromValue(*tags) : QVariant();
}

std::optional<QList<TULOTag>> TULOTagDataConsumer::tagsForObject(const QVariant &object, TULOError *error)
{
    const QVariant list = object.typeId() == QMetaType::QVariantMap ? object.toMap().value(QStringLiteral("data")) : QVariant();
    if (list.typeId() != QMetaType::QVariantList) {
        TULOSetError(error, TULOError::withDescription(TULOStoreErrorDomain, TULOStoreErrorRequestFailed,
                                                       QStringLiteral("The tag lookup reply has no \"data\" list.")));
        return std::nullopt;
    }
    QList<TULOTag> tags;
    for (const QVariant &element : list.toList()) {
        if (element.typeId() == QMetaType::QVariantMap)
            tags.append(TULOTag(element.toMap()));
    }
    return tags;
}

#include "compose/tagdataconsumer.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace {

TULOError replyError(const QString &description)
{
    // A reply that cannot be read is a failed request of the store.
    return TULOError::withDescription(QString::fromLatin1(TULOStoreErrorDomain), 100, description);
}

} // namespace

std::optional<QList<TULOTag>> TULOTagDataConsumer::objectForData(const QByteArray &data, TULOError *error) const
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        TULOSetError(error, replyError(QStringLiteral("The tag lookup reply is not JSON: %1 at offset %2.")
                                           .arg(parseError.errorString())
                                           .arg(parseError.offset)));
        return std::nullopt;
    }
    return tagsForObject(document.toVariant(), error);
}

std::optional<QList<TULOTag>> TULOTagDataConsumer::tagsForObject(const QVariant &object, TULOError *error)
{
    const QVariant list = object.typeId() == QMetaType::QVariantMap ? object.toMap().value(QStringLiteral("data")) : QVariant();
    if (list.typeId() != QMetaType::QVariantList) {
        TULOSetError(error, replyError(QStringLiteral("The tag lookup reply has no \"data\" list.")));
        return std::nullopt;
    }
    QList<TULOTag> tags;
    for (const QVariant &element : list.toList()) {
        if (element.typeId() == QMetaType::QVariantMap)
            tags.append(TULOTag(element.toMap()));
    }
    return tags;
}

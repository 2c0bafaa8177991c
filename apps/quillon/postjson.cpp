#include "postjson.h"

#include <Quillon/platform/records/postitem.h>

#include <QJsonArray>

QJsonObject TULOPostAttachmentJSON(const TULOPostAttachment &attachment)
{
    QJsonObject object;
    const QUrl url = attachment.assetURL();
    object.insert(QStringLiteral("path"), url.isLocalFile() ? url.toLocalFile() : url.toString());
    object.insert(QStringLiteral("UTI"), attachment.UTI());
    object.insert(QStringLiteral("title"), attachment.title());
    if (!attachment.subtitle().isNull())
        object.insert(QStringLiteral("subtitle"), attachment.subtitle());
    if (!attachment.attachmentDescription().isNull())
        object.insert(QStringLiteral("description"), attachment.attachmentDescription());
    if (!attachment.categoryName().isNull())
        object.insert(QStringLiteral("categoryName"), attachment.categoryName());
    if (!attachment.albumIdentifier().isNull())
        object.insert(QStringLiteral("albumIdentifier"), attachment.albumIdentifier());
    object.insert(QStringLiteral("explicitContent"), attachment.isExplicitContent());
    object.insert(QStringLiteral("deletesAssetWhenFinished"), attachment.deletesAssetWhenFinished());
    if (attachment.previewFrameTimestamp() != 0)
        object.insert(QStringLiteral("previewFrameTimestamp"), attachment.previewFrameTimestamp());
    QJsonArray artists;
    for (const TULOPostArtist &artist : attachment.artists())
        artists.append(QJsonObject{{QStringLiteral("identifier"), artist.identifier()}, {QStringLiteral("name"), artist.name()}});
    if (!artists.isEmpty())
        object.insert(QStringLiteral("artists"), artists);
    QJsonObject children;
    for (const QString &relationship : attachment.childRelationships()) {
        if (const auto child = attachment.childAttachmentForRelationship(relationship))
            children.insert(relationship, TULOPostAttachmentJSON(*child));
    }
    if (!children.isEmpty())
        object.insert(QStringLiteral("children"), children);
    return object;
}

QJsonObject TULOPostDescriptionJSON(const TULOPostDescription &description)
{
    QJsonObject object;
    object.insert(QStringLiteral("text"), description.text());
    object.insert(QStringLiteral("authorIdentifier"), description.authorIdentifier());
    object.insert(QStringLiteral("authorType"), description.authorType());
    object.insert(QStringLiteral("attributed"), description.isAttributed());
    if (const auto attachments = description.attachments()) {
        QJsonArray list;
        for (const TULOPostAttachment &attachment : *attachments)
            list.append(TULOPostAttachmentJSON(attachment));
        object.insert(QStringLiteral("attachments"), list);
    }
    if (const auto destinations = description.externalServiceDestinations()) {
        QJsonArray list;
        for (const TULOExternalDestination &destination : *destinations) {
            QJsonObject d{{QStringLiteral("serviceIdentifier"), destination.serviceIdentifier()}};
            // Null and empty differ: empty means "a page of the server's choosing".
            if (!destination.pageIdentifier().isNull())
                d.insert(QStringLiteral("pageIdentifier"), destination.pageIdentifier());
            list.append(d);
        }
        object.insert(QStringLiteral("externalServiceDestinations"), list);
    }
    if (const auto items = description.contentItems()) {
        QJsonArray list;
        for (const TULOPostItem &item : *items)
            list.append(QJsonObject{{QStringLiteral("identifier"), item.identifier()},
                                    {QStringLiteral("kind"), TULOStorePlatformKindForPostItemType(item.type())}});
        object.insert(QStringLiteral("contentItems"), list);
    }
    return object;
}

#include <Quillon/platform/store/authorpermissionsoperation.h>

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>

#include <QSet>

TULOAuthorPermissionsOperation::TULOAuthorPermissionsOperation(const TULOClientContext &context, TULOStoreAccountStore *accounts)
    : TULOSignedStoreOperation(context, accounts)
{
}

void TULOAuthorPermissionsOperation::setOutputBlock(OutputBlock block)
{
    std::lock_guard lock(m_mutex);
    m_outputBlock = std::move(block);
}

std::optional<QList<TULOPostAuthor>> TULOAuthorPermissionsOperation::authorsFromReply(const QVariantMap &reply)
{
    const QVariant list = reply.value(QStringLiteral("authors"));
    if (list.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QList<TULOPostAuthor> authors;
    for (const QVariant &entry : list.toList()) {
        if (entry.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap dictionary = entry.toMap();
        const QString identifier = TULOLookupIdentifierString(dictionary.value(QStringLiteral("id")));
        if (identifier.isEmpty())
            continue;
        TULOPostAuthor author(identifier, TULOLookupString(dictionary.value(QStringLiteral("name"))),
                              TULOLookupString(dictionary.value(QStringLiteral("type"))));
        QSet<QString> permissions;
        const QVariant permissionList = dictionary.value(QStringLiteral("permissions"));
        if (permissionList.typeId() == QMetaType::QVariantList) {
            for (const QVariant &permission : permissionList.toList()) {
                if (TULOLookupIsString(permission))
                    permissions.insert(permission.toString());
            }
        }
        author.setPermissions(permissions);
        const QString thumbnail = TULOLookupString(dictionary.value(QStringLiteral("thumbnailUrl")));
        if (!thumbnail.isEmpty())
            author.setThumbnailImageURL(QUrl(thumbnail));
        authors.append(author);
    }
    return authors;
}

void TULOAuthorPermissionsOperation::main()
{
    TULOError error;
    QList<TULOPostAuthor> authors;
    if (const std::optional<QVariantMap> reply = signedReply(QStringLiteral("authorPermissions"), &error)) {
        if (const auto parsed = authorsFromReply(*reply))
            authors = *parsed;
        else
            error = TULOStoreError(TULOStoreErrorRequestFailed, QUrl(),
                                   {{QString::fromLatin1(TULOLocalizedDescriptionKey), QStringLiteral("The store's author list cannot be read.")}});
    }
    OutputBlock block;
    {
        std::lock_guard lock(m_mutex);
        block = std::exchange(m_outputBlock, nullptr);
    }
    if (block)
        block(authors, error);
}

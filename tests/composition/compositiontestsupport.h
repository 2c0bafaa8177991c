#pragma once

#include "../settings/settingstestsupport.h"

#include <Quillon/compose/composepostviewcontroller.h>
#include <Quillon/core/attachment.h>
#include <Quillon/platform/records/postauthor.h>

#include <QImage>

// Authors as the store lists them: `shares` holds the share permissions they carry.
inline TULOPostAuthor TULOTestAuthor(const QString &identifier, const QString &name, bool withAttribution = true)
{
    TULOPostAuthor author(identifier, name, QStringLiteral("artist"));
    QSet<QString> permissions{QString::fromLatin1(TULOAuthorPermissionShareAsEntity)};
    if (withAttribution)
        permissions.insert(QString::fromLatin1(TULOAuthorPermissionShareWithAttribution));
    author.setPermissions(permissions);
    return author;
}

inline TULOConfiguration TULOTestConfiguration(const QList<TULOPostAuthor> &authors, qint64 maximumAttachments = 4)
{
    TULOConfiguration configuration;
    configuration.setPotentalAuthors(authors);
    configuration.setMaximumNumberOfAttachments(maximumAttachments);
    configuration.setAllowsMicrophone(true);
    return configuration;
}

inline TULOAttachmentPtr TULOTestImageAttachment(Qt::GlobalColor color = Qt::red)
{
    auto attachment = std::make_shared<TULOAttachment>();
    QImage image(32, 32, QImage::Format_RGB32);
    image.fill(color);
    attachment->setAssetImage(image);
    attachment->setUTI(QStringLiteral("image/png"));
    return attachment;
}

inline TULOAttachmentPtr TULOTestAttachmentOfType(TULOAttachmentType type, const QString &title = QString())
{
    if (type == TULOAttachmentTypeImage)
        return TULOTestImageAttachment();
    auto attachment = std::make_shared<TULOAttachment>();
    attachment->setUTI(type == TULOAttachmentTypeVideo ? QStringLiteral("video/mp4") : QStringLiteral("audio/mpeg"));
    attachment->setTitle(title);
    return attachment;
}

// Records what the editor tells its container.
struct TULOContentRecorder : TULOComposePostViewControllerDelegate
{
    QList<bool> reports;
    void composePostViewControllerContentDidChange(TULOComposePostViewController *, bool canPost) override
    {
        reports.append(canPost);
    }
};

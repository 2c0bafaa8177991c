#include "postattachments.h"

#include <Quillon/platform/library/mediafiletags.h>
#include <Quillon/platform/typeidentifiers.h>
#include <Quillon/platform/image/metadatastripper.h>

#include <QFile>
#include <QFileInfo>
#include <QImage>

namespace {

TULOError attachError(qint64 code, const QString &path, const QString &description)
{
    QVariantMap info{{QString::fromLatin1(TULOFilePathErrorKey), path},
                     {QString::fromLatin1(TULOLocalizedDescriptionKey), description}};
    return TULOError(TULOFileErrorDomain, code, info);
}

} // namespace

TULOAttachmentPtr TULOPostAttachmentForFile(const QString &path, TULOError *error)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        TULOSetError(error, attachError(TULOFileErrorNoSuchFile, path, QStringLiteral("%1: no such file").arg(path)));
        return nullptr;
    }
    if (!info.isFile()) {
        TULOSetError(error, attachError(TULOFileErrorReadFailed, path, QStringLiteral("%1: not a file").arg(path)));
        return nullptr;
    }
    QFile file(info.absoluteFilePath());
    if (!file.open(QIODevice::ReadOnly)) {
        TULOSetError(error, attachError(TULOFileErrorReadNoPermission, path, QStringLiteral("%1: cannot be read (%2)").arg(path, file.errorString())));
        return nullptr;
    }
    if (info.size() == 0) {
        TULOSetError(error, attachError(TULOFileErrorCorruptFile, path, QStringLiteral("%1: the file is empty").arg(path)));
        return nullptr;
    }

    // The bytes decide, down to the streams of a media container; the name only when they say nothing.
    const QString type = TULOTypeIdentifiers::typeForFile(info.absoluteFilePath());
    switch (TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(type)) {
    case 2: {
        const QByteArray data = file.readAll();
        if (data.size() != info.size()) {
            TULOSetError(error, attachError(TULOFileErrorReadFailed, path, QStringLiteral("%1: could not be read whole").arg(path)));
            return nullptr;
        }
        // Not decoded here: preparation checks the image when it removes its metadata. A format
        // whose metadata cannot be removed is refused now, before anything reaches the store.
        TULOError refusal;
        if (TULOMetadataStripper::supportedTypeForData(data, &refusal).isNull()) {
            TULOSetError(error, attachError(TULOFileErrorCorruptFile, path, QStringLiteral("%1: %2").arg(path, refusal.localizedDescription())));
            return nullptr;
        }
        return std::make_shared<TULOAttachment>(data, type);
    }
    case 1:
    case 3: {
        auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(info.absoluteFilePath()), type);
        TULOMediaFileTags tags;
        if (TULOReadMediaFileTags(info.absoluteFilePath(), &tags)) {
            if (!tags.title.isEmpty())
                attachment->setTitle(tags.title);
            attachment->setExplicitContent(tags.explicitContent);
            attachment->setDuration(tags.duration);
        }
        const QImage artwork = QImage::fromData(TULOReadEmbeddedArtwork(info.absoluteFilePath()));
        if (!artwork.isNull())
            attachment->setThumbnailImage(artwork);
        return attachment;
    }
    case 4:
        return std::make_shared<TULOAttachment>(QUrl::fromLocalFile(info.absoluteFilePath()), type);
    default:
        TULOSetError(error, attachError(TULOFileErrorCorruptFile, path,
            QStringLiteral("%1: cannot be attached (%2 is not a photo, video or song)").arg(path, type)));
        return nullptr;
    }
}

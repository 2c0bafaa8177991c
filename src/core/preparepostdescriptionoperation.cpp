#include <Quillon/core/preparepostdescriptionoperation.h>

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/core/quillon.h>
#include <Quillon/core/tagtokenformat.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/privatefiles.h>
#include <Quillon/platform/semaphore_p.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/accounttokenrefreshoperation.h>
#include <Quillon/platform/image/metadatastripper.h>
#include <Quillon/platform/library/photolibrary.h>

#include <type_traits>

namespace {

constexpr qsizetype TULOTruncatedTextLength = 100;

TULOError fileError(qint64 code, const QString &path, const QString &description)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), path);
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    return TULOError(TULOFileErrorDomain, code, info);
}

// Error codes of the file domain, as the platform numbers them.
constexpr qint64 TULOFileNoSuchFileError = 4;
constexpr qint64 TULOFileReadUnknownError = 256;
constexpr qint64 TULOFileWriteUnknownError = 512;

TULOError frameworkError(const QString &description)
{
    return TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed, description);
}

// The refresh takes the author's account store when that store speaks its interface.
template<class Store>
void TULOSetRefreshStore(TULOAccountTokenRefreshOperation &refresh, const std::shared_ptr<Store> &store)
{
    if constexpr (std::is_base_of_v<TULOAccountTokenRefreshStore, Store>)
        refresh.setAccountStore(store);
    else
        Q_UNUSED(store);
}

} // namespace

void TULOPreparePostDescriptionOperation::setAttachments(const QList<TULOAttachmentPtr> &attachments)
{
    m_attachments.clear();
    for (const TULOAttachmentPtr &attachment : attachments) {
        if (attachment)
            m_attachments.append(attachment->copy());
    }
}

TULOError TULOPreparePostDescriptionOperation::finalizationError() const
{
    std::lock_guard lock(m_finalizationErrorMutex);
    return m_finalizationError;
}

QString TULOPreparePostDescriptionOperation::truncatedText(const QString &text)
{
    const QString plain = TULOStringByReplacingTagTokensWithNames(text);
    if (plain.size() <= TULOTruncatedTextLength)
        return plain;
    return plain.left(TULOTruncatedTextLength).trimmed() + QChar(0x2026);
}

QString TULOPreparePostDescriptionOperation::defaultTruncatedText() const
{
    return truncatedText(m_text);
}

QString TULOPreparePostDescriptionOperation::defaultTitleWithAttachment(const TULOAttachment &attachment) const
{
    const char *key = nullptr;
    switch (attachment.attachmentType()) {
    case TULOAttachmentTypeAudio: key = "DEFAULT_TITLE_AUDIO"; break;
    case TULOAttachmentTypeImage: key = "DEFAULT_TITLE_IMAGE"; break;
    case TULOAttachmentTypeSoundBite: key = "DEFAULT_TITLE_SOUND_BITE"; break;
    case TULOAttachmentTypeVideo: key = "DEFAULT_TITLE_VIDEO"; break;
    default: return QString();
    }
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext);
}

void TULOPreparePostDescriptionOperation::main()
{
    QList<TULOPostAttachment> finalized;
    const QString truncated = defaultTruncatedText();
    TULOError lastError;

    for (const TULOAttachmentPtr &attachment : std::as_const(m_attachments)) {
        TULOError error;
        std::optional<TULOPostAttachment> post = copyFinalizedAttachmentWithAttachment(*attachment, &error);
        if (!post)
            lastError = error;
        if (!post || post->assetURL().isEmpty() || post->UTI().isEmpty())
            continue;
        if (post->title().isEmpty()) {
            const QString title = defaultTitleWithAttachment(*attachment);
            if (!title.isEmpty()) {
                post->setSubtitle(truncated);
                post->setTitle(title);
            } else {
                post->setTitle(truncated);
            }
        }
        finalized.append(*post);
    }

    if (finalized.size() != m_attachments.size()) {
        // Files already written for this post would never be uploaded: take them away again.
        for (const TULOPostAttachment &post : std::as_const(finalized)) {
            if (post.deletesAssetWhenFinished())
                QFile::remove(post.assetURL().toLocalFile());
            for (const QString &relationship : post.childRelationships()) {
                const auto child = post.childAttachmentForRelationship(relationship);
                if (child && child->deletesAssetWhenFinished())
                    QFile::remove(child->assetURL().toLocalFile());
            }
        }
        if (m_outputBlock)
            m_outputBlock(std::nullopt, lastError);
        return;
    }

    QList<TULOExternalDestination> destinations;
    if (!m_enabledExternalServices.isEmpty()) {
        QList<TULOSocialService> refreshList;
        for (const TULOSocialService &service : std::as_const(m_enabledExternalServices)) {
            if (service.identifier() == QLatin1String(TULOServiceIdentifierFacebook)) {
                TULOExternalDestination destination(QString::fromLatin1(TULOServiceIdentifierFacebook));
                if (m_facebookDestination == 1)
                    destination.setPageIdentifier(QStringLiteral(""));
                destinations.append(destination);
            } else {
                refreshList.append(service);
            }
        }
        if (!refreshList.isEmpty()) {
            TULOError refreshError;
            const auto refreshed = refreshTokensForAuthor(m_author, refreshList, &refreshError);
            if (refreshed)
                destinations.append(*refreshed);
            if (refreshError)
                lastError = refreshError;
        }
        if (destinations.isEmpty()) {
            if (m_outputBlock)
                m_outputBlock(std::nullopt, lastError);
            return;
        }
    }

    TULOPostDescription description;
    description.setAttributed(m_attributed);
    description.setAuthorIdentifier(m_author.identifier());
    description.setAuthorType(m_author.authorType());
    description.setText(m_text);
    if (!finalized.isEmpty())
        description.setAttachments(finalized);
    if (!destinations.isEmpty())
        description.setExternalServiceDestinations(destinations);
    if (m_contentItem) {
        const TULOPostItem item = m_contentItem->copyQuillonPostItem();
        if (!item.identifier().isNull())
            description.setContentItems(QList<TULOPostItem>{item});
    }
    if (m_outputBlock)
        m_outputBlock(description, lastError);
}

std::optional<TULOPostAttachment> TULOPreparePostDescriptionOperation::copyFinalizedAttachmentWithAttachment(
    const TULOAttachment &attachment, TULOError *error)
{
    TULOPostAttachment post = attachment.copyQuillonPostAttachment();
    const QUrl url = post.assetURL();
    const TULOAttachmentType type = attachment.attachmentType();
    TULOError stepError;

    if (url.scheme() == QLatin1String("assets-library")) {
        if (type == TULOAttachmentTypeVideo) {
            QString uti;
            post.setAssetURL(URLByResolvingVideoAssetURL(url, &uti, &stepError));
            post.setUTI(uti);
        } else if (type == TULOAttachmentTypeImage) {
            QString uti;
            post.setAssetURL(URLByResolvingImageAssetURL(url, &uti, &stepError));
            post.setDeletesAssetWhenFinished(true);
            post.setUTI(uti);
        } else {
            post.setAssetURL(QUrl());
        }
    } else if (url.isEmpty()) {
        if (!attachment.data().isNull()) {
            QString uti = attachment.UTI();
            QUrl written;
            if (type == TULOAttachmentTypeImage)
                written = URLByWritingStrippedImageData(attachment.data(), &uti, &stepError);
            else
                written = URLByWritingData(attachment.data(), uti, &stepError);
            post.setAssetURL(written);
            post.setDeletesAssetWhenFinished(true);
            post.setUTI(uti);
        } else if (!attachment.assetImage().isNull()) {
            post.setAssetURL(URLByWritingImage(attachment.assetImage(), attachment.UTI(), &stepError));
            post.setDeletesAssetWhenFinished(true);
        }
    }

    if (m_attachmentWasDownloadedAndNeedsRemoval && attachment.mediaItem()) {
        const QUrl copied = URLByCopyingAssetAtURL(post.assetURL(), &stepError);
        post.setAssetURL(copied);
        post.setDeletesAssetWhenFinished(true);
        // The library copy goes only once the post has its own file.
        if (!copied.isEmpty())
            removeMediaItem(attachment.mediaItem(), &stepError);
    }

    if (type == TULOAttachmentTypeAudio && !post.assetURL().isEmpty()) {
        if (const auto cover = newCoverImageAttachmentWithAttachment(attachment))
            post.setChildAttachment(*cover, QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
    }

    // The result is never nil, so `error` stays untouched and a failed step shows only as the
    // missing URL; its cause is kept for finalizationError().
    Q_UNUSED(error);
    if (stepError) {
        std::lock_guard lock(m_finalizationErrorMutex);
        m_finalizationError = stepError;
    }
    return post;
}

std::optional<TULOPostAttachment> TULOPreparePostDescriptionOperation::newCoverImageAttachmentWithAttachment(
    const TULOAttachment &attachment)
{
    const QImage thumbnail = attachment.thumbnailImage();
    if (thumbnail.isNull())
        return std::nullopt;
    // A song's type is no image type; the cover is written as JPEG and says so.
    QString uti = attachment.UTI();
    if (!TULOTypeIdentifiers::typeConformsTo(uti, QString::fromLatin1(TULOTypeIdentifierPNG)))
        uti = QString::fromLatin1(TULOTypeIdentifierJPEG);
    const QUrl url = URLByWritingImage(thumbnail, uti, nullptr);
    if (url.isEmpty())
        return std::nullopt;
    TULOPostAttachment cover;
    cover.setAssetURL(url);
    cover.setDeletesAssetWhenFinished(true);
    cover.setSubtitle(attachment.title());
    cover.setTitle(TULOLocalization::defaultLocalization()->localizedStringForKey(
        QStringLiteral("DEFAULT_TITLE_COVER_IMAGE"), QString::fromLatin1(TULOStringsTablePostComposition),
        m_clientContext));
    cover.setUTI(uti);
    return cover;
}

std::optional<QList<TULOExternalDestination>> TULOPreparePostDescriptionOperation::refreshTokensForAuthor(
    const TULOPostAuthor &author, const QList<TULOSocialService> &externalServices, TULOError *error)
{
    std::optional<QList<TULOExternalDestination>> result;
    TULOError refreshError;
    auto refresh = std::make_shared<TULOAccountTokenRefreshOperation>(author, externalServices);
    // Without a store the refresh makes one for the author through its factory.
    TULOSetRefreshStore(*refresh, m_accountStore);
    refresh->setOutputBlock([&](const std::optional<QList<TULOExternalDestination>> &destinations,
                                const TULOError &e) {
        result = destinations;
        refreshError = e;
    });
    refresh->start();
    if (!result)
        TULOSetError(error, refreshError);
    return result;
}

// --- files -------------------------------------------------------------------

QUrl TULOPreparePostDescriptionOperation::URLByWritingData(
    const QByteArray &data, const QString &typeIdentifier, TULOError *error)
{
    return URLByWritingFile(typeIdentifier,
        [&data](QIODevice *file, TULOError *) { return file->write(data) == data.size(); }, error);
}

QUrl TULOPreparePostDescriptionOperation::URLByWritingFile(const QString &typeIdentifier,
    const std::function<bool(QIODevice *file, TULOError *error)> &write, TULOError *error)
{
    QString name = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString extension = TULOTypeIdentifiers::preferredFilenameExtension(typeIdentifier);
    if (!extension.isEmpty())
        name += QLatin1Char('.') + extension;
    const QString path = QDir(TULOTemporaryAssetsDirectoryPath()).filePath(name);
    // Written aside and renamed, so a full disk never leaves half a file behind.
    if (!TULOPrivateFiles::writeFile(path, write, error))
        return QUrl();
    return QUrl::fromLocalFile(path);
}

QUrl TULOPreparePostDescriptionOperation::URLByWritingImage(
    const QImage &image, const QString &typeIdentifier, TULOError *error)
{
    const bool png = TULOTypeIdentifiers::typeConformsTo(typeIdentifier, QString::fromLatin1(TULOTypeIdentifierPNG));
    QByteArray encoded;
    QBuffer buffer(&encoded);
    buffer.open(QIODevice::WriteOnly);
    if (image.isNull() || !image.save(&buffer, png ? "PNG" : "JPEG", png ? -1 : 100)) {
        TULOSetError(error, frameworkError(QStringLiteral("The image could not be encoded.")));
        return QUrl();
    }
    return URLByWritingData(encoded, typeIdentifier, error);
}

QUrl TULOPreparePostDescriptionOperation::URLByWritingStrippedImageData(
    const QByteArray &data, QString *typeIdentifier, TULOError *error)
{
    // Refused before a file is made; then streamed, without a stripped copy in memory.
    TULOError refusal;
    const QString type = TULOMetadataStripper::supportedTypeForData(data, &refusal);
    if (type.isNull()) {
        TULOSetError(error, refusal);
        return QUrl();
    }
    const QUrl url = URLByWritingFile(type,
        [&data](QIODevice *file, TULOError *stripError) {
            return TULOMetadataStripper::writeStrippedImageData(data, file, nullptr, stripError);
        },
        error);
    if (!url.isEmpty() && typeIdentifier)
        *typeIdentifier = type;
    return url;
}

QUrl TULOPreparePostDescriptionOperation::URLByCopyingAssetAtURL(const QUrl &url, TULOError *error)
{
    if (url.isEmpty()) {
        TULOSetError(error, TULOError(TULOFileErrorDomain, TULOFileNoSuchFileError));
        return QUrl();
    }
    if (!TULOPrivateFiles::makeFolder(TULOTemporaryAssetsDirectoryPath(), error))
        return QUrl();
    const QDir assets(TULOTemporaryAssetsDirectoryPath());
    const QString source = url.toLocalFile();
    const QFileInfo info(source);
    if (!info.exists()) {
        TULOSetError(error, fileError(TULOFileNoSuchFileError, source,
            QStringLiteral("The file %1 does not exist.").arg(source)));
        return QUrl();
    }
    // The file's own name while it is free, else numbered: two songs of the same name each
    // keep their copy, and a file already there (another attachment's, or the very file being
    // copied) is never replaced or removed. QFile::copy never overwrites, so a name taken in
    // the meantime only moves on to the next number.
    const QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    for (int n = 1;; ++n) {
        const QString target = assets.filePath(n == 1 ? info.fileName()
                                                      : QStringLiteral("%1-%2%3").arg(info.completeBaseName()).arg(n).arg(suffix));
        if (QFileInfo::exists(target))
            continue;
        QFile file(source);
        if (file.copy(target)) {
            TULOPrivateFiles::makeFile(target);
            return QUrl::fromLocalFile(target);
        }
        if (!QFileInfo::exists(target)) {
            TULOSetError(error, fileError(TULOFileWriteUnknownError, target,
                QStringLiteral("Could not copy %1 to %2: %3").arg(source, target, file.errorString())));
            return QUrl();
        }
    }
}

bool TULOPreparePostDescriptionOperation::removeMediaItem(const TULOMediaLibraryItemPtr &item, TULOError *error)
{
    TULOMediaLibrary *library = item->library() ? item->library() : TULOMediaLibrary::defaultMediaLibrary();
    return library->removeItems({item}, error);
}

// --- photo library -------------------------------------------------------------


TULOPhotoLibrary *TULOPreparePostDescriptionOperation::photoLibrary(TULOError *error)
{
    if (!m_photoLibrary) {
        const QMetaObject *libraryClass =
            TULOWeakLinkedClassForString("TULOPhotoLibrary", TULOPhotoLibraryModuleHandle());
        if (libraryClass)
            m_photoLibrary.reset(libraryClass->newInstance());
    }
    auto *library = qobject_cast<TULOPhotoLibrary *>(m_photoLibrary.get());
    if (!library) {
        TULOSetError(error, TULOError::withDescription(TULOPhotoLibraryErrorDomain,
            TULOPhotoLibraryErrorUnavailable, QStringLiteral("The photo library is not available.")));
    }
    return library;
}

static std::optional<TULOPhotoAsset> TULOAssetForURL(const QUrl &assetURL, TULOPhotoLibrary *library, TULOError *error)
{
    // The lookup answers on a worker of the library; this thread waits for it, without limit.
    TULOSemaphore done;
    std::optional<TULOPhotoAsset> result;
    TULOError failure;
    library->assetForURL(
        assetURL,
        [&](const TULOPhotoAsset &asset) {
            result = asset;
            done.signal();
        },
        [&](const TULOError &e) {
            failure = e;
            done.signal();
        });
    done.wait();
    if (!result)
        TULOSetError(error, failure);
    return result;
}

QUrl TULOPreparePostDescriptionOperation::URLByResolvingImageAssetURL(const QUrl &assetURL, QString *UTI, TULOError *error)
{
    TULOPhotoLibrary *library = photoLibrary(error);
    if (!library)
        return QUrl();
    const auto asset = TULOAssetForURL(assetURL, library, error);
    if (!asset)
        return QUrl();
    const TULOAssetRepresentation representation = asset->defaultRepresentation();
    QByteArray buffer(representation.size(), Qt::Uninitialized);
    TULOError readError;
    const qint64 read = representation.getBytes(buffer.data(), 0, buffer.size(), &readError);
    if (readError) {
        TULOSetError(error, readError);
        return QUrl();
    }
    buffer.truncate(read);
    return URLByWritingStrippedImageData(buffer, UTI, error);
}

QUrl TULOPreparePostDescriptionOperation::URLByResolvingVideoAssetURL(const QUrl &assetURL, QString *UTI, TULOError *error)
{
    TULOPhotoLibrary *library = photoLibrary(error);
    if (!library)
        return QUrl();
    const QString path = library->videoFilePathForAssetURL(assetURL, error);
    if (path.isEmpty())
        return QUrl();
    const auto asset = TULOAssetForURL(assetURL, library, error);
    if (!asset)
        return QUrl();
    if (UTI)
        *UTI = asset->defaultRepresentation().UTI();
    return QUrl::fromLocalFile(path);
}

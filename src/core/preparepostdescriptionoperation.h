#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/socialservice.h>
#include <Quillon/core/attachment.h>
#include <Quillon/core/storeitem.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/records/externaldestination.h>
#include <Quillon/platform/records/postattachment.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/records/postdescription.h>

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QImage>
#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class TULOAccountStore;
class TULOPhotoLibrary;

// Turns a composition into the post description that the store's post request uploads: every
// attachment becomes a file in the temporary assets folder (photo-library assets read out,
// data and images written, image metadata stripped), untitled attachments get default titles,
// songs get their artwork as a cover-image child, and cross-posting destinations are obtained
// with fresh service tokens.
//
// Runs once on an operation queue and blocks its thread on photo-library lookups and on the
// token refresh. The output block is called exactly once, on that thread, with the description
// or nil; an error may accompany a description, and a nil description may come without one
// (an attachment that ends up without a file reports no error of its own).
class QUILLON_EXPORT TULOPreparePostDescriptionOperation : public TULOOperation
{
public:
    using OutputBlock = std::function<void(const std::optional<TULOPostDescription> &description, const TULOError &error)>;

    TULOPreparePostDescriptionOperation() = default;

    std::shared_ptr<TULOAccountStore> accountStore() const { return m_accountStore; }
    void setAccountStore(const std::shared_ptr<TULOAccountStore> &store) { m_accountStore = store; }
    // Copied when set: later edits of the composer's attachments do not reach this operation.
    QList<TULOAttachmentPtr> attachments() const { return m_attachments; }
    void setAttachments(const QList<TULOAttachmentPtr> &attachments);
    bool isAttributed() const { return m_attributed; }
    void setAttributed(bool value) { m_attributed = value; }
    TULOPostAuthor author() const { return m_author; }
    void setAuthor(const TULOPostAuthor &author) { m_author = author; }
    TULOClientContext clientContext() const { return m_clientContext; }
    void setClientContext(const TULOClientContext &context) { m_clientContext = context; }
    std::optional<TULOStoreItem> contentItem() const { return m_contentItem; }
    void setContentItem(const std::optional<TULOStoreItem> &item) { m_contentItem = item; }
    QList<TULOSocialService> enabledExternalServices() const { return m_enabledExternalServices; }
    void setEnabledExternalServices(const QList<TULOSocialService> &services) { m_enabledExternalServices = services; }
    // 1 sends a Facebook cross-post to a page.
    qint64 facebookDestination() const { return m_facebookDestination; }
    void setFacebookDestination(qint64 destination) { m_facebookDestination = destination; }
    QString text() const { return m_text; }
    void setText(const QString &text) { m_text = text; }
    // The library items were downloaded only for this post: copy their files, then remove them.
    bool attachmentWasDownloadedAndNeedsRemoval() const { return m_attachmentWasDownloadedAndNeedsRemoval; }
    void setAttachmentWasDownloadedAndNeedsRemoval(bool value) { m_attachmentWasDownloadedAndNeedsRemoval = value; }
    void setOutputBlock(OutputBlock block) { m_outputBlock = std::move(block); }

    // Why the last attachment that could not be made into a file failed; null when none did.
    // The output block gets no error in that case, so callers that must explain a failed post
    // (the command line) read it here once the operation has finished.
    TULOError finalizationError() const;

    // The text shown with untitled attachments: tag tokens replaced by their names, cut after
    // 100 characters with an ellipsis.
    static QString truncatedText(const QString &text);

protected:
    void main() override;

    // nullopt only together with an error; a result without assetURL is skipped by main().
    virtual std::optional<TULOPostAttachment> copyFinalizedAttachmentWithAttachment(
        const TULOAttachment &attachment, TULOError *error);
    QString defaultTitleWithAttachment(const TULOAttachment &attachment) const;
    QString defaultTruncatedText() const;
    std::optional<TULOPostAttachment> newCoverImageAttachmentWithAttachment(const TULOAttachment &attachment);
    // Runs the account store's token refresh synchronously on this thread.
    virtual std::optional<QList<TULOExternalDestination>> refreshTokensForAuthor(
        const TULOPostAuthor &author, const QList<TULOSocialService> &externalServices, TULOError *error);

    // The file operations; every file goes into TULOTemporaryAssetsDirectoryPath().
    virtual QUrl URLByWritingData(const QByteArray &data, const QString &typeIdentifier, TULOError *error);
    // A new owner-only file in the assets folder, named for its type and filled by `write`.
    QUrl URLByWritingFile(const QString &typeIdentifier,
        const std::function<bool(QIODevice *file, TULOError *error)> &write, TULOError *error);
    QUrl URLByWritingImage(const QImage &image, const QString &typeIdentifier, TULOError *error);
    // `typeIdentifier` becomes the image's own type on success.
    QUrl URLByWritingStrippedImageData(const QByteArray &data, QString *typeIdentifier, TULOError *error);
    QUrl URLByCopyingAssetAtURL(const QUrl &url, TULOError *error);
    QUrl URLByResolvingImageAssetURL(const QUrl &assetURL, QString *UTI, TULOError *error);
    QUrl URLByResolvingVideoAssetURL(const QUrl &assetURL, QString *UTI, TULOError *error);
    // Removes the library item of a downloaded song once its file has been copied.
    virtual bool removeMediaItem(const TULOMediaLibraryItemPtr &item, TULOError *error);

private:
    // The photo library of the optional module, made on first use; null without the module.
    TULOPhotoLibrary *photoLibrary(TULOError *error);

    std::shared_ptr<TULOAccountStore> m_accountStore;
    QList<TULOAttachmentPtr> m_attachments;
    bool m_attributed = false;
    TULOPostAuthor m_author;
    TULOClientContext m_clientContext;
    std::optional<TULOStoreItem> m_contentItem;
    QList<TULOSocialService> m_enabledExternalServices;
    qint64 m_facebookDestination = 0;
    QString m_text;
    bool m_attachmentWasDownloadedAndNeedsRemoval = false;
    OutputBlock m_outputBlock;
    std::unique_ptr<QObject> m_photoLibrary;
    mutable std::mutex m_finalizationErrorMutex;
    TULOError m_finalizationError;
};

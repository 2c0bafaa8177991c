#pragma once

#include <Quillon/core/storeitem.h>
#include <Quillon/platform/library/medialibraryitem.h>
#include <Quillon/platform/records/postartist.h>
#include <Quillon/platform/records/postattachment.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QByteArray>
#include <QDateTime>
#include <QImage>
#include <QList>
#include <QSizeF>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

// What an attachment is; the numbers are part of the store protocol.
enum TULOAttachmentType {
    TULOAttachmentTypeUnknown = 0,
    TULOAttachmentTypeAudio = 1,
    TULOAttachmentTypeImage = 2,
    TULOAttachmentTypeSoundBite = 3,
    TULOAttachmentTypeVideo = 4,
};

class TULOAttachment;
using TULOAttachmentPtr = std::shared_ptr<TULOAttachment>;

// One item attached to a post: a photo or video (data, an image in memory, or an asset URL),
// a song or music video of the media library, a voice memo or a recorded sound bite. Compared
// by identity and held by std::shared_ptr; copy() makes a new, independent one.
class TULOAttachment
{
public:
    TULOAttachment() = default;
    TULOAttachment(const QByteArray &data, const QString &typeIdentifier);
    TULOAttachment(const QUrl &assetURL, const QString &typeIdentifier);
    TULOAttachment(const QImage &image, const QString &typeIdentifier);
    // Takes its descriptive fields from the item (see setMediaItem).
    explicit TULOAttachment(const TULOMediaLibraryItemPtr &mediaItem);

    QByteArray data() const { return m_data; }
    void setData(const QByteArray &data) { m_data = data; }
    QImage assetImage() const { return m_assetImage; }
    void setAssetImage(const QImage &image) { m_assetImage = image; }

    // The stored URL, else a file URL of the media item's file (kept once derived).
    QUrl assetURL() const;
    void setAssetURL(const QUrl &url) { m_assetURL = url; }
    // The stored type identifier, else the one for the asset URL's file-name extension (kept
    // once derived); null when neither gives one.
    QString UTI() const;
    void setUTI(const QString &typeIdentifier) { m_UTI = typeIdentifier; }

    TULOMediaLibraryItemPtr mediaItem() const { return m_mediaItem; }
    // Keeps the item and takes over its explicit flag, title, artwork and artist credit; every
    // time, so that edits of those fields are replaced by the item's own values.
    void setMediaItem(const TULOMediaLibraryItemPtr &mediaItem);

    double duration() const { return m_duration; }
    void setDuration(double seconds) { m_duration = seconds; }
    QSizeF pixelSize() const { return m_pixelSize; }
    void setPixelSize(const QSizeF &size) { m_pixelSize = size; }
    std::optional<TULOStoreItem> album() const { return m_album; }
    void setAlbum(const std::optional<TULOStoreItem> &album) { m_album = album; }
    QList<TULOPostArtist> artists() const { return m_artists; }
    void setArtists(const QList<TULOPostArtist> &artists) { m_artists = artists; }
    QString attachmentDescription() const { return m_attachmentDescription; }
    void setAttachmentDescription(const QString &value) { m_attachmentDescription = value; }
    // When the recording was made or released; its year is shown on the preview.
    QDateTime date() const { return m_date; }
    void setDate(const QDateTime &date) { m_date = date; }
    QString categoryName() const { return m_categoryName; }
    void setCategoryName(const QString &value) { m_categoryName = value; }
    bool isExplicitContent() const { return m_explicitContent; }
    void setExplicitContent(bool value) { m_explicitContent = value; }
    QString message() const { return m_message; }
    void setMessage(const QString &value) { m_message = value; }
    QImage thumbnailImage() const { return m_thumbnailImage; }
    void setThumbnailImage(const QImage &image) { m_thumbnailImage = image; }
    // The chosen cover frame's time; the properties editor stores milliseconds.
    double thumbnailImageTime() const { return m_thumbnailImageTime; }
    void setThumbnailImageTime(double value) { m_thumbnailImageTime = value; }
    QString title() const { return m_title; }
    void setTitle(const QString &value) { m_title = value; }

    TULOAttachmentType attachmentType() const;
    // A library item that is only in the store: it must be downloaded before posting.
    bool isDownloadable() const;

    // A new attachment with every field set from this one's getters, the media item last.
    TULOAttachmentPtr copy() const;
    TULOPostAttachment copyQuillonPostAttachment() const;
    QString description() const;

private:
    void configureWithMediaItem(const TULOMediaLibraryItemPtr &mediaItem);

    QByteArray m_data;
    QImage m_assetImage;
    mutable QUrl m_assetURL;
    mutable QString m_UTI;
    TULOMediaLibraryItemPtr m_mediaItem;
    double m_duration = 0;
    QSizeF m_pixelSize;
    std::optional<TULOStoreItem> m_album;
    QList<TULOPostArtist> m_artists;
    QString m_attachmentDescription;
    QString m_categoryName;
    QDateTime m_date;
    bool m_explicitContent = false;
    QString m_message;
    QImage m_thumbnailImage;
    double m_thumbnailImageTime = 0;
    QString m_title;
};

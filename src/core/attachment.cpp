#include <Quillon/core/attachment.h>

#include <QFileInfo>

TULOAttachment::TULOAttachment(const QByteArray &data, const QString &typeIdentifier)
    : m_data(data), m_UTI(typeIdentifier)
{
}

TULOAttachment::TULOAttachment(const QUrl &assetURL, const QString &typeIdentifier)
    : m_assetURL(assetURL), m_UTI(typeIdentifier)
{
}

TULOAttachment::TULOAttachment(const QImage &image, const QString &typeIdentifier)
    : m_assetImage(image), m_UTI(typeIdentifier)
{
}

TULOAttachment::TULOAttachment(const TULOMediaLibraryItemPtr &mediaItem)
    : m_mediaItem(mediaItem)
{
    configureWithMediaItem(mediaItem);
}

QUrl TULOAttachment::assetURL() const
{
    if (!m_assetURL.isEmpty())
        return m_assetURL;
    if (m_mediaItem && !m_mediaItem->filePath().isEmpty())
        m_assetURL = QUrl::fromLocalFile(m_mediaItem->filePath());
    return m_assetURL;
}

QString TULOAttachment::UTI() const
{
    if (!m_UTI.isNull())
        return m_UTI;
    const QUrl url = assetURL();
    if (url.isEmpty())
        return QString();
    const QString extension = QFileInfo(url.path()).suffix();
    if (extension.isEmpty())
        return QString();
    m_UTI = TULOTypeIdentifiers::typeForFilenameExtension(extension);
    return m_UTI;
}

void TULOAttachment::setMediaItem(const TULOMediaLibraryItemPtr &mediaItem)
{
    m_mediaItem = mediaItem;
    configureWithMediaItem(mediaItem);
}

void TULOAttachment::configureWithMediaItem(const TULOMediaLibraryItemPtr &mediaItem)
{
    if (!mediaItem)
        return;
    m_explicitContent = mediaItem->isExplicit();
    m_title = mediaItem->title();
    const TULOArtworkCatalog artwork = mediaItem->artwork();
    m_thumbnailImage = artwork.isNull() ? QImage() : artwork.imageWithSize(QSizeF(mediaItem->artworkBounds()), 1.0);

    // The album artist is credited when the store knows them; otherwise the track's artist.
    qint64 identifier = mediaItem->storeAlbumArtistIdentifier();
    QString name = mediaItem->albumArtist();
    if (!identifier) {
        identifier = mediaItem->storeArtistIdentifier();
        name = mediaItem->artist();
    }
    if (identifier && !name.isNull())
        m_artists = {TULOPostArtist(QString::number(identifier), name)};
}

TULOAttachmentType TULOAttachment::attachmentType() const
{
    const QString typeIdentifier = UTI();
    if (typeIdentifier.isNull() && m_mediaItem) {
        const quint64 mediaType = m_mediaItem->mediaType();
        if (mediaType & TULOMediaTypeAnyAudio)
            return TULOAttachmentTypeAudio;
        if (mediaType & TULOMediaTypeAnyVideo)
            return TULOAttachmentTypeVideo;
    }
    return TULOAttachmentType(TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(typeIdentifier));
}

bool TULOAttachment::isDownloadable() const
{
    return m_mediaItem && UTI().isNull() && assetURL().isEmpty() && m_mediaItem->isDownloadableFromStore();
}

TULOAttachmentPtr TULOAttachment::copy() const
{
    auto copy = std::make_shared<TULOAttachment>();
    // This order is deliberate: the derived URL and type become stored ones, and the media item,
    // set last, overwrites the fields it configures.
    copy->setAlbum(album());
    copy->setArtists(artists());
    copy->setAssetImage(assetImage());
    copy->setAssetURL(assetURL());
    copy->setAttachmentDescription(attachmentDescription());
    copy->setCategoryName(categoryName());
    copy->setData(data());
    copy->setDate(date());
    copy->setDuration(duration());
    copy->setExplicitContent(isExplicitContent());
    copy->setMessage(message());
    copy->setPixelSize(pixelSize());
    copy->setThumbnailImage(thumbnailImage());
    copy->setThumbnailImageTime(thumbnailImageTime());
    copy->setTitle(title());
    copy->setUTI(UTI());
    copy->setMediaItem(mediaItem());
    return copy;
}

TULOPostAttachment TULOAttachment::copyQuillonPostAttachment() const
{
    TULOPostAttachment attachment;
    attachment.setAlbumIdentifier(m_album ? m_album->itemIdentifier() : QString());
    attachment.setArtists(artists());
    attachment.setAssetURL(assetURL());
    attachment.setAttachmentDescription(attachmentDescription());
    attachment.setCategoryName(categoryName());
    attachment.setExplicitContent(isExplicitContent());
    attachment.setPreviewFrameTimestamp(thumbnailImageTime());
    attachment.setTitle(title());
    attachment.setUTI(UTI());
    return attachment;
}

QString TULOAttachment::description() const
{
    const QString base = QStringLiteral("<TULOAttachment: 0x%1>").arg(quintptr(this), 0, 16);
    return QStringLiteral("%1: [UTI: %2]").arg(base, UTI().isNull() ? QStringLiteral("(null)") : UTI());
}

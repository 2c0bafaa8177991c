#include <Quillon/core/storeitemartworkrequest.h>

#include <Quillon/core/artworkcatalogresourceoperation.h>
#include <Quillon/platform/store/styledimagedataconsumer.h>

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

TULOStoreItemArtworkRequest::TULOStoreItemArtworkRequest(const TULOStoreItem &item, const QSizeF &imageSize, qreal scale)
    : m_artworkCatalog(item.artworkCatalog())
    , m_imageSize(imageSize)
{
    if (scale <= 0)
        scale = mainScreenScale();
    if (!m_artworkCatalog.isNull()) {
        m_artworkCatalog.setDestinationScale(scale);
        m_artworkCatalog.setFittingSize(imageSize);
    }

    auto consumer = std::make_shared<TULOStyledImageDataConsumer>();
    QColor border = Qt::black;
    border.setAlphaF(0.2f);
    consumer->setBorderColor(border);
    consumer->setScale(scale);
    // One device pixel on every edge.
    consumer->setBorderWidth(1.0 / scale);
    consumer->setImageSize(imageSize);
    const QString kind = item.kind();
    if (kind == QLatin1String("activity") || kind == QLatin1String("artist") || kind == QLatin1String("curator"))
        consumer->setImageTreatment(TULOImageTreatmentCircle);
    setDataConsumer(consumer);

    const TULOArtworkList list = item.artworkList();
    const TULOLookupItemArtwork artworkTemplate = item.artworkTemplate();
    if (!list.isEmpty())
        setUrl(list.URLForWidth(qint64(imageSize.width())));
    else if (!artworkTemplate.isNull()) // lookups describe artwork by a template: asked for at device pixels
        setUrl(artworkTemplate.URLWithHeight(quint64(std::ceil(imageSize.height() * scale)),
                                             quint64(std::ceil(imageSize.width() * scale))));
}

qreal TULOStoreItemArtworkRequest::mainScreenScale()
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return 1.0;
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

std::shared_ptr<TULOResourceLoadOperation> TULOStoreItemArtworkRequest::newLoadOperation() const
{
    if (!m_artworkCatalog.isNull())
        return std::make_shared<TULOArtworkCatalogResourceOperation>(shared_from_this(), m_artworkCatalog);
    return TULOArtworkRequest::newLoadOperation();
}

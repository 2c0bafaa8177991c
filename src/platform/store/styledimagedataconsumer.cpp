#include <Quillon/platform/store/styledimagedataconsumer.h>

#include <Quillon/platform/store/storeerror.h>

#include <QPainter>
#include <QPainterPath>

#include <cmath>

static TULOError imageError(const QString &description, const TULOUrlResponse &response)
{
    return TULOStoreError(TULOStoreErrorRequestFailed, response.url,
                          {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                           {QString::fromLatin1(TULOStoreHTTPStatusKey), response.httpStatus}});
}

QVariant TULOStyledImageDataConsumer::objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error)
{
    if (response.httpStatus != 0 && !response.isSuccess()) {
        TULOSetError(error, imageError(QStringLiteral("The store answered with status %1.").arg(response.httpStatus), response));
        return QVariant();
    }
    const QImage decoded = QImage::fromData(data);
    if (decoded.isNull()) {
        TULOSetError(error, imageError(QStringLiteral("The artwork is not an image."), response));
        return QVariant();
    }
    return QVariant::fromValue(imageForImage(decoded));
}

QImage TULOStyledImageDataConsumer::imageForImage(const QImage &image) const
{
    if (image.isNull())
        return QImage();
    const QSizeF points = m_imageSize.isEmpty() ? QSizeF(image.size()) : m_imageSize;
    const QSize pixels(std::max(1, int(std::lround(points.width() * m_scale))), std::max(1, int(std::lround(points.height() * m_scale))));
    QImage canvas(pixels, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);

    const QRectF bounds(QPointF(0, 0), QSizeF(pixels));
    const bool circle = m_imageTreatment == TULOImageTreatmentCircle;
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (circle) {
        QPainterPath clip;
        clip.addEllipse(bounds);
        painter.setClipPath(clip);
    }
    if (m_backgroundColor.isValid())
        painter.fillRect(bounds, m_backgroundColor);

    // Fill the area and crop what overhangs, so faces and covers keep their proportions.
    const QSizeF filled = QSizeF(image.size()).scaled(bounds.size(), Qt::KeepAspectRatioByExpanding);
    const QRectF target((bounds.width() - filled.width()) / 2, (bounds.height() - filled.height()) / 2, filled.width(), filled.height());
    painter.drawImage(target, image);

    if (m_borderColor.isValid() && m_borderColor.alpha() > 0) {
        const QMarginsF widths = m_borderEdgeInsets * m_scale;
        if (circle) {
            const qreal width = std::max({widths.left(), widths.top(), widths.right(), widths.bottom()});
            if (width > 0) {
                painter.setClipping(false);
                painter.setPen(QPen(m_borderColor, width));
                painter.setBrush(Qt::NoBrush);
                painter.drawEllipse(bounds.marginsRemoved(QMarginsF(width, width, width, width) / 2));
            }
        } else {
            painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
            if (widths.top() > 0)
                painter.fillRect(QRectF(0, 0, bounds.width(), widths.top()), m_borderColor);
            if (widths.bottom() > 0)
                painter.fillRect(QRectF(0, bounds.height() - widths.bottom(), bounds.width(), widths.bottom()), m_borderColor);
            // Side edges leave out the corners the top and bottom edges already cover.
            const qreal top = widths.top();
            const qreal height = bounds.height() - widths.top() - widths.bottom();
            if (widths.left() > 0 && height > 0)
                painter.fillRect(QRectF(0, top, widths.left(), height), m_borderColor);
            if (widths.right() > 0 && height > 0)
                painter.fillRect(QRectF(bounds.width() - widths.right(), top, widths.right(), height), m_borderColor);
        }
    }
    painter.end();
    canvas.setDevicePixelRatio(m_scale);
    return canvas;
}

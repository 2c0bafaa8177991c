#pragma once

#include <QImage>
#include <QPainter>
#include <QRectF>

// Drawing shared by the attachment previews.
namespace TULOPreviewDrawing {

// `image` scaled to cover `rect` and cropped from the centre (aspect fill).
inline void drawAspectFill(QPainter &painter, const QRectF &rect, const QImage &image)
{
    if (image.isNull() || rect.isEmpty())
        return;
    const QSizeF source = image.deviceIndependentSize();
    const qreal scale = std::max(rect.width() / source.width(), rect.height() / source.height());
    const QSizeF shown(rect.width() / scale, rect.height() / scale);
    const QRectF sourceRect((source.width() - shown.width()) / 2 * image.devicePixelRatio(),
                            (source.height() - shown.height()) / 2 * image.devicePixelRatio(),
                            shown.width() * image.devicePixelRatio(), shown.height() * image.devicePixelRatio());
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setClipRect(rect);
    painter.drawImage(rect, image, sourceRect);
    painter.restore();
}

// A border of black at alpha 0.2, one device pixel wide, inside `rect`.
inline void drawHairlineBorder(QPainter &painter, const QRectF &rect, qreal devicePixelRatio)
{
    const qreal width = 1.0 / std::max<qreal>(1.0, devicePixelRatio);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QPen(QColor(0, 0, 0, 51), width));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect.adjusted(width / 2, width / 2, -width / 2, -width / 2));
    painter.restore();
}

} // namespace TULOPreviewDrawing

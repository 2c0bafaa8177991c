#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/store/dataconsumer.h>

#include <QColor>
#include <QImage>
#include <QMarginsF>
#include <QSizeF>

// Image treatments the styled consumer knows.
enum TULOImageTreatment : int {
    TULOImageTreatmentNone = 0,
    TULOImageTreatmentCircle = 9, // artists, curators and activities are drawn as a circle
};

// Decodes an image reply and draws it, ready for a row: scaled to fill `imageSize` points
// (cropped from the centre, never stretched) at `scale` device pixels per point, on the
// background colour, with a border of its own width on each edge. The circle treatment clips
// the image and draws the border as a ring. The output is a QImage carrying `scale` as its
// device pixel ratio. A reply that is not an image, or a failing status, is store error 100.
class QUILLON_EXPORT TULOStyledImageDataConsumer : public TULODataConsumer
{
public:
    TULOStyledImageDataConsumer() = default;

    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor &color) { m_backgroundColor = color; }
    QColor borderColor() const { return m_borderColor; }
    void setBorderColor(const QColor &color) { m_borderColor = color; }
    // Points per edge: left, top, right, bottom.
    QMarginsF borderEdgeInsets() const { return m_borderEdgeInsets; }
    void setBorderEdgeInsets(const QMarginsF &widths) { m_borderEdgeInsets = widths; }
    void setBorderWidth(qreal width) { m_borderEdgeInsets = QMarginsF(width, width, width, width); }
    // Points; empty keeps the image's own pixel size (at scale 1).
    QSizeF imageSize() const { return m_imageSize; }
    void setImageSize(const QSizeF &size) { m_imageSize = size; }
    qreal scale() const { return m_scale; }
    void setScale(qreal scale) { m_scale = scale > 0 ? scale : 1.0; }
    int imageTreatment() const { return m_imageTreatment; }
    void setImageTreatment(int treatment) { m_imageTreatment = treatment; }

    QVariant objectForData(const QByteArray &data, const TULOUrlResponse &response, TULOError *error) override;
    // The drawing alone, for images that come from elsewhere.
    QImage imageForImage(const QImage &image) const;

private:
    QColor m_backgroundColor;
    QColor m_borderColor;
    QMarginsF m_borderEdgeInsets;
    QSizeF m_imageSize;
    qreal m_scale = 1.0;
    int m_imageTreatment = TULOImageTreatmentNone;
};

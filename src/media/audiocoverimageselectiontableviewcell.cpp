#include <Quillon/media/audiocoverimageselectiontableviewcell.h>

#include <QEvent>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>

TULOAudioCoverImageSelectionTableViewCell::TULOAudioCoverImageSelectionTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
    , m_scale(devicePixelRatioF())
{
    setImageSize(QSize(TULOCoverSide, TULOCoverSide));
    setAccessoryType(TULOTableViewCellAccessoryDisclosureIndicator);
    updateImage();
}

void TULOAudioCoverImageSelectionTableViewCell::setCoverImage(const QImage &image)
{
    m_coverImage = image;
    updateImage();
}

void TULOAudioCoverImageSelectionTableViewCell::prepareForReuse()
{
    TULOTableViewCell::prepareForReuse();
    setImageSize(QSize(TULOCoverSide, TULOCoverSide));
    m_coverImage = {};
    updateImage();
}

void TULOAudioCoverImageSelectionTableViewCell::changeEvent(QEvent *event)
{
    TULOTableViewCell::changeEvent(event);
    // The empty frame is drawn in the palette's colours and at the screen's scale.
    if (m_coverImage.isNull()
        && event->type() == QEvent::PaletteChange)
        updateImage();
}

void TULOAudioCoverImageSelectionTableViewCell::paintEvent(QPaintEvent *event)
{
    qreal scale = devicePixelRatioF();
    {
        // Rendering into an image paints on that image, whose scale may differ from the screen's.
        QPainter probe(this);
        if (const QPaintDevice *device = probe.paintEngine() ? probe.paintEngine()->paintDevice() : nullptr)
            scale = device->devicePixelRatioF();
    }
    if (!qFuzzyCompare(scale, m_scale)) {
        m_scale = scale;
        updateImage();
    }
    TULOTableViewCell::paintEvent(event);
}

void TULOAudioCoverImageSelectionTableViewCell::updateImage()
{
    if (m_coverImage.isNull()) {
        setImage(placeholderImage());
        return;
    }
    // Square, filled, at the screen's scale: covers come in any shape.
    const qreal scale = m_scale;
    const int side = int(TULOCoverSide * scale);
    QImage cover = m_coverImage.scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    cover = cover.copy((cover.width() - side) / 2, (cover.height() - side) / 2, side, side);
    cover.setDevicePixelRatio(scale);
    setImage(cover);
}

QImage TULOAudioCoverImageSelectionTableViewCell::placeholderImage() const
{
    const qreal scale = m_scale;
    QImage image(QSize(TULOCoverSide, TULOCoverSide) * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor line = palette().color(QPalette::PlaceholderText);
    painter.setPen(QPen(line, 1.0, Qt::DashLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(0.5, 0.5, TULOCoverSide - 1.0, TULOCoverSide - 1.0), 6.0, 6.0);
    // A plus: "add a cover".
    painter.setPen(QPen(line, 2.0, Qt::SolidLine, Qt::RoundCap));
    const qreal c = TULOCoverSide / 2.0;
    painter.drawLine(QPointF(c - 8, c), QPointF(c + 8, c));
    painter.drawLine(QPointF(c, c - 8), QPointF(c, c + 8));
    return image;
}

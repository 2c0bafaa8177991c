#include "sandboxartwork.h"

#include <QBuffer>
#include <QColor>
#include <QCryptographicHash>
#include <QImage>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>

QByteArray TULOSandboxArtwork::render(const QString &identifier, int width, int height, const QByteArray &format)
{
    if (width < 1 || height < 1 || width > maximumSide || height > maximumSide)
        return QByteArray();
    const QByteArray writerFormat = format == "jpg" ? QByteArray("jpeg") : format;
    if (writerFormat != "png" && writerFormat != "jpeg")
        return QByteArray();

    const QByteArray digest = QCryptographicHash::hash(identifier.toUtf8(), QCryptographicHash::Md5);
    const auto byte = [&digest](int i) { return int(static_cast<unsigned char>(digest.at(i))); };
    const QColor first = QColor::fromHsv(byte(0) * 359 / 255, 120 + byte(1) % 100, 150 + byte(2) % 100);
    const QColor second = QColor::fromHsv((byte(0) * 359 / 255 + 120 + byte(3) % 90) % 360, 140, 90 + byte(4) % 80);

    // Only raster painting without text, which needs no GUI application object.
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, width, height);
    gradient.setColorAt(0, first);
    gradient.setColorAt(1, second);
    painter.fillRect(image.rect(), gradient);
    const int rings = 2 + byte(5) % 4;
    const qreal side = qMin(width, height);
    const QPointF centre(width * (0.3 + byte(6) / 640.0), height * (0.3 + byte(7) / 640.0));
    for (int i = rings; i > 0; --i) {
        QColor ring = QColor::fromHsv((first.hue() + i * 37) % 360, 60, 240);
        ring.setAlpha(70);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ring);
        const qreal radius = side * 0.12 * i;
        painter.drawEllipse(centre, radius, radius);
    }
    painter.end();

    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, writerFormat);
    if (writerFormat == "jpeg")
        writer.setQuality(90);
    if (!writer.write(image))
        return QByteArray();
    return data;
}

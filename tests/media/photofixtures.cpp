#include "photofixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>

bool TULOTestWritePhoto(const QString &path, const QSize &size, int hue, const QDateTime &modified)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(hue % 360, 120, 210));
    QPainter painter(&image);
    painter.setPen(QPen(QColor::fromHsv((hue + 180) % 360, 160, 120), size.width() / 12));
    painter.drawLine(0, size.height(), size.width(), 0);
    painter.end();
    if (!image.save(path))
        return false;
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.setFileTime(modified, QFileDevice::FileModificationTime);
}

QStringList TULOTestWritePhotoLibrary(const QString &folder)
{
    const QDateTime now = QDateTime::currentDateTime();
    const QStringList names = {QStringLiteral("Holiday/beach.jpg"), QStringLiteral("Studio/take-1.png"),
        QStringLiteral("clip.mp4"), QStringLiteral("Holiday/hills.jpg"), QStringLiteral("broken.jpg"),
        QStringLiteral("Studio/take-2.jpg"), QStringLiteral("portrait.jpg")};
    QStringList paths;
    for (int i = 0; i < names.size(); ++i) {
        const QString path = QDir(folder).filePath(names.at(i));
        const QDateTime date = now.addSecs(-600 * (i + 1));
        if (names.at(i).endsWith(QLatin1String(".mp4")) || names.at(i) == QLatin1String("broken.jpg")) {
            QDir().mkpath(QFileInfo(path).absolutePath());
            QFile file(path);
            const QByteArray bytes = names.at(i).endsWith(QLatin1String(".mp4"))
                ? QByteArray("\x00\x00\x00\x18" "ftypmp42\x00\x00\x00\x00" "mp42isom\x00\x00\x00\x08" "free", 32)
                : QByteArray("\xff\xd8\xff\xe0\x00\x10JFIF truncated", 20);
            // Flushed before dating it, or the write would date it now.
            if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()
                || !file.setFileTime(date, QFileDevice::FileModificationTime))
                return {};
        } else {
            const QSize size = names.at(i) == QLatin1String("portrait.jpg") ? QSize(300, 400) : QSize(400, 300);
            if (!TULOTestWritePhoto(path, size, 40 * i, date))
                return {};
        }
        paths << path;
    }
    return paths;
}

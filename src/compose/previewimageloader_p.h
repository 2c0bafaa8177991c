#pragma once

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QUrl>

#include <functional>

class TULOOperationQueue;

// Decodes photos for previews on worker threads, at the size they are shown: QImageReader's
// scaled size lets JPEG decode at 1/2, 1/4 or 1/8 straight away, so a 24-megapixel photo never
// exists in memory at full size. Results come back on the main thread, to a receiver that is
// still alive.
class TULOPreviewImageLoader
{
public:
    // The decoded image covering `pixelSize` (aspect kept, at least as large on both sides as
    // the source allows); null when the bytes are not an image.
    static QImage imageCoveringSize(const QByteArray &data, const QSize &pixelSize);
    static QImage imageCoveringSize(const QString &filePath, const QSize &pixelSize);

    // Decodes on the preview queue; `done` runs on the main thread unless `receiver` is gone.
    static void loadImage(const QByteArray &data, const QSize &pixelSize, QObject *receiver,
                          std::function<void(const QImage &)> done);
    // The file of an asset URL (a file URL or a photo library asset), found on the queue too.
    static void loadImage(const QUrl &assetURL, const QSize &pixelSize, QObject *receiver,
                          std::function<void(const QImage &)> done);

    // Runs `work` on the preview queue; for other slow preview work (video frames).
    static void run(QObject *receiver, std::function<QImage()> work, std::function<void(const QImage &)> done);

    static TULOOperationQueue *queue();
};

#include <Quillon/compose/previewimageloader_p.h>

#include <Quillon/media/filepathforasseturl.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>

#include <QBuffer>
#include <QImageReader>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace {

QImage readCovering(QImageReader &reader, const QSize &pixelSize)
{
    reader.setAutoTransform(true);
    QSize source = reader.size();
    if (source.isValid() && pixelSize.isValid() && !pixelSize.isEmpty()) {
        // EXIF rotation by a quarter turn swaps the sides the scaled size applies to.
        const bool swapped = reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
        const QSize target = swapped ? pixelSize.transposed() : pixelSize;
        const double scale = std::max(double(target.width()) / source.width(), double(target.height()) / source.height());
        if (scale < 1.0)
            reader.setScaledSize(QSize(std::max(1, int(std::ceil(source.width() * scale))),
                                       std::max(1, int(std::ceil(source.height() * scale)))));
    }
    return reader.read();
}

} // namespace

QImage TULOPreviewImageLoader::imageCoveringSize(const QByteArray &data, const QSize &pixelSize)
{
    QByteArray bytes = data; // shares, the buffer only reads
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return readCovering(reader, pixelSize);
}

QImage TULOPreviewImageLoader::imageCoveringSize(const QString &filePath, const QSize &pixelSize)
{
    QImageReader reader(filePath);
    return readCovering(reader, pixelSize);
}

TULOOperationQueue *TULOPreviewImageLoader::queue()
{
    static TULOOperationQueue *queue = [] {
        auto *made = new TULOOperationQueue(QStringLiteral("com.vantor.Quillon.previews"));
        // One core stays with the main thread, so that scrolling and typing never wait.
        made->setMaxConcurrentOperationCount(std::max(1, QThread::idealThreadCount() - 1));
        return made;
    }();
    return queue;
}

void TULOPreviewImageLoader::run(QObject *receiver, std::function<QImage()> work, std::function<void(const QImage &)> done)
{
    const QPointer<QObject> weak(receiver);
    queue()->addOperation([weak, work = std::move(work), done = std::move(done)] {
        if (!weak)
            return;
        const QImage image = work();
        TULODispatchMain([weak, image, done] {
            if (weak)
                done(image);
        });
    });
}

void TULOPreviewImageLoader::loadImage(const QByteArray &data, const QSize &pixelSize, QObject *receiver,
                                       std::function<void(const QImage &)> done)
{
    run(receiver, [data, pixelSize] { return imageCoveringSize(data, pixelSize); }, std::move(done));
}

void TULOPreviewImageLoader::loadImage(const QUrl &assetURL, const QSize &pixelSize, QObject *receiver,
                                       std::function<void(const QImage &)> done)
{
    run(receiver, [assetURL, pixelSize] {
        const QString filePath = TULOFilePathForAssetURL(assetURL);
        return filePath.isEmpty() ? QImage() : imageCoveringSize(filePath, pixelSize);
    }, std::move(done));
}

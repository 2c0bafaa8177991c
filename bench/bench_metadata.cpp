// Removing private metadata from photos before upload: 50 photos of 12 megapixels with GPS,
// camera data, XMP and IPTC, each read from disk, stripped and written back. Measured against a
// plain copy of the same files in the same run (target: at least 0.7 of its throughput) and
// against the exiftool command line removing all metadata from the same files.

#include <Quillon/platform/image/metadatastripper.h>
#include "benchsupport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // Exiv2 0.27's std::auto_ptr
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include <chrono>
#include <cstdio>

namespace {

const int kPhotoCount = TULOBenchSize(50, 2);
constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

QTemporaryDir *gDir = nullptr;
QStringList gPhotos;
qint64 gTotalBytes = 0;
double gCopySeconds = 0;
double gStripSeconds = 0;
double gExiftoolSeconds = 0;

QString folder(const char *name)
{
    const QString path = gDir->filePath(QString::fromLatin1(name));
    QDir().mkpath(path);
    return path;
}

QByteArray phonePhoto()
{
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    for (int y = 0; y < kHeight; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < kWidth; ++x) {
            const int noise = int((uint(x) * 2654435761u ^ uint(y) * 40503u) >> 27);
            line[x] = qRgb((x / 16 + noise) & 0xFF, (y / 12 + noise) & 0xFF, ((x + y) / 28) & 0xFF);
        }
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(92);
    if (!writer.write(image))
        return QByteArray();

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Exiv2::Image::AutoPtr photo
        = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte *>(buffer.data().constData()),
            static_cast<long>(buffer.data().size()));
#pragma GCC diagnostic pop
    photo->readMetadata();
    photo->exifData()["Exif.Image.Make"] = "Bench Camera";
    photo->exifData()["Exif.Image.Orientation"] = uint16_t(6);
    photo->exifData()["Exif.Photo.DateTimeOriginal"] = "2024:06:21 22:14:05";
    photo->exifData()["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    photo->exifData()["Exif.GPSInfo.GPSLatitude"] = "64/1 8/1 4632/100";
    photo->xmpData()["Xmp.exif.GPSLatitude"] = "64,8.772N";
    photo->xmpData()["Xmp.photoshop.City"] = "Reykjavik";
    photo->iptcData()["Iptc.Application2.City"] = "Reykjavik";
    photo->writeMetadata();
    Exiv2::BasicIo &io = photo->io();
    io.open();
    QByteArray bytes(static_cast<qsizetype>(io.size()), Qt::Uninitialized);
    io.read(reinterpret_cast<Exiv2::byte *>(bytes.data()), static_cast<long>(bytes.size()));
    io.close();
    return bytes;
}

bool makePhotos()
{
    const QByteArray photo = phonePhoto();
    if (photo.isEmpty())
        return false;
    for (int i = 0; i < kPhotoCount; ++i) {
        const QString path = QDir(folder("originals")).filePath(QStringLiteral("IMG_%1.jpg").arg(1000 + i));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(photo) != photo.size())
            return false;
        gPhotos << path;
        gTotalBytes += photo.size();
    }
    return true;
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Reads every photo whole and hands it to `write` with the output file opened, as the post
// preparation does with an attachment.
template <typename Write> double passOverPhotos(const QDir &out, Write write)
{
    const auto start = std::chrono::steady_clock::now();
    for (const QString &path : std::as_const(gPhotos)) {
        const QByteArray bytes = readAll(path);
        QFile file(out.filePath(QFileInfo(path).fileName()));
        if (bytes.isEmpty() || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) || !write(bytes, file))
            return -1;
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool copied(const QByteArray &bytes, QFile &file)
{
    return file.write(bytes) == bytes.size();
}

bool stripped(const QByteArray &bytes, QFile &file)
{
    return TULOMetadataStripper::writeStrippedImageData(bytes, &file);
}

// Both passes in every round, in alternating order, so that both see the same load on the
// machine and the same state of the page cache; the time reported is that of the removal.
void BM_MetadataRemovalAgainstCopy(benchmark::State &state)
{
    const QDir copies(folder("copied"));
    const QDir strips(folder("stripped"));
    double copySeconds = 0;
    double stripSeconds = 0;
    bool copyFirst = true;
    for (auto _ : state) {
        double copy = 0;
        if (copyFirst) {
            state.PauseTiming();
            copy = passOverPhotos(copies, copied);
            state.ResumeTiming();
        }
        const double strip = passOverPhotos(strips, stripped);
        if (!copyFirst) {
            state.PauseTiming();
            copy = passOverPhotos(copies, copied);
            state.ResumeTiming();
        }
        if (copy < 0 || strip < 0) {
            state.SkipWithError("a photo could not be copied or stripped");
            return;
        }
        copySeconds += copy;
        stripSeconds += strip;
        copyFirst = !copyFirst;
    }
    state.SetBytesProcessed(state.iterations() * gTotalBytes);
    state.SetItemsProcessed(state.iterations() * kPhotoCount);
    gCopySeconds = copySeconds / double(state.iterations());
    gStripSeconds = stripSeconds / double(state.iterations());
    state.counters["copy_MB_per_s"] = double(gTotalBytes) / 1e6 / gCopySeconds;
}

void BM_ExiftoolAllEquals(benchmark::State &state)
{
    const QString exiftool = QStandardPaths::findExecutable(QStringLiteral("exiftool"));
    if (exiftool.isEmpty()) {
        state.SkipWithError("exiftool is not installed (package libimage-exiftool-perl)");
        return;
    }
    const QDir work(folder("exiftool"));
    double total = 0;
    for (auto _ : state) {
        // The reference writes in place, so each round starts from fresh copies, made untimed.
        state.PauseTiming();
        QStringList arguments {
            QStringLiteral("-q"), QStringLiteral("-all="), QStringLiteral("-overwrite_original")};
        for (const QString &path : std::as_const(gPhotos)) {
            const QString target = work.filePath(QFileInfo(path).fileName());
            QFile::remove(target);
            QFile::copy(path, target);
            arguments << target;
        }
        state.ResumeTiming();
        const auto start = std::chrono::steady_clock::now();
        QProcess process;
        process.start(exiftool, arguments);
        if (!process.waitForFinished(-1) || process.exitCode() != 0) {
            state.SkipWithError("exiftool failed");
            return;
        }
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    state.SetBytesProcessed(state.iterations() * gTotalBytes);
    state.SetItemsProcessed(state.iterations() * kPhotoCount);
    gExiftoolSeconds = total / double(state.iterations());
}

BENCHMARK(BM_MetadataRemovalAgainstCopy)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(10, 1))->UseRealTime();
BENCHMARK(BM_ExiftoolAllEquals)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(2, 1))->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    gDir = &dir;
    std::printf("writing %d JPEG photos of %d x %d pixels with GPS, Exif, XMP and IPTC...\n", kPhotoCount,
        kWidth, kHeight);
    if (!makePhotos()) {
        std::fprintf(stderr, "could not write the photos\n");
        return 1;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    if (gCopySeconds > 0 && gStripSeconds > 0) {
        const double megabytes = double(gTotalBytes) / 1e6;
        const double ratio = gCopySeconds / gStripSeconds; // throughput of stripping over that of copying
        std::printf("plain copy %.0f MB/s, metadata removal %.0f MB/s: %.2f of the copy's throughput (target "
                    ">= 0.70) %s\n",
            megabytes / gCopySeconds, megabytes / gStripSeconds, ratio, ratio >= 0.7 ? "PASS" : "FAIL");
        if (gExiftoolSeconds > 0) {
            std::printf("exiftool -all= %.0f MB/s: metadata removal is %.1f times as fast\n",
                megabytes / gExiftoolSeconds, gExiftoolSeconds / gStripSeconds);
        }
        return TULOBenchVerdict(ratio >= 0.7);
    }
    return 0;
}

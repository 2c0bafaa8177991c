// Removing private metadata from photos before upload, as post preparation does it: each photo
// read from disk whole, stripped, and written to a new private file. The photos are realistic:
// camera JPEGs at 2, 8 and 12 megapixels with an IFD1 thumbnail, an ICC profile, GPS, maker
// notes, XMP and IPTC. Measured against two references in the same run, on the same files:
//  - a plain read-and-write copy through the same file writer (target: removal reaches at
//    least 0.85 of its throughput);
//  - the exiftool command line keeping orientation and colour profile
//    (`exiftool -all= -tagsfromfile @ -orientation -icc_profile`; target: faster than it).
// Prints every ratio with its target and exits non-zero when one is missed.
// In smoke mode (benchsupport.h) a few small photos only, and the targets are not judged.

#include <Quillon/platform/image/metadatastripper.h>
#include <Quillon/platform/privatefiles.h>
#include "benchsupport.h"

#include <QBuffer>
#include <QColorSpace>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // Exiv2 0.27's std::auto_ptr
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

constexpr double kCopyTarget = 0.85; // removal throughput over copy throughput, at least
constexpr double kExiftoolTarget = 1.0; // exiftool's time over removal's, at least

struct TULOPhotoSize
{
    int width;
    int height;
    int count;
};

QTemporaryDir *gDir = nullptr;
QStringList gPhotos;
qint64 gTotalBytes = 0;
QList<double> gCopyRounds;
QList<double> gStripRounds;
double gExiftoolSeconds = 0;

QString folder(const char *name)
{
    const QString path = gDir->filePath(QString::fromLatin1(name));
    QDir().mkpath(path);
    return path;
}

QByteArray encodedJpeg(int width, int height, int quality)
{
    // Gradients with a little noise and hard edges compress like a photo does.
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int noise = int((uint(x) * 2654435761u ^ uint(y) * 40503u) >> 27);
            line[x] = qRgb((x * 255 / width + noise) & 0xFF, (y * 255 / height + noise) & 0xFF,
                ((x / 37 + y / 23) * 40) & 0xFF);
        }
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    return writer.write(image) ? buffer.data() : QByteArray();
}

// What a phone writes: Exif with camera data, maker note and GPS, an IFD1 thumbnail, XMP with
// a place, IPTC with a place, and an ICC profile.
QByteArray phonePhoto(int width, int height)
{
    const QByteArray pixels = encodedJpeg(width, height, 92);
    const QByteArray thumbnail = encodedJpeg(160, 120, 80);
    if (pixels.isEmpty() || thumbnail.isEmpty())
        return QByteArray();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Exiv2::Image::AutoPtr photo = Exiv2::ImageFactory::open(
        reinterpret_cast<const Exiv2::byte *>(pixels.constData()), static_cast<long>(pixels.size()));
#pragma GCC diagnostic pop
    photo->readMetadata();
    Exiv2::ExifData &exif = photo->exifData();
    exif["Exif.Image.Make"] = "Bench Camera";
    exif["Exif.Image.Model"] = "B-12";
    exif["Exif.Image.Orientation"] = uint16_t(6);
    exif["Exif.Photo.DateTimeOriginal"] = "2024:06:21 22:14:05";
    exif["Exif.Photo.ExposureTime"] = "1/120";
    exif["Exif.Photo.FNumber"] = "18/10";
    exif["Exif.Photo.BodySerialNumber"] = "SN-0042-7781";
    const std::string makerNote(2048, 'M');
    exif["Exif.Photo.MakerNote"]
        = Exiv2::DataValue(reinterpret_cast<const Exiv2::byte *>(makerNote.data()), long(makerNote.size()));
    exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    exif["Exif.GPSInfo.GPSLatitude"] = "64/1 8/1 4632/100";
    exif["Exif.GPSInfo.GPSLongitudeRef"] = "W";
    exif["Exif.GPSInfo.GPSLongitude"] = "21/1 56/1 3012/100";
    Exiv2::ExifThumb(exif).setJpegThumbnail(
        reinterpret_cast<const Exiv2::byte *>(thumbnail.constData()), static_cast<long>(thumbnail.size()));
    photo->xmpData()["Xmp.dc.title"] = "Harbour at dusk";
    photo->xmpData()["Xmp.exif.GPSLatitude"] = "64,8.772N";
    photo->xmpData()["Xmp.photoshop.City"] = "Reykjavik";
    photo->xmpData()["Xmp.photoshop.Country"] = "Iceland";
    photo->iptcData()["Iptc.Application2.Caption"] = "Harbour at dusk";
    photo->iptcData()["Iptc.Application2.City"] = "Reykjavik";
    photo->iptcData()["Iptc.Application2.CountryName"] = "Iceland";
    const QByteArray profile = QColorSpace(QColorSpace::SRgb).iccProfile();
    Exiv2::DataBuf icc(reinterpret_cast<const Exiv2::byte *>(profile.constData()), static_cast<long>(profile.size()));
    photo->setIccProfile(icc);
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
    const QList<TULOPhotoSize> sizes = TULOBenchSmoke()
        ? QList<TULOPhotoSize> {{640, 480, 3}, {1600, 1200, 2}}
        : QList<TULOPhotoSize> {{1600, 1200, 10}, {3264, 2448, 15}, {4000, 3000, 25}};
    for (const TULOPhotoSize &size : sizes) {
        const QByteArray photo = phonePhoto(size.width, size.height);
        if (photo.isEmpty())
            return false;
        std::printf("  %d x %d: %d photos of %.1f MB\n", size.width, size.height, size.count, photo.size() / 1e6);
        for (int i = 0; i < size.count; ++i) {
            const QString path = QDir(folder("originals"))
                                     .filePath(QStringLiteral("IMG_%1_%2.jpg").arg(size.width).arg(i));
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly) || file.write(photo) != photo.size())
                return false;
            gPhotos << path;
            gTotalBytes += photo.size();
        }
    }
    return true;
}

// A photo read whole and written to a new private file, named with `prefix`, through `write`, as
// post preparation does with an attachment; the seconds it took, negative on failure.
template<typename Write> double passOverPhoto(const QString &path, const QDir &out, const QString &prefix, Write write)
{
    const auto start = std::chrono::steady_clock::now();
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray bytes = in.readAll();
    const auto fill = [&](QIODevice *file, TULOError *error) { return write(bytes, file, error); };
    if (bytes.isEmpty() || !TULOPrivateFiles::writeFile(out.filePath(prefix + QFileInfo(path).fileName()), fill))
        return -1;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool copied(const QByteArray &bytes, QIODevice *file, TULOError *)
{
    return file->write(bytes) == bytes.size();
}

bool stripped(const QByteArray &bytes, QIODevice *file, TULOError *error)
{
    return TULOMetadataStripper::writeStrippedImageData(bytes, file, nullptr, error);
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

// The copy and the removal of each photo run back to back, in alternating order, so that both
// see the same load on this shared machine and the same state of the page cache. A round's
// ratio is that of its two sums; the result is the median of the rounds.
void BM_MetadataRemovalAgainstCopy(benchmark::State &state)
{
    // One folder for both: where the file system places a folder's files changes how fast they
    // are written, by as much as the difference measured here.
    const QDir out(folder("written"));
    const QString copyPrefix = QStringLiteral("copy-");
    const QString stripPrefix = QStringLiteral("stripped-");
    bool copyFirst = true;
    for (auto _ : state) {
        double copy = 0;
        double strip = 0;
        for (const QString &path : std::as_const(gPhotos)) {
            double copyTime = 0;
            double stripTime = 0;
            if (copyFirst)
                copyTime = passOverPhoto(path, out, copyPrefix, copied);
            stripTime = passOverPhoto(path, out, stripPrefix, stripped);
            if (!copyFirst)
                copyTime = passOverPhoto(path, out, copyPrefix, copied);
            if (copyTime < 0 || stripTime < 0) {
                state.SkipWithError("a photo could not be copied or stripped");
                return;
            }
            copy += copyTime;
            strip += stripTime;
            copyFirst = !copyFirst;
        }
        state.SetIterationTime(strip);
        gCopyRounds << copy;
        gStripRounds << strip;
    }
    state.SetBytesProcessed(state.iterations() * gTotalBytes);
    state.SetItemsProcessed(state.iterations() * gPhotos.size());
}

void BM_ExiftoolKeepingOrientationAndProfile(benchmark::State &state)
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
        QStringList arguments {QStringLiteral("-q"), QStringLiteral("-all="), QStringLiteral("-tagsfromfile"),
            QStringLiteral("@"), QStringLiteral("-orientation"), QStringLiteral("-icc_profile"),
            QStringLiteral("-overwrite_original")};
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
    gExiftoolSeconds = total / double(state.iterations());
}

BENCHMARK(BM_MetadataRemovalAgainstCopy)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSmoke() ? 2 : 15)->UseManualTime();
BENCHMARK(BM_ExiftoolKeepingOrientationAndProfile)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

bool report(const char *what, double ratio, double target)
{
    const bool met = ratio >= target;
    std::printf("%s: %.3f (target >= %.2f) %s\n", what, ratio, target, TULOBenchOutcome(met));
    return met;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    gDir = &dir;
    std::printf("writing phone photos with a thumbnail, ICC profile, GPS, maker note, XMP and IPTC...\n");
    if (!makePhotos()) {
        std::fprintf(stderr, "could not write the photos\n");
        return 1;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;

    QList<double> ratios;
    for (qsizetype i = 0; i < gStripRounds.size(); ++i)
        ratios << gCopyRounds[i] / gStripRounds[i];
    const double copySeconds = median(gCopyRounds);
    const double stripSeconds = median(gStripRounds);
    if (copySeconds <= 0 || stripSeconds <= 0) {
        std::fprintf(stderr, "the removal or the copy did not run\n");
        return 1;
    }
    const double megabytes = double(gTotalBytes) / 1e6;
    std::printf("%lld photos, %.0f MB: copy %.0f MB/s, metadata removal %.0f MB/s (medians of %lld rounds)\n",
        qint64(gPhotos.size()), megabytes, megabytes / copySeconds, megabytes / stripSeconds,
        qint64(gStripRounds.size()));
    bool met = report("removal throughput / copy throughput", median(ratios), kCopyTarget);
    if (gExiftoolSeconds > 0)
        met = report("exiftool time / removal time", gExiftoolSeconds / stripSeconds, kExiftoolTarget) && met;
    // Without its reference the run proves nothing.
    else
        met = false;
    return TULOBenchVerdict(met);
}

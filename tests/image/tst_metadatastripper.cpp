#include "imagecorpus.h"
#include <Quillon/platform/image/metadatastripper.h>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTest>
#include <QtConcurrent>
#include <QtEndian>
#include <future>

namespace {

bool anyStartsWith(const QStringList &keys, const QStringList &prefixes)
{
    for (const QString &key : keys) {
        for (const QString &prefix : prefixes) {
            if (key.startsWith(prefix))
                return true;
        }
    }
    return false;
}

QByteArray heicHeader()
{
    // An ISO base media file as a phone writes HEIC: an 'ftyp' box with brand 'heic'.
    QByteArray box("\x00\x00\x00\x18"
                   "ftyp"
                   "heic"
                   "\x00\x00\x00\x00"
                   "mif1"
                   "heic",
        24);
    return box
        + QByteArray("\x00\x00\x00\x08"
                     "meta",
            8)
        + QByteArray(64, '\0');
}

QByteArray subBlocks(const QByteArray &bytes)
{
    QByteArray result;
    for (qsizetype at = 0; at < bytes.size(); at += 255) {
        const QByteArray piece = bytes.mid(at, 255);
        result += char(piece.size()) + piece;
    }
    return result + '\0';
}

// A one-pixel GIF as editors write it: an animation loop, a comment and an XMP block.
QByteArray gifWithPrivateBlocks()
{
    const QByteArray header("GIF89a\x01\x00\x01\x00\x80\x00\x00\xff\xff\xff\x00\x00\x00", 19);
    const QByteArray loop("\x21\xff\x0bNETSCAPE2.0\x03\x01\x00\x00\x00", 19);
    const QByteArray comment = QByteArray("\x21\xfe", 2) + subBlocks(QByteArray("taken in ") + TULOImageCorpus::city);
    const QByteArray xmp = QByteArray("\x21\xff\x0bXMP DataXMP", 14)
        + subBlocks(QByteArray("<x:xmpmeta><photoshop:City>") + TULOImageCorpus::city
            + "</photoshop:City></x:xmpmeta>" + QByteArray(300, ' '));
    const QByteArray image("\x21\xf9\x04\x01\x00\x00\x00\x00\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00"
                           "\x02\x02\x44\x01\x00\x3b",
        24);
    return header + loop + comment + xmp + image;
}

// A JPEG with markers that stand alone (RST0-7, TEM) among the segments before the scan.
QByteArray jpegWithStandaloneMarkers(const QByteArray &jpeg)
{
    QByteArray result = jpeg;
    const qsizetype scan = result.indexOf(QByteArrayView("\xFF\xDA", 2));
    result.insert(scan, QByteArray("\xFF\xD0\xFF\x01\xFF\xD7", 6));
    return result.insert(2, QByteArray("\xFF\xD3", 2));
}

// Where a JPEG's first scan begins: its segments walked, since an Exif thumbnail before it has
// scans of its own.
qsizetype jpegScanStart(const QByteArray &jpeg)
{
    qsizetype pos = 2;
    while (pos + 4 <= jpeg.size() && uchar(jpeg[pos + 1]) != 0xDA)
        pos += 2 + qFromBigEndian<quint16>(jpeg.constData() + pos + 2);
    return pos + 4 <= jpeg.size() ? pos : -1;
}

// `size` bytes as an encoder leaves them after the scan header: any value, every FF stuffed
// with a 00, the same for the same size.
QByteArray compressedScan(qsizetype size)
{
    QRandomGenerator random(quint32(size) + 1);
    QByteArray data(size, Qt::Uninitialized);
    for (qsizetype at = 0; at < size; ++at) {
        data[at] = char(random.bounded(256));
        if (uchar(data[at]) == 0xFF && at + 1 < size)
            data[++at] = 0;
    }
    if (size > 0 && uchar(data[size - 1]) == 0xFF)
        data[size - 1] = 0x5A;
    return data;
}

} // namespace

class TestMetadataStripper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void photoLosesLocationKeepsOrientationProfileAndPixels_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("type");
        QTest::addColumn<bool>("carriesIptc"); // WebP has no place for IPTC
        QTest::addRow("jpeg") << QByteArray("jpeg") << QStringLiteral("image/jpeg") << true;
        QTest::addRow("png") << QByteArray("png") << QStringLiteral("image/png") << true;
        QTest::addRow("tiff") << QByteArray("tiff") << QStringLiteral("image/tiff") << true;
        QTest::addRow("webp") << QByteArray("webp") << QStringLiteral("image/webp") << false;
    }
    void photoLosesLocationKeepsOrientationProfileAndPixels()
    {
        QFETCH(QByteArray, format);
        QFETCH(QString, type);
        QFETCH(bool, carriesIptc);
        const QByteArray plain = TULOImageCorpus::encodedImage(format.constData(), 320, 240);
        QVERIFY2(!plain.isEmpty(), "Qt cannot encode this format");
        const QByteArray photo = TULOImageCorpus::withPhoneMetadata(plain);

        // The corpus must really carry what is to be removed, or the test proves nothing.
        const TULOImageCorpus::Metadata before = TULOImageCorpus::readMetadata(photo);
        QVERIFY(before.readable);
        QVERIFY(anyStartsWith(before.exifKeys, {QStringLiteral("Exif.GPSInfo.")}));
        QVERIFY(anyStartsWith(before.exifKeys, {QStringLiteral("Exif.Photo.")}));
        QVERIFY(anyStartsWith(before.xmpKeys, {QStringLiteral("Xmp.exif.GPS")}));
        QCOMPARE(before.iptcKeys.contains(QStringLiteral("Iptc.Application2.City")), carriesIptc);
        QVERIFY(photo.contains(TULOImageCorpus::city));
        QCOMPARE(before.orientation, long(TULOImageCorpus::orientation));
        QCOMPARE(before.iccProfile, TULOImageCorpus::sRgbProfile());

        QString strippedType;
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(photo, &strippedType, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QVERIFY(error.isNull());
        QCOMPARE(strippedType, type);

        const TULOImageCorpus::Metadata after = TULOImageCorpus::readMetadata(stripped);
        QVERIFY(after.readable);
        QVERIFY2(!anyStartsWith(after.exifKeys,
                     {QStringLiteral("Exif.GPSInfo."), QStringLiteral("Exif.Photo."),
                         QStringLiteral("Exif.Image.GPSTag"), QStringLiteral("Exif.Image.ExifTag")}),
            qPrintable(after.exifKeys.join(QLatin1Char(' '))));
        QVERIFY2(!anyStartsWith(after.xmpKeys,
                     {QStringLiteral("Xmp.exif."), QStringLiteral("Xmp.photoshop.City"),
                         QStringLiteral("Xmp.photoshop.Country"), QStringLiteral("Xmp.iptc.Location")}),
            qPrintable(after.xmpKeys.join(QLatin1Char(' '))));
        QVERIFY2(
            !anyStartsWith(after.iptcKeys,
                {QStringLiteral("Iptc.Application2.City"), QStringLiteral("Iptc.Application2.CountryName"),
                    QStringLiteral("Iptc.Application2.SubLocation")}),
            qPrintable(after.iptcKeys.join(QLatin1Char(' '))));
        // Nothing of the place may hide anywhere in the file, a stale XMP packet included.
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QVERIFY(!stripped.contains(TULOImageCorpus::country));
        QVERIFY(!stripped.contains("GPSLatitude"));
        QVERIFY(!stripped.contains("SN-0042-7781"));
        QVERIFY(!stripped.contains(TULOImageCorpus::sublocation));

        QCOMPARE(after.orientation, long(TULOImageCorpus::orientation));
        QVERIFY(after.exifKeys.contains(QStringLiteral("Exif.Image.Make")));
        QCOMPARE(after.iccProfile, TULOImageCorpus::sRgbProfile());
        QVERIFY(after.xmpTitle.contains(QLatin1String(TULOImageCorpus::caption)));
        if (carriesIptc)
            QCOMPARE(after.iptcCaption, QString::fromLatin1(TULOImageCorpus::caption));

        const QByteArray compressed = TULOImageCorpus::compressedData(photo);
        QVERIFY(!compressed.isEmpty());
        QCOMPARE(TULOImageCorpus::compressedData(stripped), compressed);
        QCOMPARE(QImage::fromData(stripped).size(), QSize(320, 240));
    }

    void imageWithoutMetadataComesBackWhole_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addRow("jpeg") << QByteArray("jpeg");
        QTest::addRow("png") << QByteArray("png");
        QTest::addRow("tiff") << QByteArray("tiff");
        QTest::addRow("webp") << QByteArray("webp");
    }
    void imageWithoutMetadataComesBackWhole()
    {
        QFETCH(QByteArray, format);
        const QByteArray plain = TULOImageCorpus::encodedImage(format.constData(), 64, 48);
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(plain, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QCOMPARE(TULOImageCorpus::compressedData(stripped), TULOImageCorpus::compressedData(plain));
        const QImage decodedBefore = QImage::fromData(plain);
        QCOMPARE(QImage::fromData(stripped), decodedBefore);
    }

    void jpegDataAfterTheImageAreLeftOut()
    {
        // Phones append previews and clips after the end of the image, with metadata of their own.
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 120, 90));
        const QByteArray trailer
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 16, 12));
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(photo + trailer, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QVERIFY(stripped.endsWith("\xFF\xD9"));
        QCOMPARE(TULOImageCorpus::compressedData(stripped), TULOImageCorpus::compressedData(photo));
        QCOMPARE(QImage::fromData(stripped).size(), QSize(120, 90));
    }

    void jpegExtendedXmpIsRemoved()
    {
        // Extended XMP: more APP1 segments after the main packet, which XMP readers join up.
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 64, 48));
        const QByteArray extended = TULOImageCorpus::withExtendedXmp(photo);
        QVERIFY(extended.contains("xmp/extension"));
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(extended, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QVERIFY(!stripped.contains("xmp/extension"));
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QCOMPARE(TULOImageCorpus::compressedData(stripped), TULOImageCorpus::compressedData(photo));
    }

    void pngExifChunkLosesItsLocation()
    {
        const QByteArray png = TULOImageCorpus::pngWithExifChunk(64, 48);
        QCOMPARE(TULOImageCorpus::readMetadata(png).orientation, long(TULOImageCorpus::orientation));
        QVERIFY(png.contains(TULOImageCorpus::city));
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(png, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        const TULOImageCorpus::Metadata after = TULOImageCorpus::readMetadata(stripped);
        QVERIFY(
            !anyStartsWith(after.exifKeys, {QStringLiteral("Exif.GPSInfo."), QStringLiteral("Exif.Photo.")}));
        QCOMPARE(after.orientation, long(TULOImageCorpus::orientation));
        QCOMPARE(TULOImageCorpus::compressedData(stripped), TULOImageCorpus::compressedData(png));
    }

    void jpegWithStandaloneMarkersIsStripped()
    {
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 96, 64));
        const QByteArray odd = jpegWithStandaloneMarkers(photo);
        QVERIFY(odd.contains(TULOImageCorpus::city));
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(odd, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QCOMPARE(TULOImageCorpus::readMetadata(stripped).orientation, long(TULOImageCorpus::orientation));
        // Decoders skip the stray markers, so what is left is the same photo.
        QCOMPARE(TULOImageCorpus::compressedData(stripped), TULOImageCorpus::compressedData(photo));
    }

    void jpegScanDataPassUntouchedToTheirEnd_data()
    {
        // What follows the scan header: compressed data with stuffed pairs (FF 00), searched a
        // vector at a time from the scan header's last byte, the last bytes one by one. The
        // end-of-image marker on and around those edges, the pairs that look like it but are
        // none, and another image appended after it or nothing.
        QTest::addColumn<QByteArray>("scanData");
        QTest::addColumn<bool>("appended");
        for (const qsizetype at : {qsizetype(0), qsizetype(14), qsizetype(15), qsizetype(16), qsizetype(17),
                 qsizetype(40), qsizetype(62), qsizetype(63), qsizetype(64), qsizetype(65), qsizetype(127),
                 qsizetype(128), qsizetype(129), qsizetype(4093)}) {
            const QByteArray data = compressedScan(at) + QByteArray("\xFF\xD9", 2);
            QTest::addRow("end at %lld, image appended", qlonglong(at)) << data << true;
            QTest::addRow("end at %lld, nothing after", qlonglong(at)) << data << false;
        }
        QTest::addRow("end of a large photo") << compressedScan(3 << 20) + QByteArray("\xFF\xD9", 2) << true;
        QTest::addRow("end after fill bytes") << compressedScan(200) + QByteArray("\xFF\xFF\xFF\xD9", 4) << true;
        QByteArray restarts;
        for (char marker = char(0xD0); marker != char(0xD8); ++marker)
            restarts += compressedScan(97) + QByteArray(1, char(0xFF)) + marker;
        QTest::addRow("restart markers on the way") << restarts + QByteArray("\xFF\xD9", 2) << true;
        const QByteArray stuffedBeforeD9
            = compressedScan(70) + QByteArray("\xFF\x00\xD9", 3) + compressedScan(70) + QByteArray("\xFF\xD9", 2);
        QTest::addRow("stuffed FF before a D9") << stuffedBeforeD9 << true;
        QTest::addRow("stuffed FF before a D9, nothing after") << stuffedBeforeD9 << false;
        QTest::addRow("D9 on its own")
            << compressedScan(64) + QByteArray(40, char(0xD9)) + QByteArray("\xFF\xD9", 2) << true;
        // Whatever the length, some of these end in the bytes left after the last whole vector.
        for (int extra = 0; extra < 16; ++extra) {
            QTest::addRow("stuffed pairs among the last bytes, %d more", extra)
                << compressedScan(191 + extra) + QByteArray("\xFF\x00\x12\xFF\x00\xFF\xD9", 7) << false;
        }
    }
    void jpegScanDataPassUntouchedToTheirEnd()
    {
        QFETCH(QByteArray, scanData);
        QFETCH(bool, appended);
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 32, 24));
        const qsizetype scan = jpegScanStart(photo);
        const qsizetype header = 2 + qFromBigEndian<quint16>(photo.constData() + scan + 2);
        // Phones append previews after the end, with metadata of their own.
        const QByteArray file = photo.left(scan + header) + scanData + (appended ? photo : QByteArray());

        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(file, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        // The metadata come out as they do for the photo itself; after them, the bytes from the
        // scan header to the first FF D9 as they were.
        const QByteArray strippedPhoto = TULOMetadataStripper::strippedImageData(photo);
        const qsizetype strippedScan = jpegScanStart(strippedPhoto);
        QVERIFY(strippedScan > 0);
        qsizetype end = 0;
        while (!(uchar(scanData[end]) == 0xFF && uchar(scanData[end + 1]) == 0xD9))
            ++end;
        const QByteArray expected
            = strippedPhoto.left(strippedScan) + photo.mid(scan, header) + scanData.left(end + 2);
        QCOMPARE(stripped.size(), expected.size());
        QVERIFY(stripped == expected);
        QVERIFY(!stripped.contains(TULOImageCorpus::city));

        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(TULOMetadataStripper::writeStrippedImageData(file, &buffer));
        QVERIFY(buffer.data() == expected);
    }

    void gifLosesCommentsAndXmpKeepsItsImage()
    {
        const QByteArray gif = gifWithPrivateBlocks();
        QVERIFY(!QImage::fromData(gif).isNull());
        QString type;
        TULOError error;
        const QByteArray stripped
            = TULOMetadataStripper::strippedImageData(gif + "trailing words", &type, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        QCOMPARE(type, QStringLiteral("image/gif"));
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QVERIFY(!stripped.contains("XMP DataXMP"));
        QVERIFY(!stripped.contains("trailing"));
        QVERIFY(stripped.contains("NETSCAPE2.0"));
        QCOMPARE(QImage::fromData(stripped), QImage::fromData(gif));
    }

    void bmpPassesAsItIs()
    {
        const QByteArray bmp = TULOImageCorpus::encodedImage("bmp", 40, 30);
        QString type;
        QCOMPARE(TULOMetadataStripper::strippedImageData(bmp, &type), bmp);
        QCOMPARE(type, QStringLiteral("image/bmp"));
    }

    void writingStraightToAFile_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addRow("jpeg") << QByteArray("jpeg");
        QTest::addRow("png") << QByteArray("png");
    }
    void writingStraightToAFile()
    {
        QFETCH(QByteArray, format);
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage(format.constData(), 300, 200));
        QString type;
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(TULOMetadataStripper::writeStrippedImageData(photo, &buffer, &type));
        QCOMPARE(buffer.data(), TULOMetadataStripper::strippedImageData(photo));
        QCOMPARE(type, QStringLiteral("image/") + QString::fromLatin1(format));

        // A full disk: the write fails with a clear error instead of leaving a silent stub.
        QFile full(QStringLiteral("/dev/full"));
        if (!full.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            QSKIP("this system has no /dev/full");
        TULOError error;
        type.clear();
        QVERIFY(!TULOMetadataStripper::writeStrippedImageData(photo, &full, &type, &error));
        QCOMPARE(error.code(), qint64(TULOImageMetadataErrorWriteFailed));
        QVERIFY2(error.localizedDescription().contains(QStringLiteral("cannot be written")),
            qPrintable(error.localizedDescription()));
        QVERIFY(type.isEmpty());
    }

    void stripsOnManyThreadsAtOnce()
    {
        // Attachments are prepared on queue threads, several at a time: no shared state may leak
        // from one image into another.
        QList<QByteArray> photos;
        for (const char *format : {"jpeg", "png", "tiff", "webp"})
            photos << TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage(format, 96, 64));
        // Long enough a scan that its metadata are rewritten on another thread meanwhile.
        photos << TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 1200, 900));
        QList<QByteArray> expected;
        for (const QByteArray &photo : std::as_const(photos))
            expected << TULOMetadataStripper::strippedImageData(photo);
        QList<QByteArray> inputs;
        for (int round = 0; round < 8; ++round)
            inputs += photos;
        const QList<QByteArray> results = QtConcurrent::blockingMapped(
            inputs, [](const QByteArray &photo) { return TULOMetadataStripper::strippedImageData(photo); });
        QCOMPARE(results.size(), inputs.size());
        for (qsizetype i = 0; i < results.size(); ++i)
            QCOMPARE(results[i], expected[i % expected.size()]);
    }

    void stripsWhileEveryPoolThreadIsBusy()
    {
        // Attachments are prepared on pool threads too. With every one of them taken, the work a
        // photo hands to the pool must still get done, and the same.
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 1200, 900));
        const QByteArray expected = TULOMetadataStripper::strippedImageData(photo);
        QVERIFY(!expected.isNull());
        QThreadPool *const pool = QThreadPool::globalInstance();
        QSemaphore started;
        QSemaphore release;
        const int threads = pool->maxThreadCount();
        for (int i = 0; i < threads; ++i) {
            pool->start([&] {
                started.release();
                release.acquire();
            });
        }
        QVERIFY(started.tryAcquire(threads, 10000));
        auto stripping = std::async(std::launch::async, [&photo] { return TULOMetadataStripper::strippedImageData(photo); });
        const bool finished = stripping.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
        release.release(threads);
        QVERIFY2(finished, "the stripper waited for a pool thread");
        QVERIFY(stripping.get() == expected);
    }

    void badInputIsRefusedClearly_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("mentions");
        const QByteArray jpeg
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 200, 150));
        const QByteArray png
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("png", 200, 150));
        QTest::addRow("empty") << QByteArray() << int(TULOImageMetadataErrorUnreadableImage)
                               << QStringLiteral("empty");
        QTest::addRow("text file") << QByteArray("just some words, not a picture\n")
                                   << int(TULOImageMetadataErrorUnreadableImage)
                                   << QStringLiteral("not an image");
        QTest::addRow("jpeg cut off in the scan")
            << jpeg.left(jpeg.size() - 200) << int(TULOImageMetadataErrorUnreadableImage)
            << QStringLiteral("incomplete");
        QTest::addRow("jpeg cut off in the header")
            << jpeg.left(40) << int(TULOImageMetadataErrorUnreadableImage) << QStringLiteral("image");
        QTest::addRow("png cut off") << png.left(png.size() / 2) << int(TULOImageMetadataErrorUnreadableImage)
                                     << QStringLiteral("incomplete");
        QByteArray longScanHeader = jpeg;
        const qsizetype scan = longScanHeader.indexOf(QByteArrayView("\xFF\xDA", 2));
        longScanHeader[scan + 2] = char(0xFF); // claims 65 kB for a header of a few bytes
        QTest::addRow("jpeg scan header past the end")
            << longScanHeader.left(scan + 600) + QByteArray("\xFF\xD9", 2)
            << int(TULOImageMetadataErrorUnreadableImage) << QStringLiteral("damaged");
        QTest::addRow("heic") << heicHeader() << int(TULOImageMetadataErrorUnsupportedType)
                              << QStringLiteral("HEIC");
        QTest::addRow("gif cut off") << gifWithPrivateBlocks().chopped(4)
                                     << int(TULOImageMetadataErrorUnreadableImage) << QStringLiteral("incomplete");
        QTest::addRow("ppm") << QByteArray("P6\n# taken in Reykjavik\n1 1\n255\n\x10\x20\x30", 32)
                             << int(TULOImageMetadataErrorUnsupportedType) << QStringLiteral("cannot be removed");
    }
    void badInputIsRefusedClearly()
    {
        QFETCH(QByteArray, data);
        QFETCH(int, code);
        QFETCH(QString, mentions);
        QString type = QStringLiteral("untouched");
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(data, &type, &error);
        QVERIFY(stripped.isNull());
        QCOMPARE(error.domain(), TULOImageMetadataErrorDomain);
        QCOMPARE(error.code(), qint64(code));
        QVERIFY2(error.localizedDescription().contains(mentions, Qt::CaseInsensitive),
            qPrintable(error.localizedDescription()));
        QCOMPARE(type, QStringLiteral("untouched"));

        // Straight to a file, the refusal comes before anything is written: no stub to clean up.
        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        TULOError writeError;
        QVERIFY(!TULOMetadataStripper::writeStrippedImageData(data, &buffer, &type, &writeError));
        QCOMPARE(writeError.code(), qint64(code));
        QCOMPARE(buffer.data(), QByteArray());
        QCOMPARE(type, QStringLiteral("untouched"));
    }

    void supportedTypesComeFromTheBytes_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("type");
        QTest::addRow("jpeg") << TULOImageCorpus::encodedImage("jpeg", 8, 8) << QStringLiteral("image/jpeg");
        QTest::addRow("webp") << TULOImageCorpus::encodedImage("webp", 8, 8) << QStringLiteral("image/webp");
        QTest::addRow("heic") << heicHeader() << QString();
        QTest::addRow("bmp") << TULOImageCorpus::encodedImage("bmp", 8, 8) << QStringLiteral("image/bmp");
        QTest::addRow("gif") << gifWithPrivateBlocks() << QStringLiteral("image/gif");
    }
    void supportedTypesComeFromTheBytes()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, type);
        QVERIFY(!data.isEmpty());
        QCOMPARE(TULOMetadataStripper::supportedTypeForData(data), type);
    }
};

QTEST_GUILESS_MAIN(TestMetadataStripper)
#include "tst_metadatastripper.moc"

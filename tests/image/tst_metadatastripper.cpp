#include "imagecorpus.h"
#include <Quillon/platform/image/metadatastripper.h>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QTest>
#include <QtConcurrent>
#include <QtEndian>

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

    void jpegEndIsFoundWhereverItFalls_data()
    {
        // The scan data are searched 64 bytes (or sixteen, without AVX2) at a time from the
        // scan's start, the tail byte by byte: the end-of-image marker on and around those edges.
        QTest::addColumn<qsizetype>("markerAt"); // the EOI's 0xFF, from the scan's start
        const qsizetype block = 256 << 10;
        for (const qsizetype at : {qsizetype(40), block - 2, block - 1, block, block + 1, block + 15, block + 16,
                 block + 63, block + 64, block + 65, 2 * block - 1})
            QTest::addRow("%lld", qlonglong(at)) << at;
    }
    void jpegEndIsFoundWhereverItFalls()
    {
        QFETCH(qsizetype, markerAt);
        const QByteArray photo
            = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 32, 24));
        const qsizetype scan = photo.indexOf(QByteArrayView("\xFF\xDA", 2));
        const qsizetype header = 2 + qFromBigEndian<quint16>(photo.constData() + scan + 2);
        // Stuffed pairs (FF 00) on the way, which are no marker.
        QByteArray data(markerAt - header, '\x5A');
        for (qsizetype at = 7; at + 1 < data.size(); at += 4093) {
            data[at] = char(0xFF);
            data[at + 1] = 0;
        }
        const QByteArray body = photo.mid(scan, header) + data + QByteArray("\xFF\xD9", 2);
        const QByteArray file = photo.left(scan) + body + QByteArray("\xFF\xD8 appended preview in Reykjavik");
        TULOError error;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(file, nullptr, &error);
        QVERIFY2(!stripped.isNull(), qPrintable(error.localizedDescription()));
        const qsizetype strippedScan = stripped.indexOf(QByteArrayView("\xFF\xDA", 2));
        QVERIFY(strippedScan > 0);
        QVERIFY(stripped.mid(strippedScan) == body);
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

#include "imagecorpus.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QtEndian>
#include <zlib.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // Exiv2 0.27's std::auto_ptr
#include <exiv2/exiv2.hpp>

namespace {

Exiv2::Image::AutoPtr openImage(const QByteArray &bytes)
{
    return Exiv2::ImageFactory::open(
        reinterpret_cast<const Exiv2::byte *>(bytes.constData()), static_cast<long>(bytes.size()));
}

QByteArray contents(Exiv2::BasicIo &io)
{
    io.open();
    QByteArray bytes(static_cast<qsizetype>(io.size()), Qt::Uninitialized);
    io.read(reinterpret_cast<Exiv2::byte *>(bytes.data()), static_cast<long>(bytes.size()));
    io.close();
    return bytes;
}

quint16 be16(const QByteArray &data, qsizetype at)
{
    return qFromBigEndian<quint16>(data.constData() + at);
}

QByteArray jpegData(const QByteArray &data)
{
    QByteArray result;
    qsizetype pos = 2;
    while (pos + 4 <= data.size()) {
        if (uchar(data[pos]) != 0xFF)
            return QByteArray();
        const uchar marker = uchar(data[pos + 1]);
        if (marker == 0xFF) { // fill byte
            ++pos;
            continue;
        }
        if (marker == 0xDA)
            return result + data.mid(pos);
        const qsizetype length = be16(data, pos + 2);
        const bool metadata = (marker >= 0xE0 && marker <= 0xEF) || marker == 0xFE;
        if (!metadata)
            result += data.mid(pos, 2 + length);
        pos += 2 + length;
    }
    return QByteArray();
}

QByteArray pngData(const QByteArray &data)
{
    QByteArray result;
    qsizetype pos = 8;
    while (pos + 12 <= data.size()) {
        const qsizetype length = qFromBigEndian<quint32>(data.constData() + pos);
        const QByteArray type = data.mid(pos + 4, 4);
        if (type == "IHDR" || type == "PLTE" || type == "tRNS" || type == "IDAT" || type == "IEND")
            result += type + data.mid(pos + 8, length);
        pos += 12 + length;
    }
    return pos == data.size() ? result : QByteArray();
}

QByteArray webpData(const QByteArray &data)
{
    QByteArray result;
    qsizetype pos = 12;
    while (pos + 8 <= data.size()) {
        const QByteArray type = data.mid(pos, 4);
        const qsizetype length = qFromLittleEndian<quint32>(data.constData() + pos + 4);
        if (type == "VP8 " || type == "VP8L" || type == "ALPH" || type == "ANMF")
            result += type + data.mid(pos + 8, length);
        pos += 8 + length + (length & 1);
    }
    return result;
}

QByteArray tiffData(const QByteArray &data)
{
    Exiv2::Image::AutoPtr image = openImage(data);
    image->readMetadata();
    const Exiv2::ExifData &exif = image->exifData();
    for (const auto &[offsetsKey, countsKey] :
        {std::pair {"Exif.Image.StripOffsets", "Exif.Image.StripByteCounts"},
            std::pair {"Exif.Image.TileOffsets", "Exif.Image.TileByteCounts"}}) {
        const auto offsets = exif.findKey(Exiv2::ExifKey(offsetsKey));
        const auto counts = exif.findKey(Exiv2::ExifKey(countsKey));
        if (offsets == exif.end() || counts == exif.end() || offsets->count() != counts->count())
            continue;
        QByteArray result;
        for (long i = 0; i < offsets->count(); ++i)
            result += data.mid(offsets->toLong(i), counts->toLong(i));
        return result;
    }
    return QByteArray();
}

} // namespace

QByteArray TULOImageCorpus::encodedImage(const char *format, int width, int height)
{
    // Smooth gradients with hard shapes and a little noise: compresses like a photo does.
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int noise = int((uint(x) * 2654435761u ^ uint(y) * 40503u) >> 28);
            line[x] = qRgb(
                (x * 255 / width + noise) & 0xFF, (y * 255 / height) & 0xFF, ((x + y) / 4 + noise) & 0xFF);
        }
    }
    QPainter painter(&image);
    painter.setBrush(Qt::darkBlue);
    painter.drawEllipse(QRect(width / 4, height / 4, width / 2, height / 3));
    painter.end();
    // Where the format has a place for it, Qt writes the profile as a camera app would.
    image.setColorSpace(QColorSpace::SRgb);

    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(90);
    if (!writer.write(image))
        return QByteArray();
    return buffer.data();
}

QByteArray TULOImageCorpus::sRgbProfile()
{
    return QColorSpace(QColorSpace::SRgb).iccProfile();
}

QByteArray TULOImageCorpus::withPhoneMetadata(const QByteArray &bytes)
{
    Exiv2::Image::AutoPtr image = openImage(bytes);
    image->readMetadata();

    Exiv2::ExifData &exif = image->exifData();
    exif["Exif.Image.Make"] = "Quillon Test Camera";
    exif["Exif.Image.Orientation"] = uint16_t(orientation);
    exif["Exif.Photo.DateTimeOriginal"] = "2024:06:21 22:14:05";
    exif["Exif.Photo.BodySerialNumber"] = "SN-0042-7781";
    exif["Exif.GPSInfo.GPSVersionID"] = "2 3 0 0";
    exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    exif["Exif.GPSInfo.GPSLatitude"] = "64/1 8/1 4632/100";
    exif["Exif.GPSInfo.GPSLongitudeRef"] = "W";
    exif["Exif.GPSInfo.GPSLongitude"] = "21/1 56/1 3012/100";

    Exiv2::XmpData &xmp = image->xmpData();
    xmp["Xmp.dc.title"] = caption;
    xmp["Xmp.exif.GPSLatitude"] = "64,8.772N";
    xmp["Xmp.exif.GPSLongitude"] = "21,56.502W";
    xmp["Xmp.exif.DateTimeOriginal"] = "2024-06-21T22:14:05";
    xmp["Xmp.photoshop.City"] = city;
    xmp["Xmp.photoshop.Country"] = country;
    xmp["Xmp.iptc.Location"] = sublocation;

    Exiv2::IptcData &iptc = image->iptcData();
    iptc["Iptc.Application2.Caption"] = caption;
    iptc["Iptc.Application2.City"] = city;
    iptc["Iptc.Application2.CountryName"] = country;
    iptc["Iptc.Application2.SubLocation"] = sublocation;

    if (!image->iccProfileDefined()) {
        const QByteArray profile = sRgbProfile();
        Exiv2::DataBuf icc(
            reinterpret_cast<const Exiv2::byte *>(profile.constData()), static_cast<long>(profile.size()));
        image->setIccProfile(icc);
    }
    image->writeMetadata();
    return contents(image->io());
}

QByteArray TULOImageCorpus::pngWithExifChunk(int width, int height)
{
    Exiv2::ExifData exif;
    exif["Exif.Image.Orientation"] = uint16_t(orientation);
    exif["Exif.Photo.UserComment"] = "charset=Ascii taken in Reykjavik";
    exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
    exif["Exif.GPSInfo.GPSLatitude"] = "64/1 8/1 4632/100";
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, exif);
    const QByteArray body(reinterpret_cast<const char *>(blob.data()), qsizetype(blob.size()));
    QByteArray chunk(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), chunk.data());
    const QByteArray typed = QByteArray("eXIf") + body;
    QByteArray crc(4, Qt::Uninitialized);
    qToBigEndian<quint32>(
        quint32(crc32(0, reinterpret_cast<const Bytef *>(typed.constData()), uInt(typed.size()))),
        crc.data());
    QByteArray png = encodedImage("png", width, height);
    // After IHDR (8 signature bytes + 25 bytes of IHDR chunk).
    return png.insert(33, chunk + typed + crc);
}

QByteArray TULOImageCorpus::withExtendedXmp(const QByteArray &jpeg)
{
    const QByteArray xmp
        = QByteArray("<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/"
                     "02/22-rdf-syntax-ns#'><rdf:Description xmlns:photoshop='http://ns.adobe.com/"
                     "photoshop/1.0/' photoshop:City='")
        + city + "'/></rdf:RDF></x:xmpmeta>";
    QByteArray payload = QByteArray("http://ns.adobe.com/xmp/extension/", 35) + QByteArray(32, 'A');
    QByteArray sizes(8, '\0');
    qToBigEndian<quint32>(quint32(xmp.size()), sizes.data());
    payload += sizes + xmp;
    QByteArray segment("\xFF\xE1", 2);
    QByteArray length(2, '\0');
    qToBigEndian<quint16>(quint16(payload.size() + 2), length.data());
    segment += length + payload;
    return jpeg.left(2) + segment + jpeg.mid(2);
}

QByteArray TULOImageCorpus::jpegWithEverything(int width, int height)
{
    const QByteArray thumbnail = withPhoneMetadata(encodedImage("jpeg", 160, 120));
    // Exiv2 reads the bytes in place: they must outlive the image.
    const QByteArray photo = withPhoneMetadata(encodedImage("jpeg", width, height));
    Exiv2::Image::AutoPtr image = openImage(photo);
    image->readMetadata();
    Exiv2::ExifData &exif = image->exifData();
    // A maker note of no known maker: Exiv2 and exiftool keep it as opaque bytes.
    static const char makerNote[] = "QTC\0serial SN-0042-7781 lens 4.2mm";
    exif["Exif.Photo.MakerNote"] = Exiv2::DataValue(
        reinterpret_cast<const Exiv2::byte *>(makerNote), static_cast<long>(sizeof makerNote - 1));
    Exiv2::ExifThumb(exif).setJpegThumbnail(
        reinterpret_cast<const Exiv2::byte *>(thumbnail.constData()), static_cast<long>(thumbnail.size()));
    image->writeMetadata();
    const QByteArray trailer = withPhoneMetadata(encodedImage("jpeg", 32, 24));
    return withExtendedXmp(contents(image->io())) + trailer;
}

QByteArray TULOImageCorpus::pngWithEverything(int width, int height)
{
    return withPhoneMetadata(pngWithExifChunk(width, height));
}

TULOImageCorpus::Metadata TULOImageCorpus::readMetadata(const QByteArray &bytes)
{
    Metadata result;
    try {
        Exiv2::Image::AutoPtr image = openImage(bytes);
        image->readMetadata();
        for (const auto &datum : image->exifData())
            result.exifKeys << QString::fromStdString(datum.key());
        for (const auto &datum : image->xmpData())
            result.xmpKeys << QString::fromStdString(datum.key());
        for (const auto &datum : image->iptcData())
            result.iptcKeys << QString::fromStdString(datum.key());
        const auto orientationDatum = image->exifData().findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
        if (orientationDatum != image->exifData().end())
            result.orientation = orientationDatum->toLong();
        if (image->iccProfileDefined())
            result.iccProfile = QByteArray(
                reinterpret_cast<const char *>(image->iccProfile()->pData_), image->iccProfile()->size_);
        const auto title = image->xmpData().findKey(Exiv2::XmpKey("Xmp.dc.title"));
        if (title != image->xmpData().end())
            result.xmpTitle = QString::fromStdString(title->toString());
        const auto iptcCaption = image->iptcData().findKey(Exiv2::IptcKey("Iptc.Application2.Caption"));
        if (iptcCaption != image->iptcData().end())
            result.iptcCaption = QString::fromStdString(iptcCaption->toString());
        result.readable = true;
    } catch (const std::exception &) {
        result.readable = false;
    }
    return result;
}

QByteArray TULOImageCorpus::compressedData(const QByteArray &image)
{
    try {
        if (image.startsWith("\xFF\xD8"))
            return jpegData(image);
        if (image.startsWith("\x89PNG\r\n\x1A\n"))
            return pngData(image);
        if (image.startsWith("RIFF") && image.mid(8, 4) == "WEBP")
            return webpData(image);
        if (image.startsWith("II*") || image.startsWith("MM"))
            return tiffData(image);
    } catch (const std::exception &) {
    }
    return QByteArray();
}

#pragma GCC diagnostic pop

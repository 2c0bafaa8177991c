#include <Quillon/platform/image/metadatastripper.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QCoreApplication>
#include <QIODevice>
#include <QMimeDatabase>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string_view>

// Exiv2 0.27 still hands out std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#include <exiv2/jpgimage.hpp>
#include <exiv2/pngimage.hpp>
#include <exiv2/tiffimage.hpp>
#include <exiv2/webpimage.hpp>

const char *const TULOImageMetadataErrorDomain = "TULOImageMetadataErrorDomain";

namespace {

// XMP properties that carry the Exif dictionary or a place.
constexpr std::array<std::string_view, 16> removedXmpPrefixes {
    "Xmp.exif.",
    "Xmp.exifEX.",
    "Xmp.photoshop.City",
    "Xmp.photoshop.State",
    "Xmp.photoshop.Country",
    "Xmp.iptc.Location", // Iptc4xmpCore
    "Xmp.iptc.CountryCode",
    "Xmp.iptcExt.LocationCreated",
    "Xmp.iptcExt.LocationShown",
    "Xmp.iptcExt.City",
    "Xmp.iptcExt.CountryName",
    "Xmp.iptcExt.CountryCode",
    "Xmp.iptcExt.ProvinceState",
    "Xmp.iptcExt.Sublocation",
    "Xmp.iptcExt.WorldRegion",
    "Xmp.MicrosoftPhoto.LocationName",
};

// IPTC datasets that name a place.
constexpr std::array<std::string_view, 7> removedIptcKeys {
    "Iptc.Application2.LocationCode",
    "Iptc.Application2.LocationName",
    "Iptc.Application2.City",
    "Iptc.Application2.SubLocation",
    "Iptc.Application2.ProvinceState",
    "Iptc.Application2.CountryCode",
    "Iptc.Application2.CountryName",
};

QString text(const char *source)
{
    return QCoreApplication::translate("TULOMetadataStripper", source);
}

TULOError makeError(TULOImageMetadataError code, const QString &description)
{
    return TULOError::withDescription(QString::fromLatin1(TULOImageMetadataErrorDomain), code, description);
}

void initializeExiv2()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // The XMP toolkit must be set up once before threads use it.
        Exiv2::XmpParser::initialize();
        // Exiv2 reports through exceptions too; its own stderr lines would only be noise.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    });
}

bool isBmff(const QByteArray &data)
{
    return data.size() >= 12 && data.mid(4, 4) == "ftyp";
}

QString typeForExiv2Type(int type)
{
    switch (type) {
    case Exiv2::ImageType::jpeg:
        return QString::fromLatin1(TULOTypeIdentifierJPEG);
    case Exiv2::ImageType::png:
        return QString::fromLatin1(TULOTypeIdentifierPNG);
    case Exiv2::ImageType::tiff:
        return QStringLiteral("image/tiff");
    case Exiv2::ImageType::webp:
        return QStringLiteral("image/webp");
    default:
        return QString();
    }
}

// Where a JPEG's parts are: the first start-of-scan marker and the end-of-image marker after it.
struct TULOJpegLayout
{
    qsizetype scanStart = -1; // the SOS marker; everything before it is tables and metadata
    qsizetype imageEnd = -1; // just past the EOI marker
};

TULOJpegLayout jpegLayout(const QByteArray &data)
{
    TULOJpegLayout layout;
    const auto byte = [&](qsizetype at) { return uchar(data[at]); };
    if (data.size() < 4 || byte(0) != 0xFF || byte(1) != 0xD8)
        return layout;
    qsizetype pos = 2;
    while (pos + 4 <= data.size()) {
        if (byte(pos) != 0xFF)
            return layout;
        const uchar marker = byte(pos + 1);
        if (marker == 0xFF) { // fill byte
            ++pos;
            continue;
        }
        if (marker == 0xDA) {
            layout.scanStart = pos;
            break;
        }
        if (marker == 0xD9)
            return layout;
        if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) { // no length
            pos += 2;
            continue;
        }
        const qsizetype length = qFromBigEndian<quint16>(data.constData() + pos + 2);
        if (length < 2)
            return layout;
        pos += 2 + length;
    }
    if (layout.scanStart < 0)
        return layout;
    // Entropy-coded data stuff every 0xFF, so the first EOI after the scan ends the image.
    // Looking for its second byte with memchr is far faster than a substring search, and 0xD9
    // is rarer in compressed data than 0xFF, which also begins every stuffed pair.
    const char *const begin = data.constData();
    const char *const end = begin + data.size();
    for (const char *p = begin + layout.scanStart + 3; p < end; ++p) {
        p = static_cast<const char *>(std::memchr(p, 0xD9, size_t(end - p)));
        if (!p)
            break;
        if (uchar(p[-1]) == 0xFF) {
            layout.imageEnd = (p - begin) + 1;
            break;
        }
    }
    return layout;
}

// The segments before the scan, without those that Exiv2 would copy through untouched although
// they carry metadata: extended XMP (the rest of an XMP packet too large for one segment) and
// the multi-picture index of the images after the end of the image, which are left out. Ends
// with the scan header and an end-of-image marker, which is all Exiv2 needs.
QByteArray jpegHeadForExiv2(const QByteArray &data, qsizetype scanHeaderEnd)
{
    static const QByteArrayView extendedXmp("http://ns.adobe.com/xmp/extension/\0", 35);
    static const QByteArrayView multiPicture("MPF\0", 4);
    QByteArray head;
    head.reserve(scanHeaderEnd + 2);
    head.append(data.constData(), 2); // SOI
    qsizetype pos = 2;
    while (pos + 4 <= scanHeaderEnd) {
        const uchar marker = uchar(data[pos + 1]);
        if (marker == 0xFF) {
            ++pos;
            continue;
        }
        const bool standalone = (marker >= 0xD0 && marker <= 0xD7) || marker == 0x01;
        const qsizetype length = standalone ? 0 : qFromBigEndian<quint16>(data.constData() + pos + 2);
        const QByteArrayView payload
            = QByteArrayView(data).sliced(pos + 4, qMin(length - 2, data.size() - pos - 4));
        const bool dropped = (marker == 0xE1 && payload.startsWith(extendedXmp))
            || (marker == 0xE2 && payload.startsWith(multiPicture));
        if (!dropped)
            head.append(data.constData() + pos, qMin(2 + length, scanHeaderEnd - pos));
        pos += 2 + length;
    }
    head.append("\xFF\xD9", 2);
    return head;
}

// Exiv2 copies the image data it does not parse as they are, so a file cut off while it was
// copied would pass; each format has an end marker that a complete file carries.
bool isComplete(const QString &type, const QByteArray &data, const TULOJpegLayout &jpeg)
{
    if (type == QLatin1String(TULOTypeIdentifierJPEG))
        return jpeg.imageEnd > 0;
    if (type == QLatin1String(TULOTypeIdentifierPNG))
        return data.endsWith(QByteArrayView("IEND\xAE\x42\x60\x82", 8));
    if (type == QLatin1String("image/webp")) {
        // The RIFF size covers everything after its first eight bytes.
        return data.size() >= 12
            && qFromLittleEndian<quint32>(data.constData() + 4) + 8u <= quint64(data.size());
    }
    return true;
}

void removeExif(Exiv2::ExifData &exif)
{
    for (auto it = exif.begin(); it != exif.end();) {
        const std::string group = it->groupName();
        const std::string key = it->key();
        const bool privateIfd = group == "Photo" || group == "GPSInfo" || group == "Iop"
            || group == "MakerNote" || Exiv2::ExifTags::isMakerGroup(group);
        // The IFD0 pointers to the removed IFDs go with them.
        const bool pointer = key == "Exif.Image.ExifTag" || key == "Exif.Image.GPSTag";
        it = (privateIfd || pointer) ? exif.erase(it) : std::next(it);
    }
}

void removeXmp(Exiv2::XmpData &xmp)
{
    for (auto it = xmp.begin(); it != xmp.end();) {
        const std::string key = it->key();
        const bool remove = std::any_of(removedXmpPrefixes.begin(), removedXmpPrefixes.end(),
            [&](std::string_view prefix) { return key.rfind(prefix, 0) == 0; });
        it = remove ? xmp.erase(it) : std::next(it);
    }
}

void removeIptc(Exiv2::IptcData &iptc)
{
    for (auto it = iptc.begin(); it != iptc.end();) {
        const std::string key = it->key();
        const bool remove
            = std::find(removedIptcKeys.begin(), removedIptcKeys.end(), key) != removedIptcKeys.end();
        it = remove ? iptc.erase(it) : std::next(it);
    }
}

// The image with its metadata rewritten by Exiv2; null with `error` on failure.
QByteArray rewrittenMetadata(const QByteArray &data, TULOError *error)
{
    Exiv2::Image::AutoPtr image;
    try {
        image = Exiv2::ImageFactory::open(
            reinterpret_cast<const Exiv2::byte *>(data.constData()), static_cast<long>(data.size()));
        image->readMetadata();
    } catch (const std::exception &exception) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorUnreadableImage,
                text("The image cannot be read: %1").arg(QString::fromLocal8Bit(exception.what()))));
        return QByteArray();
    } catch (...) {
        TULOSetError(
            error, makeError(TULOImageMetadataErrorUnreadableImage, text("The image cannot be read.")));
        return QByteArray();
    }

    QByteArray result;
    try {
        removeExif(image->exifData());
        removeIptc(image->iptcData());
        // Rebuild the packet from the properties left, instead of writing the old one back.
        removeXmp(image->xmpData());
        image->clearXmpPacket();
        image->writeXmpFromPacket(false);
        image->writeMetadata();

        Exiv2::BasicIo &io = image->io();
        if (io.open() != 0)
            throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, io.path(), "");
        const long size = io.size();
        result.resize(size);
        if (size > 0 && io.read(reinterpret_cast<Exiv2::byte *>(result.data()), size) != size)
            result.clear();
        io.close();
    } catch (const std::exception &exception) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image's metadata cannot be removed: %1")
                    .arg(QString::fromLocal8Bit(exception.what()))));
        return QByteArray();
    } catch (...) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed, text("The image's metadata cannot be removed.")));
        return QByteArray();
    }
    if (result.isEmpty()) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image's metadata cannot be removed: the rewritten image is empty.")));
        return QByteArray();
    }
    return result;
}

} // namespace

QString TULOMetadataStripper::supportedTypeForData(const QByteArray &data)
{
    if (data.isEmpty())
        return QString();
    initializeExiv2();
    try {
        return typeForExiv2Type(Exiv2::ImageFactory::getType(
            reinterpret_cast<const Exiv2::byte *>(data.constData()), static_cast<long>(data.size())));
    } catch (...) {
        return QString();
    }
}

namespace {

struct TULOStrippedParts
{
    QByteArray head;
    QByteArrayView body;
    QString type;
};

// The stripped image as a rewritten head followed by a part of the original data left as it
// was; false with `error` on failure.
bool strippedParts(const QByteArray &data, TULOStrippedParts &parts, TULOError *error)
{
    if (data.isEmpty()) {
        TULOSetError(error, makeError(TULOImageMetadataErrorUnreadableImage, text("The image is empty.")));
        return false;
    }
    const QString type = TULOMetadataStripper::supportedTypeForData(data);
    if (type.isNull()) {
        const QMimeType sniffed = QMimeDatabase().mimeTypeForData(data);
        if (isBmff(data)) {
            TULOSetError(error,
                makeError(TULOImageMetadataErrorUnsupportedType,
                    text("The location and camera data of HEIC and other HEIF images cannot be "
                         "removed without re-encoding them. Convert the image to JPEG first.")));
        } else if (sniffed.name().startsWith(QLatin1String("image/"))) {
            TULOSetError(error,
                makeError(TULOImageMetadataErrorUnsupportedType,
                    text("The location and camera data of this %1 cannot be removed. Convert "
                         "the image to JPEG or PNG first.")
                        .arg(sniffed.comment())));
        } else {
            TULOSetError(error,
                makeError(
                    TULOImageMetadataErrorUnreadableImage, text("The file is not an image or is damaged.")));
        }
        return false;
    }
    const bool isJpeg = type == QLatin1String(TULOTypeIdentifierJPEG);
    const TULOJpegLayout layout = isJpeg ? jpegLayout(data) : TULOJpegLayout();
    if (!isComplete(type, data, layout)) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorUnreadableImage,
                text("The image is incomplete; it may have been cut off while it was copied.")));
        return false;
    }

    if (isJpeg) {
        // Exiv2 only needs what comes before the scan; the compressed data are spliced back
        // untouched, which spares copying megabytes through its buffers. Anything appended after
        // the end of the image (previews, depth maps, clips with their own metadata) is left out.
        const qsizetype scanHeaderEnd
            = layout.scanStart + 2 + qFromBigEndian<quint16>(data.constData() + layout.scanStart + 2);
        if (scanHeaderEnd > layout.imageEnd - 2) {
            TULOSetError(error,
                makeError(TULOImageMetadataErrorUnreadableImage,
                    text("The image is damaged: its scan header is too long.")));
            return false;
        }
        const QByteArray head = jpegHeadForExiv2(data, scanHeaderEnd);
        const QByteArray rewritten = rewrittenMetadata(head, error);
        const qsizetype newScanStart = rewritten.isNull() ? -1 : jpegLayout(rewritten).scanStart;
        if (newScanStart < 0) {
            if (!rewritten.isNull())
                TULOSetError(error,
                    makeError(
                        TULOImageMetadataErrorWriteFailed, text("The image's metadata cannot be removed.")));
            return false;
        }
        parts.head = rewritten.left(newScanStart);
        parts.body = QByteArrayView(data).sliced(layout.scanStart, layout.imageEnd - layout.scanStart);
    } else {
        parts.head = rewrittenMetadata(data, error);
        if (parts.head.isNull())
            return false;
    }
    parts.type = type;
    return true;
}

} // namespace

QByteArray TULOMetadataStripper::strippedImageData(
    const QByteArray &data, QString *typeIdentifier, TULOError *error)
{
    TULOStrippedParts parts;
    if (!strippedParts(data, parts, error))
        return QByteArray();
    QByteArray result;
    result.reserve(parts.head.size() + parts.body.size());
    result.append(parts.head);
    result.append(parts.body);
    if (typeIdentifier)
        *typeIdentifier = parts.type;
    return result;
}

bool TULOMetadataStripper::writeStrippedImageData(
    const QByteArray &data, QIODevice *device, QString *typeIdentifier, TULOError *error)
{
    TULOStrippedParts parts;
    if (!strippedParts(data, parts, error))
        return false;
    if (device->write(parts.head) != parts.head.size()
        || device->write(parts.body.data(), parts.body.size()) != parts.body.size()) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image cannot be written: %1").arg(device->errorString())));
        return false;
    }
    if (typeIdentifier)
        *typeIdentifier = parts.type;
    return true;
}

#pragma GCC diagnostic pop

#include "platform/image/metadatastripper.h"
#include "platform/typeidentifiers.h"

#include <QCoreApplication>
#include <QMimeDatabase>
#include <QtEndian>
#include <algorithm>
#include <array>
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
    "Xmp.iptc.Location", // Exiv2 keys IPTC Core under "iptc", not its XML prefix
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

// Exiv2 copies the image data it does not parse as they are, so a file cut off while it was
// copied would pass; each format has an end marker that a complete file carries.
bool isComplete(const QString &type, const QByteArray &data)
{
    if (type == QLatin1String(TULOTypeIdentifierJPEG)) {
        // End of image after the last start of scan.
        const qsizetype end = data.lastIndexOf(QByteArrayView("\xFF\xD9", 2));
        const qsizetype scan = end < 0 ? -1 : data.lastIndexOf(QByteArrayView("\xFF\xDA", 2), end);
        return end > 0 && scan > 0;
    }
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

QByteArray TULOMetadataStripper::strippedImageData(
    const QByteArray &data, QString *typeIdentifier, TULOError *error)
{
    if (data.isEmpty()) {
        TULOSetError(error, makeError(TULOImageMetadataErrorUnreadableImage, text("The image is empty.")));
        return QByteArray();
    }
    const QString type = supportedTypeForData(data);
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
        return QByteArray();
    }
    if (!isComplete(type, data)) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorUnreadableImage,
                text("The image is incomplete; it may have been cut off while it was copied.")));
        return QByteArray();
    }

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
    }
    if (result.isEmpty()) {
        TULOSetError(error,
            makeError(TULOImageMetadataErrorWriteFailed,
                text("The image's metadata cannot be removed: the rewritten image is empty.")));
        return QByteArray();
    }
    if (typeIdentifier)
        *typeIdentifier = type;
    return result;
}
#pragma GCC diagnostic pop

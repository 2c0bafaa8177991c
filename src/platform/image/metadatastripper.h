#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QString>

class QIODevice;

// Errors of metadata removal. A platform domain: passed on unchanged by the callers.
inline constexpr TULOErrorDomainName TULOImageMetadataErrorDomain{"TULOImageMetadataErrorDomain"};

enum TULOImageMetadataErrorCode {
    TULOImageMetadataErrorUnreadableImage = 1, // empty, truncated or not an image at all
    TULOImageMetadataErrorUnsupportedType = 2, // a format whose metadata cannot be rewritten in place
    TULOImageMetadataErrorWriteFailed = 3, // the image was read but could not be written back
    TULOImageMetadataErrorUnavailable = 4, // this installation cannot remove metadata (a part is missing)
};

// Removes what a photo tells about where and when it was taken, without touching the pixels:
// the Exif sub-IFD (with its maker notes and interoperability IFD), the GPS IFD, the Exif and
// location properties of XMP and the location datasets of IPTC; the raw XMP packet is rebuilt
// from what is left. IFD0 (Orientation above all) and the ICC profile stay, so photos are not
// turned sideways or shifted in colour. The compressed image data are copied byte for byte.
//
// JPEG, PNG, TIFF and WebP are supported. GIF keeps its images and animation loop but loses its
// comments and application blocks (XMP); BMP has no place for metadata and passes as it is.
// Any other format (HEIC above all) is refused with a clear error rather than passed on with
// its metadata. Thread-safe.
class QUILLON_EXPORT TULOMetadataStripper
{
public:
    // The image in `data` without its private metadata; a null array on failure, with `error`
    // set. `typeIdentifier` receives the image's own type ("image/jpeg", ...), which may differ
    // from what a file name claimed.
    static QByteArray strippedImageData(
        const QByteArray &data, QString *typeIdentifier = nullptr, TULOError *error = nullptr);

    // The same, written to `device` straight from `data`, which spares assembling a copy of a
    // large photo in memory. An image that is refused writes nothing; only a device that fails
    // part way leaves part of the image written.
    static bool writeStrippedImageData(const QByteArray &data, QIODevice *device,
        QString *typeIdentifier = nullptr, TULOError *error = nullptr);

    // The type identifier of the image in `data` when its metadata can be removed, else null
    // with `error` saying why, so that a refusal can come before any other work.
    static QString supportedTypeForData(const QByteArray &data, TULOError *error = nullptr);
};

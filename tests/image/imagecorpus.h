#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Test photos: generated pixels, encoded by Qt, then given the metadata a phone writes
// (GPS, orientation, camera data, ICC profile, XMP and IPTC with a place) through Exiv2.
class TULOImageCorpus
{
public:
    // The place written into every photo; none of these may survive stripping.
    static constexpr const char *city = "Reykjavik";
    static constexpr const char *country = "Iceland";
    static constexpr const char *sublocation = "Old Harbour";
    static constexpr const char *caption = "Harbour at dusk"; // not a place: stays
    static constexpr int orientation = 6; // rotated 90 degrees clockwise

    // "jpeg", "png", "tiff" or "webp", `width` x `height`, without metadata.
    static QByteArray encodedImage(const char *format, int width, int height);
    // `image` with GPS, Exif, orientation, XMP, IPTC and an sRGB ICC profile added.
    static QByteArray withPhoneMetadata(const QByteArray &image);
    static QByteArray sRgbProfile();
    // A PNG with GPS in an eXIf chunk, as newer cameras and editors write it.
    static QByteArray pngWithExifChunk(int width, int height);
    // `jpeg` with an extended XMP segment (the rest of a packet too large for one) naming the city.
    static QByteArray withExtendedXmp(const QByteArray &jpeg);

    // The hardest files of their kind, as phones and editors write them.
    // JPEG: phone metadata, maker notes, an IFD1 thumbnail that carries GPS and a city of its
    // own, extended XMP, and another image with metadata after the end of the image.
    static QByteArray jpegWithEverything(int width, int height);
    // PNG: phone metadata (XMP in iTXt) and GPS in an eXIf chunk as well.
    static QByteArray pngWithEverything(int width, int height);

    struct Metadata
    {
        bool readable = false;
        QStringList exifKeys; // every Exif key
        QStringList xmpKeys;
        QStringList iptcKeys;
        long orientation = 0; // 0 when absent
        QByteArray iccProfile;
        QString xmpTitle;
        QString iptcCaption;
    };
    static Metadata readMetadata(const QByteArray &image);

    // The compressed image data, independent of metadata: JPEG tables and scans, PNG header,
    // palette and IDAT data, WebP bitstream chunks, TIFF strips or tiles. Empty when the file
    // cannot be taken apart.
    static QByteArray compressedData(const QByteArray &image);
};

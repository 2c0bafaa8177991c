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
    static constexpr const char *caption = "Harbour at dusk"; // not a place: stays
    static constexpr int orientation = 6; // rotated 90 degrees clockwise

    // "jpeg", "png", "tiff" or "webp", `width` x `height`, without metadata.
    static QByteArray encodedImage(const char *format, int width, int height);
    // `image` with GPS, Exif, orientation, XMP, IPTC and an sRGB ICC profile added.
    static QByteArray withPhoneMetadata(const QByteArray &image);
    static QByteArray sRgbProfile();

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

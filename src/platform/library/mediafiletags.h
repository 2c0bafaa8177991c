#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QSize>
#include <QString>

// Custom tag names that carry store identifiers (ID3 TXXX descriptions, Vorbis comment
// fields, MP4 free-form names).
extern QUILLON_EXPORT const char *const TULOMediaTagStoreItemID;
extern QUILLON_EXPORT const char *const TULOMediaTagStoreArtistID;
extern QUILLON_EXPORT const char *const TULOMediaTagStoreAlbumArtistID;
extern QUILLON_EXPORT const char *const TULOMediaTagStoreAlbumID;
// The advisory tag: "1" explicit, "2" clean.
extern QUILLON_EXPORT const char *const TULOMediaTagAdvisory;

// What the library reads from one audio or video file. A field that the file lacks, or
// holds in a form that does not parse, stays empty (0 for identifiers).
struct QUILLON_EXPORT TULOMediaFileTags {
    QString title;
    QString artist;
    QString albumArtist;
    QString album;
    qint64 storeItemID = 0;
    qint64 storeArtistID = 0;
    qint64 storeAlbumArtistID = 0;
    qint64 storeAlbumID = 0;
    bool explicitContent = false;
    double duration = 0;
    QSize artworkSize; // invalid without embedded artwork
};

// Reads the tags of the file at `path`. Returns false with `error` set when the file cannot
// be opened or parsed at all; `tags` is then left with empty fields.
QUILLON_EXPORT bool TULOReadMediaFileTags(const QString &path, TULOMediaFileTags *tags, TULOError *error = nullptr);

// The encoded bytes of the file's embedded artwork (front cover preferred); empty when none.
QUILLON_EXPORT QByteArray TULOReadEmbeddedArtwork(const QString &path);

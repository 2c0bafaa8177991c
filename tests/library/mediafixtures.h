#pragma once

#include <QImage>
#include <QString>

// A track that a test writes as a real, short audio file and tags with TagLib.
struct TULOTestTrack {
    QString title;
    QString artist;
    QString albumArtist;
    QString album;
    qint64 storeItemID = 0;
    qint64 storeArtistID = 0;
    qint64 storeAlbumArtistID = 0;
    qint64 storeAlbumID = 0;
    QString advisory; // "1" explicit, "2" clean, empty for none
    QImage artwork;   // embedded as the front cover when not null
    QString rawStoreItemID; // when set, written instead of storeItemID (for malformed values)
};

// Writes a quarter second of a sine tone with libsndfile (FLAC, WAV or Ogg Vorbis, chosen by the
// path's suffix) and tags it. Returns false with a reason.
bool TULOTestWriteTrack(const QString &path, const TULOTestTrack &track, QString *failure = nullptr);

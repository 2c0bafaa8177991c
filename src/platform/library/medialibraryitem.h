#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/artworkcatalog.h>

#include <QPointer>
#include <QSize>
#include <QString>

#include <memory>

class TULOMediaLibrary;

// Media type bits: the low eight are audio kinds, bits 8 to 15 video kinds.
enum TULOMediaType : quint64 {
    TULOMediaTypeMusic = 1 << 0,
    TULOMediaTypePodcast = 1 << 1,
    TULOMediaTypeAudioBook = 1 << 2,
    TULOMediaTypeVoiceMemo = 1 << 3,
    TULOMediaTypeAnyAudio = 0x00ff,
    TULOMediaTypeMovie = 1 << 8,
    TULOMediaTypeVideoPodcast = 1 << 10,
    TULOMediaTypeMusicVideo = 1 << 11,
    TULOMediaTypeHomeVideo = 1 << 13,
    TULOMediaTypeAnyVideo = 0xff00,
};

// One song, music video or voice memo of the media library. Items are compared by identity
// (held by std::shared_ptr); the library that made an item answers for it (downloads, removal).
// Store identifiers are 0 when the file carries none.
class QUILLON_EXPORT TULOMediaLibraryItem
{
public:
    TULOMediaLibraryItem() = default;

    // Stable within one library: derived from the file path (or the store identifier of an
    // item that exists only in the store).
    quint64 persistentID() const { return m_persistentID; }
    void setPersistentID(quint64 value) { m_persistentID = value; }

    QString title() const { return m_title; }
    void setTitle(const QString &value) { m_title = value; }
    QString artist() const { return m_artist; }
    void setArtist(const QString &value) { m_artist = value; }
    QString albumArtist() const { return m_albumArtist; }
    void setAlbumArtist(const QString &value) { m_albumArtist = value; }
    QString albumTitle() const { return m_albumTitle; }
    void setAlbumTitle(const QString &value) { m_albumTitle = value; }

    qint64 storeItemIdentifier() const { return m_storeItemIdentifier; }
    void setStoreItemIdentifier(qint64 value) { m_storeItemIdentifier = value; }
    qint64 storeArtistIdentifier() const { return m_storeArtistIdentifier; }
    void setStoreArtistIdentifier(qint64 value) { m_storeArtistIdentifier = value; }
    qint64 storeAlbumArtistIdentifier() const { return m_storeAlbumArtistIdentifier; }
    void setStoreAlbumArtistIdentifier(qint64 value) { m_storeAlbumArtistIdentifier = value; }
    qint64 storeAlbumIdentifier() const { return m_storeAlbumIdentifier; }
    void setStoreAlbumIdentifier(qint64 value) { m_storeAlbumIdentifier = value; }

    bool isExplicit() const { return m_explicit; }
    void setExplicit(bool value) { m_explicit = value; }
    quint64 mediaType() const { return m_mediaType; }
    void setMediaType(quint64 value) { m_mediaType = value; }
    bool hasVideo() const { return (m_mediaType & TULOMediaTypeAnyVideo) != 0; }
    double duration() const { return m_duration; }
    void setDuration(double value) { m_duration = value; }

    // Null catalog without artwork; the bounds are the artwork's own pixel size.
    TULOArtworkCatalog artwork() const { return m_artwork; }
    QSize artworkBounds() const { return m_artworkBounds; }
    void setArtwork(const TULOArtworkCatalog &artwork, const QSize &bounds)
    {
        m_artwork = artwork;
        m_artworkBounds = bounds;
    }

    // The local file; null for an item that is only in the store.
    QString filePath() const { return m_filePath; }
    void setFilePath(const QString &value) { m_filePath = value; }

    // The library the item belongs to; null for a free-standing item.
    TULOMediaLibrary *library() const;
    void setLibrary(TULOMediaLibrary *library);
    // Asks the library: only a store item without a local file can be downloaded.
    bool isDownloadableFromStore() const;

private:
    quint64 m_persistentID = 0;
    QString m_title;
    QString m_artist;
    QString m_albumArtist;
    QString m_albumTitle;
    qint64 m_storeItemIdentifier = 0;
    qint64 m_storeArtistIdentifier = 0;
    qint64 m_storeAlbumArtistIdentifier = 0;
    qint64 m_storeAlbumIdentifier = 0;
    bool m_explicit = false;
    quint64 m_mediaType = 0;
    double m_duration = 0;
    TULOArtworkCatalog m_artwork;
    QSize m_artworkBounds;
    QString m_filePath;
    QPointer<TULOMediaLibrary> m_library;
};

using TULOMediaLibraryItemPtr = std::shared_ptr<TULOMediaLibraryItem>;

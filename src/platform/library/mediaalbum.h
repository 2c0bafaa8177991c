#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/library/mediamodelobject.h>

// An album of the library; the store identifier is 0 when the album is not from the store.
class QUILLON_EXPORT TULOMediaAlbum : public TULOMediaModelObject
{
public:
    QString title() const { return m_title; }
    void setTitle(const QString &value) { m_title = value; }
    QString albumArtistName() const { return m_albumArtistName; }
    void setAlbumArtistName(const QString &value) { m_albumArtistName = value; }
    qint64 storeIdentifier() const { return m_storeIdentifier; }
    void setStoreIdentifier(qint64 value) { m_storeIdentifier = value; }

private:
    QString m_title;
    QString m_albumArtistName;
    qint64 m_storeIdentifier = 0;
};

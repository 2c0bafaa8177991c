#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/library/mediamodelobject.h>

// A song, or a music video when it has video.
class QUILLON_EXPORT TULOMediaSong : public TULOMediaModelObject
{
public:
    QString title() const { return m_title; }
    void setTitle(const QString &value) { m_title = value; }
    QString artistName() const { return m_artistName; }
    void setArtistName(const QString &value) { m_artistName = value; }
    qint64 storeIdentifier() const { return m_storeIdentifier; }
    void setStoreIdentifier(qint64 value) { m_storeIdentifier = value; }
    bool hasVideo() const { return m_hasVideo; }
    void setHasVideo(bool value) { m_hasVideo = value; }

private:
    QString m_title;
    QString m_artistName;
    qint64 m_storeIdentifier = 0;
    bool m_hasVideo = false;
};
